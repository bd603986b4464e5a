// Where a channel read takes its value: actions, their fallbacks, the evaluated read with action
// clips, and how values convert between kinds.
#include "HostTestUtil.h"

using namespace scenehost;
using namespace hosttest;

namespace {

struct ClipScene {
    SceneHost host;
    Item& mask = host.Scene().AddItem("mask", "Mask");
    Item& walk = host.Scene().AddItem("actionclip", "Walk");
    Item& run = host.Scene().AddItem("actionclip", "Run");
    uint32_t opacity = static_cast<uint32_t>(Index(mask, "opacity"));
};

} // namespace

TEST(SceneHostChannelRead, ActionsFallBackToSetupThenToTheDefault) {
    ClipScene s;
    s.mask.Set("opacity", 0.25).Set("opacity", 0.5, kEdit).Set("ptag", "Wood");
    EXPECT_EQ(ReadDouble(Channels(s.host, "setup").get(), s.mask, "opacity"), 0.25);
    EXPECT_EQ(ReadDouble(Channels(s.host, "edit").get(), s.mask, "opacity"), 0.5);
    EXPECT_EQ(ReadInt(Channels(s.host, "edit").get(), s.mask, "enable"), 1); // type default
    const char* ptag = nullptr;
    ComRef<IQvChannelRead> edit = Channels(s.host, "edit");
    EXPECT_EQ(edit->ReadString(&s.mask, static_cast<uint32_t>(Index(s.mask, "ptag")), &ptag), qvOk);
    EXPECT_STREQ(ptag, "Wood"); // edit has none: setup's

    ComRef<IQvChannelRead> base;
    ASSERT_EQ(static_cast<IQvScene*>(s.host.SceneObject())->BaseChannels(base.out()), qvOk);
    EXPECT_EQ(ReadDouble(base.get(), s.mask, "opacity"), 0.5);
}

TEST(SceneHostChannelRead, ClipActionsReadTheirOwnValuesOverSetup) {
    ClipScene s;
    s.mask.Set("opacity", 0.25).Set("opacity", 0.5, kEdit).Set("opacity", 0.75, s.walk.Ident());
    EXPECT_EQ(ReadDouble(Channels(s.host, s.walk.Ident().c_str()).get(), s.mask, "opacity"), 0.75);
    EXPECT_EQ(ReadDouble(Channels(s.host, s.run.Ident().c_str()).get(), s.mask, "opacity"), 0.25);
    ComRef<IQvChannelRead> none;
    EXPECT_EQ(static_cast<IQvScene*>(s.host.SceneObject())->GetChannels("Walk", 0.0, none.out()),
              qvNotFound)
        << "actions are named by the clip's ident, not its name";
    EXPECT_FALSE(none);
}

TEST(SceneHostChannelRead, EvaluatedReadAppliesActiveEnabledClipsLastOnTop) {
    ClipScene s;
    s.mask.Set("opacity", 0.25).Set("opacity", 0.5, kEdit);
    s.mask.Set("opacity", 0.75, s.walk.Ident()).Set("opacity", 1.0, s.run.Ident());
    EXPECT_EQ(ReadDouble(Channels(s.host, nullptr).get(), s.mask, "opacity"), 0.5);

    auto walk = Query<IQvActionClip>(static_cast<IQvItem*>(&s.walk));
    auto run = Query<IQvActionClip>(static_cast<IQvItem*>(&s.run));
    walk->SetActive(1);
    EXPECT_EQ(ReadDouble(Channels(s.host, nullptr).get(), s.mask, "opacity"), 0.75);
    run->SetActive(1);
    EXPECT_EQ(ReadDouble(Channels(s.host, nullptr).get(), s.mask, "opacity"), 1.0);
    s.run.Set("enable", 0); // a disabled clip plays no part
    EXPECT_EQ(ReadDouble(Channels(s.host, nullptr).get(), s.mask, "opacity"), 0.75);

    int32_t active = -1, enabled = -1;
    EXPECT_EQ(run->Active(&active), qvOk);
    EXPECT_EQ(run->Enabled(&enabled), qvOk);
    EXPECT_EQ(active, 1);
    EXPECT_EQ(enabled, 0);
}

