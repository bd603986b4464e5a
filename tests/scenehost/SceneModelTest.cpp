// The scene model as a plug-in sees it: types, items, hierarchy, faces, graphs, render cameras,
// and the ledger of references that the plug-in tests read. Item enumeration, tags, packages and
// groups are read by the scan in every save test (tests/saver/SceneScanTest.cpp).
#include "HostTestUtil.h"

using namespace scenehost;
using namespace hosttest;

namespace {

QvTypeCode TypeCode(SceneHost& host, const char* name) {
    QvTypeCode code = 0;
    Service<IQvSceneService>(host)->ItemTypeLookup(name, &code);
    return code;
}

} // namespace

// One layout per type, so a channel's index is the same for every item that tests as a type.
TEST(SceneHostTypes, DerivedLayoutsStartWithTheSuperTypesChannels) {
    TypeTree tree;
    for (const TypeDef& type : tree.All()) {
        const TypeDef* super = tree.Find(type.super);
        if (!super) continue;
        ASSERT_GE(type.channels.size(), super->channels.size()) << type.name;
        for (size_t i = 0; i < super->channels.size(); ++i)
            EXPECT_EQ(type.channels[i].name, super->channels[i].name) << type.name << " #" << i;
    }
}

TEST(SceneHostTypes, LookupAndAbsenceWithCodesTheSameInEveryHost) {
    SceneHost host, other;
    auto scene = Service<IQvSceneService>(host);
    QvTypeCode mesh = TypeCode(host, "mesh"), locator = TypeCode(host, "locator");
    ASSERT_NE(mesh, 0u);
    QvTypeCode untouched = 77;
    EXPECT_TRUE(QvFailed(scene->ItemTypeLookup("mesh ", &untouched)));
    EXPECT_EQ(untouched, 77u);
    EXPECT_EQ(host.Count("ItemTypeLookup:mesh"), 1);
    EXPECT_EQ(host.Count("ItemTypeLookup:mesh "), 1);

    // An absent type fails to look up, yet its items' derived types still test as it; and it
    // moves no other type's code.
    Item& cube = host.Scene().AddItem("mesh", "Cube");
    host.Scene().RemoveType("locator");
    other.Scene().RemoveType("camera");
    EXPECT_TRUE(QvFailed(scene->ItemTypeLookup("locator", &untouched)));
    EXPECT_EQ(cube.TestType(locator), qvOk);
    EXPECT_EQ(TypeCode(host, "replicator"), TypeCode(other, "replicator"));
}

TEST(SceneHostItems, HierarchyKeepsChildOrderAndRefusesCycles) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& root = scene.AddItem("locator", "Root");
    Item& a = scene.AddItem("locator", "A", root);
    scene.AddItem("locator", "B", root);
    Item& c = scene.AddItem("locator", "C", a);
    scene.SetParent(a, nullptr);
    scene.SetParent(a, &root); // moved to the end
    std::vector<std::string> order;
    for (Item* child : root.Children())
        order.push_back(child->Name());
    EXPECT_EQ(order, (std::vector<std::string>{"B", "A"}));
    EXPECT_THROW(scene.SetParent(root, &c), std::invalid_argument);
    EXPECT_THROW(scene.SetParent(root, &scene.SceneItem()), std::invalid_argument);
    ComRef<IQvItem> parent;
    EXPECT_TRUE(QvFailed(root.Parent(parent.out())));
    EXPECT_EQ(c.Parent(parent.out()), qvOk);
    EXPECT_EQ(NameOf(parent.get()), "A");
}

TEST(SceneHostItems, IdentsAreUniqueAndStayAtTheirAddress) {
    SceneHost host;
    Item& a = host.Scene().AddItem("mesh", "Same");
    Item& b = host.Scene().AddItem("mesh", "Same");
    const char *ia = nullptr, *ib = nullptr, *again = nullptr;
    a.Ident(&ia);
    b.Ident(&ib);
    for (int i = 0; i < 50; ++i)
        host.Scene().AddItem("locator", "Filler");
    a.Ident(&again);
    EXPECT_STRNE(ia, ib);
    EXPECT_EQ(ia, again); // compared by address
    EXPECT_THROW(host.Scene().AddItemWithIdent(ia, "mesh", "Clash"), std::invalid_argument);
    EXPECT_THROW(host.Scene().AddItem("nosuchtype", "X"), std::invalid_argument);
    EXPECT_THROW(host.Scene().AddItem("group", "Actor").Tag("LONGER", "x"), std::invalid_argument);

    int32_t index = -1;
    EXPECT_EQ(a.ChannelLookup("worldMatrix", &index), qvOk);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(a.ChannelLookup("nope", &index), qvNotFound);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(host.Count("ChannelLookup:Same:nope"), 1);
}

