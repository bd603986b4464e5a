// The one binary buffer: chunks, buffer views, accessors, and the streaming of the chunks.
//
// Serialisers do not write bytes as they go. Each hands a block over as a chunk, grows the
// buffer's "byteLength" and wraps a view and an accessor around the offset it got back; the
// chunks are streamed at the end, in the order they were added. Every chunk's byteLength is a
// multiple of 4 (16-bit lists and embedded images carry pad bytes), so every view starts on
// that grid.
#include "document/GltfJson.h"
#include "document/GltfOutput.h"
#include "document/HostPath.h"

#include <algorithm>
#include <cassert>
#include <filesystem>
#include <vector>

using namespace gltfjson;

namespace {

// The one conversion of accessor types to glTF.
const char* accessorTypeName(GltfAccessorType type) {
    switch (type) {
    case GltfAccessorType::Scalar:
        return "SCALAR";
    case GltfAccessorType::Vec2:
        return "VEC2";
    case GltfAccessorType::Vec3:
        return "VEC3";
    case GltfAccessorType::Vec4:
        return "VEC4";
    case GltfAccessorType::Mat2:
        return "MAT2";
    case GltfAccessorType::Mat3:
        return "MAT3";
    case GltfAccessorType::Mat4:
        return "MAT4";
    }
    assert(false && "unknown accessor type");
    return "SCALAR";
}

} // namespace

uint32_t GltfDocument::AddBuffer(uint32_t byteLength, const std::string& uri) {
    GltfJsonAllocator& allocator = json->allocator;
    Value buffer(rapidjson::kObjectType);
    addUintMember(buffer, "byteLength", byteLength, allocator);
    if (!uri.empty()) buffer.AddMember("uri", copiedString(uri, allocator), allocator);
    return pushToArray(json->buffers, buffer, allocator);
}

// RapidJSON asserts that the buffer exists and holds an unsigned "byteLength".
uint32_t GltfDocument::GrowBuffer(uint32_t bufferIndex, uint32_t size) {
    Value& byteLength = json->buffers[bufferIndex]["byteLength"];
    const uint32_t before = byteLength.GetUint();
    byteLength.SetUint(before + size);
    return before;
}

uint32_t GltfDocument::AddBufferView(uint32_t bufferIndex, uint32_t byteLength, uint32_t byteOffset,
                                     uint32_t byteStride, uint32_t target) {
    GltfJsonAllocator& allocator = json->allocator;
    Value view(rapidjson::kObjectType);
    addUintMember(view, "buffer", bufferIndex, allocator);
    addUintMember(view, "byteLength", byteLength, allocator);
    addMemberIfNonZero(view, "byteOffset", byteOffset, allocator);
    addMemberIfNonZero(view, "byteStride", byteStride, allocator);
    addMemberIfNonZero(view, "target", target, allocator);
    return pushToArray(json->bufferViews, view, allocator);
}

uint32_t GltfDocument::AddAccessor(uint32_t bufferView, GltfAccessorType type,
                                   uint32_t componentType, uint32_t count, uint32_t byteOffset,
                                   GltfJsonValue& min, GltfJsonValue& max) {
    GltfJsonAllocator& allocator = json->allocator;
    Value accessor(rapidjson::kObjectType);
    addUintMember(accessor, "bufferView", bufferView, allocator);
    addMemberIfNonZero(accessor, "byteOffset", byteOffset, allocator);
    accessor.AddMember("type", rapidjson::StringRef(accessorTypeName(type)), allocator);
    addUintMember(accessor, "componentType", componentType, allocator);
    addUintMember(accessor, "count", count, allocator);
    if (!min.Empty()) accessor.AddMember("min", min, allocator);
    if (!max.Empty()) accessor.AddMember("max", max, allocator);
    // Moving left them null; the caller reuses them as empty arrays.
    min.SetArray();
    max.SetArray();
    return pushToArray(json->accessors, accessor, allocator);
}

void GltfDocument::AddChunk(GltfBufferChunk chunk) {
    chunks.push_back(std::move(chunk));
}

uint32_t GltfDocument::AddChunkView(GltfBufferChunk chunk) {
    const uint32_t byteLength = chunk.byteLength;
    AddChunk(std::move(chunk));
    const uint32_t offset = GrowBuffer(0, byteLength);
    return AddBufferView(0, byteLength, offset, 0, 0);
}

