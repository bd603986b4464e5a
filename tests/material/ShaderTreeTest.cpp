// The shader tree as glTF materials: which layers count, in which order, and what each says.
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

using namespace testsupport;
using scenehost::Item;

namespace {

class ShaderTree : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        ExportType(0);
        BuildMappedCube(host.Scene().AddItem("mesh", "Cube").Mesh(), "Wood", "UVMap");
    }
    Item& Mask(const char* tag, Item* parent = nullptr) {
        return host.Scene().AddItem("mask", std::string(tag) + " mask", parent).Set("ptag", tag);
    }
    Item& Layer(const char* type, const char* name, Item& mask) {
        return host.Scene().AddItem(type, name, mask);
    }
    // The material of the cube's one primitive.
    rapidjson::Document Material() {
        GlbReader glb = SaveAndRead();
        rapidjson::Document material;
        unsigned index = glb.Primitive(0, 0)["material"].GetUint();
        material.CopyFrom(glb.json["materials"][index], material.GetAllocator());
        if (glb.json.HasMember("extensionsUsed"))
            extensionsUsed = JsonText(glb.json["extensionsUsed"]);
        if (glb.json.HasMember("samplers")) samplers = JsonText(glb.json["samplers"]);
        return material;
    }
    std::string extensionsUsed, samplers;
};

} // namespace

// Layers that nobody touched export the host's defaults: the glTF layer's factors, a host
// material's opacity and sides, an image map's scale and a texture locator's projection and tiling.
TEST_F(ShaderTree, UntouchedLayersExportTheHostsDefaults) {
    auto& mask = Mask("Wood");
    Layer("advancedMaterial", "Host", mask);
    auto& place = host.Scene().AddItem("txtrLocator", "Place").Set("uvMap", "UVMap");
    WriteBytes(scratch.Path("n.png"), "png");
    Layer("imageMap", "Bumps", mask)
        .SetImage(scratch.Path("n.png").string())
        .Set("effect", "normalGLTF")
        .SetTextureLocator(place);
    Layer("glTFShader", "PBR", mask);
    auto m = Material();
    EXPECT_EQ(
        JsonText(m),
        R"({"name":"Wood","emissiveFactor":[0.0,0.0,0.0],"alphaMode":"OPAQUE","doubleSided":false,)"
        R"("normalTexture":{"index":0,"texCoord":0},"pbrMetallicRoughness":{)"
        R"("baseColorFactor":[1.0,1.0,1.0,1.0],"metallicFactor":1.0,"roughnessFactor":1.0}})");
    EXPECT_EQ(samplers, R"([{"wrapS":10497,"wrapT":10497}])");
}

TEST_F(ShaderTree, GltfShaderGivesTheFactorsUnderTheTagsName) {
    auto& mask = Mask("Wood");
    Layer("glTFShader", "PBR", mask)
        .Set("baseColor.R", 0.5)
        .Set("metallic", 0.1)
        .Set("roughness", 0.25)
        .Set("emissive.G", 0.5)
        .Set("emissivelevel", 4.0);
    auto m = Material();
    EXPECT_EQ(
        JsonText(m),
        R"({"name":"Wood","emissiveFactor":[0.0,2.0,0.0],"alphaMode":"OPAQUE","doubleSided":false,)"
        R"("pbrMetallicRoughness":{"baseColorFactor":[0.5,1.0,1.0,1.0],)"
        R"("metallicFactor":0.10000000149011612,"roughnessFactor":0.25}})");
    EXPECT_EQ(CountLines("Found mask:Wood ptag:Wood ptype:Material"), 1);
    EXPECT_EQ(CountLines("    Skipping Gltf shader layer PBR"), 1);
}

TEST_F(ShaderTree, HostMaterialAtALowerIndexGivesAlphaAndSides) {
    auto& mask = Mask("Wood");
    Layer("advancedMaterial", "Host", mask).Set("dissAmt", 0.25).Set("dblSided", 1);
    Layer("imageMap", "Spacer", mask).Set("effect", "diffColor");
    Layer("glTFShader", "PBR", mask);
    auto m = Material();
    EXPECT_EQ(JsonText(m["pbrMetallicRoughness"]["baseColorFactor"]), "[1.0,1.0,1.0,0.75]");
    EXPECT_STREQ(m["alphaMode"].GetString(), "BLEND");
    EXPECT_TRUE(m["doubleSided"].GetBool());
}

TEST_F(ShaderTree, HostMaterialAboveTheGltfLayerIsRefusedWithAWarning) {
    auto& mask = Mask("Wood");
    Layer("glTFShader", "PBR", mask);
    Layer("advancedMaterial", "Host", mask).Set("dissAmt", 0.5);
    auto m = Material();
    EXPECT_EQ(CountLines("    Vorn material in glTF layer 'Wood mask' must be placed below glTF "
                         "material in the shader tree!"),
              1);
    EXPECT_STREQ(m["alphaMode"].GetString(), "OPAQUE");
    EXPECT_EQ(LastBox(), "There are 1 warnings and 0 errors reported to event log");
}

