// Materials and what they reference: one object in "materials" per GltfMaterial, shared by every
// primitive that uses it; one entry in "textures" and one in "samplers" per GltfTexture; one
// entry in "images" per image file, shared by every texture that shows it.
//
// An image is not read here, only measured: a .gltf names a copy of the file beside it, a .glb
// takes its bytes into the BIN chunk. Both happen in WriteChunks, after the JSON is complete.
#include "document/GltfJson.h"
#include "document/GltfOutput.h"
#include "document/HostPath.h"
#include "host/GltfLogMsg.h"

#include <cctype>
#include <cstdio>

using namespace gltfjson;

namespace {

// The one conversion of alpha modes to glTF; a stored value outside the three is opaque.
// Deliberate: the cut-off is never written, whatever the mode.
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

// The "texCoord" of a UV map name; false when the mesh has no UV set of that name.
bool findUvSet(const GltfMesh* mesh, const std::string& uvMapName, uint32_t& texCoord) {
    if (!mesh) return false;
    const auto found = mesh->uvSets.find(uvMapName);
    if (found == mesh->uvSets.end()) return false;
    texCoord = found->second;
    return true;
}

Value makeTextureReference(uint32_t textureIndex, uint32_t texCoord, GltfJsonAllocator& allocator) {
    Value reference(rapidjson::kObjectType);
    addUintMember(reference, "index", textureIndex, allocator);
    addUintMember(reference, "texCoord", texCoord, allocator);
    return reference;
}

// The one conversion of wrap modes to glTF. The records keep the host's tile value untouched,
// so anything outside the three known modes (0 included) falls back to repeat.
uint32_t gltfWrapCode(GltfWrapMode mode) {
    switch (mode) {
    case GltfWrapMode::MirroredRepeat:
        return 33648;
    case GltfWrapMode::ClampToEdge:
        return 33071;
    case GltfWrapMode::Repeat:
    default:
        return 10497;
    }
}

// The kind from the text behind the last "." (the whole path when there
// is none). Deliberate: the cut does not stop at separators, so a dot in a directory name
// yields Unknown, never a wrong kind.
GltfImageKind mimeKindOf(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    std::string extension = dot == std::string::npos ? path : path.substr(dot + 1);
    for (char& c : extension)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (extension == "png") return GltfImageKind::Png;
    if (extension == "jpg" || extension == "jpeg") return GltfImageKind::Jpeg;
    return GltfImageKind::Unknown;
}

// The file's size in bytes, or false when it cannot be opened and measured.
bool measureFile(const std::string& hostPath, uint32_t& size) {
    FILE* file = OpenHostFile(hostPath, "rb");
    if (!file) return false;
    long end = -1;
    if (std::fseek(file, 0, SEEK_END) == 0) end = std::ftell(file);
    std::fclose(file);
    if (end < 0) return false;
    size = static_cast<uint32_t>(end);
    return true;
}

// The members that every material has, in their order.
Value makeMaterialObject(const GltfMaterial& material, GltfJsonAllocator& allocator) {
    Value object(rapidjson::kObjectType);
    object.AddMember("name", copiedString(material.name, allocator), allocator);
    object.AddMember("emissiveFactor", makeDoubleArray(material.emissiveFactor, allocator),
                     allocator);
    object.AddMember("alphaMode", rapidjson::StringRef(alphaModeName(material.alphaMode)),
                     allocator);
    object.AddMember("doubleSided", Value(material.doubleSided), allocator);
    return object;
}

// "pbrMetallicRoughness" without its textures.
Value makePbrObject(const GltfMaterial& material, GltfJsonAllocator& allocator) {
    Value pbr(rapidjson::kObjectType);
    pbr.AddMember("baseColorFactor", makeDoubleArray(material.baseColorFactor, allocator),
                  allocator);
    // 32-bit floats: the text shows the double of the float (0.1f gives 0.10000000149011612).
    pbr.AddMember("metallicFactor", Value(static_cast<double>(material.metallicFactor)), allocator);
    pbr.AddMember("roughnessFactor", Value(static_cast<double>(material.roughnessFactor)),
                  allocator);
    return pbr;
}

// Deliberate: the base colour asks for its UV set before the texture is written, so a base
// colour texture that the mesh cannot map never reaches "textures". The other fields write
// their texture first (writeTextureReference) and can leave it in "textures" unreferenced.
void addBaseColorTexture(GltfDocument& document, const GltfMaterial& material, const GltfMesh* mesh,
                         Value& pbr) {
    uint32_t texCoord = 0;
    if (!material.baseColorTexture ||
        !findUvSet(mesh, material.baseColorTexture->uvMapName, texCoord))
        return;
    const uint32_t texture = document.WriteTexture(material.baseColorTexture.get());
    if (texture == kGltfNoIndex) return;
    GltfJsonAllocator& allocator = document.json->allocator;
    pbr.AddMember("baseColorTexture", makeTextureReference(texture, texCoord, allocator),
                  allocator);
}

// Writes the field's texture, then finds its UV set; null when the field is empty or either
// step fails.
Value writeTextureReference(GltfDocument& document, const std::shared_ptr<GltfTexture>& field,
                            const GltfMesh* mesh) {
    if (!field) return Value();
    const uint32_t texture = document.WriteTexture(field.get());
    uint32_t texCoord = 0;
    if (texture == kGltfNoIndex || !findUvSet(mesh, field->uvMapName, texCoord)) return Value();
    return makeTextureReference(texture, texCoord, document.json->allocator);
}

// Adds the reference as `member` when it is one (a null Value stands for none), with its own
// factor when that is not the default 1.
void addReference(Value& object, const char* member, Value& reference, GltfJsonAllocator& allocator,
                  const char* factorName = nullptr, double factor = 1.0) {
    if (!reference.IsObject()) return;
    if (factorName && factor != 1.0)
        reference.AddMember(rapidjson::StringRef(factorName), floatValue(factor), allocator);
    object.AddMember(rapidjson::StringRef(member), reference, allocator);
}

// The texture fields of a lit material, in the order their textures are written.
void addLitTextures(GltfDocument& document, const GltfMaterial& material, const GltfMesh* mesh,
                    Value& object, Value& pbr) {
    GltfJsonAllocator& allocator = document.json->allocator;
    Value metallicRoughness =
        writeTextureReference(document, material.metallicRoughnessTexture, mesh);
    addReference(pbr, "metallicRoughnessTexture", metallicRoughness, allocator);
    Value normal = writeTextureReference(document, material.normalTexture, mesh);
    addReference(object, "normalTexture", normal, allocator, "scale", material.normalScale);
    Value occlusion = writeTextureReference(document, material.occlusionTexture, mesh);
    addReference(object, "occlusionTexture", occlusion, allocator, "strength",
                 material.occlusionStrength);
    Value emissive = writeTextureReference(document, material.emissiveTexture, mesh);
    addReference(object, "emissiveTexture", emissive, allocator);
}

void addUnlitExtension(GltfDocument& document, Value& object) {
    GltfJsonAllocator& allocator = document.json->allocator;
    Value extensions(rapidjson::kObjectType);
    extensions.AddMember("KHR_materials_unlit", Value(rapidjson::kObjectType), allocator);
    object.AddMember("extensions", extensions, allocator);
    document.usesUnlit = true;
}

} // namespace

