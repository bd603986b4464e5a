// The shader tree and its textures as a saver meets them: layer types and the channels it reads,
// masks and their ordered layers, image maps' texture face, and the examples' materials.
#include "HostPath.h"
#include "HostTestUtil.h"
#include "SceneFile.h"

#include <filesystem>

using namespace scenehost;
using namespace hosttest;

namespace {

ComRef<IQvTexture> TextureOf(Item& item) {
    return Query<IQvTexture>(static_cast<IQvItem*>(&item));
}

std::string ReadText(IQvChannelRead* read, Item& item, const char* channel) {
    const char* v = nullptr;
    EXPECT_EQ(read->ReadString(&item, static_cast<uint32_t>(Index(item, channel)), &v), qvOk)
        << channel;
    return v ? v : "<none>";
}

QvTypeCode LookupType(SceneHost& host, const char* name) {
    QvTypeCode code = 0;
    Service<IQvSceneService>(host)->ItemTypeLookup(name, &code);
    return code;
}

struct ChannelCase {
    const char* type;
    const char* channel;
    ChannelKind kind;
    double number; // integers and doubles
    const char* text = nullptr;
};

} // namespace

// What a new layer reads before anyone sets a value: these decide what an untouched material or
// image map exports, so they are the host's, kind and all (an integer read of a double channel
// would truncate, a string read of a number fails).
TEST(SceneHostShadingTypes, NewLayersReadTheHostsDefaults) {
    const ChannelCase cases[] = {
        {"mask", "enable", ChannelKind::Integer, 1},
        {"mask", "ptag", ChannelKind::String, 0, ""},
        {"mask", "ptyp", ChannelKind::String, 0, "Material"},
        {"glTFShader", "enable", ChannelKind::Integer, 1},
        {"glTFShader", "baseColor.G", ChannelKind::Double, 1.0},
        {"glTFShader", "shadeModel", ChannelKind::Integer, 0},
        {"glTFShader", "metallic", ChannelKind::Double, 1.0},
        {"glTFShader", "roughness", ChannelKind::Double, 1.0},
        {"glTFShader", "emissive.B", ChannelKind::Double, 0.0},
        {"glTFShader", "emissivelevel", ChannelKind::Double, 1.0},
        {"glTFShader", "normalscale", ChannelKind::Double, 1.0},
        {"glTFShader", "aoscale", ChannelKind::Double, 1.0},
        {"advancedMaterial", "enable", ChannelKind::Integer, 1},
        {"advancedMaterial", "dissAmt", ChannelKind::Double, 0.0},
        {"advancedMaterial", "dblSided", ChannelKind::Integer, 0},
        {"imageMap", "enable", ChannelKind::Integer, 1},
        {"imageMap", "effect", ChannelKind::String, 0, "diffColor"},
        {"imageMap", "swizzling", ChannelKind::Integer, 0},
        {"imageMap", "rgba", ChannelKind::Integer, 0},
        {"unityShader", "enable", ChannelKind::Integer, 1},
        {"unrealShader", "enable", ChannelKind::Integer, 1},
        {"txtrLocator", "projType", ChannelKind::Integer, 6},
        {"txtrLocator", "uvMap", ChannelKind::String, 0, ""},
        {"txtrLocator", "tileU", ChannelKind::Integer, 1},
        {"txtrLocator", "tileV", ChannelKind::Integer, 1},
        {"txtrLocator", "wrapU", ChannelKind::Double, 1.0},
        {"txtrLocator", "wrapV", ChannelKind::Double, 1.0},
    };
    SceneHost host;
    ComRef<IQvChannelRead> edit = Channels(host, "edit");
    for (const ChannelCase& c : cases) {
        SCOPED_TRACE(std::string(c.type) + "." + c.channel);
        Item& item = host.Scene().AddItem(c.type, c.type);
        ASSERT_GE(Index(item, c.channel), 0);
        EXPECT_EQ(item.Type().channels[item.ChannelIndex(c.channel)].kind, c.kind);
        if (c.kind == ChannelKind::String)
            EXPECT_EQ(ReadText(edit.get(), item, c.channel), c.text);
        else if (c.kind == ChannelKind::Integer)
            EXPECT_EQ(ReadInt(edit.get(), item, c.channel), static_cast<int32_t>(c.number));
        else
            EXPECT_EQ(ReadDouble(edit.get(), item, c.channel), c.number);
    }
}

// The saver classifies a layer by testing types; every layer must test as a texture layer, and a
// channel that image maps give another default keeps the index it has on every texture layer.
TEST(SceneHostShadingTypes, LayersAreTextureLayersAndShareTheirIndices) {
    SceneHost host;
    Scene& scene = host.Scene();
    QvTypeCode layer = LookupType(host, "textureLayer");
    ASSERT_NE(layer, 0u);
    for (const char* type :
         {"mask", "advancedMaterial", "glTFShader", "imageMap", "unityShader", "unrealShader"}) {
        SCOPED_TRACE(type);
        Item& item = scene.AddItem(type, type);
        EXPECT_EQ(item.TestType(layer), qvOk);
        EXPECT_EQ(Index(item, "enable"), 0);
        EXPECT_EQ(Index(item, "effect"), scene.Types().Find("textureLayer")->Channel("effect"));
    }
    Item& shader = scene.AddItem("glTFShader", "S");
    EXPECT_NE(shader.TestType(LookupType(host, "imageMap")), qvOk);
    EXPECT_NE(scene.AddItem("txtrLocator", "L").TestType(layer), qvOk);
    // Only image maps start with an effect: a shader's stays empty.
    EXPECT_EQ(ReadText(Channels(host, "edit").get(), shader, "effect"), "");
}

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

