// The scan's findings as the log shows them: roots per export type, the actor, IK hierarchies.
#include "support/SaveFixture.h"

using namespace testsupport;

namespace {
class SceneScan : public SaveFixture {};
} // namespace

TEST_F(SceneScan, FirstActorGroupCollectsItemsClipsAndChannels) {
    auto& s = host.Scene();
    auto& hero = s.AddItem("locator", "Hero");
    auto& prop = s.AddItem("locator", "Prop").Rotation(0, 0, 0);
    auto& walk = s.AddItem("actionclip", "Walk");
    auto& idle = s.AddItem("actionclip", "Idle").Set("enable", 0);
    auto& actor = s.AddItem("group", "Actor").Tag("GTYP", "actor");
    actor.AddMember(hero).AddMember(walk).AddMember(idle);
    actor.AddChannelMember(prop.OwnTransform(qvXfrmRotation), "rot.Y");
    actor.AddChannelMember(hero, "visible");
    auto& second = s.AddItem("group", "Second").Tag("GTYP", "actor");
    second.AddMember(prop);
    auto& plain = s.AddItem("group", "Plain");
    s.Link("currentGroups", s.SceneItem(), plain);
    s.Link("currentGroups", s.SceneItem(), actor);
    s.Link("currentGroups", s.SceneItem(), second);
    ASSERT_EQ(Save("actor.glb"), qvOk);
    // Hero as a member, Prop through a channel of its rotation item; Idle is disabled.
    EXPECT_EQ(CountLines("---   Actor:Actor actions:1 items:2 chans:2"), 1);
    EXPECT_EQ(CountLines("---   Actor:Second actions:0 items:1 chans:0"), 0);
}

TEST_F(SceneScan, NoActorWithoutTheGroupsGraph) {
    auto& actor = host.Scene().AddItem("group", "Actor").Tag("GTYP", "actor");
    host.Scene().Link("currentGroups", host.Scene().SceneItem(), actor);
    host.Scene().RemoveGraph("currentGroups");
    ASSERT_EQ(Save("none.glb"), qvOk);
    for (const auto& line : Lines())
        EXPECT_EQ(line.find("---   Actor:"), std::string::npos);
}

TEST_F(SceneScan, IkRootsAndEveryDescendantAreWalked) {
    auto& s = host.Scene();
    auto& rig = s.AddItem("locator", "Rig");
    s.AddItem("ikFullBody", "Solver", rig);
    auto& hip = s.AddItem("locator", "Hip", rig).Package("ik.joint");
    s.AddItem("locator", "Knee", hip).Package("ik.joint");
    s.AddItem("locator", "Marker", hip);
    ExportType(0);
    ASSERT_EQ(Save("ik.glb"), qvOk);
    EXPECT_EQ(CountLines("IK root:Rig"), 1);
    EXPECT_EQ(CountLines("Processing IK root:Rig"), 1);
    EXPECT_EQ(CountLines("   IK joint:Hip"), 1);
    EXPECT_EQ(CountLines("   IK joint:Knee"), 1);
    EXPECT_EQ(CountLines("   IK joint:Marker"), 0);
}

TEST_F(SceneScan, WholeSceneRootsAreParentlessLocatorsOnly) {
    auto& s = host.Scene();
    s.AddItem("locator", "Top");
    s.AddItem("group", "Group");
    auto& clip = s.AddItem("actionclip", "Run");
    clip.Set("active", 1);
    ExportType(0);
    ASSERT_EQ(Save("roots.glb"), qvOk);
    EXPECT_EQ(CountLines("Scanning finished, rootItems:1"), 1);
    EXPECT_EQ(CountLines("Root item:Top\n"), 2);
    EXPECT_EQ(CountLines("Action:Run active:1 enabled:1"), 1);
}

TEST_F(SceneScan, EnabledMasksAndWorldMatricesAreGathered) {
    auto& s = host.Scene();
    s.AddItem("mask", "Red").Set("ptag", "red").Set("enable", 1);
    s.AddItem("mask", "Off").Set("ptag", "blue").Set("enable", 0);
    ExportType(1);
    ASSERT_EQ(Save("masks.glb"), qvOk);
    // Masks are read in the selection modes even when not selected: enable and ptag of each.
    EXPECT_EQ(host.Count("ChannelRead:Red:enable"), 1);
    EXPECT_EQ(host.Count("ChannelRead:Red:ptag"), 1);
    EXPECT_EQ(host.Count("ChannelRead:Off:ptag"), 0);
}

TEST_F(SceneScan, SelectedSkinnedMeshBringsItsSkeletonFromTheTopJointsParent) {
    auto& s = host.Scene();
    auto& rig = s.AddItem("locator", "Rig").Position(0, 1, 0);
    auto& hips = s.AddItem("locator", "Hips", rig);
    auto& knee = s.AddItem("locator", "Knee", hips);
    auto& body = s.AddItem("mesh", "Body");
    auto& hipsInfluence = s.AddItem("influence", "HipsWeight").DrivenByLocator(hips);
    auto& kneeInfluence = s.AddItem("influence", "KneeWeight").DrivenByLocator(knee);
    auto& skin = s.AddItem("deformGroup", "Skin").AddJoint(hipsInfluence).AddJoint(kneeInfluence);
    skin.Link("deformers", body);
    host.Select(body);
    ExportType(2);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("Scanning finished, rootItems:2"), 1);
    EXPECT_EQ(CountLines("Root item:Body\n"), 1);
    EXPECT_EQ(CountLines("Root item:Rig\n"), 1);
    EXPECT_EQ(NodeNames(glb.json), (std::vector<std::string>{"Body", "Rig", "Hips", "Knee"}));
    // Rig has no host parent, so it is a root with its own world matrix either way.
    EXPECT_EQ(glb.json["nodes"][1]["matrix"][13].GetDouble(), 1.0);

    host.SetUserInt("sceneio.gltf.save.geometry", 0);
    ASSERT_EQ(Save("nogeometry.glb"), qvOk);
    EXPECT_EQ(CountLines("Scanning finished, rootItems:1"), 1);
}
