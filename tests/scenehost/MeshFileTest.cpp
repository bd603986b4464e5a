// Mesh data and deformers in scene files: what a good file builds, seen through the interfaces,
// and where bad mesh data is refused.
#include "HostTestUtil.h"
#include "SceneFile.h"

using namespace scenehost;
using namespace hosttest;

namespace {

std::string Load(SceneHost& host, const std::string& text) {
    std::string error;
    bool loaded = LoadSceneText(host, text, "m.json", "", &error);
    EXPECT_EQ(loaded, error.empty());
    return error;
}

// Wraps one item's "mesh" member in a scene.
std::string MeshScene(const std::string& mesh) {
    return "{\"items\": [{\"id\": \"m\", \"type\": \"mesh\",\n\"mesh\": " + mesh + "}]}";
}

} // namespace

TEST(SceneHostMeshFile, PointsPolygonsTagsAndMapValuesReachTheMesh) {
    SceneHost host;
    ASSERT_EQ(Load(host, MeshScene(R"({
  "points": [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [2, 0, 0]],
  "polygons": [
    {"points": [0, 1, 2, 3], "material": "Wood", "part": "Lid", "tags": {"NOTE": "top"}},
    [1, 4, 2]
  ],
  "maps": [
    {"type": "TXUV", "name": "Texture", "values": [[0, 0], null, [1, 1]],
     "polygonValues": [{"polygon": 1, "values": [[0.5, 0], null, [0.5, 1]]}]},
    {"type": "RGBA", "name": "Color", "values": [[1, 0, 0, 1]]}
  ]
})")),
              "");
    Item& item = *host.Scene().FindIdent("m");
    const MeshData& mesh = item.Mesh();
    ComRef<IQvMesh> object = MeshObjectOf(host, item);
    uint32_t points = 0;
    int32_t polygons = 0;
    EXPECT_EQ(object->PointCount(&points), qvOk);
    EXPECT_EQ(object->PolygonCount(&polygons), qvOk);
    EXPECT_EQ(points, 5u);
    EXPECT_EQ(polygons, 2);
    EXPECT_STREQ(mesh.Tag(0, kTagMaterial), "Wood");
    EXPECT_STREQ(mesh.Tag(0, kTagPart), "Lid");
    EXPECT_STREQ(mesh.Tag(0, QvFourCC('N', 'O', 'T', 'E')), "top");
    EXPECT_EQ(mesh.Tag(1, kTagMaterial), nullptr);

    const MeshMap& uv = *mesh.FindMap(kMapUv, "Texture");
    EXPECT_EQ(uv.PointValueCount(), 2u);
    EXPECT_EQ(uv.PointValue(1), nullptr);
    ASSERT_NE(uv.CornerValue(mesh.FirstCorner(1) + 2), nullptr); // point 2 on the triangle
    EXPECT_EQ(uv.CornerValue(mesh.FirstCorner(1) + 2)[0], 0.5f);
    EXPECT_EQ(uv.CornerValue(mesh.FirstCorner(1) + 1), nullptr);
    EXPECT_EQ(mesh.FindMap(kMapRgba, "Color")->PointValue(0)[3], 1.0f);
}

TEST(SceneHostMeshFile, GenerateMakesALargeMeshFromAFewLines) {
    SceneHost host;
    ASSERT_EQ(Load(host, MeshScene(R"({"generate": {"shape": "grid", "triangles": 20000,
        "uv": "UV", "color": "Paint", "colorType": "RGB ", "normals": "Normals",
        "materials": ["A", "B"], "triangulated": true}})")),
              "");
    const MeshData& mesh = host.Scene().FindIdent("m")->Mesh();
    EXPECT_NEAR(mesh.PolygonCount(), 20000, 400);
    EXPECT_EQ(mesh.VertexCount(0), 3u);
    EXPECT_NE(mesh.FindMap(kMapUv, "UV"), nullptr);
    EXPECT_NE(mesh.FindMap(kMapRgb, "Paint"), nullptr);
    EXPECT_EQ(mesh.FindMap(kMapNormal, "Normals")->PointValue(7)[1], 1.0f); // the grid faces +Y
    EXPECT_STREQ(mesh.Tag(0, kTagMaterial), "A");
    EXPECT_STREQ(mesh.Tag(mesh.PolygonCount() - 1, kTagMaterial), "B");
}

