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

TEST(SceneHostShaderTree, MasksListTheirLayersInOrderAndNest) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& render = scene.AddItem("polyRender", "Render");
    Item& mask = scene.AddItem("mask", "Wood (Material)", render).Set("ptag", "Wood");
    scene.AddItem("advancedMaterial", "Material", mask);
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
    ComRef<IQvItem> nested, parent;
    ASSERT_EQ(inner.SubByIndex(0, nested.out()), qvOk);
    EXPECT_EQ(NameOf(nested.get()), "Grain (Image)");
    ASSERT_EQ(mask.Parent(parent.out()), qvOk);
    EXPECT_EQ(NameOf(parent.get()), "Render");
    // Re-parenting moves a layer to the top of its new mask.
    scene.SetParent(*scene.FindName("Material"), &inner);
    EXPECT_EQ(inner.Children().back()->Name(), "Material");
    EXPECT_EQ(mask.Children().size(), 2u);
}

TEST(SceneHostTexture, ImageFileIsAbsoluteInHostFormAndMissingWithoutAnImage) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& map = scene.AddItem("imageMap", "Wood (Image)").SetImage("textures/./sub/../wood.png");
    std::string expected = ToHostPath((std::filesystem::current_path() / "textures/wood.png")
                                          .lexically_normal()
                                          .generic_string());
    const char* path = nullptr;
    ASSERT_EQ(TextureOf(map)->ImageFile(&path), qvOk);
    EXPECT_EQ(std::string(path), expected);
    EXPECT_EQ(std::string(path).find('/'), std::string::npos);

    Item& absolute = scene.AddItem("imageMap", "Stone (Image)").SetImage("/data/img/stone.jpg");
    ASSERT_EQ(TextureOf(absolute)->ImageFile(&path), qvOk);
    EXPECT_STREQ(path, "\\data\\img\\stone.jpg");

    Item& bare = scene.AddItem("imageMap", "Bare (Image)");
    path = "untouched";
    EXPECT_TRUE(QvFailed(TextureOf(bare)->ImageFile(&path)));
    EXPECT_STREQ(path, "untouched");
    EXPECT_TRUE(QvFailed(TextureOf(bare)->ImageFile(nullptr)));

    // Only image maps show an image; the face itself is every texture layer's.
    Item& shader = scene.AddItem("glTFShader", "glTF");
    EXPECT_TRUE(TextureOf(shader));
    EXPECT_TRUE(QvFailed(TextureOf(shader)->ImageFile(&path)));
    EXPECT_THROW(shader.SetImage("a.png"), std::invalid_argument);
    EXPECT_THROW(bare.SetImage(""), std::invalid_argument);
    EXPECT_FALSE(TextureOf(scene.AddItem("txtrLocator", "Place")));
}

TEST(SceneHostTexture, LocatorIsTheOneSetAndFailsWithoutOneOrWithoutTheGraph) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& place = scene.AddItem("txtrLocator", "Wood Locator").Set("uvMap", "UVMap");
    Item& map = scene.AddItem("imageMap", "Wood (Image)");
    ComRef<IQvItem> found;
    EXPECT_EQ(TextureOf(map)->Locator(found.out()), qvNotFound);

    // Other links of the graph are no locator.
    Item& other = scene.AddItem("locator", "Not a placement");
    map.Link(kShadeLoc, other);
    EXPECT_EQ(TextureOf(map)->Locator(found.out()), qvNotFound);
    EXPECT_EQ(map.TextureLocator(), nullptr);

    map.SetTextureLocator(place);
    {
        ComRef<IQvItem> placed;
        ASSERT_EQ(TextureOf(map)->Locator(placed.out()), qvOk);
        EXPECT_EQ(placed.get(), static_cast<IQvItem*>(&place));
    }
    EXPECT_EQ(host.HeldReferences(), 0);
    EXPECT_EQ(place.ReverseLinks(kShadeLoc), std::vector<Item*>{&map});

    Item& second = scene.AddItem("txtrLocator", "Second");
    EXPECT_THROW(map.SetTextureLocator(second), std::invalid_argument);
    EXPECT_THROW(scene.AddItem("imageMap", "I").SetTextureLocator(other), std::invalid_argument);
    EXPECT_THROW(place.SetTextureLocator(second), std::invalid_argument);

    scene.RemoveGraph(kShadeLoc);
    EXPECT_EQ(TextureOf(map)->Locator(found.out()), qvNotFound);
}
