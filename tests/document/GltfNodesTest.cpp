// Scenes and nodes in the JSON: numbering, member order, the two transform forms.
#include "DocumentTestSupport.h"

#include <cmath>

using namespace doctests;

namespace {

struct SceneBuilder {
    SceneBuilder() : scene(document.CreateScene()) {}

    GltfNode* Add(const char* name, GltfNode* parent) {
        GltfNode* node = scene->CreateNode(name);
        parent->AddChild(node);
        return node;
    }
    // A mesh that has something to write: one point, one primitive of one triangle.
    GltfMesh* AddMesh(GltfNode* node) {
        GltfMesh* mesh = scene->CreateMesh();
        mesh->AddPosition(0, 0, 0);
        mesh->normals.push_back({0, 0, 1});
        mesh->pointIndex = {0, 0, 0};
        mesh->normalIndex = {0, 0, 0};
        mesh->primitives["material"].triangles.push_back(0);
        node->SetMesh(mesh);
        return mesh;
    }

    GltfDocument document;
    GltfScene* scene;
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

double ThroughFloat(double value) {
    return static_cast<float>(value);
}

} // namespace

TEST(GltfNodes, TreeIsNumberedDepthFirstWithChildrenLast) {
    SceneBuilder s;
    GltfNode* a = s.Add("A", s.scene);
    GltfNode* b = s.Add("B", a);
    s.Add("C", b);
    s.Add("D", a);
    s.Add("E", s.scene);
    s.scene->CreateNode("never attached");
    s.AddMesh(a);
    a->SetCamera(new GltfCamera("cam"));

    const std::string text = BuildJsonText(s.document);
    EXPECT_TRUE(Contains(text, R"("scenes":[{"nodes":[0,4]}])")) << text;
    EXPECT_TRUE(Contains(text, R"("nodes":[{"name":"A","mesh":0,"camera":0,"children":[1,3]},)"
                               R"({"name":"B","children":[2]},{"name":"C"},{"name":"D"},)"
                               R"({"name":"E"}])"))
        << text;
    EXPECT_TRUE(Contains(text, R"("meshes":[{"primitives":[{"indices":1,"mode":4,"material":0,)"
                               R"("attributes":{"POSITION":0,"NORMAL":2}}]}])"))
        << text;
    EXPECT_TRUE(Contains(text, R"("cameras":[{"name":"cam","type":"perspective",)"
                               R"("perspective":{"znear":0.01,"yfov":0.8726}}]})"))
        << text;
    EXPECT_EQ(s.document.nodeIds.at(b), 1u);
}

TEST(GltfNodes, MeshWithNothingToWriteIsLeftOut) {
    SceneBuilder s;
    GltfMesh* noPoints = s.scene->CreateMesh();
    noPoints->primitives["material"].triangles.push_back(0);
    s.Add("p", s.scene)->SetMesh(noPoints);
    GltfMesh* noPrimitives = s.scene->CreateMesh();
    noPrimitives->AddPosition(1, 2, 3);
    s.Add("q", s.scene)->SetMesh(noPrimitives);

    EXPECT_TRUE(
        Contains(BuildJsonText(s.document), R"("nodes":[{"name":"p"},{"name":"q"}],"meshes":[])"));
}

TEST(GltfNodes, IdentityWritesNoTransformInEitherForm) {
    SceneBuilder s;
    s.Add("", s.scene)->useMatrix = true;
    s.Add("decomposed", s.scene)->useMatrix = false;
    GltfNode* last = s.Add("last", s.scene); // every element counts, the last one too
    last->useMatrix = true;
    last->matrix[15] = 0.5;
    EXPECT_TRUE(Contains(BuildJsonText(s.document),
                         R"("nodes":[{"name":""},{"name":"decomposed"},{"name":"last","matrix":)"));
}

// The scale stays inside the quaternion: a uniform scale of 2 gives w = sqrt(7) / 2.
TEST(GltfNodes, DecomposedFormKeepsTheScaleInTheRotation) {
    SceneBuilder s;
    GltfNode* node = s.Add("d", s.scene);
    node->matrix = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 1, 2, 0.1, 1};

    rapidjson::Document json = ParseJson(BuildJsonText(s.document));
    const rapidjson::Value& written = json["nodes"][0];
    EXPECT_EQ(MemberNames(written),
              (std::vector<std::string>{"name", "rotation", "translation", "scale"}));
    EXPECT_EQ(ToText(written["rotation"]).substr(0, 13), "[0.0,0.0,0.0,");
    EXPECT_EQ(written["rotation"][3].GetDouble(), ThroughFloat(0.5 * std::sqrt(7.0)));
    EXPECT_EQ(written["translation"][2].GetDouble(), ThroughFloat(0.1));
    EXPECT_EQ(ToText(written["scale"]), "[2.0,2.0,2.0]");
    EXPECT_EQ(node->rotation[3], 0.5 * std::sqrt(7.0)); // the record keeps the double
}

TEST(GltfNodes, DecomposeFollowsTheRowVectorLayout) {
    GltfNode node("q");
    // A quarter turn about z, rows of four: the first row is the image of the x axis.
    node.matrix = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    node.DecomposeMatrix();
    const double half = std::sqrt(0.5);
    EXPECT_DOUBLE_EQ(node.rotation[2], half);
    EXPECT_DOUBLE_EQ(node.rotation[3], half);

    // Half turns take the branch that starts from the largest diagonal element.
    const GltfVec3 diagonals[] = {{1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
    for (int axis = 0; axis < 3; ++axis) {
        node.matrix = kGltfIdentityMatrix;
        for (int i = 0; i < 3; ++i)
            node.matrix[5 * i] = diagonals[axis][i];
        node.DecomposeMatrix();
        GltfVec4 expected{};
        expected[axis] = 1.0;
        EXPECT_EQ(node.rotation, expected) << "half turn about axis " << axis;
    }

    // A mirror loses its sign in the scale.
    node.matrix = {-3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    node.DecomposeMatrix();
    EXPECT_EQ(node.scale, (GltfVec3{3, 1, 1}));
}

TEST(GltfNodes, SkinnedMeshInWorldSpaceIsWrittenDecomposed) {
    struct Case {
        uint32_t worldSpace;
        bool skinned;
        const char* transform;
    };
    for (const Case& c :
         {Case{1, true, "rotation"}, Case{0, true, "matrix"}, Case{1, false, "matrix"}}) {
        SceneBuilder s;
        s.document.skinnedMeshInWorldSpace = c.worldSpace;
        GltfNode* node = s.Add("skinned", s.scene);
        node->useMatrix = true;
        node->matrix[12] = 3;
        GltfMesh* mesh = s.AddMesh(node);
        if (c.skinned) {
            mesh->skins.push_back(std::make_unique<GltfSkin>());
            mesh->skins[0]->Resize(1);
        }

        rapidjson::Document json = ParseJson(BuildJsonText(s.document));
        EXPECT_EQ(MemberNames(json["nodes"][0])[1], c.transform)
            << "world space " << c.worldSpace << ", skinned " << c.skinned;
        ASSERT_EQ(s.document.skins.size(), c.skinned ? 1u : 0u);
        if (c.skinned) {
            EXPECT_EQ(s.document.skins[0]->meshNode, node);
        }
    }
}
