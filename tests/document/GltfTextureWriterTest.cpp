// Textures, samplers and images: how materials refer to them, when they are left out, and where
// the image bytes end up in the two output forms.
#include "DocumentTestSupport.h"

#include "document/GltfOutput.h"
#include "host/GltfLogMsg.h"

using namespace doctests;

namespace {

// 13 bytes: the PNG signature and a little more, so the image needs 3 bytes of pad.
const std::string kImageBytes("\x89PNG\r\n\x1a\n\x01\x02\x03\x04\x05", 13);

struct TextureFixture {
    explicit TextureFixture(uint32_t outputKind = 0) : scene(document.CreateScene()) {
        document.outputKind = outputKind;
        document.log = &log;
    }

    std::string Image(const std::string& name) {
        WriteBytes(scratch.Path(name), kImageBytes);
        return scratch.Host(name);
    }
    static std::shared_ptr<GltfTexture> Texture(const std::string& name, const std::string& path,
                                                const std::string& uvMap = "uv") {
        auto texture = std::make_shared<GltfTexture>(name);
        texture->imagePath = path;
        texture->uvMapName = uvMap;
        return texture;
    }
    GltfMaterial* Material(const std::string& name) { return scene->CreateMaterial(name); }

    // A node with a one-triangle primitive for each material; the UV set "uv" is TEXCOORD_0.
    void MeshUsing(const std::vector<GltfMaterial*>& materials) {
        GltfNode* node = scene->CreateNode("node");
        scene->AddChild(node);
        GltfMesh* mesh = scene->CreateMesh();
        node->SetMesh(mesh);
        mesh->normals.push_back({0, 0, 1});
        mesh->uvSets.emplace("uv", 0);
        for (GltfMaterial* material : materials) {
            mesh->materials.emplace(material->name, material);
            mesh->primitives[material->name].triangles.push_back(mesh->triangleCount++);
            for (uint32_t corner = 0; corner < 3; ++corner) {
                mesh->pointIndex.push_back(static_cast<uint32_t>(mesh->positions.size()));
                mesh->normalIndex.push_back(0);
                mesh->AddPosition(corner, corner == 2, 0);
            }
        }
    }

    // Only the JSON, for tests that need no output files.
    rapidjson::Document Json() { return ParseJson(BuildJsonText(document)); }

    ScratchDir scratch;
    GltfLogMsg log;
    GltfDocument document;
    GltfScene* scene;
};

} // namespace

TEST(GltfTextureWriter, GlbSharesOneImageAndCarriesItsBytesOncePadded) {
    TextureFixture f(0);
    const std::string image = f.Image("shared.png");
    GltfMaterial* first = f.Material("first");
    GltfMaterial* second = f.Material("second");
    first->baseColorTexture = f.Texture("a", image);
    second->emissiveTexture = f.Texture("b", image);
    f.MeshUsing({first, second});
    ASSERT_TRUE(f.document.Write(f.scratch.Host("model.glb")));

    const std::string bytes = ReadBytes(f.scratch.Path("model.glb"));
    const uint32_t jsonLength = ReadUint32(bytes, 12);
    rapidjson::Document json = ParseJson(bytes.substr(20, jsonLength));
    EXPECT_EQ(ToText(json["textures"]), R"([{"name":"a","sampler":0,"source":0},)"
                                        R"({"name":"b","sampler":1,"source":0}])");
    EXPECT_EQ(json["samplers"].Size(), 2u) << "samplers are never shared";
    ASSERT_EQ(json["images"].Size(), 1u);
    const rapidjson::Value& view = json["bufferViews"][json["images"][0]["bufferView"].GetUint()];
    EXPECT_EQ(view["byteLength"].GetUint(), 16u) << "the view counts the pad";

    const std::string bin = bytes.substr(20 + jsonLength + 8);
    EXPECT_EQ(bin.size(), json["buffers"][0]["byteLength"].GetUint());
    EXPECT_EQ(bin.substr(view["byteOffset"].GetUint(), 16), kImageBytes + std::string(3, '\0'));
    EXPECT_EQ(bin.find(kImageBytes), bin.rfind(kImageBytes)) << "one copy of the bytes";
}

TEST(GltfTextureWriter, GltfNamesACopyBesideItAndMimeTypeFollowsTheExtension) {
    TextureFixture f(1);
    fs::create_directories(f.scratch.Path("src"));
    fs::create_directories(f.scratch.Path("out"));
    std::vector<GltfMaterial*> materials;
    for (const char* name : {"src/Photo.PNG", "src/b.JpEg", "src/c.tga"}) {
        materials.push_back(f.Material(name));
        materials.back()->baseColorTexture = f.Texture("t", f.Image(name));
    }
    f.MeshUsing(materials);
    ASSERT_TRUE(f.document.Write(f.scratch.Host("out/model.gltf")));

    rapidjson::Document json = ParseJson(ReadBytes(f.scratch.Path("out/model.gltf")));
    EXPECT_EQ(ToText(json["images"]), R"([{"mimeType":"image/png","uri":"Photo.PNG"},)"
                                      R"({"mimeType":"image/jpeg","uri":"b.JpEg"},)"
                                      R"({"uri":"c.tga"}])");
    EXPECT_EQ(ReadBytes(f.scratch.Path("out/Photo.PNG")), kImageBytes);
    EXPECT_EQ(ReadBytes(f.scratch.Path("out/c.tga")), kImageBytes);
    // The images are outside the buffer and the .bin.
    EXPECT_EQ(ReadBytes(f.scratch.Path("out/model.bin")).size(),
              json["buffers"][0]["byteLength"].GetUint());
}

