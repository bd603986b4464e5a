// qvhost options: the plug-in's settings command "loaderOptions.gltf" against a configuration
// file. Every NAME=VALUE is checked and set before the command runs, so a refused one leaves
// the file as it was.
#include "Commands.h"

#include "ModuleHost.h"
#include "SceneHost.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

namespace qvhost {

using scenehost::ComRef;
using scenehost::ModuleHost;
using scenehost::SceneHost;

namespace {

constexpr const char* kOptionsCommand = "loaderOptions.gltf";

int Refuse(const std::string& message) {
    std::cerr << "qvhost options: " << message << "\n";
    return kExitBadInput;
}

std::string Hex(QvResult r) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", r);
    return code;
}

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", value);
    double back = std::strtod(text, nullptr);
    for (int digits = 1; digits < 17; ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, value);
        if (std::strtod(text, nullptr) == back) break;
    }
    return text;
}

std::vector<QvChoiceHint> Hints(IQvAttributesUI* ui, uint32_t index) {
    std::vector<QvChoiceHint> hints;
    uint32_t count = 0;
    if (!ui || QvFailed(ui->HintCount(index, &count))) return hints;
    for (uint32_t h = 0; h < count; ++h) {
        QvChoiceHint hint{};
        if (QvSucceeded(ui->HintByIndex(index, h, &hint))) hints.push_back(hint);
    }
    return hints;
}

// The value as shown: booleans as true/false, a choice with its label.
std::string Shown(const std::string& type, double value, const std::vector<QvChoiceHint>& hints) {
    if (type == QV_TYPE_BOOLEAN) return value != 0 ? "true" : "false";
    if (type == QV_TYPE_FLOAT) return Number(value);
    std::string text = std::to_string(int32_t(value));
    for (const QvChoiceHint& hint : hints)
        if (hint.value == int32_t(value) && hint.label)
            text += std::string(" (") + hint.label + ")";
    return text;
}

bool ParseInteger(const std::string& text, int32_t* value) {
    errno = 0;
    char* end = nullptr;
    long long n = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || n < INT32_MIN || n > INT32_MAX ||
        std::isspace(static_cast<unsigned char>(text[0])))
        return false;
    *value = int32_t(n);
    return true;
}

// Sets one NAME=VALUE on the command's attributes; false with a message when refused.
bool Apply(IQvAttributes* attributes, IQvAttributesUI* ui, const std::string& setting,
           std::string* error) {
    size_t eq = setting.find('=');
    std::string name = setting.substr(0, eq), text = setting.substr(eq + 1);
    uint32_t index = 0;
    const char* typeName = nullptr;
    if (QvFailed(attributes->Lookup(name.c_str(), &index)) ||
        QvFailed(attributes->TypeName(index, &typeName)) || !typeName) {
        *error = "no option '" + name + "'";
        return false;
    }
    std::string type = typeName;
    double value = 0;
    bool valid = false;
    if (type == QV_TYPE_BOOLEAN) {
        valid = text == "true" || text == "false" || text == "1" || text == "0";
        value = (text == "true" || text == "1") ? 1 : 0;
    } else if (type == QV_TYPE_INTEGER) {
        std::vector<QvChoiceHint> hints = Hints(ui, index);
        int32_t n = 0;
        valid = ParseInteger(text, &n);
        // A choice may also be named by its label; numbers outside the choices are kept as given.
        for (const QvChoiceHint& hint : hints)
            if (!valid && hint.label && text == hint.label) {
                n = hint.value;
                valid = true;
            }
        value = n;
    } else if (type == QV_TYPE_FLOAT) {
        char* end = nullptr;
        errno = 0;
        value = std::strtod(text.c_str(), &end);
        valid = !text.empty() && *end == '\0' && errno == 0 && std::isfinite(value) &&
                !std::isspace(static_cast<unsigned char>(text[0]));
    }
    if (!valid) {
        *error = "'" + text + "' is not a valid " + type + " value for '" + name + "'";
        return false;
    }
    QvResult r = attributes->SetDouble(index, value);
    if (r == qvArgDisabled) {
        *error = "'" + name + "' cannot be set: it is disabled by the other options";
        return false;
    }
    if (QvFailed(r)) {
        *error = "'" + name + "' was refused (" + Hex(r) + ")";
        return false;
    }
    return true;
}

// The stream form decoded, one option a line, as a loader would take it.
void PrintStream(const std::string& bytes, const std::string& from) {
    auto u32 = [&](size_t at) {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i)
            v |= uint32_t(uint8_t(bytes[at + i])) << (8 * i);
        return v;
    };
    uint32_t flags = u32(4);
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i)
        bits |= uint64_t(uint8_t(bytes[8 + i])) << (8 * i);
    double scale;
    std::memcpy(&scale, &bits, 8);
    struct Row {
        const char* name;
        int bit;
    };
    // In attribute order; -1 and -2 are the two values outside the flag bits.
    const Row rows[] = {{"mergeWithExistingItems", 16},
                        {"loadGeometry", 0},
                        {"loadNormals", 8},
                        {"loadMeshSmoothing", 4},
                        {"loadBlendShapes", 5},
                        {"loadPolygonParts", 11},
                        {"loadSelectionSets", 12},
                        {"loadMaterials", 1},
                        {"invertMatTranAmt", 9},
                        {"useMatTranColAsTranAmt", 10},
                        {"changeTextureEffect", 17},
                        {"loadCameras", 2},
                        {"loadLights", 3},
                        {"loadAnimation", 6},
                        {"loadSampleAnimation", 7},
                        {"loadSampleAnimationRate", 13},
                        {"globalScalingFactor", -1},
                        {"importUnits", -2}};
    std::cout << "read from " << from << ":\n";
    for (const Row& row : rows) {
        std::cout << "  " << row.name << " = ";
        if (row.bit == -1)
            std::cout << Number(scale);
        else if (row.bit == -2)
            std::cout << (flags >> 18);
        else if (std::string(row.name) == "loadSampleAnimationRate")
            std::cout << ((flags >> row.bit) & 1);
        else
            std::cout << (((flags >> row.bit) & 1) ? "true" : "false");
        std::cout << "\n";
    }
}

