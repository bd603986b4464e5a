#include "Commands.h"

#include "LogOutput.h"
#include "ModuleHost.h"
#include "SceneFile.h"
#include "SceneHost.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace qvhost {

using scenehost::ModuleHost;
using scenehost::SceneHost;

std::string PluginPath(const std::string& fromArguments) {
    if (!fromArguments.empty()) return fromArguments;
    if (const char* env = std::getenv("QVHOST_PLUGIN"); env && *env) return env;
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return "gltfio.qv";
    self[n] = '\0';
    return (std::filesystem::path(self).parent_path() / "gltfio.qv").string();
}

void SetUserValue(SceneHost& host, const std::string& name, const std::string& value) {
    errno = 0;
    char* end = nullptr;
    long long n = std::strtoll(value.c_str(), &end, 10);
    bool integer = !value.empty() && *end == '\0' && errno == 0 && n >= INT32_MIN &&
                   n <= INT32_MAX && !std::isspace(static_cast<unsigned char>(value[0]));
    if (integer)
        host.SetUserInt(name, static_cast<int32_t>(n));
    else
        host.SetUserString(name, value);
}

namespace {

int Refuse(const std::string& message) {
    std::cerr << message << "\n";
    return kExitBadInput;
}

// The saver named by --saver, or the one whose "saver.dosType" matches the output's extension.
bool ChooseSaver(ModuleHost& plugin, const Arguments& args, std::string* saver,
                 std::string* error) {
    if (!args.saver.empty()) {
        for (const std::string& name : plugin.ServerNames())
            if (name == args.saver) {
                *saver = name;
                return true;
            }
        *error = "qvhost: the plug-in has no server '" + args.saver + "'";
        return false;
    }
    std::string extension = ModuleHost::ExtensionOf(args.output);
    if (extension.empty()) {
        *error = "qvhost: " + args.output + " has no extension; name a saver with --saver";
        return false;
    }
    *saver = plugin.SaverForExtension(extension);
    if (saver->empty()) *error = "qvhost: no saver of the plug-in writes ." + extension + " files";
    return !saver->empty();
}

void ReportMonitor(const SceneHost& host) {
    for (uint32_t steps : host.MonitorCalls().initialize)
        std::cerr << "qvhost: monitor initialized with " << steps << " steps\n";
    if (!host.MonitorCalls().steps.empty())
        std::cerr << "qvhost: monitor stepped " << host.MonitorCalls().steps.size() << " times\n";
}

} // namespace

int RunSave(const Arguments& args) {
    SceneHost host;
    std::string error;
    if (!scenehost::LoadSceneFile(host, args.scene, args.maxSceneSize, &error))
        return Refuse(error);
    for (const auto& [name, value] : args.userValues)
        SetUserValue(host, name, value);

    ModuleHost plugin(host);
    std::string saver;
    if (!plugin.Load(PluginPath(args.plugin), &error)) return Refuse("qvhost: " + error);
    if (!ChooseSaver(plugin, args, &saver, &error)) return Refuse(error);

    LogFile logFile;
    if (!args.logFile.empty() && !logFile.Open(args.logFile, &error))
        return Refuse("qvhost: " + error);
    host.SetLogListener([&](const scenehost::LogRecord& record) {
        std::cerr << ReadableLine(record) << "\n";
        logFile.Write(record);
    });

    QvResult result = plugin.Save(saver, args.output, args.monitor);
    host.SetLogListener(nullptr);
    if (args.monitor) ReportMonitor(host);
    bool logWritten = logFile.Close(&error);
    if (!logWritten) std::cerr << "qvhost: " << error << "\n";
    if (QvFailed(result)) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", result);
        std::cerr << "qvhost: " << saver << " failed to save " << args.output << " (" << code
                  << ")\n";
        return kExitSaveFailed;
    }
    std::cerr << "qvhost: " << saver << " saved " << args.output << "\n";
    return logWritten ? kExitSaved : kExitSaveFailed;
}

int RunServers(const Arguments& args) {
    SceneHost host;
    ModuleHost plugin(host);
    std::string error;
    if (!plugin.Load(PluginPath(args.plugin), &error)) return Refuse("qvhost: " + error);
    for (const std::string& server : plugin.ServerNames()) {
        std::cout << server << "\n";
        for (const scenehost::ServerTag& tag : plugin.ServerTags(server))
            std::cout << "  " << tag.key << " = " << tag.value << "\n";
    }
    return std::cout.flush() ? 0 : kExitBadInput;
}

} // namespace qvhost
