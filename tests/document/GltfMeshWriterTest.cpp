// Meshes in the file: welding of corners into vertices, the attribute blocks read back from the
// buffer, and the primitives' links to their materials. A whole host mesh read back vertex by
// vertex is in tests/geometry.
#include "DocumentTestSupport.h"

#include "host/GltfLogMsg.h"

using namespace doctests;

namespace {

// One node with one mesh; the test fills the mesh's tables, Write() gives JSON and buffer.
struct MeshFixture {
    MeshFixture() : scene(document.CreateScene()) {
        node = scene->CreateNode("node");
        scene->AddChild(node);
        mesh = scene->CreateMesh();
        node->SetMesh(mesh);
        mesh->normals.push_back({0, 0, 1});
    }

    // Appends a triangle of `material`; corner c uses point points[c] and normal normals[c].
    void Triangle(const std::string& material, std::array<uint32_t, 3> points,
                  std::array<uint32_t, 3> normals = {0, 0, 0}) {
        mesh->primitives[material].triangles.push_back(mesh->triangleCount++);
        mesh->pointIndex.insert(mesh->pointIndex.end(), points.begin(), points.end());
        mesh->normalIndex.insert(mesh->normalIndex.end(), normals.begin(), normals.end());
    }
    // A triangle over three new points; for tests that look at attributes, not welding.
    void SoloTriangle(const std::string& material = "m") {
        const auto base = static_cast<uint32_t>(mesh->positions.size());
        mesh->AddPosition(0, 0, 0);
        mesh->AddPosition(1, 0, 0);
        mesh->AddPosition(0, 1, 0);
        Triangle(material, {base, base + 1, base + 2});
    }

    void Write() {
        glb = WriteAndRead(document);
        ASSERT_EQ(glb->bin.size(), json()["buffers"][0]["byteLength"].GetUint());
    }

    const rapidjson::Document& json() const { return glb->json; }
    const rapidjson::Value& Primitive(size_t i = 0) { return glb->Primitive(0, unsigned(i)); }
    uint32_t Attribute(const char* name, size_t primitive = 0) {
        return Primitive(primitive)["attributes"][name].GetUint();
    }
    std::vector<double> Floats(uint32_t accessor) { return glb->Values(accessor); }
    std::vector<double> Indices(size_t primitive = 0) {
        return glb->Attribute(Primitive(primitive), "indices");
    }

    GltfDocument document;
    GltfScene* scene;
    GltfNode* node;
    GltfMesh* mesh;
    std::unique_ptr<GlbReader> glb;
};

using Floats = std::vector<double>;

} // namespace

TEST(GltfMeshWriter, CornersWeldByTableEntryNotByValue) {
    MeshFixture f;
    for (int i = 0; i < 4; ++i)
        f.mesh->AddPosition(i, 2 * i, -i);
    // Normal 1 has the numbers of normal 0, but it is another entry: corners naming it are
    // other vertices.
    f.mesh->normals.push_back({0, 0, 1});
    f.Triangle("m", {0, 1, 2});
    f.Triangle("m", {0, 2, 3}, {1, 0, 0});
    f.Triangle("m", {3, 2, 0}, {0, 0, 1});
    f.Write();

    // Numbered by first use: point 0 with normal 1 is vertex 3, point 3 vertex 4. 32-bit, so
    // no pad: 9 indices, 36 bytes.
    EXPECT_EQ(f.Indices(), (Floats{0, 1, 2, 3, 2, 4, 4, 2, 3}));
    EXPECT_EQ(f.json()["accessors"][1]["componentType"].GetUint(), kGltfUnsignedInt);
    EXPECT_EQ(f.json()["bufferViews"][1]["byteLength"].GetUint(), 36u);
    EXPECT_EQ(f.Floats(f.Attribute("POSITION")),
              (Floats{0, 0, 0, 1, 2, -1, 2, 4, -2, 0, 0, 0, 3, 6, -3}));
    EXPECT_EQ(f.Floats(f.Attribute("NORMAL")).size(), 15u);
    const rapidjson::Value& position = f.json()["accessors"][f.Attribute("POSITION")];
    EXPECT_EQ(ToText(position), R"({"bufferView":0,"type":"VEC3","componentType":5126,"count":5,)"
                                R"("min":[0.0,0.0,-3.0],"max":[3.0,6.0,0.0]})");
    EXPECT_EQ(ToText(f.Primitive()), R"({"indices":1,"mode":4,"material":0,)"
                                     R"("attributes":{"POSITION":0,"NORMAL":2}})");
}

