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

namespace {

// pos.Y of a locator's own translation item through the evaluated reader at `time`.
double EvaluatedY(SceneHost& host, Item& locator, double time) {
    return ReadDouble(Channels(host, nullptr, time).get(), locator.OwnTransform(qvXfrmTranslation),
                      "pos.Y");
}

} // namespace

TEST(SceneHostChannelRead, KeysEvaluateByTheLeftKeysInterpolationAndHoldBeyondTheEnds) {
    SceneHost host;
    Item& ball = host.Scene().AddItem("locator", "Ball").Position(0, 9, 0);
    ball.Key("pos.Y", 0.0, 0.0)
        .Key("pos.Y", 2.0, 5.0)
        .Key("pos.Y", 1.0, 2.0, qvActionEdit,
             Interp::Stepped); // out of order
    const std::pair<double, double> expected[] = {{-1, 0},  {0, 0},     {0.25, 0.5}, {1, 2},
                                                  {1.5, 2}, {1.999, 2}, {2, 5},      {7, 5}};
    for (auto [time, value] : expected)
        EXPECT_EQ(EvaluatedY(host, ball, time), value) << "at " << time;

    // Each reader at its own time: edit has the keys, setup the value; the base reader stands at
    // the scene's time.
    Item& t = ball.OwnTransform(qvXfrmTranslation);
    const uint32_t y = uint32_t(Index(t, "pos.Y"));
    EXPECT_EQ(ReadDouble(Channels(host, "edit", 0.5).get(), t, "pos.Y"), 1.0);
    EXPECT_EQ(ReadDouble(Channels(host, "setup", 0.5).get(), t, "pos.Y"), 9.0);
    EXPECT_EQ(Channels(host, "edit")->IsAnimated(&t, y), qvOk);
    EXPECT_EQ(Channels(host, "setup")->IsAnimated(&t, y), qvFalse);
    EXPECT_EQ(Channels(host, "edit")->IsAnimated(&t, 99), qvOutOfRange);
    host.Scene().SceneItem().Set("time", 3.0, qvActionEdit);
    ComRef<IQvChannelRead> base;
    static_cast<IQvScene*>(host.SceneObject())->BaseChannels(base.out());
    EXPECT_EQ(ReadDouble(base.get(), t, "pos.Y"), 5.0);

    // The envelope and its keys, as the plug-in walks them.
    ComRef<IQvEnvelope> envelope;
    ComRef<IQvKeyframe> keys;
    EXPECT_EQ(Channels(host, "setup")->Envelope(&t, y, envelope.out()), qvNotFound);
    ASSERT_EQ(Channels(host, "edit")->Envelope(&t, y, envelope.out()), qvOk);
    ASSERT_EQ(envelope->Keyframes(keys.out()), qvOk);
    double time = -1, value = -1;
    EXPECT_EQ(keys->Time(&time), qvFailed); // on no key yet
    std::vector<std::pair<double, double>> walked;
    while (keys->Next() == qvOk && keys->Time(&time) == qvOk && keys->Value(&value) == qvOk)
        walked.emplace_back(time, value);
    EXPECT_EQ(walked, (std::vector<std::pair<double, double>>{{0, 0}, {1, 2}, {2, 5}}));
    EXPECT_EQ(keys->First(), qvOk);
    keys->Time(&time);
    EXPECT_EQ(time, 0.0);
    EXPECT_EQ(keys->Last(), qvOk);
    keys->Time(&time);
    EXPECT_EQ(time, 2.0);
    EXPECT_EQ(envelope->Evaluate(1.5, &value), qvOk);
    EXPECT_EQ(value, 2.0);

    // A value set in the action replaces its keys; an integer channel's keys are cut to integers.
    ball.OwnTransform(qvXfrmTranslation).Set("pos.Y", 4.0, qvActionEdit);
    EXPECT_EQ(Channels(host, "edit")->IsAnimated(&t, y), qvFalse);
    EXPECT_EQ(EvaluatedY(host, ball, 1.5), 4.0);
    ball.Key("visible", 0.0, 0.0).Key("visible", 1.0, 3.0);
    EXPECT_EQ(ReadInt(Channels(host, nullptr, 0.9).get(), ball, "visible"), 2);
    EXPECT_THROW(ball.Key("visible", 2.0, 0.5), std::invalid_argument);
    EXPECT_THROW(host.Scene().AddItem("mask", "M").Key("ptag", 0.0, 1.0), std::invalid_argument);
}

