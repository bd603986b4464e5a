#include "ModelImport.h"

#include "ImportContext.h"
#include "Utf8.h"

#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <assimp/postprocess.h>

#include <cstdio>
#include <filesystem>
#include <memory>

namespace scenehost {

namespace import {

std::string CountOf(size_t n, const char* thing, const char* things) {
    return std::to_string(n) + " " + (n == 1 ? thing : things) + (n == 1 ? " is" : " are");
}

std::string CountOf(size_t n, const char* thing) {
    return CountOf(n, thing, (std::string(thing) + "s").c_str());
}

unsigned MeshCountOf(const ImportContext& context, const aiNode& node) {
    return (context.model.mFlags & AI_SCENE_FLAGS_INCOMPLETE) ? 0 : node.mNumMeshes;
}

bool JsonOut::String(const std::string& text) {
    const std::string valid = scenehost::Utf8OrLatin1(text);
    return Writer::String(valid.data(), rapidjson::SizeType(valid.size()));
}

void Key(JsonOut& json, const char* name) {
    json.Key(name);
}

void Triple(JsonOut& json, const char* name, double x, double y, double z) {
    json.Key(name);
    json.StartArray();
    json.Double(x);
    json.Double(y);
    json.Double(z);
    json.EndArray();
}

} // namespace import

namespace {

using import::ImportContext;
using import::JsonOut;
using import::Key;

// "qvhost: reading MODEL: 42%" on one line of the terminal, rewritten as assimp goes.
class TerminalProgress : public Assimp::ProgressHandler {
public:
    explicit TerminalProgress(std::string model) : model_(std::move(model)) {}
    ~TerminalProgress() override {
        if (shown_ >= 0) std::fprintf(stderr, "\n");
    }
    bool Update(float percentage) override {
        int now = percentage < 0 ? 0 : int(percentage * 100.0f);
        if (now > 100) now = 100;
        if (now != shown_) {
            std::fprintf(stderr, "\rqvhost: reading %s: %d%%", model_.c_str(), now);
            std::fflush(stderr);
            shown_ = now;
        }
        return true;
    }

private:
    std::string model_;
    int shown_ = -1;
};

void WarnLeftOut(const aiScene& model, std::vector<std::string>& warnings) {
    auto count = [&](unsigned n, const char* what) {
        if (n > 0) warnings.push_back(import::CountOf(n, what) + " left out");
    };
    if (model.mNumMeshes == 0 || (model.mFlags & AI_SCENE_FLAGS_INCOMPLETE))
        warnings.push_back("the model holds no meshes");
    count(model.mNumLights, "light");
    count(model.mNumAnimations, "animation");
}

// The UV channels any mesh has, named so that the host's order by name is the channel order.
std::vector<std::string> UvMapNames() {
    std::vector<std::string> names;
    for (unsigned set = 0; set < AI_MAX_NUMBER_OF_TEXTURECOORDS; ++set)
        names.push_back("UV" + std::to_string(set));
    return names;
}

} // namespace

bool ImportModel(const std::string& modelPath, const ImportPlace& place, ImportedModel* out,
                 std::string* error) {
    Assimp::Importer importer;
    // Handed back (null) before both go: the importer deletes only the handler it holds then.
    std::unique_ptr<TerminalProgress> progress;
    if (place.showProgress) {
        progress = std::make_unique<TerminalProgress>(modelPath);
        importer.SetProgressHandler(progress.get());
    }
    // Points are joined where the source repeats them; polygons stay as the source has them, and
    // lines and points come apart from them so that they can be left out whole. A vertex keeps
    // its four strongest bones, as many as a glTF vertex holds.
    const aiScene* model =
        importer.ReadFile(modelPath, aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
                                         aiProcess_LimitBoneWeights);
    // Only a handler of ours is handed back: assimp's own default would leak if replaced.
    if (progress) importer.SetProgressHandler(nullptr);
    // assimp marks a model without meshes incomplete; its cameras and hierarchy still import.
    if (!model || !model->mRootNode) {
        *error = modelPath + ": cannot read the model: " + importer.GetErrorString();
        return false;
    }
    out->sceneText.clear();
    import::TextOutput text(out->sceneText);
    JsonOut json(text);
    ImportContext context{*model,        std::filesystem::path(modelPath).parent_path().string(),
                          place,         json,
                          out->warnings, {},
                          UvMapNames(),  {}};
    json.StartObject();
    // A model has no selection: a later save of the scene exports all of it.
    Key(json, "userValues");
    json.StartObject();
    Key(json, "sceneio.gltf.save.exportType");
    json.Int(0);
    json.EndObject();
    Key(json, "items");
    json.StartArray();
    import::WriteMaterials(context);
    import::WriteNodes(context);
    json.EndArray();
    json.EndObject();
    WarnLeftOut(*model, out->warnings);
    return true;
}

} // namespace scenehost
