// Large generated meshes walked through the interfaces in the pattern of an exporter: a counting
// pass over the triangulation, the map set-up, the point walk, then the polygon walk with a
// second polygon accessor selected at every corner and every map evaluated there. The walk checks
// what it reads, so these tests guard the generator and the accessors together. Timings belong to
// bench/, not here.
#include "HostTestUtil.h"

#include <cmath>
#include <cstdio>
#include <unordered_map>

using namespace scenehost;
using namespace hosttest;

namespace {

struct WalkResult {
    uint32_t points = 0, polygons = 0, triangles = 0, corners = 0;
    uint32_t uvFromPolygons = 0; // corners whose UV is the polygon's own
    uint32_t hostNormals = 0;    // corners that fell back to the host's normal
    double colorSum = 0;         // keeps the reads from being optimised away
};

std::vector<QvMapId> MapsOfType(IQvMeshMap* maps, uint32_t type) {
    std::vector<QvMapId> ids;
    maps->FilterByType(type);
    auto visit = Visitor([&] {
        QvMapId id = nullptr;
        const char* name = nullptr;
        if (QvFailed(maps->Name(&name)) || QvFailed(maps->Id(&id))) return qvFailed;
        ids.push_back(id);
        return qvOk;
    });
    EXPECT_EQ(maps->Enumerate(0, visit.get(), nullptr), qvOk);
    return ids;
}

WalkResult SaverWalk(IQvMesh* mesh) {
    WalkResult r;
    ComRef<IQvMeshMap> maps;
    ComRef<IQvPoint> point, walkPoint;
    ComRef<IQvPolygon> polygon, walkPolygon;
    EXPECT_EQ(mesh->MapAccessor(maps.out()), qvOk);
    EXPECT_EQ(mesh->PointAccessor(point.out()), qvOk);
    EXPECT_EQ(mesh->PolygonAccessor(polygon.out()), qvOk);
    EXPECT_EQ(mesh->PointAccessor(walkPoint.out()), qvOk);
    EXPECT_EQ(mesh->PolygonAccessor(walkPolygon.out()), qvOk);
    ComRef<IQvStringTag> tags = Query<IQvStringTag>(walkPolygon.get());

    int32_t polygons = 0;
    EXPECT_EQ(mesh->PolygonCount(&polygons), qvOk);
    for (int32_t i = 0; i < polygons; ++i) {
        uint32_t n = 0;
        polygon->SelectByIndex(uint32_t(i));
        polygon->GenerateTriangles(&n);
        r.triangles += n;
    }

    std::vector<QvMapId> normals = MapsOfType(maps.get(), kMapNormal);
    std::vector<QvMapId> colors = MapsOfType(maps.get(), kMapRgb);
    for (QvMapId id : MapsOfType(maps.get(), kMapRgba))
        colors.push_back(id);
    std::vector<QvMapId> uvs = MapsOfType(maps.get(), kMapUv);

    std::unordered_map<QvPointId, uint32_t> pointIndex;
    auto onPoint = Visitor([&] {
        QvPointId id = nullptr;
        double xyz[3];
        walkPoint->Id(&id);
        walkPoint->Position(xyz);
        pointIndex.emplace(id, r.points++);
        return qvOk;
    });
    EXPECT_EQ(walkPoint->Enumerate(onPoint.get()), qvOk);

    auto onPolygon = Visitor([&] {
        const char* material = nullptr;
        tags->GetTag(kTagMaterial, &material);
        QvPolygonId id = nullptr;
        walkPolygon->Id(&id);
        uint32_t n = 0;
        walkPolygon->GenerateTriangles(&n);
        for (uint32_t t = 0; t < n; ++t) {
            QvPointId corners[3];
            if (walkPolygon->TriangleByIndex(t, &corners[0], &corners[1], &corners[2]) != qvOk)
                return qvFailed;
            for (QvPointId c : corners) {
                polygon->Select(id);
                if (!pointIndex.count(c)) return qvFailed;
                for (QvMapId map : colors) {
                    float value[4] = {0, 0, 0, 0};
                    point->Select(c);
                    if (polygon->MapEvaluate(map, c, value) == qvOk)
                        r.colorSum += value[0] + value[3];
                }
                float n3[3] = {0, 0, 0}, own[3] = {0, 0, 0}, pointValue[3] = {0, 0, 0};
                point->Select(c);
                bool mapped = false;
                if (!normals.empty()) {
                    polygon->MapEvaluate(normals[0], c, n3);
                    mapped = !(polygon->MapValue(normals[0], c, own) == qvFalse &&
                               point->MapValue(normals[0], pointValue) == qvFalse);
                }
                if (!mapped) {
                    double normal[3];
                    if (point->Normal(id, normal) != qvOk) return qvFailed;
                    ++r.hostNormals;
                }
                for (QvMapId map : uvs) {
                    float uv[2] = {0, 0};
                    if (polygon->MapValue(map, c, uv) == qvOk) ++r.uvFromPolygons;
                    if (polygon->MapEvaluate(map, c, uv) != qvOk) return qvFailed;
                }
                ++r.corners;
            }
        }
        ++r.polygons;
        return qvOk;
    });
    EXPECT_EQ(walkPolygon->Enumerate(onPolygon.get()), qvOk);
    return r;
}

void BuildAndWalk(uint32_t triangles, bool triangulated, bool normalMap) {
    int transients = LiveTransientObjects();
    SceneHost host;
    Item& item = host.Scene().AddItem("mesh", "Big");
    GenerateOptions options;
    options.triangles = triangles;
    options.triangulated = triangulated;
    if (normalMap) options.normalMap = "Normals";
    GenerateMesh(item.Mesh(), options);

    ComRef<IQvMesh> mesh = MeshObjectOf(host, item);
    ASSERT_TRUE(mesh);
    WalkResult first = SaverWalk(mesh.get()); // computes the triangulation and the normals
    WalkResult second = SaverWalk(mesh.get());

    const MeshData& data = item.Mesh();
    EXPECT_EQ(first.points, data.PointCount());
    EXPECT_EQ(first.polygons, data.PolygonCount());
    EXPECT_EQ(first.triangles, data.CornerCount() - 2 * data.PolygonCount());
    EXPECT_NEAR(first.triangles, triangles, triangles * 0.02 + 8);
    EXPECT_EQ(first.corners, 3 * first.triangles);
    EXPECT_GT(first.uvFromPolygons, 0u); // the torus's seams
    EXPECT_EQ(first.hostNormals, normalMap ? 0u : first.corners);
    EXPECT_EQ(second.colorSum, first.colorSum);
    EXPECT_EQ(LiveTransientObjects(), transients);
    mesh = ComRef<IQvMesh>();
    EXPECT_EQ(host.HeldReferences(), 0);
}

} // namespace

TEST(SceneHostMeshWalk, TwentyThousandTrianglesAsQuads) {
    BuildAndWalk(20000, false, false);
}

TEST(SceneHostMeshWalk, TwentyThousandTrianglesWithANormalMap) {
    BuildAndWalk(20000, true, true);
}
