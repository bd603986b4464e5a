// What the parts of an import share: the model, the JSON being written and the warnings.
// Internal to scenehost/import; the only place besides it that sees assimp's types.
#pragma once

#include "ModelImport.h"

#include <assimp/scene.h>
#include <rapidjson/writer.h>

#include <set>
#include <string>
#include <unordered_map>
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

// Names and paths in model files come in any encoding, often Latin-1 in older formats; the scene
// text is UTF-8, so every string passes through Utf8OrLatin1 on its way in.
class JsonOut : public rapidjson::Writer<TextOutput> {
public:
    using Writer::Writer;
    bool String(const std::string& text);
    bool String(const char* text) { return String(std::string(text)); }
};

struct ImportContext {
    const aiScene& model;
    std::string modelFolder; // image paths in the model start here
    ImportPlace place;
    JsonOut& json;
    std::vector<std::string>& warnings;
    std::vector<std::string> materialTags; // by assimp material index: the polygons' tag
    std::vector<std::string> uvMapNames;   // by UV channel: "UV0", "UV1", ...
    // Each node's parent by the children lists, which the items follow: some of assimp's readers
    // leave a node's mParent apart from the node it is listed under.
    std::unordered_map<const aiNode*, const aiNode*> parents;
};

// The node `node` is listed under, or null for the root.
const aiNode* ParentOf(const ImportContext& context, const aiNode* node);

// The materials as masks under one render item, each with its glTF shader, its host material
// when the material is see-through, and its image maps; fills materialTags.
void WriteMaterials(ImportContext& context);

// The number of meshes of `node`: none in a model that assimp marks incomplete, whose only mesh
// is one assimp drew of the node hierarchy, for viewers to show something.
unsigned MeshCountOf(const ImportContext& context, const aiNode& node);

// Whether any mesh of `node` has polygons (not only lines or points).
bool NodeHasPolygons(const ImportContext& context, const aiNode& node);

// The `mesh` member of a mesh item: the meshes of `node`, one polygon list, welded points; a
// skinned mesh posed as its bones stand.
void WriteNodeMesh(ImportContext& context, const aiNode& node);

// The items of the node hierarchy, from the root down, the cameras and the skins.
void WriteNodes(ImportContext& context);

// The names of the bones that move the meshes of `node`, each once, in the order first met; a
// bone that names no node of the model is left out (and its name added to `missing`).
std::vector<std::string> BoneNamesOf(const ImportContext& context, const aiNode& node,
                                     std::set<std::string>* missing = nullptr);

// What each bone of `mesh`, a mesh of `meshNode`, does to the mesh's points in the pose the
// model stands in, in the mesh's own space: empty when every bone stands in its bind pose.
std::vector<aiMatrix4x4> BonePoses(const ImportContext& context, const aiNode& meshNode,
                                   const aiMesh& mesh);

// A node of the model and the id of the item written for it.
struct NodeItem {
    const aiNode* node;
    std::string id;
};

// The skins, after every node has its item (`nodes`, parents before children): an influence for
// each bone, moved by the bone's node, named after the weight map the skinned meshes have for it,
// and a deform group for each mesh item in `skinned`.
void WriteSkins(ImportContext& context, const std::vector<NodeItem>& nodes,
                const std::vector<NodeItem>& skinned);

// `value` held to 0..1, NaN as 0: glTF holds colours and material factors in that range, and the
// save writes them as the scene holds them.
inline float UnitRange(float value) {
    return value >= 0.0f ? (value <= 1.0f ? value : 1.0f) : 0.0f;
}

// "1 light is", "2 lights are": the start of a warning about `n` things.
std::string CountOf(size_t n, const char* thing);
std::string CountOf(size_t n, const char* thing, const char* things);

void Key(JsonOut& json, const char* name);
void Triple(JsonOut& json, const char* name, double x, double y, double z);

} // namespace scenehost::import
