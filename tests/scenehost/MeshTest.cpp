// Meshes as a plug-in sees them: triangulation, the host's point normals, map values and their
// result codes, polygon tags, and accessors that keep their own selections. Handles are walked
// end to end by the generated mesh that tests/geometry exports and reads back.
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
        return QvSucceeded(object()->PolygonAccessor(p.out())) ? p : ComRef<IQvPolygon>();
    }
    ComRef<IQvPoint> points() {
        ComRef<IQvPoint> p;
        return QvSucceeded(object()->PointAccessor(p.out())) ? p : ComRef<IQvPoint>();
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
    uint32_t bowtie =
        f.Polygon({{0, 0, 0}, {2, 2, 0}, {2, 0, 0}, {0, 2, 0}, {-1, 1, 0}, {-1, 0.5f, 0}});
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
        for (uint32_t t = 0; t < count; ++t)
            EXPECT_EQ(p->TriangleByIndex(t, &a, &b, &c), qvOk);
    }
    ASSERT_EQ(p->SelectByIndex(last), qvOk);
    EXPECT_EQ(p->TriangleByIndex(0, &a, &b, &c), qvFailed); // generated for another polygon
    ASSERT_EQ(p->GenerateTriangles(&count), qvOk);
    ASSERT_EQ(p->TriangleByIndex(0, &a, &b, &c), qvOk);
    EXPECT_EQ(f.At(a).x, 5.0);
    EXPECT_EQ(f.At(b).x, 6.0);
    EXPECT_EQ(f.At(c).y, 1.0);
    // What the host could not hold is refused when the scene is built.
    EXPECT_THROW(f.mesh.AddPolygon({0, 1}), std::invalid_argument);
    EXPECT_THROW(f.mesh.AddPolygon({0, 1, 0}), std::invalid_argument);
    EXPECT_THROW(f.mesh.AddMap("TXUV", "T").SetPointValue(0, {1, 2, 3}), std::invalid_argument);
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

// A polygon's own value wins over its point's; MapValue answers only what is stored where asked
// (qvFalse for nothing), MapEvaluate what a reader sees there; a missing weight weighs 0. The
// generated torus in tests/geometry reads the same rules through the plug-in.
TEST(SceneHostMesh, PolygonValuesComeBeforePointValuesAndNoValueAnswersFalse) {
    Fixture f;
    uint32_t a = f.mesh.AddPoint(0, 0, 0), b = f.mesh.AddPoint(1, 0, 0),
             c = f.mesh.AddPoint(1, 1, 0), d = f.mesh.AddPoint(0, 1, 0);
    uint32_t left = f.mesh.AddPolygon({a, b, c}), right = f.mesh.AddPolygon({a, c, d});
    MeshMap& texture = f.mesh.AddMap("TXUV", "Texture").SetPointValue(c, {0.5f, 0.6f});
    texture.SetPolygonValue(right, 1, {0.9f, 0.8f}); // the right triangle's own value at c
    f.mesh.AddMap("WGHT", "Arm").SetPointValue(a, {0.5f});
    QvMapId uv = f.mesh.MapId(0), weight = f.mesh.MapId(1);
    QvPointId pa = f.mesh.PointId(a), pc = f.mesh.PointId(c), pd = f.mesh.PointId(d);
    ComRef<IQvPolygon> p = f.polygons();
    float v[4] = {-1, -1, -1, -1}, untouched[2] = {-1, -1};
    ASSERT_EQ(p->SelectByIndex(right), qvOk);
    EXPECT_EQ(p->MapEvaluate(uv, pc, v), qvOk);
    EXPECT_EQ(std::vector<float>(v, v + 4), (std::vector<float>{0.9f, 0.8f, -1, -1}));
    EXPECT_EQ(p->MapValue(uv, pc, v), qvOk);
    EXPECT_EQ(p->MapEvaluate(uv, pd, untouched), qvFalse);
    ASSERT_EQ(p->SelectByIndex(left), qvOk);
    EXPECT_EQ(p->MapValue(uv, pc, v), qvFalse); // the polygon has none of its own
    EXPECT_EQ(p->MapEvaluate(uv, pc, v), qvOk); // but sees the point's
    EXPECT_EQ(v[0], 0.5f);
    ComRef<IQvPoint> point = f.points();
    ASSERT_EQ(point->Select(pd), qvOk);
    EXPECT_EQ(point->MapEvaluate(uv, untouched), qvFalse);
    EXPECT_EQ(untouched[0], -1.0f);
    EXPECT_EQ(point->MapValue(weight, v), qvFalse);
    EXPECT_EQ(point->MapEvaluate(weight, v), qvOk);
    EXPECT_EQ(v[0], 0.0f);
    EXPECT_EQ(point->MapValue(reinterpret_cast<QvMapId>(pa), v), qvNotFound); // a point is no map
}

