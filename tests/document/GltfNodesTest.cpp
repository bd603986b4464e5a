// Nodes in the JSON: meshes left out, and the two transform forms. Numbering and member order
// are checked on saved scenes (tests/saver/NodeBuildingTest.cpp), and which form a skinned
// mesh's node takes with its mesh (GltfMeshWriterTest.cpp).
#include "DocumentTestSupport.h"

#include <cmath>

using namespace doctests;

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

// A hierarchy is written with a stack of its own, not by recursion: a chain of 100,000 nodes
// comes out numbered depth first, each holding the next as its only child.
TEST(GltfNodes, DeepHierarchyIsWrittenWithoutRecursion) {
    SceneBuilder s;
    GltfNode* parent = s.scene;
    for (int depth = 0; depth < 100000; ++depth)
        parent = s.Add("link", parent);
    const auto json = ParseJson(BuildJsonText(s.document));
    ASSERT_EQ(json["nodes"].Size(), 100000u);
    EXPECT_EQ(ToText(json["scenes"][0]["nodes"]), "[0]");
    EXPECT_EQ(ToText(json["nodes"][50000]), R"({"name":"link","children":[50001]})");
    EXPECT_EQ(ToText(json["nodes"][99999]), R"({"name":"link"})");
}
