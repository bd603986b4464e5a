// Materials: one object in "materials" per GltfMaterial, shared by every primitive that uses it.
#include "document/GltfJson.h"

using namespace gltfjson;

namespace {

// The one conversion of alpha modes to glTF; a stored value outside the three is opaque. The
// cut-off is never written, whatever the mode.
const char* alphaModeName(GltfAlphaMode mode) {
    switch (mode) {
    case GltfAlphaMode::Mask:
        return "MASK";
    case GltfAlphaMode::Blend:
        return "BLEND";
    case GltfAlphaMode::Opaque:
    default:
        return "OPAQUE";
    }
}

// Doubles as stored: colours and emission keep full precision.
template <size_t N>
Value makeDoubleArray(const std::array<double, N>& numbers, GltfJsonAllocator& allocator) {
    Value array(rapidjson::kArrayType);
    for (const double number : numbers)
        array.PushBack(number, allocator);
    return array;
}

} // namespace

// The material's index is known before its object exists, so that anything written on the
// way (its textures) and any later primitive find it. The check is on the record's address:
// a material shared by two meshes takes the UV set numbers of the mesh that wrote it first.
uint32_t GltfDocument::WriteMaterial(GltfMaterial* material, [[maybe_unused]] GltfMesh* mesh) {
    const auto known = materialIds.find(material);
    if (known != materialIds.end()) return known->second;
    const uint32_t index = json->materials.Size();
    materialIds.emplace(material, index);

    GltfJsonAllocator& allocator = json->allocator;
    Value object(rapidjson::kObjectType);
    object.AddMember("name", copiedString(material->name, allocator), allocator);
    object.AddMember("emissiveFactor", makeDoubleArray(material->emissiveFactor, allocator),
                     allocator);
    object.AddMember("alphaMode", rapidjson::StringRef(alphaModeName(material->alphaMode)),
                     allocator);
    object.AddMember("doubleSided", Value(material->doubleSided), allocator);

    Value pbr(rapidjson::kObjectType);
    pbr.AddMember("baseColorFactor", makeDoubleArray(material->baseColorFactor, allocator),
                  allocator);
    // 32-bit floats: the text shows the double of the float (0.1f gives 0.10000000149011612).
    pbr.AddMember("metallicFactor", Value(static_cast<double>(material->metallicFactor)),
                  allocator);
    pbr.AddMember("roughnessFactor", Value(static_cast<double>(material->roughnessFactor)),
                  allocator);

    // TEXTURE REFERENCES go here, with the texture writer: "baseColorTexture" and
    // "metallicRoughnessTexture" into pbr, then "normalTexture", "occlusionTexture" and
    // "emissiveTexture" into the object, so that they stand before "pbrMetallicRoughness".

    object.AddMember("pbrMetallicRoughness", pbr, allocator);

    if (material->unlit == 1) {
        Value extensions(rapidjson::kObjectType);
        extensions.AddMember("KHR_materials_unlit", Value(rapidjson::kObjectType), allocator);
        object.AddMember("extensions", extensions, allocator);
        usesUnlit = true;
    }
    return pushToArray(json->materials, object, allocator);
}
