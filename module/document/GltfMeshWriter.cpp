// Meshes and their primitives.
#include "document/GltfJson.h"

using namespace gltfjson;

// Runs for every node that refers to the mesh: two nodes sharing one GltfMesh get two entries
// in "meshes", each with its own data.
uint32_t GltfDocument::WriteMesh(GltfMesh* mesh) {
    if (mesh->positions.empty() || mesh->primitives.empty()) return kGltfNoIndex;
    GltfJsonAllocator& allocator = json->allocator;
    Value primitives(rapidjson::kArrayType);
    for (const GltfPrimitiveEntry& entry : mesh->primitives)
        WritePrimitive(mesh, entry, primitives);
    // The skin writer runs after all scenes and needs the node that carries each skin.
    for (const auto& skin : mesh->skins) {
        skin->meshNode = mesh->node;
        skins.push_back(skin.get());
    }
    // A mesh has no "name".
    Value object(rapidjson::kObjectType);
    object.AddMember("primitives", primitives, allocator);
    return pushToArray(json->meshes, object, allocator);
}

// Minimal primitive: triangles of material 0, no attributes and no data. It keeps meshes and
// their node links in the file while the welding primitive writer is not in this file.
void GltfDocument::WritePrimitive(GltfMesh* /*mesh*/, const GltfPrimitiveEntry& /*entry*/,
                                  GltfJsonValue& primitives) {
    GltfJsonAllocator& allocator = json->allocator;
    Value primitive(rapidjson::kObjectType);
    addUintMember(primitive, "mode", 4, allocator);
    addUintMember(primitive, "material", 0, allocator);
    primitive.AddMember("attributes", Value(rapidjson::kObjectType), allocator);
    primitives.PushBack(primitive, allocator);
}
