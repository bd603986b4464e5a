// The item hierarchy as glTF nodes: which items become nodes, in which order, with which
// matrices, for the whole scene and selected hierarchies. Selected items alone are the default
// export (tests/saver/OptionsTest.cpp).
#include "support/SaveFixture.h"

#include <cmath>

using namespace testsupport;

namespace {

class NodeBuilding : public SaveFixture {
protected:
    static std::vector<unsigned> Indices(const rapidjson::Value& array) {
        std::vector<unsigned> out;
        for (const auto& v : array.GetArray())
            out.push_back(v.GetUint());
        return out;
    }
    static std::vector<double> Matrix(const rapidjson::Value& node) {
        std::vector<double> out;
        for (const auto& v : node["matrix"].GetArray())
            out.push_back(v.GetDouble());
        return out;
    }
    // What the file holds for a matrix: each element rounded to float.
    static std::vector<double> ThroughFloat(const scenehost::Matrix& m) {
        std::vector<double> out;
        for (double v : m)
            out.push_back(static_cast<float>(v));
        return out;
    }
    // Scale, then rotation (degrees), then translation: the order of a locator's own stack.
    static scenehost::Matrix Compose(std::array<double, 3> s, std::array<double, 3> r, int order,
                                     std::array<double, 3> t) {
        const double deg = M_PI / 180;
        using namespace scenehost;
        return Multiply(Multiply(ScaleMatrix(s[0], s[1], s[2]),
                                 RotationMatrix(r[0] * deg, r[1] * deg, r[2] * deg, order)),
                        TranslationMatrix(t[0], t[1], t[2]));
    }
};

} // namespace

TEST_F(NodeBuilding, WholeSceneWalksDepthFirstInChildOrder) {
    ExportType(0);
    auto& s = host.Scene();
    auto& root = s.AddItem("locator", "Root");
    auto& a = s.AddItem("locator", "A", root);
    s.AddItem("locator", "A1", a);
    s.AddItem("locator", "B", root);
    s.AddItem("groupLocator", "C", root);
    s.AddItem("locator", "Other");
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(NodeNames(glb.json),
              (std::vector<std::string>{"Root", "A", "A1", "B", "C", "Other"}));
    EXPECT_EQ(Indices(glb.json["scenes"][0]["nodes"]), (std::vector<unsigned>{0, 5}));
    EXPECT_EQ(Indices(glb.json["nodes"][0]["children"]), (std::vector<unsigned>{1, 3, 4}));
    EXPECT_EQ(Indices(glb.json["nodes"][1]["children"]), (std::vector<unsigned>{2}));
    EXPECT_EQ(CountLines("Root item:Root\n"), 2); // once from the walk, once in the summary
    EXPECT_EQ(CountLines("   Using World matrix"), 2);
    EXPECT_EQ(CountLines("   Using Local matrix"), 4);
}

TEST_F(NodeBuilding, LocalMatricesUnderTheirParentWorldForRoots) {
    ExportType(0);
    auto& s = host.Scene();
    auto& root = s.AddItem("locator", "Root").Position(1, 2, 3);
    s.AddItem("locator", "Child", root).Position(10, 0, 0).Scale(2, 2, 2);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(Matrix(glb.json["nodes"][0]),
              (std::vector<double>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1}));
    EXPECT_EQ(Matrix(glb.json["nodes"][1]),
              (std::vector<double>{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 10, 0, 0, 1}));
}

// The inverse of a rotated, unevenly scaled parent has no zero terms, so every cofactor of the
// inversion shows in the child's local matrix, which is known: the child's own stack.
TEST_F(NodeBuilding, ChildOfARotatedUnevenlyScaledParentGetsExactlyItsOwnStack) {
    ExportType(0);
    auto& s = host.Scene();
    auto& parent = s.AddItem("locator", "Parent").Position(1, -2, 3).Rotation(30, -45, 60, 2);
    parent.Scale(2, 0.5, 3);
    auto& child = s.AddItem("locator", "Child", parent).Position(0.5, 4, -1);
    child.Rotation(-20, 10, 70).Scale(1.5, 0.25, 1);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(Matrix(glb.json["nodes"][0]),
              ThroughFloat(Compose({2, 0.5, 3}, {30, -45, 60}, 2, {1, -2, 3})));
    EXPECT_EQ(Matrix(glb.json["nodes"][1]),
              ThroughFloat(Compose({1.5, 0.25, 1}, {-20, 10, 70}, 0, {0.5, 4, -1})));
}