// The material's index is known before its object exists, so that anything written on the
// way (its textures) and any later primitive find it. The check is on the record's address:
// deliberately, a material shared by two meshes takes the UV set numbers of the mesh that
// wrote it first.
uint32_t GltfDocument::WriteMaterial(GltfMaterial* material, GltfMesh* mesh) {
    const auto known = materialIds.find(material);
    if (known != materialIds.end()) return known->second;
    materialIds.emplace(material, json->materials.Size());

    GltfJsonAllocator& allocator = json->allocator;
    Value object = makeMaterialObject(*material, allocator);
    Value pbr = makePbrObject(*material, allocator);
    addBaseColorTexture(*this, *material, mesh, pbr);
    // Deliberate: unlit (1) and any other non-zero value keep only the base colour texture.
    if (material->unlit == kGltfShadeLit) addLitTextures(*this, *material, mesh, object, pbr);
    // Behind the texture members of the material object, by the order of the calls above.
    object.AddMember("pbrMetallicRoughness", pbr, allocator);
    // Deliberate: only 1 asks for the extension; other non-zero values stay lit, untextured.
    if (material->unlit == kGltfShadeUnlit) addUnlitExtension(*this, object);
    return pushToArray(json->materials, object, allocator);
}

// ---- Textures, samplers, images ----------------------------------------------------------------

