// Meshes and their primitives.
//
// A GltfMesh keeps one pool of points and per-corner index tables shared by all its materials;
// glTF wants one primitive per material, each with its own vertex arrays. A primitive welds the
// corners of its triangles into vertices: two corners are one vertex when they name the same
// entry of every table. The geometry code makes table entries unique by value, so equal indices
// mean equal data, and the welding never looks at a value.
//
// Welding is the inner loop of an export (one lookup per corner, millions on a large mesh), so
// it touches nothing per corner but the index tables, a list head and the output block: no
// allocation, no copy of a value. The attribute blocks are then filled in place in the chunks
// that go to the file.
#include "document/GltfJson.h"
#include "host/GltfLogMsg.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using namespace gltfjson;

namespace {

constexpr uint32_t kNoVertex = 0xFFFFFFFFu;

// The first two key columns; the map columns follow them.
constexpr size_t kPointColumn = 0;
constexpr size_t kNormalColumn = 1;

// Gives each corner its vertex number, numbering vertices by first use.
//
// The key of a corner is its entry in each table: its point, and its entry in every other key
// column (a per-corner index table). Vertices are found through their point: `heads` holds, for
// each point of the mesh, the newest vertex at that point, and `next` links each vertex to the
// one before it at the same point. A lookup walks that short list (one vertex per point, a few at
// a seam) and compares indices only. Nothing is hashed, neither the values nor the indices: the
// indices say all that the values would (table entries are unique by value), and a point-major
// lookup follows the order in which meshes store their points, so the few bytes it touches per
// corner are nearly always in cache. A table of hashed keys scatters every lookup over memory and
// measured three to four times slower on a million triangles.
class VertexWelder {
public:
    // heads has an entry for every point, all kNoVertex; the destructor leaves them so again,
    // touching only the points of this primitive, so that the next primitive can reuse them.
    VertexWelder(std::vector<const uint32_t*> keyColumns, std::vector<uint32_t>& heads,
                 size_t cornerCount)
        : columns(std::move(keyColumns)), width(columns.size()), heads(heads) {
        // Room for the worst case, every corner its own vertex, so the lists never move.
        // Reserved address space costs nothing until used: only the pages the vertices fill
        // are ever touched.
        keys.reserve(cornerCount * width);
        next.reserve(cornerCount);
    }
    ~VertexWelder() {
        for (size_t at = kPointColumn; at < keys.size(); at += width)
            heads[keys[at]] = kNoVertex;
    }
    VertexWelder(const VertexWelder&) = delete;
    VertexWelder& operator=(const VertexWelder&) = delete;

    uint32_t Weld(uint32_t corner) {
        uint32_t& head = heads[columns[kPointColumn][corner]];
        for (uint32_t vertex = head; vertex != kNoVertex; vertex = next[vertex])
            if (SameEntries(&keys[vertex * width], corner)) return vertex;
        const auto added = static_cast<uint32_t>(next.size());
        for (const uint32_t* column : columns)
            keys.push_back(column[corner]);
        next.push_back(head);
        head = added;
        return added;
    }

    uint32_t VertexCount() const { return static_cast<uint32_t>(next.size()); }
    // The table entries of vertex v, one per key column.
    const uint32_t* Key(uint32_t vertex) const { return &keys[size_t{vertex} * width]; }

private:
    // Same entries of every column but the points', which the list already shares.
    bool SameEntries(const uint32_t* key, uint32_t corner) const {
        for (size_t c = kPointColumn + 1; c < width; ++c)
            if (key[c] != columns[c][corner]) return false;
        return true;
    }

