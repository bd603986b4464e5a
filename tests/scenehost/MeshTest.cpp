// Meshes as a plug-in sees them: triangulation, the host's point normals, handles, map values and
// their result codes, polygon tags, and accessors that keep their own selections.
#include "HostTestUtil.h"
#include "Triangulate.h"

#include <array>
#include <cmath>

using namespace scenehost;
using namespace hosttest;

namespace {

struct Vec3 {
    double x, y, z;
};
Vec3 Sub(Vec3 a, Vec3 b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vec3 Cross(Vec3 a, Vec3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double Dot(Vec3 a, Vec3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

struct Fixture {
    SceneHost host;
    Item& item = host.Scene().AddItem("mesh", "Mesh");
    MeshData& mesh = item.Mesh();
    ComRef<IQvMesh> object() { return MeshObjectOf(host, item); }
    ComRef<IQvPolygon> polygons() {
        ComRef<IQvPolygon> p;
        EXPECT_EQ(object()->PolygonAccessor(p.out()), qvOk);
        return p;
    }
    ComRef<IQvPoint> points() {
        ComRef<IQvPoint> p;
        EXPECT_EQ(object()->PointAccessor(p.out()), qvOk);
        return p;
    }
    Vec3 At(QvPointId id) {
        uint32_t index = 0;
        EXPECT_TRUE(mesh.PointIndex(id, &index));
        const float* p = mesh.Position(index);
        return {p[0], p[1], p[2]};
    }
    uint32_t Polygon(std::vector<std::array<float, 3>> outline) {
        std::vector<uint32_t> points;
        for (auto& p : outline)
            points.push_back(mesh.AddPoint(p[0], p[1], p[2]));
        return mesh.AddPolygon(points);
    }
};

// Cuts the polygon through the interface and checks what every cut must give: n - 2 triangles
// of the polygon's own points, each turning the polygon's way, together covering its area.
void ExpectSoundCut(Fixture& f, uint32_t polygon) {
    ComRef<IQvPolygon> p = f.polygons();
    ASSERT_EQ(p->SelectByIndex(polygon), qvOk);
    uint32_t n = f.mesh.VertexCount(polygon), count = 0;
    ASSERT_EQ(p->GenerateTriangles(&count), qvOk);
    EXPECT_EQ(count, n - 2);
    double newell[3];
    PolygonNormal(f.mesh.Position(0), f.mesh.PolygonPoints(polygon), n, newell);
    Vec3 normal{newell[0], newell[1], newell[2]};
    double area = 0;
    for (uint32_t t = 0; t < count; ++t) {
        QvPointId a, b, c;
        ASSERT_EQ(p->TriangleByIndex(t, &a, &b, &c), qvOk);
        for (QvPointId id : {a, b, c}) {
            uint32_t index = 0;
            ASSERT_TRUE(f.mesh.PointIndex(id, &index));
            EXPECT_GE(f.mesh.CornerOf(polygon, index), 0);
        }
        Vec3 twice = Cross(Sub(f.At(b), f.At(a)), Sub(f.At(c), f.At(a)));
        double along = Dot(twice, normal) / std::sqrt(Dot(normal, normal));
        EXPECT_GT(along, -1e-9) << "triangle " << t << " turns against the polygon";
        area += along;
    }
    EXPECT_NEAR(area, std::sqrt(Dot(normal, normal)), 1e-5) << "the triangles cover the polygon";
    QvPointId a, b, c;
    EXPECT_EQ(p->TriangleByIndex(count, &a, &b, &c), qvOutOfRange);
}

} // namespace

TEST(SceneHostMesh, ConvexConcaveAndStarPolygonsAreCutInTheirWinding) {
    Fixture f;
    uint32_t quad = f.Polygon({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}});
    // A dart: the diagonal 0-2 lies outside it, so only 1-3 cuts it.
    uint32_t dart = f.Polygon({{0, 0, 0}, {2, 1, 0}, {0, 2, 0}, {0.5f, 1, 0}});
    uint32_t ell = f.Polygon({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {1, 1, 0}, {1, 3, 0}, {0, 3, 0}});
    std::vector<std::array<float, 3>> star;
    for (int i = 0; i < 10; ++i) { // clockwise in the XZ plane, tilted: the plane is found first
        double angle = -i * 3.14159265358979 / 5, r = i % 2 ? 0.4 : 1.0;
        star.push_back({float(r * std::cos(angle)), float(0.3 * r * std::cos(angle)),
                        float(r * std::sin(angle))});
    }
    uint32_t starred = f.Polygon(star);
    // Slightly warped: its points do not share a plane.
    uint32_t warped =
        f.Polygon({{0, 0, 0}, {1, 0, 0.05f}, {2, 0, 0}, {2, 1, 0.1f}, {1, 2, 0}, {0, 1, -0.1f}});
    for (uint32_t polygon : {quad, dart, ell, starred, warped}) {
        SCOPED_TRACE(polygon);
        ExpectSoundCut(f, polygon);
    }
    uint32_t corners[3];
    f.mesh.TriangleCorners(dart, 0, corners);
    EXPECT_EQ(corners[2] - f.mesh.FirstCorner(dart), 3u); // cut along 1-3
}

// Polygons without area, or crossing themselves, still give n - 2 triangles; a polygon's
// triangles are there only once generated for it.
TEST(SceneHostMesh, DegeneratePolygonsStillGiveTrianglesOnceGeneratedForThem) {
    Fixture f;
    uint32_t line = f.Polygon({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}});
    uint32_t spot = f.Polygon({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}});
    uint32_t bowtie = f.Polygon({{0, 0, 0}, {2, 2, 0}, {2, 0, 0}, {0, 2, 0}, {-1, 1, 0}, {-1, 0.5f, 0}});
    uint32_t last = f.Polygon({{5, 0, 0}, {6, 0, 0}, {6, 1, 0}});
    ComRef<IQvPolygon> p = f.polygons();
    QvPointId a, b, c;
    uint32_t count = 0;
    ASSERT_EQ(p->SelectByIndex(line), qvOk);
    EXPECT_EQ(p->TriangleByIndex(0, &a, &b, &c), qvFailed); // not generated yet
    for (uint32_t polygon : {line, spot, bowtie}) {
        ASSERT_EQ(p->SelectByIndex(polygon), qvOk);
        ASSERT_EQ(p->GenerateTriangles(&count), qvOk);
        EXPECT_EQ(count, f.mesh.VertexCount(polygon) - 2);
        for (uint32_t t = 0; t < count; ++t) EXPECT_EQ(p->TriangleByIndex(t, &a, &b, &c), qvOk);
    }
    ASSERT_EQ(p->SelectByIndex(last), qvOk);
    EXPECT_EQ(p->TriangleByIndex(0, &a, &b, &c), qvFailed); // generated for another polygon
    ASSERT_EQ(p->GenerateTriangles(&count), qvOk);
    ASSERT_EQ(p->TriangleByIndex(0, &a, &b, &c), qvOk);
    EXPECT_EQ(f.At(a).x, 5.0);
    EXPECT_EQ(f.At(b).x, 6.0);
    EXPECT_EQ(f.At(c).y, 1.0);
}

