#include "MeshObjects.h"

namespace scenehost {

namespace {

constexpr uint32_t kNone = 0xFFFFFFFFu;

// A value is 1 to 6 floats: a plain loop beats a call to memcpy at that size.
void Copy(const MeshMap& map, const float* from, float* to) {
    for (uint32_t i = 0, n = map.Dimension(); i < n; ++i)
        to[i] = from[i];
}

// Selects each element in turn and calls the visitor; a failing visit ends the walk with its
// result. The last element stays selected.
template <class Select> QvResult Walk(uint32_t count, IQvVisitor* visitor, Select&& select) {
    if (!visitor) return qvFailed;
    for (uint32_t i = 0; i < count; ++i) {
        select(i);
        QvResult result = visitor->Evaluate();
        if (QvFailed(result)) return result;
    }
    return qvOk;
}

class PointCursor final : public Transient<IQvPoint> {
public:
    static constexpr QvGuid implIid = {
        0x5c0e1a01, 0x7a11, 0x4c3e, {0x9e, 0x01, 0x51, 0x7e, 0x4a, 0x00, 0x00, 0x04}};

    explicit PointCursor(const MeshData& mesh) : mesh_(mesh) {}
    const MeshData& Mesh() const { return mesh_; }
    void SelectIndex(uint32_t index) { current_ = index; }

    QvResult QueryInterface(const QvGuid& id, void** out) override {
        if (out && id == implIid) return AnswerWith(this, out);
        return Transient::QueryInterface(id, out);
    }

    QvResult Select(QvPointId point) override {
        return mesh_.PointIndex(point, &current_) ? qvOk : qvNotFound;
    }
    QvResult SelectByIndex(uint32_t index) override {
        if (index >= mesh_.PointCount()) return qvOutOfRange;
        current_ = index;
        return qvOk;
    }
    QvResult Id(QvPointId* point) override {
        if (!point || current_ == kNone) return qvFailed;
        *point = mesh_.PointId(current_);
        return qvOk;
    }
    QvResult Index(uint32_t* index) override {
        if (!index || current_ == kNone) return qvFailed;
        *index = current_;
        return qvOk;
    }
    QvResult Position(double* xyz) override {
        if (!xyz || current_ == kNone) return qvFailed;
        const float* p = mesh_.Position(current_);
        xyz[0] = p[0];
        xyz[1] = p[1];
        xyz[2] = p[2];
        return qvOk;
    }
    // The host's point normals are smooth over all polygons around the point, so the polygon
    // only has to be one of this mesh.
    QvResult Normal(QvPolygonId polygon, double* xyz) override {
        uint32_t index = 0;
        if (!xyz || current_ == kNone) return qvFailed;
        if (!mesh_.PolygonIndex(polygon, &index)) return qvNotFound;
        const float* n = mesh_.PointNormal(current_);
        xyz[0] = n[0];
        xyz[1] = n[1];
        xyz[2] = n[2];
        return qvOk;
    }
    QvResult MapValue(QvMapId map, float* value) override { return Read(map, value, false); }
    QvResult MapEvaluate(QvMapId map, float* value) override { return Read(map, value, true); }
    QvResult Enumerate(IQvVisitor* visitor) override {
        return Walk(mesh_.PointCount(), visitor, [&](uint32_t i) { current_ = i; });
    }

private:
    QvResult Read(QvMapId id, float* value, bool evaluate) {
        const MeshMap* map = mesh_.MapOf(id);
        if (!value || current_ == kNone) return qvFailed;
        if (!map) return qvNotFound;
        if (const float* v = map->PointValue(current_)) {
            Copy(*map, v, value);
            return qvOk;
        }
        if (evaluate && map->IsContinuous()) {
            value[0] = 0.0f;
            return qvOk;
        }
        return qvFalse;
    }

    const MeshData& mesh_;
    uint32_t current_ = kNone;
};

class PolygonCursor final : public Transient<IQvPolygon, IQvStringTag> {
public:
    explicit PolygonCursor(const MeshData& mesh) : mesh_(mesh) {}