    std::vector<const uint32_t*> columns;
    size_t width;
    std::vector<uint32_t>& heads;
    std::vector<uint32_t> keys; // width entries per vertex
    std::vector<uint32_t> next;
};

// Writes consecutive numbers into a chunk's block. memcpy keeps the stores free of aliasing
// questions; each compiles to a plain store.
class BlockWriter {
public:
    explicit BlockWriter(GltfBufferChunk& chunk) : at(chunk.data.data()) {}
    void Float(float value) { Put(value); }
    void Uint16(uint16_t value) { Put(value); }

private:
    template <typename T> void Put(T value) {
        std::memcpy(at, &value, sizeof value);
        at += sizeof value;
    }
    unsigned char* at;
};

// Above it, the sum of the components of t x b less those of n passes the tangent check. The
// float with the bits 0xB6000000.
constexpr float kTangentTolerance = -0x1p-19f;

// One vertex of "TANGENT", in 32-bit floats: the tangent normalised (or (1, 0, 0) when it has
// no length), and w the handedness of the basis. n is the normal as written. Clears ok when the
// basis fails the one-sided check; a zero tangent is not checked.
void tangentOf(const std::array<float, 6>& basis, const float n[3], float out[4], bool& ok) {
    const float t0 = basis[0], t1 = basis[1], t2 = basis[2];
    const float b0 = basis[3], b1 = basis[4], b2 = basis[5];
    if (!(t0 == 0.0f && t1 == 0.0f && t2 == 0.0f)) {
        // Only this sum is tested, and only from below: a large positive value passes.
        const float s = (b1 - b2) * t0 + (b2 - b0) * t1 + (b0 - b1) * t2 - n[0] - n[1] - n[2];
        if (!(s > kTangentTolerance)) ok = false;
    }
    const float length = std::sqrt(t0 * t0 + t1 * t1 + t2 * t2);
    if (length > 0.0f) {
        out[0] = t0 / length;
        out[1] = t1 / length;
        out[2] = t2 / length;
    } else {
        out[0] = 1.0f;
        out[1] = 0.0f;
        out[2] = 0.0f;
    }
    const float handedness =
        (n[1] * t2 - n[2] * t1) * b0 + (n[2] * t0 - n[0] * t2) * b1 + (n[0] * t1 - n[1] * t0) * b2;
    out[3] = handedness < 0.0f ? -1.0f : 1.0f;
}

// Welds the corners of the triangles, in order, writing each corner's vertex number as an
// Index into the block.
template <typename Index>
void weldTriangles(VertexWelder& welder, const std::vector<uint32_t>& triangles,
                   GltfBufferChunk& indices) {
    unsigned char* at = indices.data.data();
    for (const uint32_t triangle : triangles) {
        for (uint32_t corner = 3 * triangle; corner < 3 * triangle + 3; ++corner) {
            // Only the low bits reach a 16-bit list; mesh creation refuses meshes whose corners
            // would not fit.
            const auto vertex = static_cast<Index>(welder.Weld(corner));
            std::memcpy(at, &vertex, sizeof vertex);
            at += sizeof vertex;
        }
    }
}

Value attributeName(const char* prefix, size_t number, GltfJsonAllocator& allocator) {
    return Value(std::string(prefix) + std::to_string(number), allocator);
}

} // namespace