TEST(SceneHostChannelRead, NumbersConvertTextAndObjectsDoNot) {
    SceneHost host;
    Item& render = host.Scene().AddItem("polyRender", "Render").Set("resX", 1920);
    Item& mask = host.Scene().AddItem("mask", "Mask").Set("opacity", -2.75);
    Item& cube = host.Scene().AddItem("mesh", "Cube");
    ComRef<IQvChannelRead> read = Channels(host, "setup");
    EXPECT_EQ(ReadDouble(read.get(), render, "resX"), 1920.0);
    EXPECT_EQ(ReadInt(read.get(), mask, "opacity"), -2); // cut toward zero

    int32_t untouched = 5;
    uint32_t ptag = static_cast<uint32_t>(Index(mask, "ptag"));
    EXPECT_TRUE(QvFailed(read->ReadInteger(&mask, ptag, &untouched)));
    EXPECT_EQ(untouched, 5);
    const char* text = nullptr;
    EXPECT_TRUE(
        QvFailed(read->ReadString(&render, static_cast<uint32_t>(Index(render, "resX")), &text)));

    ComRef<IQvUnknown> mesh;
    uint32_t meshChannel = static_cast<uint32_t>(Index(cube, "mesh"));
    EXPECT_EQ(read->ReadObject(&cube, meshChannel, mesh.out()), qvOk);
    EXPECT_TRUE(Query<IQvMesh>(mesh.get()));
    cube.SetObject("mesh", nullptr); // an item whose mesh is missing
    EXPECT_EQ(read->ReadObject(&cube, meshChannel, mesh.out()), qvNotFound);
    double matrix = 0;
    EXPECT_TRUE(QvFailed(
        read->ReadDouble(&cube, static_cast<uint32_t>(Index(cube, "worldMatrix")), &matrix)));
    EXPECT_EQ(read->ReadInteger(&cube, 99, &untouched), qvOutOfRange);
    EXPECT_EQ(read->ReadInteger(nullptr, 0, &untouched), qvFailed);
    EXPECT_EQ(untouched, 5);
}

TEST(SceneHostChannelRead, ObjectChannelsHandOutWhatTheSceneHolds) {
    SceneHost host;
    Item& cube = host.Scene().AddItem("mesh", "Cube");
    Item& stand_in = host.Scene().AddItem("locator", "AnyObject");
    cube.SetObject("mesh", static_cast<IQvItem*>(&stand_in));
    ComRef<IQvUnknown> object;
    EXPECT_EQ(Channels(host, "edit")
                  ->ReadObject(&cube, static_cast<uint32_t>(Index(cube, "mesh")), object.out()),
              qvOk);
    EXPECT_EQ(Query<IQvItem>(object.get()).get(), static_cast<IQvItem*>(&stand_in));
    EXPECT_THROW(cube.SetObject("visible", nullptr), std::invalid_argument);
}

TEST(SceneHostChannelRead, BuilderRefusesValuesTheChannelCannotHold) {
    SceneHost host;
    Item& render = host.Scene().AddItem("polyRender", "Render");
    EXPECT_THROW(render.Set("resX", 0.5), std::invalid_argument);
    EXPECT_THROW(render.Set("resX", "wide"), std::invalid_argument);
    EXPECT_THROW(render.Set("resZ", 1), std::invalid_argument);
    EXPECT_NO_THROW(render.Set("resX", 640.0)); // an integral number fits an integer channel
    EXPECT_NO_THROW(render.Set("opacity", 1));  // an integer fits a number channel
}

TEST(SceneHostChannelRead, ReadsAndLookupsAreCountedPerItemAndChannel) {
    SceneHost host;
    Item& mask = host.Scene().AddItem("mask", "Mask");
    ComRef<IQvChannelRead> read = Channels(host, "setup");
    ReadInt(read.get(), mask, "enable");
    ReadInt(read.get(), mask, "enable");
    int32_t v = 0;
    read->ReadInteger(&mask, 40, &v);
    EXPECT_EQ(host.Count("ChannelRead:Mask:enable"), 2);
    EXPECT_EQ(host.Count("ChannelLookup:Mask:enable"), 2);
    EXPECT_EQ(host.Count("ChannelRead:Mask:#40"), 1);
}

TEST(SceneHostChannelRead, NoEnvelopesYetAndReadersAreFreed) {
    int before = LiveTransientObjects();
    {
        SceneHost host;
        Item& mask = host.Scene().AddItem("mask", "Mask");
        ComRef<IQvChannelRead> read = Channels(host, nullptr, 2.5);
        EXPECT_EQ(read->IsAnimated(&mask, 0), qvFalse);
        ComRef<IQvEnvelope> envelope;
        EXPECT_EQ(read->Envelope(&mask, 0, envelope.out()), qvNotFound);
        EXPECT_EQ(read->IsAnimated(&mask, 50), qvOutOfRange);
        EXPECT_EQ(LiveTransientObjects(), before + 1);
    }
    EXPECT_EQ(LiveTransientObjects(), before);
}