// Cached by the record's address: a texture in several fields or materials is written once.
// Deliberate: a texture whose image is missing is not cached, so each later reference tries
// again and reports the file again, where the user can see which materials it affects.
uint32_t GltfDocument::WriteTexture(GltfTexture* texture) {
    const auto known = textureIds.find(texture);
    if (known != textureIds.end()) return known->second;

    GltfImage image{texture->imagePath, mimeKindOf(texture->imagePath)};
    const int32_t source = WriteImage(image);
    if (source < 0) return kGltfNoIndex;
    const int32_t sampler =
        WriteSampler(gltfWrapCode(texture->wrapU), gltfWrapCode(texture->wrapV));

    GltfJsonAllocator& allocator = json->allocator;
    Value object(rapidjson::kObjectType);
    object.AddMember("name", copiedString(texture->name, allocator), allocator);
    addUintMember(object, "sampler", static_cast<uint32_t>(sampler), allocator);
    addUintMember(object, "source", static_cast<uint32_t>(source), allocator);
    const uint32_t index = pushToArray(json->textures, object, allocator);
    textureIds.emplace(texture, index);
    return index;
}

// Deliberate: one sampler per texture, never shared, and without filters: readers pick their
// own.
int32_t GltfDocument::WriteSampler(uint32_t wrapS, uint32_t wrapT) {
    GltfJsonAllocator& allocator = json->allocator;
    Value object(rapidjson::kObjectType);
    addUintMember(object, "wrapS", wrapS, allocator);
    addUintMember(object, "wrapT", wrapT, allocator);
    return static_cast<int32_t>(pushToArray(json->samplers, object, allocator));
}

// Cached by the path string as given; deliberately, two spellings of one file make two images.
//
// Only the size is taken here. The image chunk carries the path; WriteChunks copies the file
// beside a .gltf, or streams its bytes into the BIN chunk of a .glb, padded to 4 so that the
// views behind it stay on the grid. The view's length counts that pad.
int32_t GltfDocument::WriteImage(GltfImage& image) {
    const auto known = imageIds.find(image.path);
    if (known != imageIds.end()) return known->second;

    uint32_t size = 0;
    if (!measureFile(image.path, size)) {
        if (log) log->LogError("Image file path: %s doesn't exist!", image.path.c_str());
        return -1;
    }

    GltfJsonAllocator& allocator = json->allocator;
    Value object(rapidjson::kObjectType);
    // Nothing for other kinds: glTF knows only these two, and the file is exported regardless.
    if (image.mimeKind == GltfImageKind::Png) object.AddMember("mimeType", "image/png", allocator);
    if (image.mimeKind == GltfImageKind::Jpeg)
        object.AddMember("mimeType", "image/jpeg", allocator);

    const uint32_t padBytes = (0u - size) & 3u;
    const uint32_t byteLength = size + padBytes;
    if (outputKind != kGltfOutputGlb) {
        // The copy lands beside the .gltf under the file's own name; deliberately no directory
        // and no escaping.
        object.AddMember("uri", copiedString(BaseNameOf(image.path), allocator), allocator);
        // Listed for the copying only: it adds nothing to the buffer, so it needs no pad.
        AddChunk(GltfBufferChunk::ForImage(image.path, byteLength, 0));
    } else {
        const uint32_t view =
            AddChunkView(GltfBufferChunk::ForImage(image.path, byteLength, padBytes));
        addUintMember(object, "bufferView", view, allocator);
    }

    const int32_t index = static_cast<int32_t>(pushToArray(json->images, object, allocator));
    imageIds.emplace(image.path, index);
    return index;
}