TEST_F(ShaderTree, SecondHostMaterialDrawsTheMultipleWarningAndTheHigherIndexWins) {
    auto& mask = Mask("Wood");
    Layer("advancedMaterial", "Low", mask).Set("dissAmt", 0.5);
    Layer("advancedMaterial", "High", mask).Set("dissAmt", 1.5);
    Layer("glTFShader", "PBR", mask);
    auto m = Material();
    EXPECT_EQ(JsonText(m["pbrMetallicRoughness"]["baseColorFactor"]), "[1.0,1.0,1.0,0.0]");
    EXPECT_EQ(
        CountLines("    Found multiple Vorn materials in glTF layer 'Wood mask' only the first "
                   "Vorn material under the glTF material in the shader tree will be used for "
                   "transparency!"),
        1);
}

TEST_F(ShaderTree, DisabledChildMaskHidesEverythingUnderIt) {
    auto& mask = Mask("Wood");
    auto& inner = Mask("Inner", &mask).Set("enable", 0);
    Layer("glTFShader", "Hidden PBR", inner).Set("metallic", 0.0);
    auto m = Material();
    EXPECT_EQ(CountLines("    Poly tag Wood does not have material layer effect"), 1);
    EXPECT_EQ(CountLines("    Skipping Gltf shader layer Hidden PBR"), 0);
    EXPECT_EQ(m["pbrMetallicRoughness"]["metallicFactor"].GetDouble(), 1.0);
}

TEST_F(ShaderTree, SeveralGltfLayersUseTheFirstAndWarn) {
    auto& mask = Mask("Wood");
    Layer("glTFShader", "First", mask).Set("roughness", 0.5);
    Layer("glTFShader", "Second", mask).Set("roughness", 0.75);
    Layer("glTFShader", "Off", mask).Set("enable", 0);
    auto m = Material();
    EXPECT_EQ(m["pbrMetallicRoughness"]["roughnessFactor"].GetDouble(), 0.5);
    EXPECT_EQ(CountLines("    Multiple material layers detected within poly tag Wood"), 1);
    EXPECT_EQ(CountLines("    Skipping Gltf shader layer Off"), 0);
}

TEST_F(ShaderTree, OtherEnginesLayersAreSkippedByName) {
    auto& mask = Mask("Wood");
    Layer("glTFShader", "PBR", mask);
    Layer("unityShader", "Unity", mask);
    Layer("imageMap", "UE map", mask).Set("effect", "baseUE");
    Layer("imageMap", "Diffuse", mask).Set("effect", "diffColor");
    Material();
    EXPECT_EQ(CountLines("    Skipping Unity shader layer Unity"), 1);
    EXPECT_EQ(CountLines("    Skipping Unreal shader layer UE map"), 1);
    for (const auto& line : Lines())
        EXPECT_EQ(line.find("Diffuse"), std::string::npos) << line;
}

TEST_F(ShaderTree, UnlitShaderWritesTheExtensionAndWarns) {
    auto& mask = Mask("Wood");
    Layer("glTFShader", "Flat", mask)
        .Set("shadeModel", 1)
        .Set("metallic", 0.5)
        .Set("emissive.R", 1.0);
    auto m = Material();
    EXPECT_EQ(JsonText(m["extensions"]), R"({"KHR_materials_unlit":{}})");
    EXPECT_EQ(m["pbrMetallicRoughness"]["metallicFactor"].GetDouble(), 0.0);
    EXPECT_EQ(JsonText(m["emissiveFactor"]), "[0.0,0.0,0.0]");
    EXPECT_EQ(extensionsUsed, R"(["KHR_materials_unlit"])");
    EXPECT_EQ(
        CountLines("Material 'Wood' uses glTF Unlit shader extension. At the point of making "
                   "this warning Unlit extension is not fully ratified and could change at any "
                   "point."),
        1);
}

TEST_F(ShaderTree, OnlyTheDefaultTagAnnouncesItsMissingMask) {
    host.Scene().AddItem("mesh", "Other").Mesh();
    BuildCube(host.Scene().Get("Other").Mesh(), "Default");
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("Failed to find the poly mask tag:Default, using default material"), 1);
    for (const auto& line : Lines())
        EXPECT_EQ(line.find("poly mask tag:Wood"), std::string::npos);
    EXPECT_STREQ(glb.json["materials"][1]["name"].GetString(), "Wood");
    EXPECT_STREQ(glb.json["materials"][2]["name"].GetString(), "Default");
}

TEST_F(ShaderTree, MaterialsOffKeepsEveryPrimitiveOnTheDefaultMaterial) {
    Layer("glTFShader", "PBR", Mask("Wood"));
    host.SetUserInt("sceneio.gltf.save.materials", 0);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(glb.Primitive(0, 0)["material"].GetUint(), 0u);
    EXPECT_EQ(glb.json["materials"].Size(), 1u);
    EXPECT_EQ(CountLines("Creating materials"), 0);
}