// ---- Streaming ---------------------------------------------------------------------------------

namespace {

// size bytes of the file; what a short read (or a file that is gone) leaves is zeros.
std::vector<unsigned char> readImageBlock(const std::string& path, size_t size) {
    std::vector<unsigned char> block(size, 0);
    if (FILE* file = OpenHostFile(path, "rb")) {
        static_cast<void>(std::fread(block.data(), 1, size, file));
        std::fclose(file);
    }
    return block;
}

bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    return std::filesystem::equivalent(HostPathToPlatform(a), HostPathToPlatform(b), error);
}

// A byte-exact copy beside the .gltf. Failures are not reported: the JSON is already written
// and names the copy whatever happens here.
void copyImageToDirectory(const std::string& source, const std::string& directory) {
    const std::string destination = directory + BaseNameOf(source);
    // Opening the source itself for writing would empty it before it is read. The names are
    // compared first; a second spelling of the same file is caught by the file system.
    if (destination == source || isSameFile(source, destination)) return;
    FILE* in = OpenHostFile(source, "rb");
    if (!in) return;
    if (FILE* out = OpenHostFile(destination, "wb")) {
        std::vector<char> buffer(64 * 1024);
        size_t read = 0;
        while ((read = std::fread(buffer.data(), 1, buffer.size(), in)) > 0)
            if (std::fwrite(buffer.data(), 1, read, out) != read) break;
        std::fclose(out);
    }
    std::fclose(in);
}

// The block's bytes, exactly `size` of them: zeros stand in for any the block lacks.
void writeBlock(GltfOutputStream& stream, const std::vector<unsigned char>& data, size_t size) {
    assert(data.size() == size && "chunk data does not match its element count");
    const size_t present = std::min(size, data.size());
    stream.Write(data.data(), present);
    stream.WriteFill(0, size - present);
}

void writeChunkContent(const GltfBufferChunk& chunk, GltfOutputStream& stream, bool copyImages,
                       const std::string& directory) {
    switch (chunk.kind) {
    case GltfChunkKind::Uint16:
        writeBlock(stream, chunk.data, size_t{chunk.elementCount} * 2);
        break;
    case GltfChunkKind::Uint32:
    case GltfChunkKind::Float:
        writeBlock(stream, chunk.data, size_t{chunk.elementCount} * 4);
        break;
    case GltfChunkKind::ImageFile:
        if (copyImages) {
            copyImageToDirectory(chunk.imagePath, directory);
        } else {
            assert(chunk.padBytes <= chunk.byteLength);
            const size_t size = chunk.byteLength - std::min(chunk.padBytes, chunk.byteLength);
            stream.Write(readImageBlock(chunk.imagePath, size).data(), size);
        }
        break;
    default: // an unknown kind has no content
        break;
    }
}

} // namespace

namespace {

// What an image chunk adds to a .glb's BIN chunk. Its byteLength came from a 32-bit measure, so
// a file of 4 GiB or more is counted by its true size, which cannot fit.
uint64_t streamedImageLength(const GltfBufferChunk& chunk) {
    std::error_code error;
    const std::uintmax_t size =
        std::filesystem::file_size(HostPathToPlatform(chunk.imagePath), error);
    if (!error && size > kGltfMaxFileLength) return size;
    return chunk.byteLength;
}

} // namespace

uint64_t StreamedChunkLength(const std::vector<GltfBufferChunk>& chunks, bool copyImages) {
    uint64_t total = 0;
    for (const GltfBufferChunk& chunk : chunks) {
        if (chunk.kind != GltfChunkKind::ImageFile)
            total += chunk.byteLength;
        else
            total += copyImages ? chunk.padBytes : streamedImageLength(chunk);
    }
    return total;
}

// The chunks are left as they are, so the same bytes can be produced again.
void GltfDocument::WriteChunks(GltfOutputStream& stream, bool copyImages,
                               const std::string& directory) const {
    for (const GltfBufferChunk& chunk : chunks) {
        writeChunkContent(chunk, stream, copyImages, directory);
        stream.WriteFill(0, chunk.padBytes);
    }
}
