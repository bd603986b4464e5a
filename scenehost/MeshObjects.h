// What a plug-in is handed for geometry: the mesh object of a "mesh" item (its "mesh" channel),
// the surface of a "triSurf" item (its "surf" channel), and the element accessors a mesh opens.
//
// The mesh and the surface belong to their item. Accessors are made for one caller each and
// delete themselves at their last Release; each has its own selection, so a plug-in may walk
// polygons with one accessor while it selects polygons by id with another. A selection call that
// fails leaves the selection as it was.
//
// Results: qvOk when a value was written. The value reads of the point and polygon accessors
// answer qvFalse, with nothing written, when there is no value (the plug-in tests for exactly 1);
// a map of weights answers 0 for a missing weight in its Evaluate reads. An unknown handle is
// qvNotFound, a query without a selected element qvFailed.
#pragma once

#include "ComBase.h"
#include "MeshData.h"

#include "qv/mesh.h"
#include "qv/scene.h"

namespace scenehost {

class MeshObject final : public Owned<IQvMesh> {
public:
    static constexpr QvGuid implIid = {
        0x5c0e1a01, 0x7a11, 0x4c3e, {0x9e, 0x01, 0x51, 0x7e, 0x4a, 0x00, 0x00, 0x03}};

    explicit MeshObject(Observation& observation) : Owned(observation) {}
    MeshData& Data() { return data_; }
    const MeshData& Data() const { return data_; }

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    QvResult PointCount(uint32_t* count) override;
    QvResult PolygonCount(int32_t* count) override;
    QvResult PointAccessor(IQvPoint** out) override;
    QvResult EdgeAccessor(IQvEdge** out) override;
    QvResult PolygonAccessor(IQvPolygon** out) override;
    QvResult MapAccessor(IQvMeshMap** out) override;

private:
    MeshData data_;
};

// A triSurf item's surface: the scene host keeps only its triangle count.
class SurfaceObject final : public Owned<IQvTriangleGroup> {
public:
    explicit SurfaceObject(Observation& observation) : Owned(observation) {}
    void SetTriangleCount(uint32_t count) { triangles_ = count; }

    QvResult TriangleCount(uint32_t* count) override;

private:
    uint32_t triangles_ = 0;
};

} // namespace scenehost
