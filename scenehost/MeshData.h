// The geometry of one mesh item, held as the host holds it: points, polygons of any size, polygon
// tags and vertex maps, in flat arrays so that a mesh of a million triangles is built and walked
// without an allocation per element.
//
//     MeshData& mesh = scene.AddItem("mesh", "Box").Mesh();
//     uint32_t a = mesh.AddPoint(0, 0, 0), b = mesh.AddPoint(1, 0, 0), c = mesh.AddPoint(1, 1, 0);
//     uint32_t quad = mesh.AddPolygon({a, b, c, mesh.AddPoint(0, 1, 0)}, "Wood", "Lid");
//     MeshMap& uv = mesh.AddMap("TXUV", "Texture");
//     uv.SetPointValue(a, {0, 0});                 // the point's value
//     uv.SetPolygonValue(quad, 0, {0.5f, 0});      // the quad's own value at its first corner
//
// Layout. Positions are 3 floats a point, the host's precision. Polygon p owns the corners
// FirstCorner(p) .. FirstCorner(p + 1) - 1 of one array of point indices; a corner is addressed
// mesh-wide by that offset. A map keeps one value slot a point and, once a polygon value is set,
// one a corner, each with a presence flag, so every read is one index and one test.
//
// Handles. Point, polygon and map ids carry the element's index and the mesh's serial number
// (QvPointId and its kin are opaque to a plug-in): turning an id back into an index is a shift and
// a compare, and an id of another mesh, or of another kind of element, is recognised and refused.
// Elements are only ever appended, so an id stays valid for the mesh's life.
//
// Derived data is computed once and kept until the mesh changes: the host's point normals for
// the whole mesh at the first normal asked for, a polygon's triangles at its first use, the edge
// set at the first edge look-up. Nothing here locks: the host serves a plug-in on one thread.
//
// A builder call that the host would not accept (an unknown point, a polygon of fewer than three
// points, a map type the host does not have, a value of the wrong size) throws
// std::invalid_argument.
#pragma once

