// Where a channel read takes its value: actions and their fallbacks, the evaluated read with
// action clips, and how values convert between kinds. The read counters are checked by the
// save tests that use them (tests/saver/OptionsTest.cpp).
#include "HostTestUtil.h"

using namespace scenehost;
using namespace hosttest;

TEST(SceneHostChannelRead, ActionsFallBackToSetupAndClipsApplyWhenActiveAndEnabled) {
    SceneHost host;
    Item& mask = host.Scene().AddItem("mask", "Mask");
    Item& walk = host.Scene().AddItem("actionclip", "Walk");
    Item& run = host.Scene().AddItem("actionclip", "Run");
    mask.Set("opacity", 0.25).Set("opacity", 0.5, qvActionEdit).Set("ptag", "Wood");
    mask.Set("opacity", 0.75, walk.Ident()).Set("opacity", 1.0, run.Ident());
    auto opacity = [&](const char* action) {
        return ReadDouble(Channels(host, action).get(), mask, "opacity");
    };
    EXPECT_EQ(opacity("setup"), 0.25);
    EXPECT_EQ(opacity("edit"), 0.5);
    EXPECT_EQ(opacity(walk.Ident().c_str()), 0.75);
    EXPECT_EQ(ReadInt(Channels(host, "edit").get(), mask, "enable"), 1); // the type's default
    const char* ptag = nullptr;
    const uint32_t ptagChannel = uint32_t(Index(mask, "ptag"));
    EXPECT_EQ(Channels(host, "edit")->ReadString(&mask, ptagChannel, &ptag), qvOk);
    EXPECT_STREQ(ptag, "Wood"); // edit has none: setup's
    ComRef<IQvChannelRead> none;
    EXPECT_EQ(static_cast<IQvScene*>(host.SceneObject())->GetChannels("Walk", 0.0, none.out()),
              qvNotFound)
        << "actions are named by the clip's ident, not its name";
    ComRef<IQvChannelRead> base;
    ASSERT_EQ(static_cast<IQvScene*>(host.SceneObject())->BaseChannels(base.out()), qvOk);
    EXPECT_EQ(ReadDouble(base.get(), mask, "opacity"), 0.5);

    // The evaluated read: edit, then the active and enabled clips, the last on top.
    EXPECT_EQ(opacity(nullptr), 0.5);
    auto walkClip = Query<IQvActionClip>(static_cast<IQvItem*>(&walk));
    auto runClip = Query<IQvActionClip>(static_cast<IQvItem*>(&run));
    walkClip->SetActive(1);
    EXPECT_EQ(opacity(nullptr), 0.75);
    runClip->SetActive(1);
    EXPECT_EQ(opacity(nullptr), 1.0);
    run.Set("enable", 0);
    EXPECT_EQ(opacity(nullptr), 0.75);
    int32_t active = -1, enabled = -1;
    EXPECT_EQ(runClip->Active(&active), qvOk);
    EXPECT_EQ(runClip->Enabled(&enabled), qvOk);
    EXPECT_EQ(active, 1);
    EXPECT_EQ(enabled, 0);
}

TEST(SceneHostChannelRead, NumbersConvertButTextAndObjectsDoNot) {
    SceneHost host;
    Item& render = host.Scene().AddItem("polyRender", "Render").Set("resX", 1920);
    Item& mask = host.Scene().AddItem("mask", "Mask").Set("opacity", -2.75);
    Item& cube = host.Scene().AddItem("mesh", "Cube");
    Item& other = host.Scene().AddItem("mesh", "Other");
    ComRef<IQvChannelRead> read = Channels(host, "setup");
    EXPECT_EQ(ReadDouble(read.get(), render, "resX"), 1920.0);
    EXPECT_EQ(ReadInt(read.get(), mask, "opacity"), -2); // cut toward zero

    int32_t untouched = 5;
    const char* text = nullptr;
    double number = 0;
    EXPECT_TRUE(QvFailed(read->ReadInteger(&mask, uint32_t(Index(mask, "ptag")), &untouched)));
    EXPECT_TRUE(QvFailed(read->ReadString(&render, uint32_t(Index(render, "resX")), &text)));
    EXPECT_TRUE(QvFailed(read->ReadDouble(&cube, uint32_t(Index(cube, "worldMatrix")), &number)));
    EXPECT_EQ(read->ReadInteger(&cube, 99, &untouched), qvOutOfRange);
    EXPECT_EQ(read->ReadInteger(nullptr, 0, &untouched), qvFailed);
    EXPECT_EQ(untouched, 5);

    // Object channels hand out what the scene holds there: the mesh, another object, or nothing.
    const uint32_t meshChannel = uint32_t(Index(cube, "mesh"));
    ComRef<IQvUnknown> object;
    EXPECT_EQ(read->ReadObject(&cube, meshChannel, object.out()), qvOk);
    EXPECT_TRUE(Query<IQvMesh>(object.get()));
    cube.SetObject("mesh", static_cast<IQvItem*>(&other));
    EXPECT_EQ(read->ReadObject(&cube, meshChannel, object.out()), qvOk);
    EXPECT_EQ(Query<IQvItem>(object.get()).get(), static_cast<IQvItem*>(&other));
    cube.SetObject("mesh", nullptr);
    EXPECT_EQ(read->ReadObject(&cube, meshChannel, object.out()), qvNotFound);

    // The builder refuses what the channel cannot hold.
    EXPECT_THROW(cube.SetObject("visible", nullptr), std::invalid_argument);
    EXPECT_THROW(render.Set("resX", 0.5), std::invalid_argument);
    EXPECT_THROW(render.Set("resX", "wide"), std::invalid_argument);
    EXPECT_THROW(render.Set("resZ", 1), std::invalid_argument);
    EXPECT_NO_THROW(render.Set("resX", 640.0)); // an integral number fits an integer channel
    EXPECT_NO_THROW(render.Set("opacity", 1));  // an integer fits a number channel
}