// The faces an item answers follow its type and lead back to it; each reference a caller takes
// on an owned object is in the ledger until released, and a release too many is counted.
TEST(SceneHostItems, FacesFollowTheTypeAndReferencesAreCounted) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& cube = scene.AddItem("mesh", "Cube");
    IQvItem* asItem = &cube;
    EXPECT_FALSE(Query<IQvTexture>(asItem));
    EXPECT_TRUE(Query<IQvActionClip>(static_cast<IQvItem*>(&scene.AddItem("actionclip", "Walk"))));
    EXPECT_TRUE(Query<IQvGroupItem>(static_cast<IQvItem*>(&scene.AddItem("group", "G"))));
    EXPECT_TRUE(Query<IQvTexture>(static_cast<IQvItem*>(&scene.AddItem("imageMap", "Img"))));
    EXPECT_FALSE(Query<IQvLocator>(static_cast<IQvItem*>(&scene.AddItem("mask", "M"))));
    {
        auto locator = Query<IQvLocator>(asItem);
        ASSERT_TRUE(locator);
        EXPECT_EQ(Query<IQvItem>(locator.get()).get(), asItem);
        EXPECT_EQ(Query<IQvUnknown>(locator.get()).get(), Query<IQvUnknown>(asItem).get());
        ComRef<IQvScene> context;
        cube.Context(context.out());
        EXPECT_EQ(host.HeldReferences(), 2);
    }
    EXPECT_EQ(host.HeldReferences(), 0);
    cube.Release(); // one too many
    EXPECT_EQ(host.Count("OverRelease"), 1);
    EXPECT_EQ(host.HeldReferences(), 0);
}

TEST(SceneHostGraphs, TheTransformStackIsLinkedInOrderBothWays) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& cube = scene.AddItem("mesh", "Cube").Position(0, 0, 1).Scale(2, 2, 2).Rotation(0, 0, 0);
    ComRef<IQvItemGraph> core;
    ASSERT_EQ(scene.GraphLookup("xfrmCore", IQvItemGraph::iid, core.outVoid()), qvOk);
    uint32_t count = 0;
    EXPECT_EQ(core->LinkCount(&cube, &count), qvOk);
    ASSERT_EQ(count, 3u);
    std::vector<std::string> stack;
    for (uint32_t i = 0; i < count; ++i) {
        ComRef<IQvItem> t, owner;
        core->LinkByIndex(&cube, i, t.out());
        stack.push_back(NameOf(t.get()));
        core->LinkByIndex(t.get(), 0, owner.out()); // a transform item's first link is its locator
        EXPECT_EQ(owner.get(), static_cast<IQvItem*>(&cube));
    }
    EXPECT_EQ(stack, (std::vector<std::string>{"Translation", "Rotation", "Scale"}));
    // A graph is found under its own kind only; a removed one is not found.
    ComRef<IQvItemGraph> wrong;
    EXPECT_TRUE(QvFailed(scene.GraphLookup("chanLinks", IQvItemGraph::iid, wrong.outVoid())));
    scene.RemoveGraph("shadeLoc");
    EXPECT_EQ(scene.GraphLookup("shadeLoc", IQvItemGraph::iid, wrong.outVoid()), qvNotFound);
    EXPECT_EQ(host.Count("GraphLookup:shadeLoc"), 1);
}

TEST(SceneHostScene, RenderCamerasDefaultToAllCamerasUnlessNamed) {
    SceneHost host;
    Scene& scene = host.Scene();
    scene.AddItem("camera", "A");
    Item& b = scene.AddItem("camera", "B");
    uint32_t count = 0;
    EXPECT_EQ(scene.RenderCameraCount(&count), qvOk);
    EXPECT_EQ(count, 2u);
    scene.AddRenderCamera(b);
    EXPECT_EQ(scene.RenderCameraCount(&count), qvOk);
    EXPECT_EQ(count, 1u);
    ComRef<IQvItem> cam;
    EXPECT_EQ(scene.RenderCameraByIndex(0, cam.out()), qvOk);
    EXPECT_EQ(NameOf(cam.get()), "B");
    EXPECT_EQ(host.Count("RenderCameraCount"), 2);
    EXPECT_THROW(scene.AddRenderCamera(scene.AddItem("light", "L")), std::invalid_argument);
}
