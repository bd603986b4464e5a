// World matrices: rotation orders, extra items in the stack, explicit world matrices, and how the
// reader chooses the values that go in. The plain stack and the parent chain are checked exactly
// through the plug-in's node matrices (tests/saver/NodeBuildingTest.cpp).
#include "HostTestUtil.h"

#include <cmath>

using namespace scenehost;
using namespace hosttest;

namespace {

void ExpectNear(const Matrix& actual, const Matrix& expected) {
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(actual[i], expected[i], 1e-12) << "element " << i;
}

// The image of a point under a matrix (row vector on the left).
std::array<double, 3> Apply(const Matrix& m, double x, double y, double z) {
    return {x * m[0] + y * m[4] + z * m[8] + m[12], x * m[1] + y * m[5] + z * m[9] + m[13],
            x * m[2] + y * m[6] + z * m[10] + m[14]};
}

} // namespace

TEST(SceneHostTransforms, RotationOrderNamesTheAxesInTheOrderApplied) {
    const double a = 0.3, b = -1.1, c = 2.0;
    Matrix rx = RotationMatrix(a, 0, 0, 0), ry = RotationMatrix(0, b, 0, 0),
           rz = RotationMatrix(0, 0, c, 0);
    ExpectNear(RotationMatrix(a, b, c, RotationOrderFromName("XYZ")),
               Multiply(Multiply(rx, ry), rz));
    ExpectNear(RotationMatrix(a, b, c, RotationOrderFromName("ZYX")),
               Multiply(Multiply(rz, ry), rx));
    ExpectNear(RotationMatrix(a, b, c, RotationOrderFromName("YZX")),
               Multiply(Multiply(ry, rz), rx));
    EXPECT_EQ(RotationOrderFromName("xyz"), -1);

    // Right-handed: a quarter turn about X takes +Y to +Z; about Y takes +Z to +X.
    auto y = Apply(RotationMatrix(M_PI / 2, 0, 0, 0), 0, 1, 0);
    EXPECT_NEAR(y[2], 1.0, 1e-15);
    auto z = Apply(RotationMatrix(0, M_PI / 2, 0, 0), 0, 0, 1);
    EXPECT_NEAR(z[0], 1.0, 1e-15);
}

TEST(SceneHostTransforms, ExtraStackItemsApplyAtTheirPlace) {
    SceneHost host;
    Item& cube = host.Scene().AddItem("mesh", "Cube").Rotation(0, 0, 90);
    // A pivot pair around the rotation: move by -p, rotate, move back by +p.
    cube.AddTransform("translation", "RotationPivot", 0).Set("pos.X", 1.0);
    cube.AddTransform("translation", "RotationPivotInverse").Set("pos.X", -1.0);
    auto p = Apply(World(cube, Channels(host, nullptr).get()), 1, 0, 0);
    EXPECT_NEAR(p[0], 1.0, 1e-12); // the pivot itself stays put
    EXPECT_NEAR(p[1], 0.0, 1e-12);
    auto locator = Query<IQvLocator>(static_cast<IQvItem*>(&cube));
    ComRef<IQvItem> own;
    EXPECT_EQ(locator->TransformItem(qvXfrmTranslation, own.out()),
              qvNotFound); // pivots are not own
    EXPECT_EQ(locator->TransformItem(qvXfrmRotation, own.out()), qvOk);
    EXPECT_EQ(locator->TransformItem(7, own.out()), qvOutOfRange);
    EXPECT_THROW(cube.AddTransform("mask", "NotATransform"), std::invalid_argument);
    EXPECT_EQ(host.Scene().FindName("NotATransform"), nullptr); // nothing half-made is left
}

TEST(SceneHostTransforms, ExplicitWorldMatrixStandsForEvaluationAndChildrenFollowIt) {
    SceneHost host;
    Scene& scene = host.Scene();
    Matrix constrained = TranslationMatrix(7, 8, 9);
    Item& rig = scene.AddItem("locator", "Rig").Position(1, 1, 1).SetWorldMatrix(constrained);
    Item& hand = scene.AddItem("locator", "Hand", rig).Position(0, 1, 0);
    ComRef<IQvChannelRead> read = Channels(host, nullptr);
    EXPECT_EQ(World(rig, read.get()), constrained);
    EXPECT_EQ(World(hand, read.get()), TranslationMatrix(7, 9, 9));
    EXPECT_THROW(scene.AddItem("mask", "M").SetWorldMatrix(constrained), std::invalid_argument);
}

