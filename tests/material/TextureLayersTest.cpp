// Image maps as textures: which field each effect fills, the checks that warn where the host's
// preview and the file would differ, and what the file carries.
#include "support/GlbReader.h"
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

using namespace testsupport;
using scenehost::Item;

namespace {

#define PREVIEW " Vorn preview render and external preview results possibly wont match."

class TextureLayers : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        host.SetUserInt("sceneio.gltf.save.exportType", 0);
        BuildMappedCube(host.Scene().AddItem("mesh", "Cube").Mesh(), "Wood", "UVMap");
        mask = &host.Scene().AddItem("mask", "Wood mask").Set("ptag", "Wood");
        host.Scene().AddItem("glTFShader", "PBR", *mask);
        locator = &host.Scene().AddItem("txtrLocator", "Place").Set("uvMap", "UVMap");
    }
    // An image file of `bytes` bytes in the scratch directory.
    std::string ImageFile(const std::string& name, size_t bytes = 10) {
        WriteBytes(scratch.Path(name), std::string(bytes, 'x'));
        return scratch.Path(name).string();
    }
    Item& Map(const std::string& name, const char* effect, const std::string& file, int rgba = 0) {
        return host.Scene()
            .AddItem("imageMap", name, *mask)
            .SetImage(file)
            .Set("effect", effect)
            .Set("swizzling", 1)
            .Set("rgba", rgba)
            .SetTextureLocator(*locator);
    }
    GlbReader SaveAndRead() {
        EXPECT_EQ(Save("t.glb"), qvOk);
        return GlbReader(FileText("t.glb"));
    }
    const rapidjson::Value& WoodMaterial(const GlbReader& glb) {
        return glb.json["materials"][glb.Primitive(0, 0)["material"].GetUint()];
    }
    int Warnings() const { return int(host.LogOf("logsys").size()); }

    Item* mask = nullptr;
    Item* locator = nullptr;
};

} // namespace

TEST_F(TextureLayers, MetallicAndRoughnessOnOneImageShareOneTexture) {
    std::string orm = ImageFile("orm.png");
    Map("Metal (Image)", "metallicGLTF", orm, 5);
    Map("Rough (Image)", "roughnessGLTF", orm, 4);
    Map("AO (Image)", "aoGLTF", orm, 3);
    GlbReader glb = SaveAndRead();
    const auto& m = WoodMaterial(glb);
    EXPECT_EQ(JsonText(m["pbrMetallicRoughness"]["metallicRoughnessTexture"]),
              R"({"index":0,"texCoord":0})");
    EXPECT_EQ(JsonText(m["occlusionTexture"]), R"({"index":1,"texCoord":0})");
    EXPECT_EQ(glb.json["textures"].Size(), 2u);
    EXPECT_EQ(glb.json["samplers"].Size(), 2u);
    EXPECT_EQ(glb.json["images"].Size(), 1u);
    EXPECT_STREQ(glb.json["textures"][0]["name"].GetString(), "Metal ");
    EXPECT_EQ(Warnings(), 0);
}

TEST_F(TextureLayers, SecondMetalOrRoughImageIsNamedAndLeftOut) {
    Map("Metal (Image)", "metallicGLTF", ImageFile("metal.png"), 5);
    Map("Rough (Image)", "roughnessGLTF", ImageFile("rough.png"), 4);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("    GLTF_Metallic and GLTF_Roughness image maps in one material group must "
                         "use the same image. GLTF_Roughness image map :Rough (Image)." PREVIEW),
              1);
    EXPECT_EQ(glb.json["images"].Size(), 1u);
    EXPECT_EQ(host.MessageBoxes().back().text,
              "There are 1 warnings and 0 errors reported to event log");
}

TEST_F(TextureLayers, SwizzlingOffOrTheWrongChannelWarns) {
    Map("Base (Image)", "baseColorGLTF", ImageFile("base.png"), 0).Set("swizzling", 0);
    Map("AO (Image)", "aoGLTF", ImageFile("ao.png"), 4);
    SaveAndRead();
    EXPECT_EQ(CountLines("    Swizzling is not turned on for GLTF_BaseColor image map Base (Image)." PREVIEW), 1);
    EXPECT_EQ(CountLines("    Swizzling channel must be 'Red' for GLTF_AmbientOclussion image map AO (Image)." PREVIEW), 1);
}