    QvResult Select(QvPolygonId polygon) override {
        return mesh_.PolygonIndex(polygon, &current_) ? qvOk : qvNotFound;
    }
    QvResult SelectByIndex(uint32_t index) override {
        if (index >= mesh_.PolygonCount()) return qvOutOfRange;
        current_ = index;
        return qvOk;
    }
    QvResult Id(QvPolygonId* polygon) override {
        if (!polygon || current_ == kNone) return qvFailed;
        *polygon = mesh_.PolygonId(current_);
        return qvOk;
    }
    QvResult Index(uint32_t* index) override {
        if (!index || current_ == kNone) return qvFailed;
        *index = current_;
        return qvOk;
    }
    QvResult VertexCount(uint32_t* count) override {
        if (!count || current_ == kNone) return qvFailed;
        *count = mesh_.VertexCount(current_);
        return qvOk;
    }
    QvResult VertexByIndex(uint32_t index, QvPointId* point) override {
        if (!point || current_ == kNone) return qvFailed;
        if (index >= mesh_.VertexCount(current_)) return qvOutOfRange;
        *point = mesh_.PointId(mesh_.PolygonPoints(current_)[index]);
        return qvOk;
    }
    QvResult GenerateTriangles(uint32_t* count) override {
        if (!count || current_ == kNone) return qvFailed;
        *count = mesh_.TriangleCount(current_);
        triangulated_ = current_;
        return qvOk;
    }
    // As in the host, the triangles are those of the last GenerateTriangles of this accessor,
    // which must have been for the selected polygon.
    QvResult TriangleByIndex(uint32_t index, QvPointId* a, QvPointId* b, QvPointId* c) override {
        if (!a || !b || !c || current_ == kNone || triangulated_ != current_) return qvFailed;
        if (index >= mesh_.TriangleCount(current_)) return qvOutOfRange;
        if (mesh_.Faults().failingTriangles == current_) return qvFailed;
        uint32_t corners[3];
        mesh_.TriangleCorners(current_, index, corners);
        *a = mesh_.PointId(mesh_.CornerPoint(corners[0]));
        *b = mesh_.PointId(mesh_.CornerPoint(corners[1]));
        *c = mesh_.PointId(mesh_.CornerPoint(corners[2]));
        // The id the next point would have: no point walk has seen it.
        if (mesh_.Faults().strayCorner == current_) *a = mesh_.PointId(mesh_.PointCount());
        return qvOk;
    }
    QvResult MapEvaluate(QvMapId map, QvPointId point, float* value) override {
        return Read(map, point, value, true);
    }
    QvResult MapValue(QvMapId map, QvPointId point, float* value) override {
        return Read(map, point, value, false);
    }
    QvResult Enumerate(IQvVisitor* visitor) override {
        return Walk(mesh_.PolygonCount(), visitor, [&](uint32_t i) { current_ = i; });
    }
    QvResult GetTag(uint32_t type, const char** value) override {
        if (!value || current_ == kNone) return qvFailed;
        const char* tag = mesh_.Tag(current_, type);
        if (!tag) return qvNotFound;
        *value = tag;
        return qvOk;
    }

private:
    // The polygon's own value at the point's corner; with `evaluate`, else the point's value
    // (and 0 for a missing weight). A point that is not the polygon's has no polygon value.
    QvResult Read(QvMapId id, QvPointId pointId, float* value, bool evaluate) {
        const MeshMap* map = mesh_.MapOf(id);
        uint32_t point = 0;
        if (!value || current_ == kNone) return qvFailed;
        if (!map || !mesh_.PointIndex(pointId, &point)) return qvNotFound;
        if (map->HasPolygonValues()) {
            int32_t corner = mesh_.CornerOf(current_, point);
            if (corner >= 0)
                if (const float* v = map->CornerValue(current_, uint32_t(corner))) {
                    Copy(*map, v, value);
                    return qvOk;
                }
        }
        if (!evaluate) return qvFalse;
        if (const float* v = map->PointValue(point)) {
            Copy(*map, v, value);
            return qvOk;
        }
        if (map->IsContinuous()) {
            value[0] = 0.0f;
            return qvOk;
        }
        return qvFalse;
    }

    const MeshData& mesh_;
    uint32_t current_ = kNone;
    uint32_t triangulated_ = kNone;
};

class EdgeCursor final : public Transient<IQvEdge> {
public:
    explicit EdgeCursor(const MeshData& mesh) : mesh_(mesh) {}