struct MeshRefusal {
    const char* mesh;
    const char* message;
};

class SceneHostMeshFileRefusal : public testing::TestWithParam<MeshRefusal> {};

TEST_P(SceneHostMeshFileRefusal, PointsAtTheOffendingValue) {
    SceneHost host;
    EXPECT_EQ(Load(host, MeshScene(GetParam().mesh)), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SceneHostMeshFileRefusal,
    testing::Values(
        MeshRefusal{R"({"points": [[0, 0]]})", "m.json:2:21: a point has 3 numbers, not 2"},
        MeshRefusal{R"({"points": [[0, 0, 0], [1, 0, 0], [0, 1, 0]], "polygons": [[0, 1, 3]]})",
                    "m.json:2:75: no point 3: the mesh has 3 points"},
        MeshRefusal{R"({"points": [[0, 0, 0], [1, 0, 0]], "polygons": [{"points": [0, 1]}]})",
                    "m.json:2:68: a polygon needs at least 3 points, not 2"},
        MeshRefusal{R"({"points": [[0, 0, 0], [1, 0, 0]], "polygons": [[0, 1, 0]]})",
                    "m.json:2:64: a polygon has point 0 twice"},
        MeshRefusal{
            R"({"maps": [{"type": "UVXX", "name": "T"}]})",
            "m.json:2:28: unknown map type 'UVXX' (known: NORM, RGB , RGBA, TXUV, TBAS, WGHT)"},
        MeshRefusal{
            R"({"points": [[0, 0, 0]], "maps": [{"type": "TXUV", "name": "T", "values": [[0, 0, 1]]}]})",
            "m.json:2:83: a TXUV value has 2 numbers, not 3"},
        MeshRefusal{
            R"({"points": [[0, 0, 0]], "maps": [{"type": "WGHT", "name": "W", "values": [[1], [1]]}]})",
            "m.json:2:82: the map has values for 2 points, and the mesh has 1"},
        MeshRefusal{R"({"points": [[0, 0, 0], [1, 0, 0], [0, 1, 0]], "polygons": [[0, 1, 2]],
 "maps": [{"type": "TXUV", "name": "T", "polygonValues": [{"polygon": 0, "values": [[0, 0]]}]}]})",
                    "m.json:3:84: polygon 0 has 3 points, and 1 values are given"},
        MeshRefusal{
            R"({"maps": [{"type": "TXUV", "name": "T", "polygonValues": [{"polygon": 0, "values": []}]}]})",
            "m.json:2:79: no polygon 0: the mesh has 0 polygons"},
        MeshRefusal{R"({"maps": [{"type": "TXUV", "name": "T"}, {"type": "TXUV", "name": "T"}]})",
                    "m.json:2:75: the mesh has a TXUV map 'T' already"},
        MeshRefusal{R"({"points": [], "generate": {}})",
                    "m.json:2:9: \"generate\" makes the whole mesh: it stands alone in \"mesh\""},
        MeshRefusal{R"({"generate": {"triangles": 1}})",
                    "m.json:2:36: \"triangles\" must be an integer from 2 to 50000000"},
        MeshRefusal{R"({"generate": {"shape": "cube"}})",
                    "m.json:2:32: a generated shape is \"grid\" or \"torus\", not 'cube'"},
        MeshRefusal{R"({"pionts": []})", "m.json:2:10: unknown member 'pionts' in \"mesh\" (known: "
                                         "points, polygons, maps, generate)"}));

