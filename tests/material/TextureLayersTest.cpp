// Image maps as textures: which field each effect fills, the checks that warn where the host's
// preview and the file would differ, and what the file carries.
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
        ExportType(0);
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
    EXPECT_EQ(
        CountLines("    GLTF_Metallic and GLTF_Roughness image maps in one material group must "
                   "use the same image. GLTF_Roughness image map :Rough (Image)." PREVIEW),
        1);
    EXPECT_EQ(glb.json["images"].Size(), 1u);
    EXPECT_EQ(LastBox(), "There are 1 warnings and 0 errors reported to event log");
}

TEST_F(TextureLayers, SwizzlingOffOrTheWrongChannelWarns) {
    Map("Base (Image)", "baseColorGLTF", ImageFile("base.png"), 0).Set("swizzling", 0);
    Map("AO (Image)", "aoGLTF", ImageFile("ao.png"), 4);
    SaveAndRead();
    EXPECT_EQ(
        CountLines(
            "    Swizzling is not turned on for GLTF_BaseColor image map Base (Image)." PREVIEW),
        1);
    EXPECT_EQ(CountLines("    Swizzling channel must be 'Red' for GLTF_AmbientOclussion image map "
                         "AO (Image)." PREVIEW),
              1);
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
    EXPECT_EQ(
        CountLines("    Dissolve and GLTF_BaseColor image maps in one material group must use "
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

TEST_F(TextureLayers, MissingImageFileIsAnErrorButTheSaveGoesOn) {
    Map("Base (Image)", "baseColorGLTF", ImageFile("base.png"), 0);
    fs::remove(scratch.Path("base.png"));
    GlbReader glb = SaveAndRead();
    std::string expected =
        "Image file path: " + ToHostPath(scratch.Path("base.png")) + " doesn't exist!";
    EXPECT_EQ(CountLines(expected), 1);
    EXPECT_FALSE(WoodMaterial(glb)["pbrMetallicRoughness"].HasMember("baseColorTexture"));
    EXPECT_FALSE(glb.json.HasMember("textures") || glb.json.HasMember("images") ||
                 glb.json.HasMember("samplers"));
    EXPECT_EQ(LastBox(), "There are 0 warnings and 1 errors reported to event log");
}