TEST(GltfTextureWriter, MaterialMembersInOrderWithSharedTexturesAndWrapModes) {
    TextureFixture f;
    const std::string image = f.Image("t.png");
    GltfMaterial* full = f.Material("full");
    full->baseColorTexture = f.Texture("base", image);
    full->metallicRoughnessTexture = f.Texture("mr", image);
    full->normalTexture = f.Texture("normal", image);
    full->occlusionTexture = f.Texture("ao", image);
    full->occlusionStrength = 0.3;
    full->emissiveTexture = f.Texture("glow", image);
    full->metallicRoughnessTexture->wrapU = static_cast<GltfWrapMode>(2);
    full->metallicRoughnessTexture->wrapV = static_cast<GltfWrapMode>(3);
    full->normalTexture->wrapU = static_cast<GltfWrapMode>(0);
    full->normalTexture->wrapV = static_cast<GltfWrapMode>(7);
    // The same records again: no new textures, and "scale" now that it is not 1.
    GltfMaterial* scaled = f.Material("scaled");
    scaled->normalTexture = full->normalTexture;
    scaled->normalScale = 2.1;
    f.MeshUsing({full, scaled});
    rapidjson::Document json = f.Json();

    EXPECT_EQ(ToText(json["materials"][1]),
              R"({"name":"full","emissiveFactor":[0.0,0.0,0.0],"alphaMode":"OPAQUE",)"
              R"("doubleSided":false,"normalTexture":{"index":2,"texCoord":0},)"
              R"("occlusionTexture":{"index":3,"texCoord":0,"strength":0.30000001192092898},)"
              R"("emissiveTexture":{"index":4,"texCoord":0},"pbrMetallicRoughness":{)"
              R"("baseColorFactor":[1.0,1.0,1.0,1.0],"metallicFactor":1.0,"roughnessFactor":1.0,)"
              R"("baseColorTexture":{"index":0,"texCoord":0},)"
              R"("metallicRoughnessTexture":{"index":1,"texCoord":0}}})");
    EXPECT_EQ(ToText(json["materials"][2]["normalTexture"]),
              R"({"index":2,"texCoord":0,"scale":2.0999999046325685})");
    EXPECT_EQ(json["textures"].Size(), 5u);
    EXPECT_EQ(json["images"].Size(), 1u);
    EXPECT_EQ(ToText(json["samplers"][1]), R"({"wrapS":33648,"wrapT":33071})");
    EXPECT_EQ(ToText(json["samplers"][2]), R"({"wrapS":10497,"wrapT":10497})");
}

TEST(GltfTextureWriter, UnknownUvSetDropsTheBaseColourTextureButNotTheOthers) {
    TextureFixture f;
    const std::string image = f.Image("t.png");
    GltfMaterial* material = f.Material("m");
    material->baseColorTexture = f.Texture("base", image, "elsewhere");
    material->occlusionTexture = f.Texture("ao", image, "elsewhere");
    f.MeshUsing({material});
    rapidjson::Document json = f.Json();

    // The occlusion texture is written before its UV set is looked for, and stays unreferenced.
    EXPECT_EQ(ToText(json["textures"]), R"([{"name":"ao","sampler":0,"source":0}])");
    EXPECT_FALSE(json["materials"][1].HasMember("occlusionTexture"));
    EXPECT_FALSE(json["materials"][1]["pbrMetallicRoughness"].HasMember("baseColorTexture"));
}

// Unlit 1 is the extension, 2 only drops the textures; both keep the base colour texture only.
TEST(GltfTextureWriter, UnlitKeepsOnlyTheBaseColourTexture) {
    TextureFixture f;
    const std::string image = f.Image("t.png");
    std::vector<GltfMaterial*> materials;
    for (const int32_t unlit : {1, 2}) {
        GltfMaterial* material = f.Material("unlit" + std::to_string(unlit));
        material->unlit = unlit;
        material->baseColorTexture = f.Texture("base", image);
        material->metallicRoughnessTexture = material->normalTexture = material->occlusionTexture =
            material->emissiveTexture = f.Texture("other", image);
        materials.push_back(material);
    }
    f.MeshUsing(materials);
    rapidjson::Document json = f.Json();
    EXPECT_EQ(ToText(json["textures"]), R"([{"name":"base","sampler":0,"source":0},)"
                                        R"({"name":"base","sampler":1,"source":0}])");
    EXPECT_EQ(MemberNames(json["materials"][1]),
              (std::vector<std::string>{"name", "emissiveFactor", "alphaMode", "doubleSided",
                                        "pbrMetallicRoughness", "extensions"}));
    EXPECT_EQ(MemberNames(json["materials"][2]).back(), "pbrMetallicRoughness");
    EXPECT_EQ(MemberNames(json["materials"][2]["pbrMetallicRoughness"]).back(), "baseColorTexture");
}

TEST(GltfTextureWriter, SharedMaterialKeepsTheTexCoordOfTheFirstMesh) {
    TextureFixture f;
    f.document.BeginJson("");
    GltfMaterial material("m");
    material.baseColorTexture = f.Texture("base", f.Image("t.png"), "detail");
    GltfMesh first, second;
    first.uvSets.emplace("main", 0);
    first.uvSets.emplace("detail", 1);
    second.uvSets.emplace("detail", 0);

    EXPECT_EQ(f.document.WriteMaterial(&material, &first), 1u);
    EXPECT_EQ(f.document.WriteMaterial(&material, &second), 1u);
    EXPECT_EQ(ToText(f.document.json->materials[1]["pbrMetallicRoughness"]["baseColorTexture"]),
              R"({"index":0,"texCoord":1})");
}