TEST(SceneHostTransforms, TheReaderChoosesWhichValuesMakeTheMatrix) {
    SceneHost host;
    Item& clip = host.Scene().AddItem("actionclip", "Jump").Set("active", 1);
    Item& cube = host.Scene().AddItem("mesh", "Cube").Position(1, 0, 0);
    cube.OwnTransform(qvXfrmTranslation)
        .Set("pos.X", 2.0, qvActionEdit)
        .Set("pos.X", 3.0, clip.Ident());
    EXPECT_EQ(World(cube, Channels(host, "setup").get())[12], 1.0);
    EXPECT_EQ(World(cube, Channels(host, "edit").get())[12], 2.0);
    EXPECT_EQ(World(cube, Channels(host, nullptr).get())[12], 3.0);
    double m[16];
    auto locator = Query<IQvLocator>(static_cast<IQvItem*>(&cube));
    EXPECT_EQ(locator->WorldTransform(nullptr, m), qvFailed);
}

TEST(SceneHostTransforms, WorldTrackInterpolatesElementByElementAndChildrenComposeWithIt) {
    SceneHost host;
    Scene& scene = host.Scene();
    const Matrix turned = {0, 1, 0, 0, -1, 0, 0, 0,
                           0, 0, 1, 0, 4,  0, 0, 1}; // a quarter turn about Z
    Item& arm = scene.AddItem("locator", "Arm").Position(1, 1, 1);
    arm.WorldTrackKey(2.0, turned).WorldTrackKey(0.0, Identity());
    Item& hand = scene.AddItem("locator", "Hand", arm).Position(0, 1, 0);
    auto at = [&](Item& item, double time) {
        return World(item, Channels(host, nullptr, time).get());
    };
    EXPECT_EQ(at(arm, -1), Identity());
    EXPECT_EQ(at(arm, 5), turned);
    Matrix half = at(arm, 1); // not a rotation any more: each element halfway
    EXPECT_EQ(half[0], 0.5);
    EXPECT_EQ(half[1], 0.5);
    EXPECT_EQ(half[4], -0.5);
    EXPECT_EQ(half[12], 2.0);
    ExpectNear(at(hand, 1), Multiply(TranslationMatrix(0, 1, 0), half));
    EXPECT_EQ(Apply(at(hand, 2), 0, 0, 0), (std::array<double, 3>{3, 0, 0}));
    // Action readers stand at their own time too.
    EXPECT_EQ(World(arm, Channels(host, "setup", 2.0).get()), turned);
}

// Each locator remembers its world matrix per read, so a hierarchy costs one local matrix per
// locator and a chain of any depth is walked without recursion; every change that could move a
// locator is seen at once, by readers made before it too.
TEST(SceneHostTransforms, WorldMatricesAreRememberedPerReadAndFollowEveryChange) {
    SceneHost host;
    Scene& scene = host.Scene();
    constexpr uint32_t kDepth = 100000;
    std::vector<Item*> chain;
    for (uint32_t i = 0; i < kDepth; ++i) {
        chain.push_back(&scene.AddItem("locator", "L" + std::to_string(i)));
        if (i % 1000 == 0) chain.back()->Position(0, 1, 0);
    }
    for (uint32_t i = kDepth - 1; i > 0; --i) // from the bottom, so each parent is at the top
        scene.SetParent(*chain[i], chain[i - 1]);
    Item &root = *chain.front(), &leaf = *chain.back();
    root.Key("pos.X", 0.0, 0.0).Key("pos.X", 1.0, 2.0);
    ComRef<IQvChannelRead> now = Channels(host, nullptr, 0.5), later = Channels(host, nullptr, 1);
    const uint64_t before = LocalMatrixCount();
    EXPECT_EQ(Apply(World(leaf, now.get()), 0, 0, 0), (std::array<double, 3>{1, 100, 0}));
    for (Item* item : chain)
        World(*item, now.get());
    EXPECT_EQ(LocalMatrixCount() - before, kDepth);
    EXPECT_EQ(World(leaf, later.get())[12], 2.0); // another time is another read
    chain[kDepth / 2]->Position(0, 1, 5);
    EXPECT_EQ(Apply(World(leaf, now.get()), 0, 0, 0), (std::array<double, 3>{1, 100, 5}));
    scene.SetParent(leaf, nullptr);
    EXPECT_EQ(World(leaf, now.get()), Identity());
    chain[kDepth - 2]->SetWorldMatrix(TranslationMatrix(3, 0, 0));
    EXPECT_EQ(World(*chain[kDepth - 2], now.get()), TranslationMatrix(3, 0, 0));
}
