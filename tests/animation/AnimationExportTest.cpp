// Animation as it leaves the host: the scene sampled over its current range, the actor's clips
// one by one or the active one alone, and what decides which items and slots get keys.
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

#include <cmath>

using namespace testsupport;
using scenehost::Item;

namespace {

class AnimationExport : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        ExportType(0);
        // 0 to 1 s at 24 fps: t accumulates 1/24 by addition, and t_25 lands just below
        // 1 + 1/24, so the loop gives 26 keys, not 25.
        host.Scene().SceneItem().Set("fps", 24.0).Set("currentS", 0.0).Set("currentE", 1.0);
    }
    void Option(const char* name, int value) {
        host.SetUserInt(std::string("sceneio.gltf.save.") + name, value);
    }
    Item& Box(const char* name) {
        Item& box = host.Scene().AddItem("mesh", name);
        BuildCube(box.Mesh());
        return box;
    }
    // The actor group, current in the scene, with `members`.
    Item& Actor(std::initializer_list<Item*> members) {
        auto& s = host.Scene();
        Item& actor = s.AddItem("group", "Actor").Tag("GTYP", "actor");
        for (Item* member : members)
            actor.AddMember(*member);
        s.Link("currentGroups", s.SceneItem(), actor);
        return actor;
    }
    static int Active(const Item& clip) {
        int32_t active = -1;
        clip.SetupValue(clip.ChannelIndex("active")).AsInteger(&active);
        return active;
    }
    static std::vector<std::string> AnimationNames(const rapidjson::Value& json) {
        std::vector<std::string> names;
        if (json.HasMember("animations"))
            for (const auto& a : json["animations"].GetArray())
                names.emplace_back(a.HasMember("name") ? a["name"].GetString() : "(none)");
        return names;
    }
    static unsigned KeyCount(const GlbReader& glb, unsigned animation, unsigned sampler) {
        const auto& s = glb.json["animations"][animation]["samplers"][sampler];
        return glb.json["accessors"][s["input"].GetUint()]["count"].GetUint();
    }
};

} // namespace