    QvResult SelectEndpoints(QvPointId a, QvPointId b) override {
        uint32_t ia = 0, ib = 0;
        if (!mesh_.PointIndex(a, &ia) || !mesh_.PointIndex(b, &ib) || !mesh_.HasEdge(ia, ib))
            return qvNotFound;
        a_ = ia;
        b_ = ib;
        return qvOk;
    }
    QvResult Endpoints(QvPointId* a, QvPointId* b) override {
        if (!a || !b || a_ == kNone) return qvFailed;
        *a = mesh_.PointId(a_);
        *b = mesh_.PointId(b_);
        return qvOk;
    }

private:
    const MeshData& mesh_;
    uint32_t a_ = kNone, b_ = kNone;
};

class MapCursor final : public Transient<IQvMeshMap> {
public:
    explicit MapCursor(const MeshData& mesh) : mesh_(mesh) {}

    // The filter stays until it is changed.
    QvResult FilterByType(uint32_t type) override {
        filter_ = type;
        return qvOk;
    }
    QvResult Enumerate(uint32_t, IQvVisitor* visitor, IQvUnknown*) override {
        if (!visitor) return qvFailed;
        for (uint32_t i = 0; i < mesh_.MapCount(); ++i) {
            if (filter_ != 0 && mesh_.Map(i).Type() != filter_) continue;
            current_ = i;
            QvResult result = visitor->Evaluate();
            if (QvFailed(result)) return result;
        }
        return qvOk;
    }
    // Type 0 takes the first map of that name of any type.
    QvResult SelectByName(uint32_t type, const char* name) override {
        if (!name) return qvFailed;
        const MeshMap* map = mesh_.FindMap(type, name);
        if (!map) return qvNotFound;
        current_ = map->Index();
        return qvOk;
    }
    QvResult Name(const char** name) override {
        if (!name || current_ == kNone) return qvFailed;
        *name = mesh_.Map(current_).Name().c_str();
        return qvOk;
    }
    QvResult Id(QvMapId* map) override {
        if (!map || current_ == kNone) return qvFailed;
        *map = mesh_.MapId(current_);
        return qvOk;
    }
    QvResult Type(uint32_t* type) override {
        if (!type || current_ == kNone) return qvFailed;
        *type = mesh_.Map(current_).Type();
        return qvOk;
    }
    QvResult Dimension(uint32_t* dimension) override {
        if (!dimension || current_ == kNone) return qvFailed;
        *dimension = mesh_.Map(current_).Dimension();
        return qvOk;
    }
    // The points with a value of their own, through a point accessor of the same mesh.
    QvResult EnumerateContent(IQvVisitor* visitor, IQvPoint* point) override {
        PointCursor* points = ImplFrom<PointCursor>(point);
        if (!visitor || !points || &points->Mesh() != &mesh_ || current_ == kNone) return qvFailed;
        const MeshMap& map = mesh_.Map(current_);
        for (uint32_t i = 0, count = mesh_.PointCount(); i < count; ++i) {
            if (!map.PointValue(i)) continue;
            points->SelectIndex(i);
            QvResult result = visitor->Evaluate();
            if (QvFailed(result)) return result;
        }
        return qvOk;
    }

private:
    const MeshData& mesh_;
    uint32_t filter_ = 0;
    uint32_t current_ = kNone;
};

template <class Accessor, class I> QvResult Hand(const MeshData& mesh, I** out) {
    if (!out) return qvFailed;
    *out = new Accessor(mesh);
    return qvOk;
}

} // namespace

QvResult MeshObject::QueryInterface(const QvGuid& id, void** out) {
    if (out && id == implIid) return AnswerWith(this, out);
    return Owned::QueryInterface(id, out);
}

QvResult MeshObject::PointCount(uint32_t* count) {
    if (!count) return qvFailed;
    *count = data_.PointCount();
    return qvOk;
}

QvResult MeshObject::PolygonCount(int32_t* count) {
    if (!count) return qvFailed;
    *count = int32_t(data_.PolygonCount());
    return qvOk;
}

QvResult MeshObject::PointAccessor(IQvPoint** out) {
    return Hand<PointCursor>(data_, out);
}

QvResult MeshObject::EdgeAccessor(IQvEdge** out) {
    return Hand<EdgeCursor>(data_, out);
}

QvResult MeshObject::PolygonAccessor(IQvPolygon** out) {
    return Hand<PolygonCursor>(data_, out);
}

QvResult MeshObject::MapAccessor(IQvMeshMap** out) {
    return Hand<MapCursor>(data_, out);
}

QvResult SurfaceObject::TriangleCount(uint32_t* count) {
    if (!count) return qvFailed;
    *count = triangles_;
    return qvOk;
}

} // namespace scenehost
