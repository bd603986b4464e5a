#include "Commands.h"

#include "AnimationSpan.h"
#include "ImageCopies.h"
#include "LogOutput.h"
#include "ModuleHost.h"
#include "OutputCheck.h"
#include "ResultNames.h"
#include "SaveReport.h"
#include "SaveWarnings.h"
#include "SceneFile.h"
#include "SceneHost.h"
#include "StagedOutput.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
    if (host.MonitorCalls().initialize.empty())
        std::cerr << "qvhost: the saver did not use the monitor\n";
    for (uint32_t steps : host.MonitorCalls().initialize) {
        if (steps == 0)
            std::cerr << "qvhost: the saver announced no steps to the monitor, so there is no "
                         "progress to show\n";
        else
            std::cerr << "qvhost: monitor initialized with " << steps << " steps\n";
    }
    if (!host.MonitorCalls().steps.empty())
        std::cerr << "qvhost: monitor stepped " << host.MonitorCalls().steps.size() << " times\n";
}

int Fail(const std::string& message) {
    std::cerr << message << "\n";
    return kExitSaveFailed;
}

// The files a save makes in the output's folder, by name. A .glb saver writes the path as
// given; the .gltf saver replaces the text behind the path's last '.' and puts a .bin and the
// image copies beside it.
struct SaveOutputs {
    bool gltfForm = false;
    std::string mainName; // the file that is checked and moved last
    std::string binName;  // the .gltf's companion; empty for a .glb
};

bool PlanOutputs(ModuleHost& plugin, const std::string& saver, const std::string& output,
                 SaveOutputs* plan, std::string* error) {
    const std::string fileName = FileNameOf(output);
    if (fileName.empty()) {
        *error = "qvhost: " + output + " names a folder, not a file";
        return false;
    }
    for (const scenehost::ServerTag& tag : plugin.ServerTags(saver))
        if (tag.key == "saver.dosType") plan->gltfForm = tag.value != "glb";
    if (!plan->gltfForm) {
        plan->mainName = fileName;
        return true;
    }
    const std::size_t dot = fileName.rfind('.');
    if (dot == std::string::npos && output.find('.') != std::string::npos) {
        // The plug-in would cut the path inside a folder name and write outside that folder.
        *error = "qvhost: " + output + " has a '.' in a folder name but none in its file name; " +
                 "give the file an extension";
        return false;
    }
    const std::string stem = fileName.substr(0, dot);
    plan->mainName = stem + ".gltf";
    plan->binName = stem + ".bin";
    return true;
}

// The log entries of the plug-in that are errors; a failed save points at them. Message boxes
// repeat what the log says, so they are not counted again.
std::size_t CountLoggedErrors(const SceneHost& host) {
    std::size_t errors = 0;
    for (const scenehost::LogRecord& record : host.Log())
        if (record.level == "error" && record.subsystem != "msgbox") ++errors;
    return errors;
}

std::string DescribeFailure(const SceneHost& host, const std::string& saver,
                            const std::string& output, QvResult result) {
    const std::size_t errors = CountLoggedErrors(host);
    return "qvhost: " + saver + " failed to save " + output + " (" + DescribeResult(result) +
           "); " +
           (errors == 0 ? std::string("the log above names no error")
                        : "see the " + std::to_string(errors) +
                              (errors == 1 ? " error" : " errors") + " in the log above") +
           "; nothing was replaced";
}

// After a save that succeeded: the warnings about image copies that overwrote each other.
void WarnOverwrittenCopies(const std::vector<ImageCopy>& copies, const StagedOutput& staged,
                           const std::string& output, std::vector<SaveWarning>* warnings) {
    for (const ImageCopy& copy : copies) {
        const std::string warning = DescribeOverwrittenCopy(copy, staged.Folder(), output);
        if (!warning.empty()) warnings->push_back({"image-copy", copy.name, warning});
    }
}

// The log's own warnings, message boxes aside (they repeat the log).
std::size_t CountLoggedWarnings(const SceneHost& host) {
    std::size_t warnings = 0;
    for (const scenehost::LogRecord& record : host.Log())
        if (record.level == "warning" && record.subsystem != "msgbox") ++warnings;
    return warnings;
}

uint64_t StagedBytes(const StagedOutput& staged) {
    uint64_t bytes = 0;
    std::error_code error;
    for (const std::string& name : staged.Files(""))
        bytes += std::filesystem::file_size(staged.Folder() + "/" + name, error);
    return bytes;
}

} // namespace

