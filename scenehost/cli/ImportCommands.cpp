// qvhost import and convert: a model read through assimp into a scene, written out as a scene
// file or saved straight away.
#include "Commands.h"
#include "ModelImport.h"
#include "SceneFile.h"
#include "SceneHost.h"
#include "StagedOutput.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace qvhost {

namespace fs = std::filesystem;

namespace {

int Refuse(const std::string& message) {
    std::cerr << message << "\n";
    return kExitBadInput;
}

bool Import(const std::string& model, const scenehost::ImportPlace& place,
            scenehost::ImportedModel* imported) {
    std::string error;
    scenehost::ImportPlace shown = place;
    shown.showProgress = ::isatty(STDERR_FILENO) == 1;
    if (!scenehost::ImportModel(model, shown, imported, &error)) {
        std::cerr << "qvhost: " << error << "\n";
        return false;
    }
    for (const std::string& warning : imported->warnings)
        std::cerr << "qvhost: warning: " << model << ": " << warning << "\n";
    return true;
}

// A folder of its own for the images a converted model embeds, gone with the run.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string pattern = (fs::temp_directory_path() / "qvhost-convert-XXXXXX").string();
        if (::mkdtemp(pattern.data())) path_ = pattern;
    }
    ~ScratchFolder() {
        std::error_code error;
        if (!path_.empty()) fs::remove_all(path_, error);
    }
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

} // namespace

int RunImport(const Arguments& args) {
    std::string error = OutputFolderProblem(args.scene);
    if (!error.empty()) return Refuse("qvhost: cannot write " + args.scene + ": " + error);
    const fs::path scene = fs::absolute(args.scene);
    scenehost::ImportPlace place;
    place.relativeTo = scene.parent_path().string();
    place.embeddedImageFolder =
        (scene.parent_path() / (scene.stem().string() + "_images")).string();
    scenehost::ImportedModel imported;
    if (!Import(args.model, place, &imported)) return kExitBadInput;
    if (!WriteWholeFile(args.scene, imported.sceneText, &error)) return Refuse("qvhost: " + error);
    std::cerr << "qvhost: imported " << args.model << " into " << args.scene << "\n";
    return kExitSaved;
}

int RunConvert(const Arguments& args) {
    std::string error = OutputFolderProblem(args.output);
    if (!error.empty()) return Refuse("qvhost: cannot save " + args.output + ": " + error);
    ScratchFolder images;
    scenehost::ImportPlace place;
    place.embeddedImageFolder = images.Path();
    scenehost::ImportedModel imported;
    if (!Import(args.model, place, &imported)) return kExitBadInput;
    scenehost::SceneHost host;
    host.SetCounting(false); // nothing here reads the counters, and sampling would pay for them
    if (!scenehost::LoadSceneText(host, imported.sceneText, args.model, "", &error))
        return Refuse("qvhost: the scene made of " + args.model + " was refused: " + error);
    // A model has no selection: the whole scene is exported unless --set says otherwise.
    SetUserValue(host, "sceneio.gltf.save.exportType", "0");
    const int status = SaveLoadedScene(host, args, args.model);
    return status == kExitSaved && args.strict && !imported.warnings.empty() ? kExitWarnings
                                                                             : status;
}

} // namespace qvhost
