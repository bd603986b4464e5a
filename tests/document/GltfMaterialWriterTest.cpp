// Materials in the JSON: alpha modes and sharing. Member order, number text and the unlit
// extension are checked on saved shaders (tests/material/ShaderTreeTest.cpp).
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

// Material 0 is the default one. An unknown mode is written as opaque; the cut-off is never
// written, not even for a mask.
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
        material.alphaCutoff = 0.25f;
        const uint32_t index = d.Write(material);
        EXPECT_EQ(index, materials.size());
        const rapidjson::Value& object = d.document.json->materials[index];
        EXPECT_STREQ(object["alphaMode"].GetString(), name) << mode;
        EXPECT_EQ(object["doubleSided"].GetBool(), mode == 2) << mode;
        EXPECT_FALSE(object.HasMember("alphaCutoff")) << mode;
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
