// The shader tree and its textures as a saver meets them: masks and their ordered layers, and
// the texture face of image maps with their image in host form and their locator.
#include "HostPath.h"
#include "HostTestUtil.h"

#include <filesystem>

using namespace scenehost;
using namespace hosttest;

namespace {

ComRef<IQvTexture> TextureOf(Item& item) {
    return Query<IQvTexture>(static_cast<IQvItem*>(&item));
}

} // namespace

// Layers are listed bottom first; a layer moved to another mask goes to its top.
TEST(SceneHostShaderTree, MasksListTheirLayersInOrderAndNest) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& mask = scene.AddItem("mask", "Wood (Material)", scene.AddItem("polyRender", "Render"));
    Item& material = scene.AddItem("advancedMaterial", "Material", mask);
    Item& inner = scene.AddItem("mask", "Grain", mask);
    scene.AddItem("glTFShader", "glTF", mask);
    scene.AddItem("imageMap", "Grain (Image)", inner);
    std::vector<std::string> layers;
    uint32_t count = 0;
    ASSERT_EQ(mask.SubCount(&count), qvOk);
    for (uint32_t i = 0; i < count; ++i) {
        ComRef<IQvItem> child;
        ASSERT_EQ(mask.SubByIndex(i, child.out()), qvOk);
        layers.push_back(NameOf(child.get()));
    }
    EXPECT_EQ(layers, (std::vector<std::string>{"Material", "Grain", "glTF"}));
    scene.SetParent(material, &inner);
    EXPECT_EQ(inner.Children().back(), &material);
    EXPECT_EQ(mask.Children().size(), 2u);
}

// Every texture layer has the face; only an image map with an image answers one, absolute and
// in host form.
TEST(SceneHostTexture, ImageFileIsAbsoluteInHostFormAndMissingWithoutAnImage) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& map = scene.AddItem("imageMap", "Wood (Image)").SetImage("textures/./sub/../wood.png");
    const char* path = nullptr;
    ASSERT_EQ(TextureOf(map)->ImageFile(&path), qvOk);
    EXPECT_EQ(std::string(path), ToHostPath((std::filesystem::current_path() / "textures/wood.png")
                                                .lexically_normal()
                                                .generic_string()));
    Item& absolute = scene.AddItem("imageMap", "Stone (Image)").SetImage("/data/img/stone.jpg");
    ASSERT_EQ(TextureOf(absolute)->ImageFile(&path), qvOk);
    EXPECT_STREQ(path, "\\data\\img\\stone.jpg");
    Item& bare = scene.AddItem("imageMap", "Bare (Image)");
    path = "untouched";
    EXPECT_TRUE(QvFailed(TextureOf(bare)->ImageFile(&path)));
    EXPECT_STREQ(path, "untouched");
    Item& shader = scene.AddItem("glTFShader", "glTF");
    ASSERT_TRUE(TextureOf(shader));
    EXPECT_TRUE(QvFailed(TextureOf(shader)->ImageFile(&path)));
    EXPECT_FALSE(TextureOf(scene.AddItem("txtrLocator", "Place")));
    EXPECT_THROW(shader.SetImage("a.png"), std::invalid_argument);
}

// The locator is the texture locator linked in "shadeLoc": no other item there counts, and
// without the graph there is none.
TEST(SceneHostTexture, LocatorIsTheOneSetAndFailsWithoutOneOrWithoutTheGraph) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& place = scene.AddItem("txtrLocator", "Wood Locator").Set("uvMap", "UVMap");
    Item& map = scene.AddItem("imageMap", "Wood (Image)");
    ComRef<IQvItem> found;
    map.Link(qvGraphShadeLoc, scene.AddItem("locator", "Not a placement"));
    EXPECT_EQ(TextureOf(map)->Locator(found.out()), qvNotFound);
    map.SetTextureLocator(place);
    ASSERT_EQ(TextureOf(map)->Locator(found.out()), qvOk);
    EXPECT_EQ(found.get(), static_cast<IQvItem*>(&place));
    Item& second = scene.AddItem("txtrLocator", "Second");
    EXPECT_THROW(map.SetTextureLocator(second), std::invalid_argument);
    scene.RemoveGraph(qvGraphShadeLoc);
    EXPECT_EQ(TextureOf(map)->Locator(found.out()), qvNotFound);
}
