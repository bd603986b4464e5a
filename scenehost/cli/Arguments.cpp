#include "Arguments.h"

#include "SaveOptionTable.h"

#include <cstdint>

namespace qvhost {

const char* Usage() {
    return "usage:\n"
           "  qvhost import MODEL SCENE        read a model (OBJ, FBX, COLLADA, glTF, PLY, STL, "
           "3DS, ...) into a scene file\n"
           "  qvhost convert MODEL OUTPUT [save options]\n"
           "                                   import and save in one run; the whole scene is "
           "exported\n"
           "  qvhost save SCENE OUTPUT [--saver NAME] [--set NAME=VALUE]... [--log FILE] "
           "[--monitor]\n"
           "                           [--report FILE] [--strict] [--plugin PATH] "
           "[--max-scene-size BYTES]\n"
           "  qvhost servers [--plugin PATH]\n"
           "  qvhost options [--config FILE] [NAME=VALUE]... [--stream FILE] [--read-stream "
           "FILE]\n"
           "  qvhost help, or COMMAND --help   what a command does and takes\n";
}

std::string CommandHelp(Command command) {
    const std::string saveOptions =
        "  --saver NAME        the plug-in's server that saves; default: the one whose\n"
        "                      saver.dosType is OUTPUT's extension (glb or gltf)\n"
        "  --set NAME=VALUE    a save option (below) or any other host user value\n"
        "  --log FILE          the log also as JSON lines in FILE\n"
        "  --monitor           hand the saver a progress monitor and say what it was told\n"
        "  --report FILE       the save's counts as JSON in FILE, with a row per mesh\n"
        "  --strict            end with status 3 when the save warned\n"
        "  --plugin PATH       the plug-in file; default $QVHOST_PLUGIN, else gltfio.qv "
        "beside qvhost\n";
    switch (command) {
    case Command::Import:
        return "usage: qvhost import MODEL SCENE\n"
               "Reads MODEL with assimp (OBJ with MTL, FBX, COLLADA, glTF, PLY, STL, 3DS and\n"
               "the rest) and writes it as the scene file SCENE: the hierarchy, meshes with\n"
               "their polygons, normals, UV sets and colours, materials with their images, and\n"
               "cameras. What the scene cannot carry is named in a warning.\n";
    case Command::Convert:
        return "usage: qvhost convert MODEL OUTPUT [save options]\n"
               "Imports MODEL as `import` does and saves it to OUTPUT as `save` does, without a\n"
               "scene file in between. A converted model has nothing selected, so convert\n"
               "exports the whole scene (exportType=0) unless --set says otherwise.\n" +
               saveOptions + "\n" + SaveOptionsHelp();
    case Command::Save:
        return "usage: qvhost save SCENE OUTPUT [options]\n"
               "Reads the scene file SCENE and saves it to OUTPUT (.glb or .gltf), through a\n"
               "staging folder: OUTPUT is replaced only when the save succeeded and its files\n"
               "read back whole. Exit status: 0 saved, 1 failed, 2 bad arguments or scene,\n"
               "3 saved with warnings under --strict.\n"
               "  --max-scene-size N  the largest SCENE read, in bytes (K, M, G); default 1G\n" +
               saveOptions + "\n" + SaveOptionsHelp();
    case Command::Servers:
        return "usage: qvhost servers [--plugin PATH]\n"
               "Prints the plug-in's servers and the tags of each.\n";
    case Command::Options:
        return "usage: qvhost options [--config FILE] [NAME=VALUE]... [--stream FILE] "
               "[--read-stream FILE] [--plugin PATH]\n"
               "Runs the plug-in's load-options command against a configuration file, sets\n"
               "each NAME=VALUE and prints the options (docs/cli.md).\n";
    case Command::Help:
        break;
    }
    return Usage();
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

// save and convert: two files and the save's options.
bool ParseSave(const std::vector<std::string>& args, Arguments* out, std::string* error) {
    std::vector<std::string> positional;
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        std::string value;
        if (a == "--monitor") {
            out->monitor = true;
        } else if (a == "--strict") {
            out->strict = true;
        } else if (a == "--max-scene-size") {
            if (!TakeValue(args, &i, &value, error)) return false;
            if (!ParseByteCount(value, &out->maxSceneSize)) {
                *error = "--max-scene-size takes a positive byte count, optionally with K, M or "
                         "G, not '" +
                         value + "'";
                return false;
            }
        } else if (a == "--saver" || a == "--log" || a == "--plugin" || a == "--set" ||
                   a == "--report") {
            if (!TakeValue(args, &i, &value, error)) return false;
            if (a == "--saver") out->saver = value;
            if (a == "--log") out->logFile = value;
            if (a == "--report") out->reportFile = value;
            if (a == "--plugin") out->plugin = value;
            if (a == "--set") {
                size_t eq = value.find('=');
                if (eq == std::string::npos || eq == 0) {
                    *error = "--set takes NAME=VALUE, not '" + value + "'";
                    return false;
                }
                out->userValues.emplace_back(ExpandOptionName(value.substr(0, eq)),
                                             value.substr(eq + 1));
            }
        } else if (a.size() > 1 && a[0] == '-') {
            *error = "unknown option " + a;
            return false;
        } else {
            positional.push_back(a);
        }
    }
    const bool convert = out->command == Command::Convert;
    if (positional.size() != 2) {
        *error =
            convert ? "convert takes a MODEL and an OUTPUT" : "save takes a SCENE and an OUTPUT";
        return false;
    }
    (convert ? out->model : out->scene) = positional[0];
    out->output = positional[1];
    return true;
}

bool ParseImport(const std::vector<std::string>& args, Arguments* out, std::string* error) {
    if (args.size() != 3 || args[1].empty() || args[1][0] == '-' || args[2].empty() ||
        args[2][0] == '-') {
        *error = "import takes a MODEL and a SCENE file to write";
        return false;
    }
    out->model = args[1];
    out->scene = args[2];
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
    static const std::pair<const char*, Command> kCommands[] = {{"import", Command::Import},
                                                                {"convert", Command::Convert},
                                                                {"save", Command::Save},
                                                                {"servers", Command::Servers},
                                                                {"options", Command::Options}};
    if (command == "help" || command == "--help" || command == "-h") {
        out->command = Command::Help;
        for (const auto& [name, which] : kCommands)
            if (args.size() > 1 && args[1] == name) out->helpFor = which;
        return true;
    }
    for (const auto& [name, which] : kCommands) {
        if (command != name) continue;
        for (const std::string& a : args)
            if (a == "--help" || a == "-h") {
                out->command = Command::Help;
                out->helpFor = which;
                return true;
            }
        out->command = which;
        switch (which) {
        case Command::Import:
            return ParseImport(args, out, error);
        case Command::Convert:
        case Command::Save:
            return ParseSave(args, out, error);
        case Command::Servers:
            return ParseServers(args, out, error);
        default:
            return ParseOptions(args, out, error);
        }
    }
    *error = "unknown command '" + command + "'";
    return false;
}

} // namespace qvhost