TEST(SceneHostChannelRead, AnActiveClipsKeysWinOverEditAndFollowSetActive) {
    SceneHost host;
    Item& jump = host.Scene().AddItem("actionclip", "Jump");
    Item& hold = host.Scene().AddItem("actionclip", "Hold");
    Item& ball = host.Scene().AddItem("locator", "Ball");
    ball.Key("pos.Y", 0.0, 1.0).Key("pos.Y", 1.0, 3.0);
    ball.Key("pos.Y", 0.0, 10.0, jump.Ident()).Key("pos.Y", 1.0, 20.0, jump.Ident());
    ball.OwnTransform(qvXfrmTranslation).Set("pos.Y", 7.0, hold.Ident());
    Item& t = ball.OwnTransform(qvXfrmTranslation);
    const uint32_t y = uint32_t(Index(t, "pos.Y"));
    auto jumpClip = Query<IQvActionClip>(static_cast<IQvItem*>(&jump));
    auto holdClip = Query<IQvActionClip>(static_cast<IQvItem*>(&hold));

    EXPECT_EQ(EvaluatedY(host, ball, 0.5), 2.0);
    EXPECT_EQ(ReadDouble(Channels(host, jump.Ident().c_str(), 0.5).get(), t, "pos.Y"), 15.0);
    ComRef<IQvChannelRead> before = Channels(host, nullptr, 0.5);
    jumpClip->SetActive(1);
    EXPECT_EQ(EvaluatedY(host, ball, 0.5), 15.0);
    EXPECT_EQ(ReadDouble(before.get(), t, "pos.Y"), 2.0)
        << "a reader keeps the clips it began with";
    // A clip's plain value on top hides the keys below it: not animated in the evaluated read.
    holdClip->SetActive(1);
    EXPECT_EQ(EvaluatedY(host, ball, 0.5), 7.0);
    EXPECT_EQ(Channels(host, nullptr)->IsAnimated(&t, y), qvFalse);
    holdClip->SetActive(0);
    EXPECT_EQ(Channels(host, nullptr)->IsAnimated(&t, y), qvOk);
    jumpClip->SetActive(0);
    EXPECT_EQ(EvaluatedY(host, ball, 1.0), 3.0);
}

TEST(SceneHostChannelRead, DrivenNumbersFollowTheirFirstDriverInTheEvaluatedReadOnly) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& control = scene.AddItem("locator", "Control");
    control.Key("pos.X", 0.0, 0.0).Key("pos.X", 1.0, 4.0);
    Item& cube = scene.AddItem("locator", "Cube").Position(0, 0, 0);
    Item& dial = scene.AddItem("locator", "Dial").Position(0, 0, 0);
    Item& controlT = control.OwnTransform(qvXfrmTranslation);
    Item& cubeT = cube.OwnTransform(qvXfrmTranslation);
    scene.LinkChannel(controlT, "pos.X", cubeT, "pos.Y");
    scene.LinkChannel(dial, "visible", cubeT, "pos.Y");        // a second driver is not read
    scene.LinkChannel(cubeT, "pos.Y", cube, "visible");        // a number into an integer: cut
    scene.LinkChannel(controlT, "pos.X", cube, "worldMatrix"); // for analysis only
    ComRef<IQvChannelRead> read = Channels(host, nullptr, 0.6);
    EXPECT_EQ(ReadDouble(read.get(), cubeT, "pos.Y"), 2.4);
    EXPECT_EQ(ReadInt(read.get(), cube, "visible"), 2);
    EXPECT_EQ(World(cube, read.get())[13], 2.4);
    EXPECT_EQ(ReadDouble(Channels(host, "edit", 0.6).get(), cubeT, "pos.Y"), 0.0);
    EXPECT_EQ(read->IsAnimated(&cubeT, uint32_t(Index(cubeT, "pos.Y"))), qvFalse);

    // A cycle: each channel follows the other until one is met again, which reads its own value.
    Item& dialT = dial.OwnTransform(qvXfrmTranslation).Set("pos.X", 5.0);
    dialT.Set("pos.Z", 6.0);
    scene.LinkChannel(dialT, "pos.Z", dialT, "pos.X");
    scene.LinkChannel(dialT, "pos.X", dialT, "pos.Z");
    EXPECT_EQ(ReadDouble(read.get(), dialT, "pos.X"), 5.0);
    EXPECT_EQ(ReadDouble(read.get(), dialT, "pos.Z"), 6.0);
}
