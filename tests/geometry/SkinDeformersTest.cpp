// Skins as a rigged mesh leaves the host: joints found among the written nodes, the host's
// weights per point (at most four, not normalised), bind matrices from the joints' rest pose,
// and the two ways a mesh can be bound (a deform group, or deformers linked to the mesh).
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

#include <array>
#include <map>

using namespace testsupport;
using scenehost::Item;

namespace {

using Row = std::array<double, 4>;

class SkinDeformers : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        ExportType(0);
    }

    // A unit cube mesh; point p stands at (p & 1, p >> 1 & 1, p >> 2 & 1).
    Item& Body(const char* name = "Body") {
        Item& body = host.Scene().AddItem("mesh", name);
        BuildCube(body.Mesh());
        return body;
    }
    // A joint locator and the influence it moves, weighing `weights` (by point, 0: none) on each
    // mesh through a weight map named after the joint.
    Item& Joint(const std::string& name, Item* parent, std::array<double, 3> position,
                const std::vector<float>& weights, std::initializer_list<Item*> meshes) {
        auto& s = host.Scene();
        Item& locator =
            s.AddItem("locator", name, parent).Position(position[0], position[1], position[2]);
        for (Item* mesh : meshes) {
            auto& map = mesh->Mesh().AddMap("WGHT", name);
            for (uint32_t p = 0; p < weights.size(); ++p)
                if (weights[p] != 0) map.SetPointValue(p, {weights[p]});
        }
        return s.AddItem("influence", name + "Weight").DrivenByLocator(locator).Set("name", name);
    }
    Item& Group(const char* name, std::initializer_list<Item*> joints, Item& mesh) {
        Item& group = host.Scene().AddItem("deformGroup", name);
        for (Item* joint : joints)
            group.AddJoint(*joint);
        return group.Link("deformers", mesh);
    }

    // The rows of a skin attribute of the first primitive of `mesh`, by cube point.
    static std::map<int, Row> RowsByPoint(const GlbReader& glb, unsigned mesh, const char* name) {
        const auto& primitive = glb.Primitive(mesh, 0);
        const auto positions = glb.Attribute(primitive, "POSITION");
        const auto values = glb.Attribute(primitive, name);
        std::map<int, Row> rows;
        for (size_t v = 0; v < positions.size() / 3; ++v) {
            int point = int(positions[3 * v]) + 2 * int(positions[3 * v + 1]) +
                        4 * int(positions[3 * v + 2]);
            rows[point] = {values[4 * v], values[4 * v + 1], values[4 * v + 2], values[4 * v + 3]};
        }
        return rows;
    }
    std::string OverflowWarning(const std::string& skin, const std::string& node) const {
        return "Warning - Skin: " + skin + " Node: " + node +
               " has more then four joints affecting at least one vertex. This skin may not "
               "properly display animation for some vertices.";
    }
};

} // namespace

TEST_F(SkinDeformers, GroupSkinCarriesJointsHostWeightsAndInverseBindMatrices) {
    Item& body = Body();
    Item& hip = Joint("Hip", nullptr, {0, 2, 0}, {.7f, .7f, .7f, .7f}, {&body});
    Item& knee = Joint("Knee", hip.DriverLocator(), {0, -1, 0},
                       {0, 0, .6f, .6f, .6f, .6f, .6f, .6f}, {&body});
    Group("Leg", {&hip, &knee}, body);
    GlbReader glb = SaveAndRead();

    EXPECT_EQ(NodeNames(glb.json), (std::vector<std::string>{"Body", "Hip", "Knee"}));
    const auto& skin = glb.json["skins"][0];
    EXPECT_EQ(MemberNames(skin),
              (std::vector<std::string>{"inverseBindMatrices", "skeleton", "joints", "name"}));
    EXPECT_EQ(JsonText(skin["joints"]), "[1,2]");
    EXPECT_EQ(skin["skeleton"].GetUint(), 1u);
    EXPECT_EQ(std::string(skin["name"].GetString()), "Leg_Skin");
    const auto bind = glb.Values(skin["inverseBindMatrices"].GetUint());
    ASSERT_EQ(bind.size(), 32u);
    EXPECT_EQ(bind[13], -2.0); // the inverse of Hip at (0, 2, 0)
    EXPECT_EQ(bind[16 + 13], -1.0);
    const auto& bodyNode = glb.json["nodes"][0];
    EXPECT_EQ(MemberNames(bodyNode).back(), "skin");
    EXPECT_EQ(bodyNode["skin"].GetUint(), 0u);

    // The host's weights as they stand: point 2 weighs 1.3 in all.
    auto joints = RowsByPoint(glb, 0, "JOINTS_0");
    auto weights = RowsByPoint(glb, 0, "WEIGHTS_0");
    EXPECT_EQ(joints[0], (Row{0, 0, 0, 0}));
    EXPECT_EQ(weights[0], (Row{double(.7f), 0, 0, 0}));
    EXPECT_EQ(joints[2], (Row{0, 1, 0, 0}));
    EXPECT_EQ(weights[2], (Row{double(.7f), double(.6f), 0, 0}));
    EXPECT_EQ(joints[7], (Row{1, 0, 0, 0}));
    EXPECT_EQ(CountLines("Creating deformers for mesh:Body"), 1);
    EXPECT_EQ(CountLines("   deformer:Hip ident:" + hip.Ident() + " weights:4"), 1);
    EXPECT_EQ(CountLines("   deformer:Knee ident:" + knee.Ident() + " weights:6"), 1);

    // Only morphMaps 1 runs the skin step: 0 and 2 leave the mesh plain, without a word.
    for (int morphMaps : {0, 2}) {
        host.SetUserInt("sceneio.gltf.save.morphMaps", morphMaps);
        GlbReader plain = SaveAndRead("plain.glb");
        EXPECT_FALSE(plain.json.HasMember("skins"));
        EXPECT_FALSE(plain.Primitive(0, 0)["attributes"].HasMember("JOINTS_0"));
        EXPECT_FALSE(plain.json["nodes"][0].HasMember("skin"));
    }
    EXPECT_EQ(CountLines("Creating deformers for mesh:Body"), 1);
}