// "baseColorGLTF" and "dissolve" share a bucket of the small effect map: the one met later is
// read first.
TEST_F(TextureLayers, DissolveMetAfterTheBaseColourIsReadFirstAndSoDoesNotWarn) {
    Map("Base (Image)", "baseColorGLTF", ImageFile("base.png"), 0);
    Map("Cut (Image)", "dissolve", ImageFile("cut.png"), 2);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(Warnings(), 0);
    EXPECT_STREQ(WoodMaterial(glb)["alphaMode"].GetString(), "BLEND");
}

TEST_F(TextureLayers, DissolveMetBeforeTheBaseColourWarnsAboutTheImage) {
    Map("Cut (Image)", "dissolve", ImageFile("cut.png"), 2);
    Map("Base (Image)", "baseColorGLTF", ImageFile("base.png"), 0);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("    Dissolve and GLTF_BaseColor image maps in one material group must use "
                         "the same image. Dissolve image map :Cut (Image)." PREVIEW),
              1);
    // The dissolve map's own image goes into no field.
    EXPECT_EQ(glb.json["images"].Size(), 1u);
}

TEST_F(TextureLayers, ProjectionOtherThanUvMapWarnsAndLeavesTheReferenceOut) {
    locator->Set("projType", 3);
    Map("Emit (Image)", "emisGLTF", ImageFile("emit.jpg"));
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("Creating texture:Emit (Image) failed! Textures need to have texture "
                         "locators and 'UVMap' projection type."),
              1);
    EXPECT_FALSE(WoodMaterial(glb).HasMember("emissiveTexture"));
}

TEST_F(TextureLayers, TileModesBecomeSamplerWrapModes) {
    locator->Set("tileU", 0).Set("tileV", 2);
    Map("Normal (Image)", "normalGLTF", ImageFile("normal.png"));
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(JsonText(glb.json["samplers"]), R"([{"wrapS":10497,"wrapT":33648}])");
    EXPECT_EQ(JsonText(WoodMaterial(glb)["normalTexture"]), R"({"index":0,"texCoord":0})");
}

TEST_F(TextureLayers, GlbCarriesTheImageOnceWithItsPad) {
    std::string shared = ImageFile("shared.png", 13);
    Map("Base (Image)", "baseColorGLTF", shared, 0);
    Map("Emit (Image)", "emisGLTF", shared);
    GlbReader glb = SaveAndRead();
    ASSERT_EQ(glb.json["images"].Size(), 1u);
    const auto& image = glb.json["images"][0];
    EXPECT_STREQ(image["mimeType"].GetString(), "image/png");
    const auto& view = glb.json["bufferViews"][image["bufferView"].GetUint()];
    EXPECT_EQ(view["byteLength"].GetUint(), 16u);
    size_t offset = view.HasMember("byteOffset") ? view["byteOffset"].GetUint() : 0;
    EXPECT_EQ(glb.bin.substr(offset, 16), std::string(13, 'x') + std::string(3, '\0'));
}

TEST_F(TextureLayers, GltfCopiesTheImageBesideItByBaseName) {
    fs::create_directories(scratch.Path("src"));
    WriteBytes(scratch.Path("src/wood.jpg"), "jpeg bytes");
    Map("Base (Image)", "baseColorGLTF", scratch.Path("src/wood.jpg").string(), 0);
    ASSERT_EQ(Save("t.gltf"), qvOk);
    auto json = ParseJson(FileText("t.gltf"));
    EXPECT_EQ(JsonText(json["images"]), R"([{"mimeType":"image/jpeg","uri":"wood.jpg"}])");
    EXPECT_EQ(FileText("wood.jpg"), "jpeg bytes");
}

TEST_F(TextureLayers, MissingImageFileIsAnErrorButTheSaveGoesOn) {
    Map("Base (Image)", "baseColorGLTF", ImageFile("base.png"), 0);
    fs::remove(scratch.Path("base.png"));
    GlbReader glb = SaveAndRead();
    std::string expected = "Image file path: " + ToHostPath(scratch.Path("base.png")) + " doesn't exist!";
    EXPECT_EQ(CountLines(expected), 1);
    EXPECT_FALSE(WoodMaterial(glb)["pbrMetallicRoughness"].HasMember("baseColorTexture"));
    EXPECT_EQ(host.MessageBoxes().back().text,
              "There are 0 warnings and 1 errors reported to event log");
}
