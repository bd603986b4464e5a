// Materials in the JSON: member order, number text, alpha modes, sharing. The unlit extension is
// checked where a shader asks for it (tests/material).
#include "DocumentTestSupport.h"

using namespace doctests;

namespace {

struct MaterialDocument {
    MaterialDocument() {
        document.CreateScene();
        document.BeginJson("");
    }
    uint32_t Write(GltfMaterial& material) { return document.WriteMaterial(&material, &mesh); }
    std::string Text(uint32_t index) const { return ToText(document.json->materials[index]); }

    GltfDocument document;
    GltfMesh mesh;
};

} // namespace

TEST(GltfMaterialWriter, MembersInOrderWithFloatsShownAsDoubles) {
    MaterialDocument d;
    GltfMaterial material("steel");
    material.emissiveFactor = {0.1, 0, 1};
    material.alphaMode = GltfAlphaMode::Mask;
    material.alphaCutoff = 0.25f;
    material.baseColorFactor = {0.1, 0.2, 0.3, 1};
    material.metallicFactor = 0.1f;
    material.roughnessFactor = 0.5f;
    EXPECT_EQ(d.Write(material), 1u) << "material 0 is the default";
    // Colours are doubles as stored; the two factors are floats. No cut-off member.
    EXPECT_EQ(d.Text(1), R"({"name":"steel","emissiveFactor":[0.1,0.0,1.0],"alphaMode":"MASK",)"
                         R"("doubleSided":false,"pbrMetallicRoughness":{)"
                         R"("baseColorFactor":[0.1,0.2,0.3,1.0],)"
                         R"("metallicFactor":0.10000000149011612,"roughnessFactor":0.5}})");
    EXPECT_FALSE(d.document.usesUnlit);
}

TEST(GltfMaterialWriter, AlphaModesAndDoubleSided) {
    MaterialDocument d;
    const std::pair<uint32_t, const char*> modes[] = {
        {0, "OPAQUE"}, {1, "MASK"}, {2, "BLEND"}, {7, "OPAQUE"}};
    std::vector<std::unique_ptr<GltfMaterial>> materials; // one address each
    for (const auto& [mode, name] : modes) {
        materials.push_back(std::make_unique<GltfMaterial>("m"));
        GltfMaterial& material = *materials.back();
        material.alphaMode = static_cast<GltfAlphaMode>(mode);
        material.doubleSided = mode == 2;
        const uint32_t index = d.Write(material);
        const rapidjson::Value& object = d.document.json->materials[index];
        EXPECT_STREQ(object["alphaMode"].GetString(), name) << mode;
        EXPECT_EQ(object["doubleSided"].GetBool(), mode == 2) << mode;
    }
}

TEST(GltfMaterialWriter, SharedByAddressNotByName) {
    MaterialDocument d;
    GltfMaterial first("same");
    GltfMaterial second("same");
    EXPECT_EQ(d.Write(first), 1u);
    EXPECT_EQ(d.Write(second), 2u);
    EXPECT_EQ(d.Write(first), 1u);
    EXPECT_EQ(d.document.json->materials.Size(), 3u);
}
