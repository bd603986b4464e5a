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
// that go to the file, all through one helper (AttributeBlocks::Add): a new attribute is one
// small write function and, if it has a table of its own, one more key column.
//
// Nothing here trusts the tables blindly: WriteMesh checks them first (meshTableFault), and a
// mesh that fails is logged and left out, so no entry read below can be out of range.
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

// The most corners a mesh, or one primitive, may have: with up to four numbers a vertex, every
// block's number count still fits the 32 bits that chunks and accessors count in.
constexpr size_t kMaxCorners = 0xFFFFFFFFu / 4;

// ---- The table check ---------------------------------------------------------------------------

// True when every number is below `limit`. One pass without an early exit, which the compiler
// turns into a vector maximum.
bool allBelow(const std::vector<uint32_t>& numbers, size_t limit) {
    uint32_t highest = 0;
    for (const uint32_t number : numbers)
        highest = std::max(highest, number);
    return numbers.empty() || highest < limit;
}

// What is wrong with one per-corner table, or empty: its size first, then its entries.
std::string tableFault(const std::string& table, const std::vector<uint32_t>& index, size_t corners,
                       size_t values) {
    if (index.size() != corners)
        return table + " table has " + std::to_string(index.size()) + " entries for " +
               std::to_string(corners) + " triangle corners";
    if (!allBelow(index, values))
        return table + " table names an entry past its " + std::to_string(values) + " values";
    return std::string();
}

// What is wrong with the tables the writer reads, or empty when they hold what GltfMesh
// promises. Sizes are compared before entries are read; each entry is read once.
std::string meshTableFault(const GltfMesh& mesh) {
    const size_t corners = size_t{3} * mesh.triangleCount;
    if (corners > kMaxCorners) return std::to_string(corners) + " triangle corners are too many";
    for (const GltfPrimitiveEntry& entry : mesh.primitives) {
        const std::vector<uint32_t>& triangles = entry.second.triangles;
        if (triangles.size() > kMaxCorners / 3)
            return "primitive " + entry.first + " has too many triangles";
        if (!allBelow(triangles, mesh.triangleCount))
            return "primitive " + entry.first + " names a triangle past the mesh's " +
                   std::to_string(mesh.triangleCount);
    }
    for (const auto& skin : mesh.skins)
        if (skin->jointIndices.size() < mesh.positions.size() ||
            skin->weights.size() < mesh.positions.size())
            return "skin " + skin->name + " has no row for every point";
    std::string fault = tableFault("point", mesh.pointIndex, corners, mesh.positions.size());
    if (fault.empty()) fault = tableFault("normal", mesh.normalIndex, corners, mesh.normals.size());
    for (size_t n = 0; fault.empty() && n < mesh.colorMaps.size(); ++n)
        fault = tableFault("colour map " + std::to_string(n), mesh.colorMaps[n]->index, corners,
                           mesh.colorMaps[n]->values.size());
    for (size_t n = 0; fault.empty() && n < mesh.uvMaps.size(); ++n)
        fault = tableFault("UV map " + std::to_string(n), mesh.uvMaps[n]->index, corners,
                           mesh.uvMaps[n]->values.size());
    // Only the first tangent map is written, so only it is read.
    if (fault.empty() && !mesh.tangentMaps.empty())
        fault = tableFault("tangent map", mesh.tangentMaps[0]->index, corners,
                           mesh.tangentMaps[0]->values.size());
    return fault;
}

// ---- Welding -----------------------------------------------------------------------------------

// The tables of a vertex key, in this order: the point, the normal, the colour maps, the UV maps,
// the tangent map. A skin's rows are those of the corner's point, so the point stands for them.
struct KeyColumns {
    static constexpr size_t point = 0;
    static constexpr size_t normal = 1;
    std::vector<const uint32_t*> columns;
    size_t firstColor = 0;
    size_t firstUv = 0;
    size_t tangent = 0; // meaningful only when the mesh has a tangent map
};