#include "qv/mesh.h"

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace scenehost {

// Map types (qvMapUv, ...) and polygon tags (qvPolyTagMaterial, ...) are the SDK's.

// Floats in one value of a map of `type`; 0 for a type the host does not have.
uint32_t MapDimension(uint32_t type);
// The code of a four-character text ("TXUV"); 0 unless it has exactly four characters.
uint32_t FourCCFromText(const std::string& text);
std::string FourCCText(uint32_t code);
// The map types, as text, for messages: "NORM, RGB , RGBA, TXUV, TBAS, WGHT, MORF".
const char* KnownMapTypes();

class MeshData;
struct TriangulationScratch;

// Wrong answers that a test can have the mesh's polygon accessors give, to show that a plug-in
// survives a host that misbehaves. Each names one polygon; kNoPolygon, the default, none.
struct MeshFaults {
    static constexpr uint32_t kNoPolygon = 0xFFFFFFFFu;
    uint32_t failingTriangles = kNoPolygon; // TriangleByIndex fails for this polygon
    uint32_t strayCorner = kNoPolygon;      // its triangles' first corner is a point no walk visits
};

class MeshMap {
public:
    MeshMap(const MeshData& mesh, uint32_t index, uint32_t type, std::string name);

    const std::string& Name() const { return name_; }
    uint32_t Type() const { return type_; }
    uint32_t Dimension() const { return dimension_; }
    uint32_t Index() const { return index_; } // place among the mesh's maps
    // Weights are continuous: a point without a weight weighs 0, where other maps have no value.
    bool IsContinuous() const { return type_ == qvMapWeight; }

    // ---- Builder: `value` holds Dimension() floats ----
    MeshMap& SetPointValue(uint32_t point, const float* value);
    MeshMap& SetPointValue(uint32_t point, std::initializer_list<float> value);
    // The polygon's own value at one of its corners (`corner` counts the polygon's points from 0),
    // which a read of that polygon prefers to the point's value.
    MeshMap& SetPolygonValue(uint32_t polygon, uint32_t corner, const float* value);
    MeshMap& SetPolygonValue(uint32_t polygon, uint32_t corner, std::initializer_list<float> value);
    void ReservePoints(uint32_t count);

    // ---- Reads: the value, or null when there is none ----
    const float* PointValue(uint32_t point) const {
        return point < pointSet_.size() && pointSet_[point]
                   ? &pointValues_[size_t(point) * dimension_]
                   : nullptr;
    }
    // The polygon's own value at its corner `corner`.
    inline const float* CornerValue(uint32_t polygon, uint32_t corner) const;
    bool HasPolygonValues() const { return !rowSet_.empty(); }
    uint32_t PointValueCount() const { return pointValueCount_; }

private:
    const float* Checked(std::initializer_list<float> value) const;

    const MeshData& mesh_;
    uint32_t index_;
    uint32_t type_;
    uint32_t dimension_;
    std::string name_;
    std::vector<float> pointValues_;
    std::vector<uint8_t> pointSet_;
    // Polygon values are few (the sides of seams), so only the polygons that have one get rows:
    // a row per corner, from the polygon's first row on.
    static constexpr uint32_t kNoRow = 0xFFFFFFFFu;
    std::vector<uint32_t> polygonRow_; // per polygon: its first row, or kNoRow
    std::vector<float> rowValues_;
    std::vector<uint8_t> rowSet_;
    uint32_t pointValueCount_ = 0;
};

class MeshData {
public:
    MeshData();
    ~MeshData();
    MeshData(const MeshData&) = delete;
    MeshData& operator=(const MeshData&) = delete;

    // ---- Builder ----
    uint32_t AddPoint(float x, float y, float z); // returns the point's index
    void SetPosition(uint32_t point, float x, float y, float z);
    // The polygon's points in winding order, each at most once; a null tag leaves the polygon
    // without that tag (an empty text is a tag). Returns the polygon's index.
    uint32_t AddPolygon(std::initializer_list<uint32_t> points, const char* material = nullptr,
                        const char* part = nullptr);
    uint32_t AddPolygon(const std::vector<uint32_t>& points, const char* material = nullptr,
                        const char* part = nullptr);
    uint32_t AddPolygon(const uint32_t* points, uint32_t count, const char* material = nullptr,
                        const char* part = nullptr);
    // Any polygon string tag by its code (qvPolyTagMaterial, qvPolyTagPart or another).
    void SetPolygonTag(uint32_t polygon, uint32_t code, const std::string& value);
    // A new map; the type is a four-character code the host has ("TXUV"), and a mesh has one map
    // of a type and name.
    MeshMap& AddMap(const std::string& type, const std::string& name);
    MeshMap& AddMap(uint32_t type, const std::string& name);
    void Reserve(uint32_t points, uint32_t polygons, uint32_t corners);

    // ---- The model ----
    uint32_t PointCount() const { return uint32_t(positions_.size() / 3); }
    uint32_t PolygonCount() const { return uint32_t(firstCorner_.size() - 1); }
    uint32_t CornerCount() const { return uint32_t(corners_.size()); }
    const float* Position(uint32_t point) const { return &positions_[size_t(point) * 3]; }
    uint32_t FirstCorner(uint32_t polygon) const { return firstCorner_[polygon]; }
    uint32_t VertexCount(uint32_t polygon) const {
        return firstCorner_[polygon + 1] - firstCorner_[polygon];
    }
    const uint32_t* PolygonPoints(uint32_t polygon) const {
        return corners_.data() + firstCorner_[polygon];
    }
    uint32_t CornerPoint(uint32_t cornerOffset) const { return corners_[cornerOffset]; }
    // The place of `point` among the polygon's points, or -1.
    int32_t CornerOf(uint32_t polygon, uint32_t point) const {
        const uint32_t* first = PolygonPoints(polygon);
        uint32_t n = VertexCount(polygon);
        for (uint32_t i = 0; i < n; ++i)
            if (first[i] == point) return int32_t(i);
        return -1;
    }
    // The polygon's tag of that code, or null. The text lives as long as the mesh.
    const char* Tag(uint32_t polygon, uint32_t code) const;

    uint32_t MapCount() const { return uint32_t(maps_.size()); }
    MeshMap& Map(uint32_t index) const { return *maps_[index]; }
    MeshMap* FindMap(uint32_t type, const std::string& name) const; // type 0: any type

    // The host's normal at a point: the mean of the normals of the polygons around it, each
    // weighted by the polygon's angle at the point, so that a corner shared by three faces of a
    // box points along their diagonal however the faces are cut. A point on no usable polygon
    // has the zero vector.
    const float* PointNormal(uint32_t point) const;
    // The triangles of a polygon, in its winding: n - 2 for a polygon of n points.
    uint32_t TriangleCount(uint32_t polygon) const { return VertexCount(polygon) - 2; }
    // Triangle `t` of the polygon: three mesh-wide corner offsets. A quad's diagonal and the
    // triangles of a larger polygon are worked out at their first use and kept.
    void TriangleCorners(uint32_t polygon, uint32_t t, uint32_t* corners) const {
        uint32_t first = FirstCorner(polygon);
        switch (VertexCount(polygon)) {
        case 3:
            corners[0] = first, corners[1] = first + 1, corners[2] = first + 2;
            return;
        case 4: {
            // Along 0-2: (0, 1, 2), (0, 2, 3); along 1-3: (0, 1, 3), (1, 2, 3).
            static const uint8_t kCut[2][2][3] = {{{0, 1, 2}, {0, 2, 3}}, {{0, 1, 3}, {1, 2, 3}}};
            const uint8_t* places = kCut[Cut(polygon)][t];
            corners[0] = first + places[0], corners[1] = first + places[1],
            corners[2] = first + places[2];
            return;
        }
        default: {
            const uint32_t* places = &bigTriangles_[Cut(polygon) + size_t(t) * 3];
            corners[0] = first + places[0], corners[1] = first + places[1],
            corners[2] = first + places[2];
        }
        }
    }
    // Whether some polygon has the two points as neighbours.
    bool HasEdge(uint32_t a, uint32_t b) const;

    // ---- Faults, for tests ----
    MeshFaults& Faults() { return faults_; }
    const MeshFaults& Faults() const { return faults_; }

    // ---- Handles ----
    QvPointId PointId(uint32_t point) const {
        return reinterpret_cast<QvPointId>(Handle(kPoint, point));
    }
    QvPolygonId PolygonId(uint32_t polygon) const {
        return reinterpret_cast<QvPolygonId>(Handle(kPolygon, polygon));
    }
    QvMapId MapId(uint32_t map) const { return reinterpret_cast<QvMapId>(Handle(kMap, map)); }
    // The index behind a handle of this mesh; false for another mesh's handle, null or stale.
    bool PointIndex(QvPointId id, uint32_t* point) const {
        return Decode(reinterpret_cast<uintptr_t>(id), kPoint, PointCount(), point);
    }
    bool PolygonIndex(QvPolygonId id, uint32_t* polygon) const {
        return Decode(reinterpret_cast<uintptr_t>(id), kPolygon, PolygonCount(), polygon);
    }
    MeshMap* MapOf(QvMapId id) const {
        uint32_t index = 0;
        return Decode(reinterpret_cast<uintptr_t>(id), kMap, MapCount(), &index)
                   ? maps_[index].get()
                   : nullptr;
    }

private:
    // A handle: the mesh's serial (30 bits), the kind of element (2 bits), the index (32 bits).
    enum Kind : uint64_t { kPoint = 1, kPolygon = 2, kMap = 3 };
    uint64_t Handle(Kind kind, uint32_t index) const {
        return (serial_ << 34) | (uint64_t(kind) << 32) | index;
    }
    bool Decode(uint64_t handle, Kind kind, uint32_t count, uint32_t* index) const {
        if ((handle >> 32) != ((serial_ << 2) | kind) || uint32_t(handle) >= count) return false;
        *index = uint32_t(handle);
        return true;
    }

    uint32_t TagText(const char* text);
    void Changed();
    void ComputeNormals() const;
    // A quad's diagonal (0: 0-2, 1: 1-3), or where a larger polygon's triangles start in
    // bigTriangles_.
    uint32_t Cut(uint32_t polygon) const {
        if (polygon < cuts_.size() && cuts_[polygon] != kNotCut) return cuts_[polygon];
        return ComputeCut(polygon);
    }
    uint32_t ComputeCut(uint32_t polygon) const;

    static_assert(sizeof(uintptr_t) == 8, "mesh handles need 64-bit pointers");
    uint64_t serial_;

    std::vector<float> positions_;
    std::vector<uint32_t> firstCorner_; // one more than polygons: the end of the last
    std::vector<uint32_t> corners_;     // point indices, polygon after polygon

    // Tags: a column of text indices a tag code, kNoTag where a polygon has none.
    static constexpr uint32_t kNoTag = 0xFFFFFFFFu;
    struct TagColumn {
        uint32_t code;
        std::vector<uint32_t> text;
    };
    std::vector<TagColumn> tags_;      // MATR and PART first
    std::deque<std::string> tagTexts_; // a deque keeps each text where it is
    std::unordered_map<std::string, uint32_t> tagIndex_;
    uint32_t lastTag_ = kNoTag; // AddPolygon's usual case: the same tag again

    std::vector<std::unique_ptr<MeshMap>> maps_;

    mutable bool normalsValid_ = false;
    mutable std::vector<float> normals_;
    static constexpr uint32_t kNotCut = 0xFFFFFFFFu;
    mutable std::vector<uint32_t> cuts_;         // by polygon; empty until a polygon is cut
    mutable std::vector<uint32_t> bigTriangles_; // 3 corner places (0 .. n-1) a triangle
    std::unique_ptr<TriangulationScratch> scratch_;
    mutable bool edgesValid_ = false;
    mutable std::unordered_set<uint64_t> edges_;
    MeshFaults faults_;
};

const float* MeshMap::CornerValue(uint32_t polygon, uint32_t corner) const {
    if (polygon >= polygonRow_.size() || polygonRow_[polygon] == kNoRow ||
        corner >= mesh_.VertexCount(polygon))
        return nullptr;
    const size_t row = size_t(polygonRow_[polygon]) + corner;
    return rowSet_[row] ? &rowValues_[row * dimension_] : nullptr;
}

} // namespace scenehost