// Six joints weigh point 0, in the same order through a group and through direct links. The
// group keeps joints 0 to 3 and warns once for its skin; the graph path warns once for each
// deformer that lost an influence.
TEST_F(SkinDeformers, AtMostFourInfluencesPerPointInArrivalOrder) {
    Item& grouped = Body("Grouped");
    Item& linked = Body("Linked");
    std::vector<Item*> joints;
    for (int j = 0; j < 6; ++j)
        joints.push_back(&Joint("J" + std::to_string(j), nullptr, {0, 0, 0},
                                {float(j + 1) / 8, float(j % 2)}, {&grouped, &linked}));
    Item& group = Group("Rig", {}, grouped);
    for (Item* joint : joints) {
        group.AddJoint(*joint);
        linked.Link("deformers", *joint);
    }
    GlbReader glb = SaveAndRead();

    for (unsigned mesh : {0u, 1u}) {
        auto rows = RowsByPoint(glb, mesh, "JOINTS_0");
        auto weights = RowsByPoint(glb, mesh, "WEIGHTS_0");
        EXPECT_EQ(rows[0], (Row{0, 1, 2, 3})) << mesh;
        EXPECT_EQ(weights[0], (Row{.125, .25, .375, .5})) << mesh;
        EXPECT_EQ(rows[1], (Row{1, 3, 5, 0})) << mesh;
        EXPECT_EQ(weights[1], (Row{1, 1, 1, 0})) << mesh;
        EXPECT_EQ(rows[7], (Row{0, 0, 0, 0})) << mesh; // no influence: joint 0, weight 0
        EXPECT_EQ(weights[7], (Row{0, 0, 0, 0})) << mesh;
    }
    EXPECT_EQ(std::string(glb.json["skins"][0]["name"].GetString()), "Rig_Skin");
    EXPECT_EQ(std::string(glb.json["skins"][1]["name"].GetString()), "Linked_Skin");
    EXPECT_EQ(CountLines(OverflowWarning("Rig_Skin", "Grouped")), 1);
    EXPECT_EQ(CountLines(OverflowWarning("Linked_Skin", "Linked")), 2);
    EXPECT_EQ(CountLines("   deformers:6"), 1);
    EXPECT_EQ(CountLines("   name:\"J0Weight\" loc:J0 map:\"J0\" count:1"), 1);
    EXPECT_EQ(CountLines("   name:\"J5Weight\" loc:J5 map:\"J5\" count:2"), 1);
}

// The option reaches the writer: in world space the skinned points are moved by the node's
// matrix and the node goes out decomposed; otherwise both stay.
TEST_F(SkinDeformers, SkinnedMeshInWorldSpaceOption) {
    Item& body = Body().Position(5, 0, 0).Scale(2, 2, 2);
    Group("Leg", {&Joint("Hip", nullptr, {0, 0, 0}, {1, 1, 1, 1, 1, 1, 1, 1}, {&body})}, body);
    for (int inWorld : {1, 0}) {
        host.SetUserInt("sceneio.gltf.save.skinnedMeshInWS", inWorld);
        GlbReader glb = SaveAndRead();
        const auto& primitive = glb.Primitive(0, 0);
        const auto& position = glb.json["accessors"][primitive["attributes"]["POSITION"].GetUint()];
        EXPECT_EQ(position["min"][0].GetDouble(), inWorld ? 5.0 : 0.0);
        const auto& node = glb.json["nodes"][0];
        EXPECT_EQ(node.HasMember("matrix"), inWorld == 0);
        if (inWorld) {
            EXPECT_EQ(JsonText(node["translation"]), "[5.0,0.0,0.0]");
        }
    }
}