// Only the first tangent map is written.
const GltfTangentMap* writtenTangentMap(const GltfMesh& mesh) {
    return mesh.tangentMaps.empty() ? nullptr : mesh.tangentMaps[0].get();
}

KeyColumns keyColumnsOf(const GltfMesh& mesh) {
    KeyColumns key;
    key.columns = {mesh.pointIndex.data(), mesh.normalIndex.data()};
    key.firstColor = key.columns.size();
    for (const auto& map : mesh.colorMaps)
        key.columns.push_back(map->index.data());
    key.firstUv = key.columns.size();
    for (const auto& map : mesh.uvMaps)
        key.columns.push_back(map->index.data());
    key.tangent = key.columns.size();
    if (const GltfTangentMap* tangents = writtenTangentMap(mesh))
        key.columns.push_back(tangents->index.data());
    return key;
}

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
        for (size_t at = KeyColumns::point; at < keys.size(); at += width)
            heads[keys[at]] = kNoVertex;
    }
    VertexWelder(const VertexWelder&) = delete;
    VertexWelder& operator=(const VertexWelder&) = delete;

    uint32_t Weld(uint32_t corner) {
        uint32_t& head = heads[columns[KeyColumns::point][corner]];
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
        for (size_t c = KeyColumns::point + 1; c < width; ++c)
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
template <typename Component> class BlockWriter {
public:
    explicit BlockWriter(GltfBufferChunk& chunk) : at(chunk.data.data()) {}
    void Put(Component value) {
        std::memcpy(at, &value, sizeof value);
        at += sizeof value;
    }
    void Put(const Component* values, size_t count) {
        for (size_t i = 0; i < count; ++i)
            Put(values[i]);
    }

private:
    unsigned char* at;
};

// Welds the corners of the triangles, in order, into a block of vertex numbers, each an Index.
template <typename Index>
GltfBufferChunk weldCornersAs(GltfChunkKind kind, VertexWelder& welder,
                              const std::vector<uint32_t>& triangles) {
    GltfBufferChunk indices =
        GltfBufferChunk::Zeroed(kind, static_cast<uint32_t>(triangles.size() * 3));
    BlockWriter<Index> out(indices);
    for (const uint32_t triangle : triangles)
        for (uint32_t corner = 3 * triangle; corner < 3 * triangle + 3; ++corner)
            // Deliberate: a 16-bit list keeps only the low bits of the vertex number. Mesh
            // creation refuses meshes whose corners would not fit; other fillers are trusted.
            out.Put(static_cast<Index>(welder.Weld(corner)));
    return indices;
}

GltfBufferChunk weldCorners(VertexWelder& welder, const std::vector<uint32_t>& triangles,
                            bool wideIndices) {
    return wideIndices ? weldCornersAs<uint32_t>(GltfChunkKind::Uint32, welder, triangles)
                       : weldCornersAs<uint16_t>(GltfChunkKind::Uint16, welder, triangles);
}

// "indices" has its own count, the number of corners, and no "min" or "max".
uint32_t addIndexBlock(GltfDocument& document, GltfBufferChunk indices, bool wideIndices) {
    const uint32_t count = indices.elementCount;
    const uint32_t view = document.AddChunkView(std::move(indices));
    Value min(rapidjson::kArrayType), max(rapidjson::kArrayType);
    return document.AddAccessor(view, GltfAccessorType::Scalar,
                                wideIndices ? kGltfUnsignedInt : kGltfUnsignedShort, count, 0, min,
                                max);
}

// ---- Attribute blocks --------------------------------------------------------------------------

// How a component type is stored and named.
template <typename Component> struct ComponentFormat;
template <> struct ComponentFormat<float> {
    static constexpr GltfChunkKind kind = GltfChunkKind::Float;
    static constexpr uint32_t gltfType = kGltfFloat;
};
template <> struct ComponentFormat<uint16_t> {
    static constexpr GltfChunkKind kind = GltfChunkKind::Uint16;
    static constexpr uint32_t gltfType = kGltfUnsignedShort;
};

constexpr GltfAccessorType vectorType(size_t width) {
    return width == 2   ? GltfAccessorType::Vec2
           : width == 3 ? GltfAccessorType::Vec3
                        : GltfAccessorType::Vec4;
}

// The per-axis range of the points, as "min" and "max" of "POSITION" show it.
struct Bounds {
    void Take(const float p[3]) {
        for (int i = 0; i < 3; ++i) {
            low[i] = std::min(low[i], p[i]);
            high[i] = std::max(high[i], p[i]);
        }
        any = true;
    }
    // Leaves both arrays empty, so that the accessor has neither, when no point was taken.
    void ToJson(Value& min, Value& max, GltfJsonAllocator& allocator) const {
        if (!any) return;
        for (int i = 0; i < 3; ++i) {
            min.PushBack(static_cast<double>(low[i]), allocator);
            max.PushBack(static_cast<double>(high[i]), allocator);
        }
    }

    static constexpr float kInfinity = std::numeric_limits<float>::infinity();
    float low[3] = {kInfinity, kInfinity, kInfinity};
    float high[3] = {-kInfinity, -kInfinity, -kInfinity};
    bool any = false;
};

// The attribute blocks of one primitive, each written the same way: a chunk of Width components
// a vertex filled in place, its view, its accessor of one element a vertex, and the accessor's
// name in "attributes". Chunks, views and accessors follow the order of the Add calls.
class AttributeBlocks {
public:
    AttributeBlocks(GltfDocument& document, const VertexWelder& welder, Value& attributes)
        : document(document), welder(welder), attributes(attributes),
          allocator(document.json->allocator) {}

    // fill(key, out) puts the Width components of the vertex whose table entries are `key`
    // (see KeyColumns). `bounds`, when given, is read after the fill for "min" and "max".
    template <typename Component, size_t Width, typename Fill>
    void Add(Value name, Fill fill, const Bounds* bounds = nullptr) {
        using Format = ComponentFormat<Component>;
        const uint32_t vertexCount = welder.VertexCount();
        GltfBufferChunk block =
            GltfBufferChunk::Zeroed(Format::kind, static_cast<uint32_t>(Width * vertexCount));
        BlockWriter<Component> out(block);
        for (uint32_t v = 0; v < vertexCount; ++v)
            fill(welder.Key(v), out);
        Value min(rapidjson::kArrayType), max(rapidjson::kArrayType);
        if (bounds) bounds->ToJson(min, max, allocator);
        const uint32_t view = document.AddChunkView(std::move(block));
        const uint32_t accessor = document.AddAccessor(view, vectorType(Width), Format::gltfType,
                                                       vertexCount, 0, min, max);
        attributes.AddMember(name, Value(accessor), allocator);
    }

    // "SET_n" for the n-th set of an attribute.
    Value Numbered(const char* prefix, size_t number) {
        return Value(std::string(prefix) + std::to_string(number), allocator);
    }

private:
    GltfDocument& document;
    const VertexWelder& welder;
    Value& attributes;
    GltfJsonAllocator& allocator;
};

using FloatOut = BlockWriter<float>;
using Uint16Out = BlockWriter<uint16_t>;

// A skinned mesh in world space has its points moved by its node's matrix (the node then goes
// out decomposed). Deliberate: its normals and tangents are left as they are, and the matrix is
// that of the mesh's last node, whichever node is being written.
const GltfMatrix* worldMatrixOf(const GltfMesh& mesh, uint32_t skinnedMeshInWorldSpace) {
    const bool toWorld =
        !mesh.skins.empty() && skinnedMeshInWorldSpace == 1 && mesh.node != nullptr;
    return toWorld ? &mesh.node->matrix : nullptr;
}

void writePositions(AttributeBlocks& blocks, const GltfMesh& mesh, const GltfMatrix* toWorld) {
    Bounds bounds;
    auto fill = [&](const uint32_t* key, FloatOut& out) {
        const GltfVec3& point = mesh.positions[key[KeyColumns::point]];
        float p[3] = {static_cast<float>(point[0]), static_cast<float>(point[1]),
                      static_cast<float>(point[2])};
        if (toWorld) {
            // Deliberate: the narrowed point, moved in doubles, narrowed again.
            const GltfMatrix& m = *toWorld;
            const double x = p[0], y = p[1], z = p[2];
            p[0] = static_cast<float>(m[0] * x + m[4] * y + m[8] * z + m[12]);
            p[1] = static_cast<float>(m[1] * x + m[5] * y + m[9] * z + m[13]);
            p[2] = static_cast<float>(m[2] * x + m[6] * y + m[10] * z + m[14]);
        }
        bounds.Take(p);
        out.Put(p, 3);
    };
    blocks.Add<float, 3>(Value(rapidjson::StringRef("POSITION")), fill, &bounds);
}

// The normal of a vertex as "NORMAL" has it; the tangents are computed against it.
void normalOf(const GltfMesh& mesh, const uint32_t* key, float normal[3]) {
    const GltfVec3& stored = mesh.normals[key[KeyColumns::normal]];
    for (int i = 0; i < 3; ++i)
        normal[i] = static_cast<float>(stored[i]);
}

void writeNormals(AttributeBlocks& blocks, const GltfMesh& mesh) {
    auto fill = [&](const uint32_t* key, FloatOut& out) {
        float normal[3];
        normalOf(mesh, key, normal);
        out.Put(normal, 3);
    };
    blocks.Add<float, 3>(Value(rapidjson::StringRef("NORMAL")), fill);
}

void writeColors(AttributeBlocks& blocks, const GltfMesh& mesh, size_t firstColumn) {
    for (size_t n = 0; n < mesh.colorMaps.size(); ++n) {
        const GltfColorMap& map = *mesh.colorMaps[n];
        auto fill = [&](const uint32_t* key, FloatOut& out) {
            out.Put(map.values[key[firstColumn + n]].data(), 4);
        };
        blocks.Add<float, 4>(blocks.Numbered("COLOR_", n), fill);
    }
}

// glTF's v runs down the image, the host's up.
void writeUvs(AttributeBlocks& blocks, const GltfMesh& mesh, size_t firstColumn) {
    for (size_t n = 0; n < mesh.uvMaps.size(); ++n) {
        const GltfUvMap& map = *mesh.uvMaps[n];
        auto fill = [&](const uint32_t* key, FloatOut& out) {
            const std::array<float, 2>& uv = map.values[key[firstColumn + n]];
            out.Put(uv[0]);
            out.Put(1.0f - uv[1]);
        };
        blocks.Add<float, 2>(blocks.Numbered("TEXCOORD_", n), fill);
    }
}

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
        // Deliberate: only this sum is tested, and only from below; a large positive value
        // passes however far the basis is from orthonormal.
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

void writeTangents(AttributeBlocks& blocks, const GltfMesh& mesh, const GltfTangentMap& tangents,
                   size_t column, GltfLogMsg* log) {
    bool ok = true;
    auto fill = [&](const uint32_t* key, FloatOut& out) {
        float normal[3], tangent[4];
        normalOf(mesh, key, normal);
        tangentOf(tangents.values[key[column]], normal, tangent, ok);
        out.Put(tangent, 4);
    };
    blocks.Add<float, 4>(Value(rapidjson::StringRef("TANGENT")), fill);
    // Once per primitive; the tangents are written all the same.
    if (!ok && log)
        log->LogWarning("Tangent basis is not orthonormal. External previewers could have "
                        "unexpected surface results.");
}

// All joints attributes, then all weights (writeWeights). Unused slots are 0.
void writeJoints(AttributeBlocks& blocks, const GltfMesh& mesh) {
    for (size_t n = 0; n < mesh.skins.size(); ++n) {
        const GltfSkin& skin = *mesh.skins[n];
        auto fill = [&](const uint32_t* key, Uint16Out& out) {
            // Joint numbers are whole and small; the conversion cuts toward zero.
            for (const double joint : skin.jointIndices[key[KeyColumns::point]])
                out.Put(static_cast<uint16_t>(static_cast<uint32_t>(joint)));
        };
        blocks.Add<uint16_t, 4>(blocks.Numbered("JOINTS_", n), fill);
    }
}

// Deliberate: weights are written as stored, not normalised.
void writeWeights(AttributeBlocks& blocks, const GltfMesh& mesh) {
    for (size_t n = 0; n < mesh.skins.size(); ++n) {
        const GltfSkin& skin = *mesh.skins[n];
        auto fill = [&](const uint32_t* key, FloatOut& out) {
            for (const double weight : skin.weights[key[KeyColumns::point]])
                out.Put(static_cast<float>(weight));
        };
        blocks.Add<float, 4>(blocks.Numbered("WEIGHTS_", n), fill);
    }
}

// A name without an entry in `materials`, or with a null one, gets material 0, the default.
uint32_t writeMaterialOf(GltfDocument& document, GltfMesh* mesh, const std::string& name) {
    const auto found = mesh->materials.find(name);
    if (found == mesh->materials.end() || !found->second) return 0;
    return document.WriteMaterial(found->second, mesh);
}

} // namespace

