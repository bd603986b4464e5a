// Geometry export: one host mesh item becomes one GltfMesh record.
//
// No vertex is split here. Every point of the mesh goes to `positions` once, in the host's
// order; every triangle corner then gets an entry in per-corner tables (which point, normal,
// colour, UV, tangent frame), each table holding unique values compared exactly. The writer
// welds corners into glTF vertices per primitive, by those indices.
//
// The steps, all inside GltfSaver::CreateMesh (GltfMeshCreate.cpp):
//   set-up      list the host's vertex maps and prepare a table for each (GltfVertexMaps.cpp)
//   point walk  OnPoint: positions and the point id -> index table
//   polygon walk OnPolygon: triangles, primitives by "MATR" tag, parts by "PART" tag (each
//              found once a polygon), and the corner step for every attribute; UVs are reduced
//              per point as the corners come
//   resolve     the UV entry kept for unmapped corners is given up when no corner needed it
// A large mesh is walked in a few tens of bytes a corner. The point is looked up once a corner,
// and the normal and colour entries are unique per point, where a point's short list is read
// instead of a table over the whole mesh (UniqueValueTable.h).
// Host answers can leave the tables out of step (a corner whose point the walk did not see, a
// triangle the host would not hand out). Creation records them as they come; the writer checks
// the finished record and refuses such a mesh with an error (GltfDocument::WriteMesh).
#pragma once

#include "document/GltfDocument.h"
#include "geometry/UniqueValueTable.h"
#include "host/CQvImpl.h"
#include "host/CQvUser.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class GltfLogMsg;

struct MeshMapListing {
    std::string name;
    QvMapId id = nullptr;
};

// A document map and the host map it is read from.
template <class Map> struct MapEntry {
    Map* map = nullptr;
    QvMapId id = nullptr;
};

// One UV map while the polygons are walked. Each corner gets its entry as it comes: values are
// unique per point (compared exactly, so a NaN never matches), and index 0 stands for every
// unmapped corner until the walk ends; resolveUvMap then drops it when no corner needed it.
// Keeping only the per-corner index, not the corner's value, is what holds a large mesh's
// UV tables to 4 bytes a corner.
struct UvWork {
    GltfLogMsg* log = nullptr;
    GltfUvMap* map = nullptr;
    // The values of one point form a list: its newest entry, then the entry before it at the
    // same point, by entry of `map->values`.
    std::vector<uint32_t> newestAtPoint; // per point, and one for ids the point walk did not see
    std::vector<uint32_t> nextAtPoint;   // per entry
    bool complete = true;
};
// Stands for a corner whose id the point walk did not see. Deliberate: a point index too large
// for 31 bits is noPoint too, and all noPoint corners are reduced as one group.
constexpr uint32_t noPoint = 0x7FFFFFFFu;
constexpr uint32_t noEntry = 0xFFFFFFFFu;

// Point id -> index in positions, open addressing over the handle's bits.
class PointIndexTable {
public:
    void Reserve(size_t points);
    void Insert(QvPointId id, uint32_t index);
    // False when the id was not seen by the point walk.
    bool Find(QvPointId id, uint32_t& index) const;
    void Clear();

private:
    // Twelve bytes, not the sixteen of a pointer and an index side by side: the id in two halves.
    struct Slot {
        uint32_t idLow = 0, idHigh = 0;
        uint32_t index = 0;
        QvPointId Id() const {
            return reinterpret_cast<QvPointId>((uint64_t{idHigh} << 32) | idLow);
        }
    };
    void Put(QvPointId id, uint32_t index, size_t at);

    std::vector<Slot> slots;
    size_t count = 0;
};

using NormalValue = std::array<double, 3>;
using ColorValue = std::array<float, 4>;
using TangentValue = std::array<float, 6>;

// Counts the points that have a value in the selected map.
class MeshMapContentVisitor final : public CQvImpl_AbstractVisitor {
public:
    QvResult Evaluate() override {
        ++count;
        return qvOk;
    }
    uint32_t count = 0;
};

// The record a polygon tag names, remembered for the next polygon: neighbouring polygons mostly
// share their tags, and the text compare is cheaper than the look-up by name.
class TagRecordCache {
public:
    GltfPrimitive* Find(InsertionOrderedMap<std::string, GltfPrimitive>& records, const char* tag) {
        if (!record || text != tag) {
            text = tag;
            record = &records[text];
        }
        return record;
    }
    void Clear() {
        text.clear();
        record = nullptr;
    }

private:
    std::string text;
    GltfPrimitive* record = nullptr;
};

// The host's objects for the mesh being built, owned by CreateMesh for the length of the walk.
struct MeshAccessors {
    CQvUser_Mesh mesh;
    CQvUser_MeshMap maps;
    CQvUser_Point points;
    CQvUser_Polygon polygons;
    bool mapsFailed = false; // no map accessor: the mesh is built without vertex maps
};