TEST(SceneHostShadingFile, LayersLocatorsAndImagesFromAFile) {
    SceneHost host;
    std::string error;
    ASSERT_TRUE(LoadSceneText(host, R"json({"items": [
      {"id": "render", "type": "polyRender"},
      {"id": "wood", "type": "mask", "parent": "render", "channels": {"ptag": "Wood"}},
      {"id": "host", "type": "advancedMaterial", "parent": "wood", "channels": {"dissAmt": 0.5}},
      {"id": "map", "type": "imageMap", "name": "Wood (Image)", "parent": "wood",
       "image": "img/wood.png", "textureLocator": "place",
       "channels": {"effect": "baseColorGLTF", "swizzling": 1, "rgba": 4}},
      {"id": "shader", "type": "glTFShader", "parent": "wood", "channels": {"shadeModel": 1}},
      {"id": "place", "type": "txtrLocator", "channels": {"uvMap": "UVMap", "tileU": 3}},
      {"id": "lamp", "type": "pointLight"},
      {"id": "lampMaterial", "type": "lightMaterial", "parent": "lamp"}
    ]})json",
                              "s.json", "/scenes", &error))
        << error;
    Scene& scene = host.Scene();
    Item& wood = *scene.FindIdent("wood");
    ASSERT_EQ(wood.Children().size(), 3u);
    EXPECT_EQ(wood.Children()[0]->Ident(), "host");
    EXPECT_EQ(wood.Children()[2]->Ident(), "shader");
    Item& map = *scene.FindIdent("map");
    EXPECT_EQ(map.TextureLocator(), scene.FindIdent("place"));
    const char* path = nullptr;
    ASSERT_EQ(TextureOf(map)->ImageFile(&path), qvOk);
    EXPECT_STREQ(path, "\\scenes\\img\\wood.png");
    ComRef<IQvChannelRead> edit = Channels(host, "edit");
    EXPECT_EQ(ReadText(edit.get(), map, "effect"), "baseColorGLTF");
    EXPECT_EQ(ReadInt(edit.get(), map, "rgba"), 4);
    EXPECT_EQ(ReadInt(edit.get(), *scene.FindIdent("place"), "tileU"), 3);
    EXPECT_EQ(ReadInt(edit.get(), *scene.FindIdent("place"), "projType"), 6);
    // A light carries its material in the item hierarchy.
    EXPECT_EQ(scene.FindIdent("lampMaterial")->Parent(), scene.FindIdent("lamp"));
}

// Every example's textures must reach a viewer: the image is there, and each texture's locator
// projects through a UV map that every mesh using the material has.
TEST(SceneHostShadingFile, ExampleTexturesHaveImagesAndUvMapsOnTheirMeshes) {
    const std::filesystem::path examples = std::filesystem::path(GLTFIO_SOURCE_DIR) / "examples";
    int textures = 0;
    for (const auto& entry : std::filesystem::directory_iterator(examples)) {
        if (entry.path().extension() != ".json") continue;
        SCOPED_TRACE(entry.path().filename().string());
        SceneHost host;
        std::string error;
        ASSERT_TRUE(LoadSceneFile(host, entry.path().string(), &error)) << error;
        const Scene& scene = host.Scene();
        for (Item* map : scene.Items()) {
            if (!map->IsA("imageMap") || map->Image().empty()) continue;
            SCOPED_TRACE(map->Name());
            ++textures;
            EXPECT_TRUE(std::filesystem::is_regular_file(map->Image())) << map->Image();
            Item* mask = map->Parent();
            ASSERT_TRUE(mask && mask->IsA("mask"));
            Item* place = map->TextureLocator();
            ASSERT_NE(place, nullptr);
            int32_t projection = 0;
            const char* uvMap = nullptr;
            const char* tag = nullptr;
            place->SetupValue(place->ChannelIndex("projType")).AsInteger(&projection);
            place->SetupValue(place->ChannelIndex("uvMap")).AsString(&uvMap);
            mask->SetupValue(mask->ChannelIndex("ptag")).AsString(&tag);
            ASSERT_EQ(projection, 6);
            ASSERT_TRUE(uvMap && tag);
            int users = 0;
            for (Item* item : scene.Items()) {
                const MeshData* mesh = item->MeshOf();
                if (!mesh) continue;
                bool uses = false;
                for (uint32_t p = 0; p < mesh->PolygonCount(); ++p) {
                    const char* material = mesh->Tag(p, kTagMaterial);
                    uses = uses || (material && std::string(tag) == material);
                }
                if (!uses) continue;
                ++users;
                EXPECT_NE(mesh->FindMap(kMapUv, uvMap), nullptr)
                    << item->Name() << " has no UV map " << uvMap;
            }
            EXPECT_GT(users, 0) << "no mesh uses " << tag;
        }
    }
    EXPECT_GE(textures, 9);
}