TEST(GltfMeshWriter, EachMaterialGetsItsOwnPrimitiveAndData) {
    MeshFixture f;
    for (int i = 0; i < 4; ++i)
        f.mesh->AddPosition(i, 0, 0);
    GltfMaterial* shared = f.scene->CreateMaterial("shared");
    f.mesh->materials.emplace("a", shared);
    f.mesh->materials.emplace("b", shared);
    f.Triangle("a", {0, 1, 2});
    f.Triangle("b", {2, 1, 3});
    f.Triangle("unknown", {0, 1, 3});
    f.Write();

    const rapidjson::Value& primitives = f.json()["meshes"][0]["primitives"];
    ASSERT_EQ(primitives.Size(), 3u);
    // The boundary points 1 and 2 are in both position arrays, each primitive numbering from 0.
    EXPECT_EQ(f.Floats(f.Attribute("POSITION", 0)), (Floats{0, 0, 0, 1, 0, 0, 2, 0, 0}));
    EXPECT_EQ(f.Floats(f.Attribute("POSITION", 1)), (Floats{2, 0, 0, 1, 0, 0, 3, 0, 0}));
    EXPECT_EQ(f.Indices(1), (Floats{0, 1, 2}));
    EXPECT_EQ(f.Attribute("POSITION", 1), 3u) << "no accessor is shared";
    // One material object for both names; an unknown name falls back to the default.
    EXPECT_EQ(primitives[0]["material"].GetUint(), 1u);
    EXPECT_EQ(primitives[1]["material"].GetUint(), 1u);
    EXPECT_EQ(primitives[2]["material"].GetUint(), 0u);
    EXPECT_EQ(f.json()["materials"].Size(), 2u);
}

namespace {

// One triangle whose three vertices have these tangent entries; the normal is (0, 0, 1)
// unless given.
struct TangentCase {
    explicit TangentCase(std::vector<std::array<float, 6>> bases, GltfVec3 normal = {0, 0, 1},
                         bool withLog = true) {
        f.SoloTriangle();
        f.mesh->normals = {normal};
        GltfTangentMap* map = f.mesh->AddTangentMap();
        map->values = std::move(bases);
        for (uint32_t c = 0; c < 3; ++c)
            map->index.push_back(std::min<uint32_t>(c, uint32_t(map->values.size() - 1)));
        // Only the first map is written.
        f.mesh->AddTangentMap()->index = {9, 9, 9};
        if (withLog) f.document.log = &log;
        f.Write();
    }
    Floats Tangents() { return f.Floats(f.Attribute("TANGENT")); }

    GltfLogMsg log;
    MeshFixture f;
};

} // namespace

TEST(GltfMeshWriter, TangentsAreNormalisedWithHandednessAndCheckedOnOneSide) {
    // The second basis fails the check; with no log the warning is dropped.
    TangentCase c({{2, 0, 0, 0, 1, 0}, {2, 0, 0, 0, -1, 0}, {0, 0, 0, 0, 0, 0}}, {0, 0, 1}, false);
    EXPECT_EQ(c.Tangents(), (Floats{1, 0, 0, 1, 1, 0, 0, -1, 1, 0, 0, 1}));
    EXPECT_EQ(MemberNames(c.f.Primitive()["attributes"]).back(), "TANGENT");

    // Sum of t x b is 1 for t = x, b = y; the check fails when that less the sum of n is at
    // or below -2^-19.
    const std::array<float, 6> xy = {1, 0, 0, 0, 1, 0};
    EXPECT_EQ(TangentCase({xy}, {0, 0, 1 + 0x1p-20}).log.WarningCount(), 0u);
    EXPECT_EQ(TangentCase({xy}, {0, 0, 1 + 0x1p-19}).log.WarningCount(), 1u);
    // Far from orthonormal, but the sum is large and positive: it passes.
    EXPECT_EQ(TangentCase({{5, 0, 0, 0, 5, 0}}, {0, 0, -1}).log.WarningCount(), 0u);
    // A zero tangent is not checked, whatever the normal.
    EXPECT_EQ(TangentCase({{0, 0, 0, 0, 0, 0}}, {0, 0, 9}).log.WarningCount(), 0u);
    // Three failing vertices, one warning; and the tangents are still written.
    TangentCase failing({{0, 1, 0, 1, 0, 0}, {0, 2, 0, 1, 0, 0}, {0, 3, 0, 1, 0, 0}});
    EXPECT_EQ(failing.log.WarningCount(), 1u);
    EXPECT_STREQ(failing.log.Text(), "Tangent basis is not orthonormal. External previewers could "
                                     "have unexpected surface results.");
    EXPECT_EQ(failing.Tangents().size(), 12u);
}