// A selected item whose parent is selected too is no root of its own.
TEST_F(NodeBuilding, SelectedHierarchyLiftsItsTopIntoWorldSpace) {
    ExportType(2);
    auto& s = host.Scene();
    auto& root = s.AddItem("locator", "Root").Position(5, 0, 0);
    auto& arm = s.AddItem("locator", "Arm", root).Position(0, 1, 0);
    auto& hand = s.AddItem("locator", "Hand", arm).Position(0, 0, 2);
    host.Select(hand);
    host.Select(arm);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("Scanning finished, rootItems:1"), 1);
    EXPECT_EQ(NodeNames(glb.json), (std::vector<std::string>{"Arm", "Hand"}));
    EXPECT_EQ(Matrix(glb.json["nodes"][0]),
              (std::vector<double>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 1, 0, 1}));
    EXPECT_EQ(Matrix(glb.json["nodes"][1]),
              (std::vector<double>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 2, 1}));
}

TEST_F(NodeBuilding, SkippedItemsTakeTheirChildrenWithThem) {
    ExportType(0);
    auto& s = host.Scene();
    auto& root = s.AddItem("locator", "Root");
    auto& light = s.AddItem("pointLight", "Lamp", root);
    s.AddItem("camera", "CamUnderLight", light);
    auto& tl = s.AddItem("txtrLocator", "Placement", root);
    s.AddItem("locator", "UnderPlacement", tl);
    auto& morph = s.AddItem("locator", "MorphGroup", root);
    s.AddItem("locator", "UnderMorph", morph);
    s.AddItem("locator", "TextureGroup", root);
    s.AddItem("locator", "Kept", root);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(NodeNames(glb.json), (std::vector<std::string>{"Root", "Kept"}));
}

TEST_F(NodeBuilding, CamerasGetFixedProjectionOrNothingWhenOff) {
    ExportType(0);
    auto& cam = host.Scene().AddItem("camera", "Cam");
    host.Scene().AddItem("locator", "Rig", cam);
    GlbReader on = SaveAndRead();
    ASSERT_EQ(NodeNames(on.json), (std::vector<std::string>{"Cam", "Rig"}));
    EXPECT_EQ(on.json["nodes"][0]["camera"].GetUint(), 0u);
    EXPECT_EQ(
        JsonText(on.json["cameras"]),
        R"([{"name":"Cam","type":"perspective","perspective":{"znear":0.01,"yfov":0.8726}}])");

    host.SetUserInt("sceneio.gltf.save.cameras", 0);
    GlbReader off = SaveAndRead();
    EXPECT_TRUE(NodeNames(off.json).empty());
    EXPECT_FALSE(off.json.HasMember("cameras"));
}

TEST_F(NodeBuilding, ZeroScaledParentPassesItsMatrixThrough) {
    ExportType(0);
    auto& s = host.Scene();
    auto& flat = s.AddItem("locator", "Flat").Scale(0, 0, 0).Position(1, 0, 0);
    s.AddItem("locator", "Child", flat).Position(0, 1, 0);
    GlbReader glb = SaveAndRead();
    // The parent's world cannot be inverted: the child's world is multiplied by it as it is.
    EXPECT_EQ(Matrix(glb.json["nodes"][1]),
              (std::vector<double>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1}));
}

TEST_F(NodeBuilding, AnalysisCountsDrivenChannelsAndLogsThem) {
    ExportType(0);
    auto& s = host.Scene();
    auto& driver = s.AddItem("locator", "Driver");
    auto& driven = s.AddItem("locator", "Driven").Position(0, 0, 0);
    s.LinkChannel(driver, "visible", driven, "visible");
    s.LinkChannel(driver, "visible", driven.OwnTransform(qvXfrmTranslation), "pos.X");
    SaveAndRead();
    EXPECT_EQ(CountLines("   driven:0 xformDriven:0"), 1);
    EXPECT_EQ(CountLines("   driven:1 xformDriven:1"), 1);
}

// However deep the hierarchy, a save composes each locator's local matrix a bounded number of
// times: world matrices are not worked out from the root again for every node.
TEST_F(NodeBuilding, DeepChainCostsEachLocalMatrixABoundedNumberOfTimes) {
    constexpr uint32_t kDepth = 3000;
    auto& s = host.Scene();
    std::vector<scenehost::Item*> chain;
    for (uint32_t i = 0; i < kDepth; ++i)
        chain.push_back(&s.AddItem("locator", "L" + std::to_string(i)).Position(0, 1, 0));
    for (uint32_t i = kDepth - 1; i > 0; --i) // from the bottom, so each parent is at the top
        s.SetParent(*chain[i], chain[i - 1]);
    ExportType(0);
    const uint64_t before = scenehost::LocalMatrixCount();
    GlbReader glb = SaveAndRead();
    EXPECT_LE(scenehost::LocalMatrixCount() - before, 4 * kDepth);
    ASSERT_EQ(glb.json["nodes"].Size(), kDepth);
    EXPECT_EQ(Matrix(glb.json["nodes"][kDepth - 1]),
              ThroughFloat(scenehost::TranslationMatrix(0, 1, 0)));
}