TEST(SceneHostMeshFile, DeformGroupsGiveTheirMeshesJointsLocatorsAndWeights) {
    SceneHost host;
    ASSERT_EQ(Load(host, R"({
  "items": [
    {"id": "body", "type": "mesh", "mesh": {"points": [[0, 0, 0], [0, 1, 0], [0, 2, 0]],
      "maps": [{"type": "WGHT", "name": "hip", "values": [[1], [0.5], null]},
               {"type": "WGHT", "name": "knee", "values": [[0], [0.5], [1]]}]}},
    {"id": "hipBone", "type": "locator"},
    {"id": "hip", "type": "influence", "locator": "hipBone", "channels": {"name": "hip"}},
    {"id": "knee", "type": "influence", "locator": "hipBone", "channels": {"name": "knee"},
     "actions": {"edit": {"type": 0}}},
    {"id": "loose", "type": "influence"},
    {"id": "skin", "type": "deformGroup", "meshes": ["body"], "joints": ["hip", "knee", "hipBone"]}
  ]
})"),
              "");
    Scene& scene = host.Scene();
    Item& skin = *scene.FindIdent("skin");
    auto service = Service<IQvDeformerService>(host);
    uint32_t count = 0;
    ASSERT_EQ(service->GroupMeshCount(&skin, &count), qvOk);
    ASSERT_EQ(count, 1u);
    ComRef<IQvItem> mesh;
    ASSERT_EQ(service->GroupMeshByIndex(&skin, 0, mesh.out()), qvOk);
    EXPECT_EQ(NameOf(mesh.get()), "body");

    ComRef<IQvGroupDeformer> group;
    ASSERT_EQ(service->GroupDeformerOf(&skin, Channels(host, "setup").get(), group.out()), qvOk);
    ASSERT_EQ(group->JointCount(&count), qvOk);
    ASSERT_EQ(count, 3u);
    ComRef<IQvItem> joint, locator;
    ASSERT_EQ(group->JointItem(1, joint.out()), qvOk);
    EXPECT_EQ(NameOf(joint.get()), "knee");
    EXPECT_EQ(service->DeformerLocator(joint.get(), locator.out()), qvOk);
    EXPECT_EQ(NameOf(locator.get()), "hipBone");
    EXPECT_EQ(service->DeformerLocator(scene.FindIdent("loose"), locator.out()), qvFalse);

    const MeshData& body = scene.FindIdent("body")->Mesh();
    uint32_t joints[4] = {9, 9, 9, 9};
    float weights[4] = {0, 0, 0, 0};
    ASSERT_EQ(group->PointInfluences(0, body.PointId(1), joints, weights, &count, 4), qvOk);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(joints[0], 0u);
    EXPECT_EQ(joints[1], 1u);
    EXPECT_EQ(weights[1], 0.5f);
    // A zero weight is no influence; a short buffer still learns the full count.
    ASSERT_EQ(group->PointInfluences(0, body.PointId(0), joints, weights, &count, 4), qvOk);
    EXPECT_EQ(count, 1u);
    joints[1] = 9;
    ASSERT_EQ(group->PointInfluences(0, body.PointId(1), joints, weights, &count, 1), qvOk);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(joints[1], 9u);
    EXPECT_EQ(group->PointInfluences(1, body.PointId(1), joints, weights, &count, 4), qvOutOfRange);

    // Read through "edit", the knee's "type" is 0: it has no weight map there.
    ASSERT_EQ(service->GroupDeformerOf(&skin, Channels(host, "edit").get(), group.out()), qvOk);
    ASSERT_EQ(group->PointInfluences(0, body.PointId(2), joints, weights, &count, 4), qvOk);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(service->GroupDeformerOf(scene.FindIdent("body"), nullptr, group.out()), qvNotFound);
}

TEST(SceneHostMeshFile, RigMembersAreRefusedOnItemsThatCannotHaveThem) {
    const char* const cases[][2] = {
        {R"({"items": [{"id": "a", "type": "locator", "joints": []}]})",
         "m.json:1:53: only deformGroup items have \"joints\""},
        {R"({"items": [{"id": "a", "type": "locator"}, {"id": "g", "type": "deformGroup", "meshes": ["a"]}]})",
         "m.json:1:90: 'a' is no mesh item"},
        {R"({"items": [{"id": "g", "type": "deformGroup"}, {"id": "i", "type": "influence", "locator": "g"}]})",
         "m.json:1:92: a deformer's driver needs an item of type 'locator', and 'g' is a "
         "'deformGroup'"},
        {R"({"items": [{"id": "g", "type": "deformGroup", "joints": ["g"]}]})",
         "m.json:1:58: a joint is an influence or a locator, and 'g' is a 'deformGroup'"},
    };
    for (const auto& c : cases) {
        SceneHost host;
        EXPECT_EQ(Load(host, c[0]), c[1]);
    }
}
