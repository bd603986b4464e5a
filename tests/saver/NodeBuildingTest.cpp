// The item hierarchy as glTF nodes: which items become nodes, in which order, with which
// matrices, for the three export types.
#include "support/SaveFixture.h"

#include <cmath>

using namespace testsupport;

namespace {

class NodeBuilding : public SaveFixture {
protected:
    void ExportType(int type) { host.SetUserInt("sceneio.gltf.save.exportType", type); }

    rapidjson::Document SaveAndParse() {
        EXPECT_EQ(Save("nodes.glb"), qvOk);
        return ParseJson(GlbJson("nodes.glb"));
    }

    static std::vector<std::string> NodeNames(const rapidjson::Document& doc) {
        std::vector<std::string> names;
        for (const auto& node : doc["nodes"].GetArray()) names.emplace_back(node["name"].GetString());
        return names;
    }
    static std::vector<unsigned> Indices(const rapidjson::Value& array) {
        std::vector<unsigned> out;
        for (const auto& v : array.GetArray()) out.push_back(v.GetUint());
        return out;
    }
    static std::vector<double> Matrix(const rapidjson::Value& node) {
        std::vector<double> out;
        for (const auto& v : node["matrix"].GetArray()) out.push_back(v.GetDouble());
        return out;
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
    auto doc = SaveAndParse();
    EXPECT_EQ(NodeNames(doc), (std::vector<std::string>{"Root", "A", "A1", "B", "C", "Other"}));
    EXPECT_EQ(Indices(doc["scenes"][0]["nodes"]), (std::vector<unsigned>{0, 5}));
    EXPECT_EQ(Indices(doc["nodes"][0]["children"]), (std::vector<unsigned>{1, 3, 4}));
    EXPECT_EQ(Indices(doc["nodes"][1]["children"]), (std::vector<unsigned>{2}));
    EXPECT_EQ(CountLines("Root item:Root\n"), 2); // once from the walk, once in the summary
    EXPECT_EQ(CountLines("   Using World matrix"), 2);
    EXPECT_EQ(CountLines("   Using Local matrix"), 4);
}

TEST_F(NodeBuilding, LocalMatricesUnderTheirParentWorldForRoots) {
    ExportType(0);
    auto& s = host.Scene();
    auto& root = s.AddItem("locator", "Root").Position(1, 2, 3);
    s.AddItem("locator", "Child", root).Position(10, 0, 0).Scale(2, 2, 2);
    auto doc = SaveAndParse();
    EXPECT_EQ(Matrix(doc["nodes"][0]),
              (std::vector<double>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1}));
    EXPECT_EQ(Matrix(doc["nodes"][1]),
              (std::vector<double>{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 10, 0, 0, 1}));
}

TEST_F(NodeBuilding, SelectedHierarchyLiftsItsTopIntoWorldSpace) {
    ExportType(2);
    auto& s = host.Scene();
    auto& root = s.AddItem("locator", "Root").Position(5, 0, 0);
    auto& arm = s.AddItem("locator", "Arm", root).Position(0, 1, 0);
    s.AddItem("locator", "Hand", arm).Position(0, 0, 2);
    host.Select(arm);
    auto doc = SaveAndParse();
    EXPECT_EQ(NodeNames(doc), (std::vector<std::string>{"Arm", "Hand"}));
    EXPECT_EQ(Matrix(doc["nodes"][0]),
              (std::vector<double>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 1, 0, 1}));
    EXPECT_EQ(Matrix(doc["nodes"][1]),
              (std::vector<double>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 2, 1}));
}

TEST_F(NodeBuilding, SelectedItemsStandAloneWithWorldMatrices) {
    ExportType(1);
    auto& s = host.Scene();
    auto& root = s.AddItem("locator", "Root").Position(5, 0, 0);
    auto& arm = s.AddItem("locator", "Arm", root).Position(0, 1, 0);
    s.AddItem("locator", "Hand", arm);
    host.Select(root);
    host.Select(arm);
    auto doc = SaveAndParse();
    EXPECT_EQ(NodeNames(doc), (std::vector<std::string>{"Root", "Arm"}));
    EXPECT_EQ(Indices(doc["scenes"][0]["nodes"]), (std::vector<unsigned>{0, 1}));
    EXPECT_FALSE(doc["nodes"][0].HasMember("children"));
    EXPECT_EQ(Matrix(doc["nodes"][1])[13], 1.0);
    EXPECT_EQ(Matrix(doc["nodes"][1])[12], 5.0);
    EXPECT_EQ(CountLines("   Arm"), 1);
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
    auto doc = SaveAndParse();
    EXPECT_EQ(NodeNames(doc), (std::vector<std::string>{"Root", "Kept"}));
}

TEST_F(NodeBuilding, CamerasGetFixedProjectionOrNothingWhenOff) {
    ExportType(0);
    auto& cam = host.Scene().AddItem("camera", "Cam");
    host.Scene().AddItem("locator", "Rig", cam);
    auto doc = SaveAndParse();
    ASSERT_EQ(NodeNames(doc), (std::vector<std::string>{"Cam", "Rig"}));
    EXPECT_EQ(doc["nodes"][0]["camera"].GetUint(), 0u);
    EXPECT_EQ(JsonText(doc["cameras"]),
              R"([{"name":"Cam","type":"perspective","perspective":{"znear":0.01,"yfov":0.8726}}])");

    host.SetUserInt("sceneio.gltf.save.cameras", 0);
    auto off = SaveAndParse();
    EXPECT_TRUE(NodeNames(off).empty());
    EXPECT_FALSE(off.HasMember("cameras"));
}

TEST_F(NodeBuilding, ZeroScaledParentPassesItsMatrixThrough) {
    ExportType(0);
    auto& s = host.Scene();
    auto& flat = s.AddItem("locator", "Flat").Scale(0, 0, 0).Position(1, 0, 0);
    s.AddItem("locator", "Child", flat).Position(0, 1, 0);
    auto doc = SaveAndParse();
    // The parent's world cannot be inverted: the child's world is multiplied by it as it is.
    EXPECT_EQ(Matrix(doc["nodes"][1]),
              (std::vector<double>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1}));
}

TEST_F(NodeBuilding, AnalysisCountsDrivenChannelsAndLogsThem) {
    ExportType(0);
    auto& s = host.Scene();
    auto& driver = s.AddItem("locator", "Driver");
    auto& driven = s.AddItem("locator", "Driven").Position(0, 0, 0);
    s.LinkChannel(driver, "visible", driven, "visible");
    s.LinkChannel(driver, "visible", driven.OwnTransform(qvXfrmTranslation), "pos.X");
    SaveAndParse();
    EXPECT_EQ(CountLines("   driven:0 xformDriven:0"), 1);
    EXPECT_EQ(CountLines("   driven:1 xformDriven:1"), 1);
}
