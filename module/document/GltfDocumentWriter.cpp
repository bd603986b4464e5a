// GltfDocument::Write and the JSON of the root, the scenes, the nodes and the cameras; the reset
// that follows a save. Animations and skins have their own files.
#include "document/GltfJson.h"
#include "document/GltfOutput.h"

using namespace gltfjson;

GltfDocument::GltfDocument() = default;
GltfDocument::~GltfDocument() = default;

// The whole export in one pass. Indices are given out in the order of the calls: nodes depth
// first, each node's mesh (and what it uses) and camera before the node itself.
bool GltfDocument::Write(const std::string& path) {
    // Only a .gltf names its buffer: a .glb carries the binary data in its own BIN chunk.
    BeginJson(outputKind != kGltfOutputGlb ? BinUriFor(path) : std::string());
    // Every node tree, so that all node indices are known afterwards.
    WriteScenes();
    // The arrays go into the root last, in the order the format fixes.
    FinishJson();
    // Bytes to files: the .gltf keeps the host's name but its extension, the .glb takes it as is.
    const bool written = outputKind != kGltfOutputGlb ? WriteGltfFiles(path, json->root)
                                                      : WriteGlbFile(path, json->root);
    // The JSON and the binary blocks have served; the records stay until Reset.
    json.reset();
    chunks.clear();
    return written;
}

void GltfDocument::BeginJson(const std::string& bufferUri) {
    ClearWriteState();
    json = std::make_unique<GltfJsonState>();
    GltfJsonAllocator& allocator = json->allocator;

    // The generator is a fixed literal, not the version of the running host.
    Value asset(rapidjson::kObjectType);
    asset.AddMember("generator", "Vornv11.2", allocator);
    asset.AddMember("version", "2.0", allocator);
    json->root.AddMember("asset", asset, allocator);
    addUintMember(json->root, "scene", 0, allocator);

    // Material 0, the one a primitive without a known material refers to. It has no name.
    Value pbr(rapidjson::kObjectType);
    pbr.AddMember("metallicFactor", 0.5, allocator);
    pbr.AddMember("roughnessFactor", 0.5, allocator);
    Value defaultMaterial(rapidjson::kObjectType);
    defaultMaterial.AddMember("pbrMetallicRoughness", pbr, allocator);
    json->materials.PushBack(defaultMaterial, allocator);

    AddBuffer(0, bufferUri);
}

// Animations follow their scene's nodes, whose indices they name; skins come after every scene,
// since a joint may stand in any of them.
void GltfDocument::WriteScenes() {
    for (const auto& scene : scenes) {
        Value sceneNodes = WriteNodeList(scene->children);
        // The scene's own name is not written.
        Value sceneObject(rapidjson::kObjectType);
        sceneObject.AddMember("nodes", sceneNodes, json->allocator);
        json->scenes.PushBack(sceneObject, json->allocator);
        for (const auto& animation : scene->animations)
            WriteAnimation(animation.get());
    }
    for (GltfSkin* skin : skins)
        WriteSkin(skin);
}

namespace {

struct RootArray {
    const char* key;
    Value* array;
    bool always; // added also when empty
};

} // namespace

void GltfDocument::FinishJson() {
    GltfJsonAllocator& allocator = json->allocator;
    if (usesUnlit) {
        // Only "extensionsUsed": a reader that does not know the extension still shows the
        // material lit, so it is not required.
        Value extensions(rapidjson::kArrayType);
        extensions.PushBack("KHR_materials_unlit", allocator);
        json->root.AddMember("extensionsUsed", extensions, allocator);
    }
    GltfJsonState& j = *json;
    const RootArray order[] = {
        {"scenes", &j.scenes, true},           {"nodes", &j.nodes, true},
        {"meshes", &j.meshes, true},           {"buffers", &j.buffers, true},
        {"bufferViews", &j.bufferViews, true}, {"accessors", &j.accessors, true},
        {"materials", &j.materials, false},    {"textures", &j.textures, false},
        {"images", &j.images, false},          {"samplers", &j.samplers, false},
        {"animations", &j.animations, false},  {"skins", &j.skins, false},
        {"cameras", &j.cameras, false},
    };
    for (const RootArray& member : order)
        if (member.always || !member.array->Empty())
            json->root.AddMember(rapidjson::StringRef(member.key), *member.array, allocator);
}

// ---- Nodes -------------------------------------------------------------------------------------

