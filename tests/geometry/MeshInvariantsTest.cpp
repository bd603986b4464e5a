// Meshes whose per-corner tables are out of step with their triangles, from a misbehaving host or
// from records filled wrongly: each is refused with one error naming it, nothing is read out of
// range (these cases read past the tables, under AddressSanitizer, without the check), and the
// rest of the file is whole.
#include "MeshData.h"
#include "document/DocumentTestSupport.h"
#include "host/GltfLogMsg.h"
#include "support/GlbReader.h"
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

#include <functional>

using namespace testsupport;

namespace {

class MeshInvariants : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        host.SetUserInt("sceneio.gltf.save.exportType", 0);
    }

    // A cube the host answers wrongly about (its polygon 2, as `fault` sets), then a good one.
    void AddCubes(const std::function<void(scenehost::MeshFaults&)>& fault) {
        scenehost::MeshData& broken = host.Scene().AddItem("mesh", "Broken").Mesh();
        BuildCube(broken);
        fault(broken.Faults());
        BuildCube(host.Scene().AddItem("mesh", "Good").Mesh());
    }

    // Saves and checks what every case shares: one error, the text given; the broken cube keeps
    // its node but no mesh; the good cube is mesh 0, whole, in a buffer that adds up.
    void SaveAndCheck(const std::string& error) {
        ASSERT_EQ(Save("cubes.glb"), qvOk);
        EXPECT_EQ(Lines("error"), std::vector<std::string>{error});
        GlbReader glb(FileText("cubes.glb"));
        ASSERT_TRUE(glb.json.IsObject());
        ASSERT_EQ(glb.json["nodes"].Size(), 2u);
        EXPECT_FALSE(glb.json["nodes"][0].HasMember("mesh"));
        EXPECT_EQ(glb.json["nodes"][1]["mesh"].GetUint(), 0u);
        EXPECT_EQ(glb.json["meshes"].Size(), 1u);
        EXPECT_EQ(glb.json["accessors"].Size(), 3u);
        EXPECT_EQ(glb.Attribute(glb.Primitive(0, 0), "indices").size(), 36u);
        EXPECT_EQ(glb.json["buffers"][0]["byteLength"].GetUint(), glb.bin.size());
    }
};

} // namespace

TEST_F(MeshInvariants, CornerWithAnUnknownPointIdSkipsTheMesh) {
    // The id adds no point entry, one for each of the quad's two triangles.
    AddCubes([](scenehost::MeshFaults& faults) { faults.strayCorner = 2; });
    SaveAndCheck("Mesh of node:Broken skipped: its point table has 34 entries for 36 triangle "
                 "corners");
}

TEST_F(MeshInvariants, FailingTriangleByIndexSkipsTheMesh) {
    AddCubes([](scenehost::MeshFaults& faults) { faults.failingTriangles = 2; });
    SaveAndCheck("Mesh of node:Broken skipped: its point table has 30 entries for 36 triangle "
                 "corners");
}

// Records filled directly, one fault each, against the tables of one good triangle.
TEST(MeshInvariantRecords, EachBrokenTableIsNamed) {
    struct Case {
        std::function<void(GltfMesh&)> breakMesh;
        const char* error;
    };
    const Case cases[] = {
        {[](GltfMesh& m) { m.pointIndex[1] = 3; }, "point table names an entry past its 3 values"},
        {[](GltfMesh& m) { m.normalIndex.pop_back(); },
         "normal table has 2 entries for 3 triangle corners"},
        {[](GltfMesh& m) {
             m.AddUvMap()->index = {0, 0, 0};
         },
         "UV map 0 table names an entry past its 0 values"},
        {[](GltfMesh& m) { m.primitives["m"].triangles.push_back(1); },
         "primitive m names a triangle past the mesh's 1"},
        {[](GltfMesh& m) {
             m.skins.push_back(std::make_unique<GltfSkin>());
             m.skins[0]->name = "s";
             m.skins[0]->Resize(2);
         },
         "skin s has no row for every point"},
    };
    for (const Case& c : cases) {
        GltfDocument document;
        GltfLogMsg log;
        document.log = &log;
        GltfScene* scene = document.CreateScene();
        GltfNode* node = scene->CreateNode("Tri");
        scene->AddChild(node);
        GltfMesh* mesh = scene->CreateMesh();
        node->SetMesh(mesh);
        for (int p = 0; p < 3; ++p)
            mesh->AddPosition(p, p == 1, 0);
        mesh->normals = {{0, 0, 1}};
        mesh->pointIndex = {0, 1, 2};
        mesh->normalIndex = {0, 0, 0};
        mesh->primitives["m"].triangles = {0};
        mesh->triangleCount = 1;
        c.breakMesh(*mesh);

        const std::string text = doctests::BuildJsonText(document);
        EXPECT_EQ(log.ErrorCount(), 1u) << c.error;
        EXPECT_EQ(std::string(log.Text()), std::string("Mesh of node:Tri skipped: its ") + c.error);
        EXPECT_NE(text.find(R"("nodes":[{"name":"Tri"}],"meshes":[],)"), std::string::npos) << text;
    }
}