TEST_F(SkinDeformers, MeshInTwoGroupsGetsTwoSkinsAndTwoNumberedPairs) {
    Item& body = Body();
    Group("Upper", {&Joint("A", nullptr, {0, 1, 0}, {1, 1}, {&body})}, body);
    Group("Lower", {&Joint("B", nullptr, {0, 2, 0}, {0, 0, 1, 1}, {&body})}, body);
    GlbReader glb = SaveAndRead();

    ASSERT_EQ(glb.json["skins"].Size(), 2u);
    EXPECT_EQ(std::string(glb.json["skins"][0]["name"].GetString()), "Body_Skin");
    EXPECT_EQ(std::string(glb.json["skins"][1]["name"].GetString()), "Body_Skin");
    EXPECT_EQ(JsonText(glb.json["nodes"][0]), R"({"name":"Body","mesh":0,"skin":0,"skin":1})");
    EXPECT_EQ(RowsByPoint(glb, 0, "WEIGHTS_1")[2], (Row{1, 0, 0, 0}));
}

// A missing joint node ends a group's joint loop and leaves the joints found so far; in the
// graph path it costs the whole skin. A group without joints does not count.
TEST_F(SkinDeformers, MissingJointNodesAndEmptyGroups) {
    auto& s = host.Scene();
    Item& grouped = Body("Grouped");
    Item& light = s.AddItem("pointLight", "Lamp"); // no node, nor for anything below it
    Item& hip = Joint("Hip", nullptr, {0, 1, 0}, {1}, {&grouped});
    Item& lost = Joint("Lost", &light, {0, 0, 0}, {0, 1}, {&grouped});
    Item& knee = Joint("Knee", nullptr, {0, 0, 0}, {0, 0, 1}, {&grouped});
    Group("Leg", {&hip, &lost, &knee}, grouped);

    Item& linked = Body("Linked");
    s.AddItem("deformGroup", "Empty").Link("deformers", linked);
    linked.Link("deformers", Joint("Arm", nullptr, {0, 0, 0}, {1}, {&linked}));
    Item& unlinked = Body("Unlinked");
    unlinked.Link("deformers", lost);
    Body("Plain");
    GlbReader glb = SaveAndRead();

    ASSERT_EQ(glb.json["skins"].Size(), 2u);
    EXPECT_EQ(JsonText(glb.json["skins"][0]["joints"]), "[1]");
    EXPECT_EQ(glb.Values(glb.json["skins"][0]["inverseBindMatrices"].GetUint()).size(), 16u);
    EXPECT_EQ(std::string(glb.json["skins"][1]["name"].GetString()), "Linked_Skin");
    EXPECT_EQ(host.LogTexts("error"),
              (std::vector<std::string>{"Failed to find node:Lost",
                                        "Failed to find node:Lost (for skin deformer)"}));
    EXPECT_EQ(CountLines("Creating deformers for mesh:Plain"), 1);
    EXPECT_EQ(LastBox(), "There are 0 warnings and 2 errors reported to event log");
}

// A singular joint matrix is its own inverse bind matrix. A deformer whose "type" is not 1 has
// no map name, and takes whatever map the previous deformer left selected.
TEST_F(SkinDeformers, SingularJointsAndDeformersWithoutWeightMap) {
    Item& body = Body();
    Item& first = Joint("First", nullptr, {0, 3, 0}, {.5f, .5f}, {&body});
    Item& flat = Joint("Flat", nullptr, {0, 0, 0}, {1}, {&body});
    flat.Set("type", 0);
    flat.DriverLocator()->Scale(0, 0, 0);
    body.Link("deformers", first).Link("deformers", flat);
    GlbReader glb = SaveAndRead();

    EXPECT_EQ(CountLines("   name:\"FlatWeight\" loc:Flat map:\"\" count:2"), 1);
    const auto bind = glb.Values(glb.json["skins"][0]["inverseBindMatrices"].GetUint());
    ASSERT_EQ(bind.size(), 32u);
    EXPECT_EQ(std::vector<double>(bind.begin() + 16, bind.end()),
              (std::vector<double>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(RowsByPoint(glb, 0, "JOINTS_0")[1], (Row{0, 1, 0, 0}));
    EXPECT_EQ(RowsByPoint(glb, 0, "WEIGHTS_0")[1], (Row{.5, .5, 0, 0}));
}