namespace {

// Tested as doubles, element by element; a NaN is no identity.
bool isIdentity(const GltfMatrix& matrix) {
    for (size_t i = 0; i < matrix.size(); ++i)
        if (!(matrix[i] == kGltfIdentityMatrix[i])) return false;
    return true;
}

// "matrix", or "rotation", "translation", "scale"; nothing at all for the identity.
void writeNodeTransform(GltfNode& node, Value& object, GltfJsonAllocator& allocator) {
    if (isIdentity(node.matrix)) return;
    if (node.useMatrix) {
        object.AddMember("matrix", makeFloatArray(node.matrix.data(), 16, allocator), allocator);
        return;
    }
    node.DecomposeMatrix();
    object.AddMember("rotation", makeFloatArray(node.rotation.data(), 4, allocator), allocator);
    object.AddMember("translation", makeFloatArray(node.translation.data(), 3, allocator),
                     allocator);
    object.AddMember("scale", makeFloatArray(node.scale.data(), 3, allocator), allocator);
}

} // namespace

uint32_t GltfDocument::WriteNode(GltfNode* node) {
    GltfJsonAllocator& allocator = json->allocator;
    Value object(rapidjson::kObjectType);
    object.AddMember("name", copiedString(node->name, allocator), allocator);
    // A skinned mesh in world space has its points moved by this node's matrix when written;
    // the node then goes out decomposed.
    if (node->mesh && skinnedMeshInWorldSpace == 1 && !node->mesh->skins.empty())
        node->useMatrix = false;
    writeNodeTransform(*node, object, allocator);
    if (node->mesh) addIndexMember(object, "mesh", WriteMesh(node->mesh), allocator);
    if (node->camera) addIndexMember(object, "camera", WriteCamera(node->camera.get()), allocator);
    const uint32_t index = pushToArray(json->nodes, object, allocator);
    nodeIds[node] = index;
    return index;
}

// Writes each node and its subtree before the next; returns the array of their indices. The walk
// keeps its own stack, so a hierarchy of any depth is written without deep recursion: each level
// is a frame with its list, its place in it and the indices it has given out so far.
GltfJsonValue GltfDocument::WriteNodeList(const std::vector<GltfNode*>& list) {
    struct Frame {
        const std::vector<GltfNode*>* nodes;
        size_t next;
        uint32_t parentIndex; // kGltfNoIndex for the top level
        std::vector<uint32_t> indices;
    };
    std::vector<Frame> stack;
    stack.push_back({&list, 0, kGltfNoIndex, {}});
    for (;;) {
        Frame& frame = stack.back();
        if (frame.next < frame.nodes->size()) {
            GltfNode* node = (*frame.nodes)[frame.next++];
            const uint32_t index = WriteNode(node);
            frame.indices.push_back(index);
            if (!node->children.empty()) stack.push_back({&node->children, 0, index, {}});
            continue;
        }
        Value indices(rapidjson::kArrayType);
        for (const uint32_t index : frame.indices)
            indices.PushBack(index, json->allocator);
        const uint32_t parentIndex = frame.parentIndex;
        stack.pop_back();
        if (stack.empty()) return indices;
        // Added once the subtree is written, so "children" is the parent's last member so far.
        if (!indices.Empty())
            json->nodes[parentIndex].AddMember("children", indices, json->allocator);
    }
}

// The projection is fixed: the host's camera settings do not reach the file.
uint32_t GltfDocument::WriteCamera(GltfCamera* camera) {
    GltfJsonAllocator& allocator = json->allocator;
    Value perspective(rapidjson::kObjectType);
    perspective.AddMember("znear", 0.01, allocator);
    perspective.AddMember("yfov", 0.8726, allocator);
    Value object(rapidjson::kObjectType);
    object.AddMember("name", copiedString(camera->name, allocator), allocator);
    object.AddMember("type", "perspective", allocator);
    object.AddMember("perspective", perspective, allocator);
    return pushToArray(json->cameras, object, allocator);
}

// ---- Reset -------------------------------------------------------------------------------------

void GltfDocument::ClearWriteState() {
    json.reset();
    usesUnlit = false;
    chunks.clear();
    // materialIds too: its keys would dangle once the materials are gone.
    materialIds.clear();
    textureIds.clear();
    imageIds.clear();
    nodeIds.clear();
    skins.clear();
    std::vector<uint32_t>().swap(weldHeads);
}

void GltfDocument::Reset() {
    // Scenes own everything below them; shared textures go with their last material.
    scenes.clear();
    ClearWriteState();
}