// The state of the mesh being built; one mesh at a time.
struct MeshWork {
    // Starts on `record`, reading through `host`; `corners` (from the polygon count, may be 0)
    // sizes the per-corner tables once.
    void Begin(GltfMesh* record, GltfLogMsg* saverLog, MeshAccessors& host, uint32_t pointCount,
               int32_t corners);
    void Reset();

    // Set-up: the maps of each kind, and a table for each.
    std::vector<MeshMapListing> gatherMaps(uint32_t type, bool sorted);
    void addColorMap(QvMapId id);
    void addTangentMap(QvMapId id);
    void addUvMap(const std::string& name, QvMapId id);
    // After the polygon walk: every UV map's values and per-corner index.
    void ResolveUvMaps();
    void resolveUvMap(UvWork& work);

    // Once per polygon, before its corners: selects it on the mesh's polygon accessor.
    void BeginPolygon(QvPolygonId polygonId);
    // Every table's entry for one corner of the polygon begun last.
    void AddCorner(QvPointId point);
    // Corner steps, with the polygon and the point of the corner selected. `pointIndex` is the
    // corner's place in positions, or noPoint for an id the point walk did not see.
    void AddCornerColors(QvPointId point, uint32_t pointIndex);
    void AddCornerTangents(QvPointId point);
    void AddCornerNormal(QvPointId point, uint32_t pointIndex);
    void AddCornerUvs(QvPointId point, uint32_t pointIndex);
    bool pointHasNormal(uint32_t pointIndex);
    void addCornerUv(UvWork& work, uint32_t pointIndex, bool mapped, float u, float v);

    GltfLogMsg* log = nullptr;
    PointIndexTable pointIndexById;
    PointValueTable<NormalValue> normalIndexByValue;
    std::vector<QvMapId> uvMapIds;
    QvMapId normalMapId = nullptr;
    QvPolygonId polygonId = nullptr; // the selected polygon's id, as the accessor reports it
    bool pointSelected = false;      // the corner's point is selected on the point accessor
    // Per point: whether its read of the normal map has a value (hasValue, noValue), once known.
    enum : uint8_t { unknownAnswer, hasValue, noValue };
    std::vector<uint8_t> pointNormalAnswers;
    // The normal a recent point read and its entry, by point index modulo the count: enough
    // for the points of a few rows of a grid-like mesh, where a point's corners come back.
    struct RecentNormal {
        NormalValue read{};
        uint32_t point = noPoint;
        uint32_t entry = 0;
    };
    static constexpr size_t recentNormalCount = 4096;
    std::vector<RecentNormal> recentNormals;
    TagRecordCache materialPrimitive;
    TagRecordCache partRecord;
    CQvUser_Mesh* mesh = nullptr;
    CQvUser_MeshMap* meshMap = nullptr;
    CQvUser_Polygon* polygon = nullptr;
    CQvUser_Point* point = nullptr;
    std::vector<std::unique_ptr<UvWork>> uvWork;
    std::vector<MapEntry<GltfColorMap>> colorMaps;
    std::vector<PointValueTable<ColorValue>> colorIndexByValue;
    std::vector<MapEntry<GltfTangentMap>> tangentMaps;
    // Deliberate: equality looks at the tangent and the bitangent's x only, while the hash
    // covers all six; frames that differ in the bitangent's y or z alone may share an entry.
    std::vector<UniqueValueTable<TangentValue, ExactEqual<TangentValue, 4>>> tangentIndexByValue;
    GltfMesh* gltfMesh = nullptr;
    uint32_t expectedCorners = 0; // from the triangle count, so per-corner tables grow once
    uint32_t expectedPoints = 0;  // from the host's point count, for the per-point memories
    uint32_t pointCounter = 0;
    uint32_t triangleCounter = 0;
    uint32_t cornerCounter = 0;
    bool hasNormalMap = false;
};

// ---- Skin deformers (GltfDeformers.cpp) ----
//
// A mesh is deformed either by deform groups, whose group deformer the host evaluates point by
// point, or by deformers linked to the mesh item in the "deformers" graph, each with a weight
// map. The group path wins when the mesh is in a group that has joints. Either way a skin's rows
// are per mesh point, at most four influences each, kept in arrival order and not normalised.

// The influences of one joint of a group, regrouped from the points: parallel lists.
struct JointInfluences {
    std::vector<uint32_t> points;
    std::vector<float> weights;
};

// One deformer of the graph path: the node of the locator that moves it, and its weight map's
// name (empty unless the deformer's "type" channel is 1).
struct GraphDeformer {
    GltfNode* node = nullptr;
    std::string mapName;
};

// Collects the points a weight map reaches, with their weights, as the host enumerates them.
class WeightVisitor final : public CQvImpl_AbstractVisitor {
public:
    WeightVisitor(CQvUser_Point& point, QvMapId map, std::vector<uint32_t>& points,
                  std::vector<float>& weights)
        : point(point), map(map), points(points), weights(weights) {}
    QvResult Evaluate() override;

    CQvUser_Point& point;
    QvMapId map;
    std::vector<uint32_t>& points;
    std::vector<float>& weights;
    uint32_t count = 0;
};