// Whether bytes have the stream form a loader reads: version 0 (two words) or 1 (two words and
// the factor). Checked before the command runs, so that a refused stream leaves the file alone.
bool StreamForm(const std::string& bytes, std::string* error) {
    ComRef<scenehost::BlockReader> reader(new scenehost::BlockReader(bytes), false);
    uint32_t version = 0, flags = 0;
    double scale = 0;
    if (QvFailed(reader->ReadU32(&version)) || QvFailed(reader->ReadU32(&flags)) ||
        (version == 1 && QvFailed(reader->ReadDouble(&scale)))) {
        *error = "the stream is too short";
        return false;
    }
    if (version > 1) {
        *error = "the stream is of version " + std::to_string(version) + ", newer than 1";
        return false;
    }
    return true;
}

bool ReadFile(const std::string& path, std::string* bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream all;
    all << in.rdbuf();
    *bytes = all.str();
    return true;
}

} // namespace

int RunOptions(const Arguments& args) {
    SceneHost host;
    std::string error;
    std::string config =
        args.config.empty() ? scenehost::PersistenceService::DefaultPath() : args.config;
    if (!host.Persistence().Open(config, &error)) return Refuse(error);
    std::string streamIn;
    if (!args.streamIn.empty() && !ReadFile(args.streamIn, &streamIn))
        return Refuse("cannot read " + args.streamIn);
    if (!args.streamIn.empty() && !StreamForm(streamIn, &error))
        return Refuse(args.streamIn + ": " + error);

    ModuleHost plugin(host);
    if (!plugin.Load(PluginPath(args.plugin), &error)) return Refuse(error);
    ComRef<IQvCommandService> commands;
    ComRef<IQvCommand> command;
    ComRef<IQvAttributes> attributes;
    ComRef<IQvAttributesUI> ui;
    if (QvFailed(host.LookupService(IQvCommandService::iid, commands.outVoid())) ||
        QvFailed(commands->SpawnCommand(0, kOptionsCommand, command.out())) || !command ||
        QvFailed(command->QueryInterface(IQvAttributes::iid, attributes.outVoid())))
        return Refuse(std::string("the plug-in has no command ") + kOptionsCommand);
    command->QueryInterface(IQvAttributesUI::iid, ui.outVoid());

    for (const std::string& setting : args.optionSettings)
        if (!Apply(attributes.get(), ui.get(), setting, &error)) return Refuse(error);

    if (QvResult r = command->Execute(0); QvFailed(r)) {
        std::cerr << "qvhost options: " << kOptionsCommand << " failed (" << Hex(r) << ")\n";
        return kExitSaveFailed;
    }

    uint32_t count = 0;
    attributes->Count(&count);
    for (uint32_t i = 0; i < count; ++i) {
        const char* name = nullptr;
        const char* type = nullptr;
        double value = 0;
        attributes->Name(i, &name);
        attributes->TypeName(i, &type);
        attributes->GetDouble(i, &value);
        std::cout << name << " = " << Shown(type ? type : "", value, Hints(ui.get(), i)) << "\n";
    }
    std::cout << "configuration: " << config << "\n";

    ComRef<IQvStreamIO> stream;
    if ((!args.streamOut.empty() || !args.streamIn.empty()) &&
        (!host.LoadOptions() ||
         QvFailed(host.LoadOptions()->QueryInterface(IQvStreamIO::iid, stream.outVoid()))))
        return Refuse("the command handed over no options that can stream");
    if (!args.streamOut.empty()) {
        ComRef<scenehost::BlockWriter> writer(new scenehost::BlockWriter, false);
        QvResult r = stream->Write(writer.get());
        std::ofstream out(args.streamOut, std::ios::binary | std::ios::trunc);
        if (QvFailed(r) || !(out << writer->Bytes()) || !out.flush())
            return Refuse("cannot write the stream to " + args.streamOut);
        std::cout << "stream: " << args.streamOut << "\n";
    }
    if (!args.streamIn.empty()) {
        ComRef<scenehost::BlockReader> reader(new scenehost::BlockReader(streamIn), false);
        if (QvResult r = stream->Read(reader.get()); QvFailed(r))
            return Refuse("cannot read the stream in " + args.streamIn + " (" + Hex(r) + ")");
        // Written back out, the object shows what it took from the stream.
        ComRef<scenehost::BlockWriter> writer(new scenehost::BlockWriter, false);
        if (QvFailed(stream->Write(writer.get())) || writer->Bytes().size() != 16)
            return Refuse("cannot show the stream read from " + args.streamIn);
        PrintStream(writer->Bytes(), args.streamIn);
    }
    if (std::cout.flush()) return 0;
    return Refuse("could not write the options to standard output");
}

} // namespace qvhost
