#include "Arguments.h"

#include <cstdint>

namespace qvhost {

const char* Usage() {
    return "usage:\n"
           "  qvhost save SCENE OUTPUT [--saver NAME] [--set NAME=VALUE]... [--log FILE] "
           "[--monitor]\n"
           "                           [--plugin PATH] [--max-scene-size BYTES]\n"
           "  qvhost servers [--plugin PATH]\n"
           "  qvhost options [--config FILE] [NAME=VALUE]... [--stream FILE] [--read-stream "
           "FILE]\n";
}

namespace {

// Takes the value of an option that needs one, from the next argument.
bool TakeValue(const std::vector<std::string>& args, size_t* i, std::string* value,
               std::string* error) {
    if (*i + 1 >= args.size()) {
        *error = "option " + args[*i] + " needs a value";
        return false;
    }
    *value = args[++*i];
    return true;
}

// A byte count, optionally with K, M or G (powers of 1024); positive, and no more than 64 bits.
bool ParseByteCount(const std::string& text, uint64_t* bytes) {
    size_t digits = 0;
    uint64_t value = 0;
    for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
        if (value > (UINT64_MAX - 9) / 10) return false;
        value = value * 10 + static_cast<uint64_t>(text[digits] - '0');
    }
    if (digits == 0 || text.size() > digits + 1 || value == 0) return false;
    int shift = 0;
    if (text.size() == digits + 1) {
        const std::string suffixes = "KMG";
        size_t at = suffixes.find(text.back());
        if (at == std::string::npos) return false;
        shift = 10 * static_cast<int>(at + 1);
    }
    if (value > (UINT64_MAX >> shift)) return false;
    *bytes = value << shift;
    return true;
}

bool ParseSave(const std::vector<std::string>& args, Arguments* out, std::string* error) {
    std::vector<std::string> positional;
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        std::string value;
        if (a == "--monitor") {
            out->monitor = true;
        } else if (a == "--max-scene-size") {
            if (!TakeValue(args, &i, &value, error)) return false;
            if (!ParseByteCount(value, &out->maxSceneSize)) {
                *error = "--max-scene-size takes a positive byte count, optionally with K, M or "
                         "G, not '" +
                         value + "'";
                return false;
            }
        } else if (a == "--saver" || a == "--log" || a == "--plugin" || a == "--set") {
            if (!TakeValue(args, &i, &value, error)) return false;
            if (a == "--saver") out->saver = value;
            if (a == "--log") out->logFile = value;
            if (a == "--plugin") out->plugin = value;
            if (a == "--set") {
                size_t eq = value.find('=');
                if (eq == std::string::npos || eq == 0) {
                    *error = "--set takes NAME=VALUE, not '" + value + "'";
                    return false;
                }
                out->userValues.emplace_back(value.substr(0, eq), value.substr(eq + 1));
            }
        } else if (a.size() > 1 && a[0] == '-') {
            *error = "unknown option " + a;
            return false;
        } else {
            positional.push_back(a);
        }
    }
    if (positional.size() != 2) {
        *error = "save takes a SCENE and an OUTPUT";
        return false;
    }
    out->scene = positional[0];
    out->output = positional[1];
    return true;
}

bool ParseServers(const std::vector<std::string>& args, Arguments* out, std::string* error) {
    for (size_t i = 1; i < args.size(); ++i) {
        if (args[i] != "--plugin") {
            *error = "servers takes only --plugin, not " + args[i];
            return false;
        }
        if (!TakeValue(args, &i, &out->plugin, error)) return false;
    }
    return true;
}

bool ParseOptions(const std::vector<std::string>& args, Arguments* out, std::string* error) {
    for (size_t i = 1; i < args.size(); ++i) {
        if (args[i] == "--config") {
            if (!TakeValue(args, &i, &out->config, error)) return false;
        } else if (args[i] == "--stream") {
            if (!TakeValue(args, &i, &out->streamOut, error)) return false;
        } else if (args[i] == "--read-stream") {
            if (!TakeValue(args, &i, &out->streamIn, error)) return false;
        } else if (args[i] == "--plugin") {
            if (!TakeValue(args, &i, &out->plugin, error)) return false;
        } else if (args[i].find('=') != std::string::npos) {
            out->optionSettings.push_back(args[i]);
        } else {
            *error =
                "options takes --config FILE, --stream FILE, --read-stream FILE, --plugin PATH "
                "and NAME=VALUE settings, not " +
                args[i];
            return false;
        }
    }
    return true;
}

} // namespace

bool ParseArguments(const std::vector<std::string>& args, Arguments* out, std::string* error) {
    if (args.empty()) {
        *error = "no command";
        return false;
    }
    const std::string& command = args[0];
    if (command == "help" || command == "--help" || command == "-h") {
        out->command = Command::Help;
        return true;
    }
    if (command == "save") {
        out->command = Command::Save;
        return ParseSave(args, out, error);
    }
    if (command == "servers") {
        out->command = Command::Servers;
        return ParseServers(args, out, error);
    }
    if (command == "options") {
        out->command = Command::Options;
        return ParseOptions(args, out, error);
    }
    *error = "unknown command '" + command + "'";
    return false;
}

} // namespace qvhost