namespace {

// Two skins over a mesh of three points, one triangle.
struct SkinnedFixture : MeshFixture {
    SkinnedFixture() {
        SoloTriangle();
        mesh->normals = {{0, 1, 0}};
        for (int s = 0; s < 2; ++s) {
            mesh->skins.push_back(std::make_unique<GltfSkin>());
            mesh->skins.back()->Resize(3);
        }
        GltfSkin& skin = *mesh->skins[0];
        skin.jointIndices[0] = {3.9, 1, 0, 0};
        skin.weights[0] = {0.75, 0.5, 0, 0};
        skin.AddInfluence(1, 1, 7);
        mesh->skins[1]->AddInfluence(2, 0.25f, 65535);
        // A translation and a scale of 2.
        node->matrix = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 10, 20, 30, 1};
        node->useMatrix = true;
    }
};

} // namespace

TEST(GltfMeshWriter, JointsThenWeightsPerSkin) {
    SkinnedFixture f;
    f.Write();
    EXPECT_EQ(MemberNames(f.Primitive()["attributes"]),
              (std::vector<std::string>{"POSITION", "NORMAL", "JOINTS_0", "JOINTS_1", "WEIGHTS_0",
                                        "WEIGHTS_1"}));
    const rapidjson::Value& joints = f.json()["accessors"][f.Attribute("JOINTS_0")];
    EXPECT_EQ(joints["componentType"].GetUint(), kGltfUnsignedShort);
    EXPECT_STREQ(joints["type"].GetString(), "VEC4");
    // Joint numbers cut toward zero; weights as stored, not normalised.
    EXPECT_EQ(f.Floats(f.Attribute("JOINTS_0")), (Floats{3, 1, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(f.Floats(f.Attribute("JOINTS_1")), (Floats{0, 0, 0, 0, 0, 0, 0, 0, 65535, 0, 0, 0}));
    EXPECT_EQ(f.Floats(f.Attribute("WEIGHTS_0")),
              (Floats{0.75f, 0.5f, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(f.Floats(f.Attribute("WEIGHTS_1")), (Floats{0, 0, 0, 0, 0, 0, 0, 0, 0.25f, 0, 0, 0}));
}

// In world space a skinned mesh's points are moved by its node's matrix, and the node is written
// decomposed; otherwise, or without a skin, nothing moves and the node keeps its matrix.
TEST(GltfMeshWriter, SkinnedMeshInWorldSpaceMovesPointsOnlyAndDecomposesItsNode) {
    SkinnedFixture moved;
    moved.Write();
    EXPECT_EQ(MemberNames(moved.json()["nodes"][0])[1], "rotation");
    ASSERT_FALSE(moved.document.skins.empty());
    EXPECT_EQ(moved.document.skins[0]->meshNode, moved.node);
    EXPECT_EQ(moved.Floats(moved.Attribute("POSITION")),
              (Floats{10, 20, 30, 12, 20, 30, 10, 22, 30}));
    EXPECT_EQ(ToText(moved.json()["accessors"][0]["min"]), "[10.0,20.0,30.0]");
    EXPECT_EQ(ToText(moved.json()["accessors"][0]["max"]), "[12.0,22.0,30.0]");
    EXPECT_EQ(moved.Floats(moved.Attribute("NORMAL")), (Floats{0, 1, 0, 0, 1, 0, 0, 1, 0}));

    SkinnedFixture local;
    local.document.skinnedMeshInWorldSpace = 0;
    local.Write();
    EXPECT_EQ(local.Floats(local.Attribute("POSITION")), (Floats{0, 0, 0, 1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(MemberNames(local.json()["nodes"][0])[1], "matrix");
    MeshFixture unskinned;
    unskinned.SoloTriangle();
    unskinned.node->useMatrix = true;
    unskinned.node->matrix[12] = 3;
    unskinned.Write();
    EXPECT_EQ(MemberNames(unskinned.json()["nodes"][0])[1], "matrix");

    // The point is narrowed before it is moved: 2^24 + 1 has no float and becomes 2^24, and
    // 2^24 + 1 after the move is 2^24 again. Moved first, it would be 2^24 + 2.
    SkinnedFixture narrowed;
    narrowed.mesh->positions[0] = {16777217.0, 0, 0};
    narrowed.node->matrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 1};
    narrowed.Write();
    EXPECT_EQ(narrowed.Floats(narrowed.Attribute("POSITION"))[0], 16777216.0f);
}