namespace {
// A unit cube of six quads facing out; `cutTop` replaces the top quad by three triangles that
// meet at one corner, which would tip a normal weighted by area or by polygon count.
void AddCube(MeshData& mesh, bool cutTop) {
    for (int i = 0; i < 8; ++i)
        mesh.AddPoint(i & 1 ? 1.f : -1.f, i & 2 ? 1.f : -1.f, i & 4 ? 1.f : -1.f);
    const uint32_t faces[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                  {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (int i = 0; i < 6; ++i) {
        const uint32_t* q = faces[i];
        if (cutTop && i == 3) {
            uint32_t mid = mesh.AddPoint(0, 1, 1); // on the edge 6-7
            mesh.AddPolygon({q[0], q[1], mid}, "Box");
            mesh.AddPolygon({q[0], mid, q[2]}, "Box");
            mesh.AddPolygon({q[0], q[2], q[3]}, "Box");
        } else {
            mesh.AddPolygon({q[0], q[1], q[2], q[3]}, "Box");
        }
    }
}
} // namespace

TEST(SceneHostMesh, PointNormalsOfABoxPointAlongTheCornerDiagonals) {
    for (bool cutTop : {false, true}) {
        SCOPED_TRACE(cutTop ? "top cut into triangles" : "six quads");
        Fixture f;
        AddCube(f.mesh, cutTop);
        ComRef<IQvPoint> p = f.points();
        QvPolygonId polygon = f.mesh.PolygonId(0);
        for (uint32_t i = 0; i < 8; ++i) {
            double n[3] = {0, 0, 0}, xyz[3];
            ASSERT_EQ(p->SelectByIndex(i), qvOk);
            ASSERT_EQ(p->Normal(polygon, n), qvOk);
            ASSERT_EQ(p->Position(xyz), qvOk);
            for (int k = 0; k < 3; ++k)
                EXPECT_NEAR(n[k], xyz[k] / std::sqrt(3.0), 1e-6) << "point " << i << " axis " << k;
        }
        QvPolygonId foreign = Fixture().mesh.PolygonId(0);
        double n[3];
        EXPECT_EQ(p->Normal(foreign, n), qvNotFound);
    }
}

TEST(SceneHostMesh, HandlesRoundTripAndForeignHandlesAndBadBuildsAreRefused) {
    Fixture f, other;
    AddCube(f.mesh, false);
    AddCube(other.mesh, false);
    ComRef<IQvPoint> walk = f.points(), pick = f.points();
    for (uint32_t i = 0; i < f.mesh.PointCount(); ++i) {
        QvPointId id = nullptr;
        uint32_t index = 99;
        ASSERT_EQ(walk->SelectByIndex(i), qvOk);
        ASSERT_EQ(walk->Id(&id), qvOk);
        ASSERT_EQ(pick->Select(id), qvOk);
        ASSERT_EQ(pick->Index(&index), qvOk);
        EXPECT_EQ(index, i);
    }
    ComRef<IQvPolygon> polygons = f.polygons();
    QvPolygonId polygonId = nullptr;
    QvPointId vertex = nullptr;
    ASSERT_EQ(polygons->SelectByIndex(5), qvOk);
    ASSERT_EQ(polygons->Id(&polygonId), qvOk);
    ASSERT_EQ(polygons->VertexByIndex(2, &vertex), qvOk);
    EXPECT_EQ(vertex, f.mesh.PointId(f.mesh.PolygonPoints(5)[2]));
    EXPECT_EQ(polygons->VertexByIndex(4, &vertex), qvOutOfRange);

    // Refusals leave the selection where it was.
    EXPECT_EQ(pick->Select(other.mesh.PointId(3)), qvNotFound);
    EXPECT_EQ(pick->Select(reinterpret_cast<QvPointId>(polygonId)), qvNotFound);
    EXPECT_EQ(pick->Select(nullptr), qvNotFound);
    EXPECT_EQ(pick->SelectByIndex(8), qvOutOfRange);
    EXPECT_EQ(polygons->Select(other.mesh.PolygonId(5)), qvNotFound);
    uint32_t index = 0;
    EXPECT_EQ(pick->Index(&index), qvOk);
    EXPECT_EQ(index, 7u);
    EXPECT_EQ(polygons->Index(&index), qvOk);
    EXPECT_EQ(index, 5u);
    EXPECT_EQ(f.points()->Index(&index), qvFailed); // nothing selected yet

    // The builder refuses what the host cannot hold.
    EXPECT_THROW(f.mesh.AddPolygon({0, 1}), std::invalid_argument);
    EXPECT_THROW(f.mesh.AddPolygon({0, 1, 8}), std::invalid_argument);
    EXPECT_THROW(f.mesh.AddPolygon({0, 1, 0}), std::invalid_argument);
    EXPECT_THROW(f.mesh.AddMap("UVXX", "Texture"), std::invalid_argument);
    MeshMap& uv = f.mesh.AddMap("TXUV", "Texture");
    EXPECT_THROW(f.mesh.AddMap("TXUV", "Texture"), std::invalid_argument);
    EXPECT_THROW(uv.SetPointValue(0, {1, 2, 3}), std::invalid_argument);
    EXPECT_THROW(uv.SetPointValue(8, {1, 2}), std::invalid_argument);
    EXPECT_THROW(uv.SetPolygonValue(0, 4, {1, 2}), std::invalid_argument);
    EXPECT_THROW(f.host.Scene().AddItem("locator", "L").Mesh(), std::invalid_argument);
    EXPECT_EQ(f.mesh.PolygonCount(), 6u);
}

TEST(SceneHostMesh, PolygonValuesComeBeforePointValuesAndNoValueAnswersOne) {
    Fixture f;
    uint32_t a = f.mesh.AddPoint(0, 0, 0), b = f.mesh.AddPoint(1, 0, 0),
             c = f.mesh.AddPoint(1, 1, 0), d = f.mesh.AddPoint(0, 1, 0);
    uint32_t left = f.mesh.AddPolygon({a, b, c}), right = f.mesh.AddPolygon({a, c, d});
    MeshMap& uv = f.mesh.AddMap("TXUV", "Texture");
    uv.SetPointValue(a, {0.1f, 0.2f}).SetPointValue(c, {0.5f, 0.6f});
    uv.SetPolygonValue(right, 1, {0.9f, 0.8f}); // the right triangle's own value at c
    MeshMap& color = f.mesh.AddMap("RGB ", "Color");
    color.SetPointValue(b, {0.25f, 0.5f, 0.75f});
    MeshMap& weight = f.mesh.AddMap("WGHT", "Arm");
    weight.SetPointValue(a, {0.5f});
    QvMapId uvId = f.mesh.MapId(uv.Index()), colorId = f.mesh.MapId(color.Index()),
            weightId = f.mesh.MapId(weight.Index());
    QvPointId pa = f.mesh.PointId(a), pb = f.mesh.PointId(b), pc = f.mesh.PointId(c),
              pd = f.mesh.PointId(d);

    ComRef<IQvPolygon> p = f.polygons();
    float v[4] = {-1, -1, -1, -1};
    ASSERT_EQ(p->SelectByIndex(right), qvOk);
    EXPECT_EQ(p->MapEvaluate(uvId, pc, v), qvOk);
    EXPECT_EQ(v[0], 0.9f);
    EXPECT_EQ(v[1], 0.8f);
    EXPECT_EQ(v[2], -1.0f); // a TXUV value is two floats
    EXPECT_EQ(p->MapValue(uvId, pc, v), qvOk);
    EXPECT_EQ(p->MapEvaluate(uvId, pa, v), qvOk); // the point's value
    EXPECT_EQ(v[0], 0.1f);
    EXPECT_EQ(p->MapValue(uvId, pa, v), qvFalse); // the polygon has none of its own
    float untouched[2] = {-1, -1};
    EXPECT_EQ(p->MapEvaluate(uvId, pd, untouched), qvFalse);
    EXPECT_EQ(untouched[0], -1.0f);
    ASSERT_EQ(p->SelectByIndex(left), qvOk);
    EXPECT_EQ(p->MapEvaluate(uvId, pc, v), qvOk); // the left triangle sees the point's value
    EXPECT_EQ(v[0], 0.5f);
    EXPECT_EQ(p->MapEvaluate(uvId, pd, untouched), qvFalse); // d is not the left triangle's

    float rgb[4] = {-1, -1, -1, -1};
    EXPECT_EQ(p->MapEvaluate(colorId, pb, rgb), qvOk);
    EXPECT_EQ(rgb[2], 0.75f);
    EXPECT_EQ(rgb[3], -1.0f); // RGB writes three floats

    ComRef<IQvPoint> point = f.points();
    ASSERT_EQ(point->Select(pd), qvOk);
    EXPECT_EQ(point->MapValue(uvId, untouched), qvFalse);
    EXPECT_EQ(point->MapEvaluate(uvId, untouched), qvFalse);
    EXPECT_EQ(untouched[0], -1.0f);
    float w = -1;
    EXPECT_EQ(point->MapValue(weightId, &w), qvFalse);
    EXPECT_EQ(point->MapEvaluate(weightId, &w), qvOk); // a missing weight weighs 0
    EXPECT_EQ(w, 0.0f);
    ASSERT_EQ(point->Select(pa), qvOk);
    EXPECT_EQ(point->MapValue(uvId, v), qvOk);
    EXPECT_EQ(v[1], 0.2f);

    QvMapId foreign = reinterpret_cast<QvMapId>(pa); // a point handle is no map
    EXPECT_EQ(point->MapValue(foreign, v), qvNotFound);
    EXPECT_EQ(p->MapEvaluate(foreign, pa, v), qvNotFound);
}

TEST(SceneHostMesh, MapsAreListedByTypeSelectedByNameAndTheirContentWalked) {
    Fixture f;
    AddCube(f.mesh, false);
    f.mesh.AddMap("TXUV", "b").SetPointValue(2, {0, 0}).SetPointValue(5, {1, 1});
    f.mesh.AddMap("RGBA", "Paint");
    f.mesh.AddMap("TXUV", "A");
    ComRef<IQvMeshMap> maps;
    ASSERT_EQ(f.object()->MapAccessor(maps.out()), qvOk);
    std::vector<std::string> names;
    auto list = Visitor([&] {
        const char* name = nullptr;
        uint32_t dimension = 0;
        maps->Name(&name);
        maps->Dimension(&dimension);
        names.push_back(std::string(name) + std::to_string(dimension));
        return qvOk;
    });
    ASSERT_EQ(maps->FilterByType(kMapUv), qvOk);
    ASSERT_EQ(maps->Enumerate(0, list.get(), nullptr), qvOk);
    EXPECT_EQ(names, (std::vector<std::string>{"b2", "A2"})); // the host's order
    ASSERT_EQ(maps->FilterByType(0), qvOk);
    ASSERT_EQ(maps->Enumerate(0, list.get(), nullptr), qvOk);
    EXPECT_EQ(names.size(), 5u);

    ASSERT_EQ(maps->SelectByName(kMapUv, "b"), qvOk);
    EXPECT_EQ(maps->SelectByName(kMapRgba, "b"), qvNotFound);
    uint32_t type = 0;
    ASSERT_EQ(maps->Type(&type), qvOk); // the failed look-up left "b" selected
    EXPECT_EQ(type, kMapUv);
    ComRef<IQvPoint> point = f.points();
    std::vector<uint32_t> reached;
    auto content = Visitor([&] {
        uint32_t index = 0;
        point->Index(&index);
        reached.push_back(index);
        return qvOk;
    });
    ASSERT_EQ(maps->EnumerateContent(content.get(), point.get()), qvOk);
    EXPECT_EQ(reached, (std::vector<uint32_t>{2, 5}));
    Fixture other;
    other.mesh.AddPoint(0, 0, 0);
    EXPECT_EQ(maps->EnumerateContent(content.get(), other.points().get()), qvFailed);
}

TEST(SceneHostMesh, AccessorsKeepTheirOwnSelectionsWhileOneWalks) {
    Fixture f;
    AddCube(f.mesh, true);
    f.mesh.SetPolygonTag(0, kTagPart, "Lid");
    f.mesh.SetPolygonTag(1, kTagMaterial, "");
    ComRef<IQvPolygon> walk = f.polygons(), pick = f.polygons();
    ComRef<IQvStringTag> tags = Query<IQvStringTag>(walk.get());
    ASSERT_TRUE(tags);
    std::vector<std::string> seen;
    uint32_t visits = 0;
    auto visit = Visitor([&] {
        // Selecting with another accessor must not move the walk.
        pick->SelectByIndex(f.mesh.PolygonCount() - 1 - visits++);
        const char* material = nullptr;
        const char* part = nullptr;
        std::string entry = QvSucceeded(tags->GetTag(kTagMaterial, &material)) ? material : "-";
        if (QvSucceeded(tags->GetTag(kTagPart, &part))) entry += std::string("/") + part;
        seen.push_back(entry);
        return visits == 3 ? qvFailed : qvOk;
    });
    EXPECT_EQ(walk->Enumerate(visit.get()), qvFailed); // a failing visit ends the walk
    EXPECT_EQ(seen, (std::vector<std::string>{"Box/Lid", "", "Box"}));
    uint32_t at = 0;
    EXPECT_EQ(walk->Index(&at), qvOk);
    EXPECT_EQ(at, 2u);
    EXPECT_EQ(pick->Index(&at), qvOk);
    EXPECT_EQ(at, f.mesh.PolygonCount() - 3);
    const char* none = nullptr;
    EXPECT_EQ(tags->GetTag(QvFourCC('N', 'O', 'P', 'E'), &none), qvNotFound);

    ComRef<IQvEdge> edges;
    ASSERT_EQ(f.object()->EdgeAccessor(edges.out()), qvOk);
    EXPECT_EQ(edges->SelectEndpoints(f.mesh.PointId(0), f.mesh.PointId(2)), qvOk);
    EXPECT_EQ(edges->SelectEndpoints(f.mesh.PointId(0), f.mesh.PointId(3)),
              qvNotFound); // a diagonal
}