// The steps of a save. Everything the saver writes goes into a staging folder beside OUTPUT and
// is moved into place only when the save succeeded and its files read back whole, so that a
// failed, broken or interrupted save leaves the files at OUTPUT as they were.
int RunSave(const Arguments& args) {
    std::string error = OutputFolderProblem(args.output);
    if (!error.empty()) return Refuse("qvhost: cannot save " + args.output + ": " + error);
    SceneHost host;
    host.SetCounting(false); // nothing here reads the counters, and sampling would pay for them
    if (!scenehost::LoadSceneFile(host, args.scene, args.maxSceneSize, &error))
        return Refuse(error);
    return SaveLoadedScene(host, args, args.scene);
}

int SaveLoadedScene(SceneHost& host, const Arguments& args, const std::string& source) {
    std::string error;
    for (const auto& [name, value] : args.userValues)
        SetUserValue(host, name, value);
    error = FindRunawayAnimation(host);
    if (!error.empty()) return Refuse("qvhost: " + source + ": " + error);

    ModuleHost plugin(host);
    std::string saver;
    if (!plugin.Load(PluginPath(args.plugin), &error)) return Refuse("qvhost: " + error);
    if (!ChooseSaver(plugin, args, &saver, &error)) return Refuse(error);
    SaveOutputs plan;
    if (!PlanOutputs(plugin, saver, args.output, &plan, &error)) return Refuse(error);

    StagedOutput staged;
    if (!staged.Create(args.output, &error)) return Fail("qvhost: " + error);
    // Image copies that would overwrite the .gltf or the .bin are refused before the save.
    error = FindImageAtOutput(host.Scene(), args.output);
    if (!error.empty()) return Refuse("qvhost: " + error);
    std::vector<ImageCopy> copies;
    if (plan.gltfForm) copies = ListImageCopies(host.Scene());
    error = FindCopyOverOutput(copies, {plan.mainName, plan.binName},
                               !copies.empty() && FolderIgnoresCase(staged.Folder()));
    if (!error.empty()) return Refuse("qvhost: " + error);

    LogFile logFile;
    if (!args.logFile.empty() && !logFile.Open(args.logFile, &error))
        return Refuse("qvhost: " + error);

    host.SetLogListener([&](const scenehost::LogRecord& record) {
        std::cerr << ReadableLine(record) << "\n";
        logFile.Write(record);
    });
    QvResult result = plugin.Save(saver, staged.StagedPath(), args.monitor);
    host.SetLogListener(nullptr);
    if (args.monitor) ReportMonitor(host);
    bool logWritten = logFile.Close(&error);
    if (!logWritten) std::cerr << "qvhost: " << error << "\n";
    if (QvFailed(result)) return Fail(DescribeFailure(host, saver, args.output, result));

    // The plug-in reports success even when a number ended its JSON text early.
    rapidjson::Document document;
    const std::string defect = FindOutputDefect(staged.Folder() + "/" + plan.mainName, &document);
    if (!defect.empty())
        return Fail("qvhost: the saved " + FolderPartOf(args.output) + plan.mainName +
                    " is broken: " + defect + "; " + kLikelyDefectCause + "; nothing was replaced");
    std::vector<SaveWarning> warnings = FindSaveWarnings(host, document, !plan.gltfForm);
    WarnOverwrittenCopies(copies, staged, args.output, &warnings);
    for (const SaveWarning& warning : warnings)
        std::cerr << "qvhost: warning: " << warning.text << "\n";
    SaveCounts counts = CountDocument(document);
    counts.bytes = StagedBytes(staged);
    counts.warnings = CountLoggedWarnings(host) + warnings.size();
    counts.errors = CountLoggedErrors(host);
    if (!staged.Commit(plan.mainName, &error)) return Fail("qvhost: " + error);
    counts.seconds = SecondsSinceStart();
    std::cerr << "qvhost: " << SummaryLine(saver, args.output, counts) << "\n";
    if (!args.reportFile.empty() &&
        !WriteWholeFile(args.reportFile, ReportJson(saver, args.output, counts, warnings), &error))
        return Fail("qvhost: the report: " + error + "; the save itself is in place");
    // A log that could not be shown whole (standard error a closed pipe) fails the run as a log
    // file does; the files are saved all the same.
    if (!logWritten || !std::cerr.good()) return kExitSaveFailed;
    return args.strict && !warnings.empty() ? kExitWarnings : kExitSaved;
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
    if (std::cout.flush()) return 0;
    return Refuse("qvhost: could not write the server list to standard output");
}

} // namespace qvhost
