// What the parts of an import share: the model, the JSON being written and the warnings.
// Internal to scenehost/import; the only place besides it that sees assimp's types.
#pragma once

#include "ModelImport.h"

#include <assimp/scene.h>
#include <rapidjson/writer.h>

#include <string>
#include <vector>

namespace scenehost::import {

// Writes straight into the scene text, without a second copy of a text of a hundred megabytes.
class TextOutput {
public:
    typedef char Ch;
    explicit TextOutput(std::string& text) : text_(text) {}
    void Put(char c) { text_.push_back(c); }
    void Flush() {}

private:
    std::string& text_;
};

using JsonOut = rapidjson::Writer<TextOutput>;

struct ImportContext {
    const aiScene& model;
    std::string modelFolder; // image paths in the model start here
    ImportPlace place;
    JsonOut& json;
    std::vector<std::string>& warnings;
    std::vector<std::string> materialTags; // by assimp material index: the polygons' tag
    std::vector<std::string> uvMapNames;   // by UV channel: "UV0", "UV1", ...
};

// The materials as masks under one render item, each with its glTF shader, its host material
// when the material is see-through, and its image maps; fills materialTags.
void WriteMaterials(ImportContext& context);

// Whether any mesh of `node` has polygons (not only lines or points).
bool NodeHasPolygons(const ImportContext& context, const aiNode& node);

// The `mesh` member of a mesh item: the meshes of `node`, one polygon list, welded points.
void WriteNodeMesh(ImportContext& context, const aiNode& node);

// The items of the node hierarchy, from the root down, and the cameras.
void WriteNodes(ImportContext& context);

void Key(JsonOut& json, const char* name);
void Triple(JsonOut& json, const char* name, double x, double y, double z);

} // namespace scenehost::import