// Runs for every node that refers to the mesh: two nodes sharing one GltfMesh get two entries
// in "meshes", each with its own data.
uint32_t GltfDocument::WriteMesh(GltfMesh* mesh) {
    if (mesh->positions.empty() || mesh->primitives.empty()) return kGltfNoIndex;
    GltfJsonAllocator& allocator = json->allocator;
    Value primitives(rapidjson::kArrayType);
    // One list head per point, shared by the primitives; each leaves it as it found it.
    weldHeads.assign(mesh->positions.size(), kNoVertex);
    for (const GltfPrimitiveEntry& entry : mesh->primitives)
        WritePrimitive(mesh, entry, primitives);
    std::vector<uint32_t>().swap(weldHeads);
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

// Chunks, views and accessors follow the order of the attributes below; "indices" comes second
// in the buffer, after "POSITION", but first among the primitive's members.
void GltfDocument::WritePrimitive(GltfMesh* mesh, const GltfPrimitiveEntry& entry,
                                  GltfJsonValue& primitives) {
    GltfJsonAllocator& allocator = json->allocator;
    const std::vector<uint32_t>& triangles = entry.second.triangles;
    const auto indexCount = static_cast<uint32_t>(triangles.size() * 3);
    const GltfTangentMap* tangents =
        mesh->tangentMaps.empty() ? nullptr : mesh->tangentMaps[0].get();

    // Weld. A skin's rows are those of the corner's point, so the point stands for them in the
    // key.
    std::vector<const uint32_t*> keyColumns(2);
    keyColumns[kPointColumn] = mesh->pointIndex.data();
    keyColumns[kNormalColumn] = mesh->normalIndex.data();
    const size_t colorColumn = keyColumns.size();
    for (const auto& map : mesh->colorMaps)
        keyColumns.push_back(map->index.data());
    const size_t uvColumn = keyColumns.size();
    for (const auto& map : mesh->uvMaps)
        keyColumns.push_back(map->index.data());
    const size_t tangentColumn = keyColumns.size();
    if (tangents) keyColumns.push_back(tangents->index.data());
#ifndef NDEBUG
    for (const uint32_t triangle : triangles)
        assert(size_t{3} * triangle + 2 < mesh->pointIndex.size());
    for (const uint32_t point : mesh->pointIndex)
        assert(point < mesh->positions.size());
    assert(mesh->normalIndex.size() == mesh->pointIndex.size());
    for (const auto& map : mesh->colorMaps)
        assert(map->index.size() == mesh->pointIndex.size());
    for (const auto& map : mesh->uvMaps)
        assert(map->index.size() == mesh->pointIndex.size());
    assert(!tangents || tangents->index.size() == mesh->pointIndex.size());
    for (const auto& skin : mesh->skins)
        assert(skin->jointIndices.size() >= mesh->positions.size() &&
               skin->weights.size() >= mesh->positions.size());
#endif
    // WriteMesh sizes it once for all its primitives; a lone call sizes it here.
    if (weldHeads.size() < mesh->positions.size())
        weldHeads.assign(mesh->positions.size(), kNoVertex);

    VertexWelder welder(std::move(keyColumns), weldHeads, indexCount);
    const bool wideIndices = useUint32Indices != 0;
    GltfBufferChunk indices = GltfBufferChunk::Zeroed(
        wideIndices ? GltfChunkKind::Uint32 : GltfChunkKind::Uint16, indexCount);
    if (wideIndices)
        weldTriangles<uint32_t>(welder, triangles, indices);
    else
        weldTriangles<uint16_t>(welder, triangles, indices);
    const uint32_t vertexCount = welder.VertexCount();

    Value attributes(rapidjson::kObjectType);
    Value min(rapidjson::kArrayType);
    Value max(rapidjson::kArrayType);
    // One block: chunk, view, accessor. Returns the accessor.
    auto addBlock = [&](GltfBufferChunk chunk, GltfAccessorType type, uint32_t componentType) {
        const uint32_t view = AddChunkView(std::move(chunk));
        return AddAccessor(view, type, componentType, vertexCount, 0, min, max);
    };
    auto addAttribute = [&](Value name, GltfBufferChunk chunk, GltfAccessorType type,
                            uint32_t componentType) {
        attributes.AddMember(name, Value(addBlock(std::move(chunk), type, componentType)),
                             allocator);
    };

    // "POSITION". A skinned mesh in world space has its points moved by its node's matrix (the
    // node then goes out decomposed); its normals and tangents are left as they are.
    {
        const bool toWorld =
            !mesh->skins.empty() && skinnedMeshInWorldSpace == 1 && mesh->node != nullptr;
        const GltfMatrix& m = toWorld ? mesh->node->matrix : kGltfIdentityMatrix;
        GltfBufferChunk block = GltfBufferChunk::Zeroed(GltfChunkKind::Float, 3 * vertexCount);
        BlockWriter out(block);
        float low[3], high[3];
        for (int i = 0; i < 3; ++i) {
            low[i] = std::numeric_limits<float>::infinity();
            high[i] = -std::numeric_limits<float>::infinity();
        }
        for (uint32_t v = 0; v < vertexCount; ++v) {
            const GltfVec3& point = mesh->positions[welder.Key(v)[kPointColumn]];
            float p[3] = {static_cast<float>(point[0]), static_cast<float>(point[1]),
                          static_cast<float>(point[2])};
            if (toWorld) {
                // The narrowed point, moved in doubles, narrowed again.
                const double x = p[0], y = p[1], z = p[2];
                p[0] = static_cast<float>(m[0] * x + m[4] * y + m[8] * z + m[12]);
                p[1] = static_cast<float>(m[1] * x + m[5] * y + m[9] * z + m[13]);
                p[2] = static_cast<float>(m[2] * x + m[6] * y + m[10] * z + m[14]);
            }
            for (int i = 0; i < 3; ++i) {
                out.Float(p[i]);
                low[i] = std::min(low[i], p[i]);
                high[i] = std::max(high[i], p[i]);
            }
        }
        if (vertexCount != 0) {
            for (int i = 0; i < 3; ++i) {
                min.PushBack(static_cast<double>(low[i]), allocator);
                max.PushBack(static_cast<double>(high[i]), allocator);
            }
        }
        addAttribute(Value(rapidjson::StringRef("POSITION")), std::move(block),
                     GltfAccessorType::Vec3, kGltfFloat);
    }

    // "indices" has its own count, the number of corners.
    const uint32_t indicesView = AddChunkView(std::move(indices));
    const uint32_t indicesAccessor =
        AddAccessor(indicesView, GltfAccessorType::Scalar,
                    wideIndices ? kGltfUnsignedInt : kGltfUnsignedShort, indexCount, 0, min, max);

    // The normal of a vertex as "NORMAL" has it; the tangents are computed against it.
    auto vertexNormal = [&](uint32_t vertex, float normal[3]) {
        const GltfVec3& stored = mesh->normals[welder.Key(vertex)[kNormalColumn]];
        for (int i = 0; i < 3; ++i)
            normal[i] = static_cast<float>(stored[i]);
    };

    {
        GltfBufferChunk block = GltfBufferChunk::Zeroed(GltfChunkKind::Float, 3 * vertexCount);
        unsigned char* at = block.data.data();
        for (uint32_t v = 0; v < vertexCount; ++v) {
            float normal[3];
            vertexNormal(v, normal);
            std::memcpy(at, normal, sizeof normal);
            at += sizeof normal;
        }
        addAttribute(Value(rapidjson::StringRef("NORMAL")), std::move(block),
                     GltfAccessorType::Vec3, kGltfFloat);
    }

    for (size_t n = 0; n < mesh->colorMaps.size(); ++n) {
        const GltfColorMap& map = *mesh->colorMaps[n];
        GltfBufferChunk block = GltfBufferChunk::Zeroed(GltfChunkKind::Float, 4 * vertexCount);
        unsigned char* at = block.data.data();
        for (uint32_t v = 0; v < vertexCount; ++v) {
            std::memcpy(at, map.values[welder.Key(v)[colorColumn + n]].data(), 4 * sizeof(float));
            at += 4 * sizeof(float);
        }
        addAttribute(attributeName("COLOR_", n, allocator), std::move(block),
                     GltfAccessorType::Vec4, kGltfFloat);
    }

    // glTF's v runs down the image, the host's up.
    for (size_t n = 0; n < mesh->uvMaps.size(); ++n) {
        const GltfUvMap& map = *mesh->uvMaps[n];
        GltfBufferChunk block = GltfBufferChunk::Zeroed(GltfChunkKind::Float, 2 * vertexCount);
        BlockWriter out(block);
        for (uint32_t v = 0; v < vertexCount; ++v) {
            const std::array<float, 2>& uv = map.values[welder.Key(v)[uvColumn + n]];
            out.Float(uv[0]);
            out.Float(1.0f - uv[1]);
        }
        addAttribute(attributeName("TEXCOORD_", n, allocator), std::move(block),
                     GltfAccessorType::Vec2, kGltfFloat);
    }

    if (tangents) {
        GltfBufferChunk block = GltfBufferChunk::Zeroed(GltfChunkKind::Float, 4 * vertexCount);
        unsigned char* at = block.data.data();
        bool ok = true;
        for (uint32_t v = 0; v < vertexCount; ++v) {
            float normal[3], tangent[4];
            vertexNormal(v, normal);
            tangentOf(tangents->values[welder.Key(v)[tangentColumn]], normal, tangent, ok);
            std::memcpy(at, tangent, sizeof tangent);
            at += sizeof tangent;
        }
        // Once per primitive; the tangents are written all the same.
        if (!ok && log)
            log->LogWarning("Tangent basis is not orthonormal. External previewers could have "
                            "unexpected surface results.");
        addAttribute(Value(rapidjson::StringRef("TANGENT")), std::move(block),
                     GltfAccessorType::Vec4, kGltfFloat);
    }

    // All joints attributes, then all weights. Unused slots are 0; weights are not normalised.
    for (size_t n = 0; n < mesh->skins.size(); ++n) {
        const GltfSkin& skin = *mesh->skins[n];
        GltfBufferChunk block = GltfBufferChunk::Zeroed(GltfChunkKind::Uint16, 4 * vertexCount);
        BlockWriter out(block);
        for (uint32_t v = 0; v < vertexCount; ++v)
            for (const double joint : skin.jointIndices[welder.Key(v)[kPointColumn]])
                // Joint numbers are whole and small; the conversion cuts toward zero.
                out.Uint16(static_cast<uint16_t>(static_cast<uint32_t>(joint)));
        addAttribute(attributeName("JOINTS_", n, allocator), std::move(block),
                     GltfAccessorType::Vec4, kGltfUnsignedShort);
    }
    for (size_t n = 0; n < mesh->skins.size(); ++n) {
        const GltfSkin& skin = *mesh->skins[n];
        GltfBufferChunk block = GltfBufferChunk::Zeroed(GltfChunkKind::Float, 4 * vertexCount);
        BlockWriter out(block);
        for (uint32_t v = 0; v < vertexCount; ++v)
            for (const double weight : skin.weights[welder.Key(v)[kPointColumn]])
                out.Float(static_cast<float>(weight));
        addAttribute(attributeName("WEIGHTS_", n, allocator), std::move(block),
                     GltfAccessorType::Vec4, kGltfFloat);
    }

    // A name without an entry in `materials` gets material 0, the default.
    uint32_t material = 0;
    const auto found = mesh->materials.find(entry.first);
    if (found != mesh->materials.end() && found->second)
        material = WriteMaterial(found->second, mesh);

    Value primitive(rapidjson::kObjectType);
    addUintMember(primitive, "indices", indicesAccessor, allocator);
    addUintMember(primitive, "mode", 4, allocator);
    addUintMember(primitive, "material", material, allocator);
    primitive.AddMember("attributes", attributes, allocator);
    primitives.PushBack(primitive, allocator);
}