TEST_F(AnimationExport, SceneAsItPlaysIsSampledOverTheCurrentRange) {
    Box("Box").Key("pos.Y", 0.0, 0.0).Key("pos.Y", 1.0, 2.0);
    GlbReader glb = SaveAndRead();

    const auto& animation = glb.json["animations"][0];
    EXPECT_EQ(AnimationNames(glb.json), std::vector<std::string>{"(none)"});
    EXPECT_EQ(JsonText(animation["channels"]),
              R"([{"sampler":0,"target":{"node":0,"path":"translation"}}])");
    EXPECT_EQ(std::string(animation["samplers"][0]["interpolation"].GetString()), "LINEAR");
    EXPECT_EQ(KeyCount(glb, 0, 0), 26u);
    const auto times = glb.Values(animation["samplers"][0]["input"].GetUint());
    EXPECT_EQ(times[1], double(float(1 / 24.0)));
    // Deliberate format property: the keys are directions. Position 0 has none: (1, 0, 0).
    const auto values = glb.Values(animation["samplers"][0]["output"].GetUint());
    EXPECT_EQ(std::vector<double>(values.begin(), values.begin() + 6),
              (std::vector<double>{1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(values[3 * 25 + 1], 1.0);
    EXPECT_EQ(CountLines("Adding sample xform anim for Box"), 1);
    EXPECT_EQ(CountLines("   start:0.000000 end:1.000000 (0.000000 - 24.000000)"), 1);

    // Only a multiplier of exactly 1 doubles the rate; animation 0 writes none.
    for (auto [multiplier, keys] : {std::pair{1, 49u}, {2, 26u}, {-1, 26u}}) {
        Option("sampleAnimFpsMultiplier", multiplier);
        EXPECT_EQ(KeyCount(SaveAndRead("rate.glb"), 0, 0), keys) << multiplier;
    }
    Option("animation", 0);
    EXPECT_FALSE(SaveAndRead("still.glb").json.HasMember("animations"));
}

// Each clip is one animation named by its tag text and its name, sampled over the scene's
// current range whatever its own keys span; the clip active at the start is active at the end.
TEST_F(AnimationExport, EveryClipOneByOneAndTheActiveClipRestored) {
    auto& s = host.Scene();
    Item& arm = s.AddItem("locator", "Arm").Key("rot.Z", 0.0, 0.0).Key("rot.Z", 1.0, 0.5);
    Item& wave = s.AddItem("actionclip", "Wave").ExportTag(std::string(600, 'W'));
    Item& idle = s.AddItem("actionclip", "Idle").Set("active", 1);
    arm.Key("rot.Z", 0.0, 1.0, wave.Ident()).Key("rot.Z", 1.0, 2.0, wave.Ident());
    arm.Key("rot.Z", 100.0, 0.1, idle.Ident()).Key("rot.Z", 200.0, 0.2, idle.Ident());
    Actor({&arm, &wave, &idle});
    Option("exportActionType", 1);
    GlbReader glb = SaveAndRead();

    EXPECT_EQ(AnimationNames(glb.json),
              (std::vector<std::string>{std::string(600, 'W') + "Wave", "Idle"}));
    EXPECT_EQ(KeyCount(glb, 1, 0), 26u); // keys from 100 s on: still the current range
    EXPECT_EQ(CountLines("Actor:Actor items:1 channels:0 actions:2"), 1);
    EXPECT_EQ(CountLines("    Success - FB prefix and suffix added to action clip names."), 2);
    // An actor plays one clip at a time: Idle, active again, leaves Wave inactive.
    EXPECT_EQ(Active(idle), 1);
    EXPECT_EQ(Active(wave), 0);
    // Each clip shows its own keys: Wave turns from 1 rad, Idle stays at 0.1.
    const auto waveTurn = glb.Values(glb.json["animations"][0]["samplers"][0]["output"].GetUint());
    const auto idleTurn = glb.Values(glb.json["animations"][1]["samplers"][0]["output"].GetUint());
    EXPECT_NEAR(waveTurn[2], std::sin(0.5), 1e-6);
    EXPECT_NEAR(idleTurn[2], std::sin(0.05), 1e-6);

    // The active clip alone; with none active, nothing, and no clip is touched.
    Option("exportActionType", 2);
    EXPECT_EQ(AnimationNames(SaveAndRead("active.glb").json), std::vector<std::string>{"Idle"});
    idle.Set("active", 0);
    EXPECT_TRUE(AnimationNames(SaveAndRead("none.glb").json).empty());
    EXPECT_EQ(Active(wave) + Active(idle), 0);
    // Every clip with none active at the start: the one the exports left active is made inactive.
    Option("exportActionType", 1);
    EXPECT_EQ(AnimationNames(SaveAndRead("all.glb").json).size(), 2u);
    EXPECT_EQ(Active(wave) + Active(idle), 0);
}

// Without the command every clip logs an error and keeps its plain name; an actor without
// clips gives no animation at all, keyframes or not.
TEST_F(AnimationExport, ClipsWithoutTagCommandAndActorsWithoutClips) {
    auto& s = host.Scene();
    Item& arm = s.AddItem("locator", "Arm").Key("pos.X", 0.0, 1.0).Key("pos.X", 1.0, 2.0);
    Item& wave = s.AddItem("actionclip", "Wave").ExportTag("Tag_");
    Item& lamp = s.AddItem("pointLight", "Lamp").Key("radiance", 0.0, 1.0, qvActionSetup);
    Item& actor = Actor({&arm, &wave, &lamp});
    host.RemoveCommand("item.exportTags");
    Option("exportActionType", 1);
    EXPECT_EQ(AnimationNames(SaveAndRead().json), std::vector<std::string>{"Wave"});
    EXPECT_EQ(CountLines("    Failed to create command item.exportTags."), 1);
    EXPECT_EQ(CountLines("Unable to get time range for item:Lamp, type:pointLight (" +
                         std::to_string(lamp.Type().code) + ") with 1 animated channels"),
              1);

    wave.Set("enable", 0); // a disabled clip exists for nothing
    EXPECT_FALSE(SaveAndRead("none.glb").json.HasMember("animations"));
    EXPECT_EQ(CountLines("Actor:Actor items:2 channels:0 actions:0"), 1);
    (void)actor;
}

// A joint moved by IK or a constraint (a world-matrix track) gets translation and rotation keys
// from its host parent's world matrix; as a cut root of a partial export, in world space.
TEST_F(AnimationExport, WorldTrackJointsUnderIk) {
    auto& s = host.Scene();
    Item& hip = s.AddItem("locator", "Hip").Position(0, 2, 0);
    Item& knee = s.AddItem("locator", "Knee", hip);
    scenehost::Matrix start = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 0, 1};
    scenehost::Matrix end = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 3, 2, 0, 1}; // a quarter turn
    knee.WorldTrackKey(0.0, start).WorldTrackKey(1.0, end);
    Item& solver = s.AddItem("ikFullBody", "Solver", hip);
    GlbReader glb = SaveAndRead();

    const auto& animation = glb.json["animations"][0];
    EXPECT_EQ(JsonText(animation["channels"]),
              R"([{"sampler":0,"target":{"node":0,"path":"translation"}},)"
              R"({"sampler":1,"target":{"node":0,"path":"rotation"}},)"
              R"({"sampler":2,"target":{"node":1,"path":"translation"}},)"
              R"({"sampler":3,"target":{"node":1,"path":"rotation"}}])");
    // Knee's local position at 0 s is (1, 0, 0): its world (1, 2, 0) less Hip's (0, 2, 0).
    const auto position = glb.Values(animation["samplers"][2]["output"].GetUint());
    EXPECT_EQ(std::vector<double>(position.begin(), position.begin() + 3),
              (std::vector<double>{1, 0, 0}));
    // At 3/24 s the track is 1/8 of the way: the matrix blends element by element and is not
    // orthonormalised; the key is the quaternion of the blend as it stands, normalised.
    const auto turn = glb.Values(animation["samplers"][3]["output"].GetUint());
    const double f = 0.125, r = std::sqrt(2 + 2 * (1 - f)), w = r / 2, z = f / r;
    EXPECT_NEAR(turn[3 * 4 + 2], z / std::hypot(w, z), 1e-6);

    // Selected with its solver, the knee is a cut root: its keys are world positions. (A mask
    // gives the selection scan a current item to name in the solver's line; without one that
    // read fails and, deliberately, so does the save.)
    s.AddItem("mask", "Paint");
    host.Select(knee);
    host.Select(solver);
    ExportType(2);
    GlbReader alone = SaveAndRead("alone.glb");
    const auto world = alone.Values(alone.json["animations"][0]["samplers"][0]["output"].GetUint());
    EXPECT_NEAR(world[1] / world[0], 2.0, 1e-6);
}

// A transform item driven by a link gets a record of its own, merged with the item's animated
// rotation; sampled only that way, a node keeps its matrix beside its channels.
TEST_F(AnimationExport, DrivenTransformItemsAndRecordMerging) {
    auto& s = host.Scene();
    Item& control = s.AddItem("locator", "Control").Key("pos.X", 0.0, 0.0).Key("pos.X", 1.0, 1.0);
    Item& both = s.AddItem("locator", "Both").Key("rot.Y", 0.0, 0.0).Key("rot.Y", 1.0, 1.0);
    both.KeyedItem("pos.Y").DrivenBy("pos.Y", control.KeyedItem("pos.X"), "pos.X");
    Item& driven = s.AddItem("locator", "Driven").Position(1, 0, 3);
    driven.KeyedItem("pos.Z").DrivenBy("pos.Z", control.KeyedItem("pos.X"), "pos.X");
    GlbReader glb = SaveAndRead();

    EXPECT_EQ(JsonText(glb.json["animations"][0]["channels"]),
              R"([{"sampler":0,"target":{"node":0,"path":"translation"}},)"
              R"({"sampler":1,"target":{"node":1,"path":"translation"}},)"
              R"({"sampler":2,"target":{"node":1,"path":"rotation"}},)"
              R"({"sampler":3,"target":{"node":2,"path":"translation"}}])");
    EXPECT_EQ(CountLines("Adding sample xform anim for Driven"), 0);
    EXPECT_TRUE(glb.json["nodes"][2].HasMember("matrix"));
    EXPECT_FALSE(glb.json["nodes"][1].HasMember("matrix"));
    // Driven's pos.Z follows Control's pos.X: (1, 0, 1) at 1 s, a direction halfway to z.
    const auto values = glb.Values(glb.json["animations"][0]["samplers"][3]["output"].GetUint());
    EXPECT_NEAR(values[3 * 24 + 2] / values[3 * 24], 1.0, 1e-5);
}