// What the torus walk does not reach: a failing visit ends a polygon walk, another accessor's
// selection does not move it, a map's content walk moves a point accessor, and a failed look-up
// by name leaves the map selected.
TEST(SceneHostMesh, WalksEndOnFailureAndAccessorsKeepTheirOwnSelection) {
    Fixture f;
    AddCube(f.mesh, true);
    f.mesh.SetPolygonTag(0, qvPolyTagPart, "Lid");
    f.mesh.SetPolygonTag(1, qvPolyTagMaterial, "");
    f.mesh.AddMap("TXUV", "b").SetPointValue(2, {0, 0}).SetPointValue(5, {1, 1});
    ComRef<IQvPolygon> walk = f.polygons(), pick = f.polygons();
    ComRef<IQvStringTag> tags = Query<IQvStringTag>(walk.get());
    ASSERT_TRUE(tags);
    std::vector<std::string> seen;
    auto visit = Visitor([&] {
        pick->SelectByIndex(f.mesh.PolygonCount() - 1 - uint32_t(seen.size()));
        const char* material = nullptr;
        const char* part = nullptr;
        std::string entry =
            QvSucceeded(tags->GetTag(qvPolyTagMaterial, &material)) ? material : "-";
        if (QvSucceeded(tags->GetTag(qvPolyTagPart, &part))) entry += std::string("/") + part;
        seen.push_back(entry);
        return seen.size() == 3 ? qvFailed : qvOk;
    });
    EXPECT_EQ(walk->Enumerate(visit.get()), qvFailed);
    EXPECT_EQ(seen, (std::vector<std::string>{"Box/Lid", "", "Box"}));
    uint32_t at = 0;
    EXPECT_EQ(pick->Index(&at), qvOk);
    EXPECT_EQ(at, f.mesh.PolygonCount() - 3);

    ComRef<IQvMeshMap> maps;
    ASSERT_EQ(f.object()->MapAccessor(maps.out()), qvOk);
    ASSERT_EQ(maps->SelectByName(qvMapUv, "b"), qvOk);
    EXPECT_EQ(maps->SelectByName(qvMapRgba, "b"), qvNotFound);
    ComRef<IQvPoint> point = f.points();
    std::vector<uint32_t> reached;
    auto content = Visitor([&] {
        point->Index(&at);
        reached.push_back(at);
        return qvOk;
    });
    ASSERT_EQ(maps->EnumerateContent(content.get(), point.get()), qvOk);
    EXPECT_EQ(reached, (std::vector<uint32_t>{2, 5}));
}

namespace {
std::vector<uint32_t> Cut(const std::vector<float>& positions, TriangulationScratch& scratch) {
    std::vector<uint32_t> points(positions.size() / 3), out;
    for (uint32_t i = 0; i < points.size(); ++i)
        points[i] = i;
    TriangulatePolygon(positions.data(), points.data(), uint32_t(points.size()), out, scratch);
    return out;
}
} // namespace

// Ordinary polygons keep the triangles they have always had; outlines without ears (crossing
// themselves, scattered) cost a few ear tests per corner, not a rescan of the ring per cut.
TEST(SceneHostMesh, TriangulationKeepsItsCutsAndBoundsItsWork) {
    TriangulationScratch scratch;
    const std::vector<float> comb = {0, 0, 0, 4, 0, 0, 4, 3, 0, 3, 3, 0, 3, 1, 0,
                                     2, 1, 0, 2, 3, 0, 1, 3, 0, 1, 1, 0, 0, 1, 0};
    EXPECT_EQ(Cut(comb, scratch), (std::vector<uint32_t>{9, 0, 1, 1, 2, 3, 1, 3, 4, 1, 4, 5,
                                                         5, 6, 7, 5, 7, 8, 8, 9, 1, 1, 5, 8}));
    std::vector<float> star;
    for (int i = 0; i < 10; ++i) {
        double a = i * 3.14159265358979 / 5, r = i % 2 ? 0.4 : 1.0;
        star.insert(star.end(), {float(r * std::cos(a)), float(r * std::sin(a)), 0.f});
    }
    EXPECT_EQ(Cut(star, scratch), (std::vector<uint32_t>{9, 0, 1, 9, 1, 2, 9, 2, 3, 9, 3, 4,
                                                         9, 4, 5, 9, 5, 6, 9, 6, 7, 7, 8, 9}));
    constexpr uint32_t n = 3000;
    std::vector<float> crossing, scattered;
    for (uint32_t i = 0; i < n; ++i) {
        double a = 2 * M_PI * i * 1001 / n; // a star of n points, 1001 apart
        crossing.insert(crossing.end(), {float(std::cos(a)), float(std::sin(a)), 0.f});
        double x = std::sin(i * 12.9898) * 43758.5453, y = std::sin(i * 78.233) * 43758.5453;
        scattered.insert(scattered.end(), {float(x - std::floor(x)), float(y - std::floor(y)), 0});
    }
    for (const auto* outline : {&crossing, &scattered}) {
        const uint64_t before = scratch.earTests;
        std::vector<uint32_t> triangles = Cut(*outline, scratch);
        EXPECT_EQ(triangles.size(), 3 * (n - 2));
        EXPECT_LT(*std::max_element(triangles.begin(), triangles.end()), n);
        EXPECT_LE(scratch.earTests - before, 4 * n);
    }
}