// Runs for every node that refers to the mesh: two nodes sharing one GltfMesh get two entries
// in "meshes", each with its own data (deliberate: each node's entry stands alone).
//
// The tables are checked here, not at the end of mesh creation: this is the one code that reads
// them, so the check guards every filler (mesh creation, the skin rows added after it, and
// whatever fills records next), and it sees the mesh complete. It runs once per mesh written,
// before any primitive, and costs a small part of the welding it protects.
uint32_t GltfDocument::WriteMesh(GltfMesh* mesh) {
    if (mesh->positions.empty() || mesh->primitives.empty()) return kGltfNoIndex;
    const std::string fault = meshTableFault(*mesh);
    if (!fault.empty()) {
        if (log)
            log->LogError("Mesh of node:%s skipped: its %s",
                          mesh->node ? mesh->node->name.c_str() : "", fault.c_str());
        return kGltfNoIndex;
    }
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
    // Deliberate: a mesh has no "name".
    Value object(rapidjson::kObjectType);
    object.AddMember("primitives", primitives, allocator);
    return pushToArray(json->meshes, object, allocator);
}

// Weld, then one block per attribute. "indices" comes second in the buffer, after "POSITION",
// but first among the primitive's members.
void GltfDocument::WritePrimitive(GltfMesh* mesh, const GltfPrimitiveEntry& entry,
                                  GltfJsonValue& primitives) {
    GltfJsonAllocator& allocator = json->allocator;
    assert(weldHeads.size() >= mesh->positions.size()); // sized by WriteMesh
    const bool wideIndices = useUint32Indices != 0;
    const KeyColumns key = keyColumnsOf(*mesh);
    const std::vector<uint32_t>& triangles = entry.second.triangles;

    VertexWelder welder(key.columns, weldHeads, triangles.size() * 3);
    GltfBufferChunk indices = weldCorners(welder, triangles, wideIndices);

    Value attributes(rapidjson::kObjectType);
    AttributeBlocks blocks(*this, welder, attributes);
    writePositions(blocks, *mesh, worldMatrixOf(*mesh, skinnedMeshInWorldSpace));
    const uint32_t indicesAccessor = addIndexBlock(*this, std::move(indices), wideIndices);
    writeNormals(blocks, *mesh);
    writeColors(blocks, *mesh, key.firstColor);
    writeUvs(blocks, *mesh, key.firstUv);
    if (const GltfTangentMap* tangents = writtenTangentMap(*mesh))
        writeTangents(blocks, *mesh, *tangents, key.tangent, log);
    writeJoints(blocks, *mesh);
    writeWeights(blocks, *mesh);
    const uint32_t material = writeMaterialOf(*this, mesh, entry.first);

    Value primitive(rapidjson::kObjectType);
    addUintMember(primitive, "indices", indicesAccessor, allocator);
    addUintMember(primitive, "mode", 4, allocator);
    addUintMember(primitive, "material", material, allocator);
    primitive.AddMember("attributes", attributes, allocator);
    primitives.PushBack(primitive, allocator);
}
