// Every example scene, exported: the same bytes on every run, and textures that viewers can show,
// i.e. every texture reference names a TEXCOORD set that the primitives using it have.
#include "SceneFile.h"
#include "support/GlbReader.h"
#include "support/SaveFixture.h"

#include <set>

using namespace testsupport;

namespace {

std::vector<std::string> ExampleScenes() {
    std::vector<std::string> scenes;
    for (const auto& entry : fs::directory_iterator(fs::path(GLTFIO_SOURCE_DIR) / "examples"))
        if (entry.path().extension() == ".json") scenes.push_back(entry.path().string());
    std::sort(scenes.begin(), scenes.end());
    return scenes;
}

// texCoord numbers of the references of one material.
std::set<unsigned> TexCoordsOf(const rapidjson::Value& material) {
    std::set<unsigned> sets;
    auto collect = [&](const rapidjson::Value& owner) {
        for (const auto& member : owner.GetObject())
            if (member.value.IsObject() && member.value.HasMember("texCoord"))
                sets.insert(member.value["texCoord"].GetUint());
    };
    collect(material);
    if (material.HasMember("pbrMetallicRoughness")) collect(material["pbrMetallicRoughness"]);
    return sets;
}

// Loads a scene file into a host of its own, with the plug-in attached, and saves it.
GlbReader ExportExample(const std::string& scene, const fs::path& out) {
    scenehost::SceneHost host;
    scenehost::ModuleHost plugin(host);
    std::string error;
    EXPECT_TRUE(plugin.Attach(CQvModuleCreate(), &error)) << error;
    EXPECT_TRUE(scenehost::LoadSceneFile(host, scene, &error)) << error;
    EXPECT_EQ(plugin.Save("gltf.bin", out.string()), qvOk) << scene;
    return GlbReader(ReadBytes(out));
}

} // namespace

TEST(Examples, TexturesNameTexCoordSetsTheirPrimitivesHave) {
    ScratchDir scratch;
    for (const std::string& scene : ExampleScenes()) {
        GlbReader glb = ExportExample(scene, scratch.Path("example.glb"));
        if (!glb.json.IsObject() || !glb.json.HasMember("meshes")) continue;
        for (const auto& mesh : glb.json["meshes"].GetArray()) {
            for (const auto& primitive : mesh["primitives"].GetArray()) {
                const auto& material = glb.json["materials"][primitive["material"].GetUint()];
                for (unsigned set : TexCoordsOf(material)) {
                    std::string attribute = "TEXCOORD_" + std::to_string(set);
                    EXPECT_TRUE(primitive["attributes"].HasMember(attribute.c_str()))
                        << scene << ": material " << JsonText(material["name"]) << " needs "
                        << attribute;
                }
            }
        }
    }
}

TEST(Examples, ExportTheSameBytesOnEveryRun) {
    ScratchDir scratch;
    for (const std::string& scene : ExampleScenes()) {
        ExportExample(scene, scratch.Path("first.glb"));
        ExportExample(scene, scratch.Path("second.glb"));
        EXPECT_EQ(ReadBytes(scratch.Path("first.glb")), ReadBytes(scratch.Path("second.glb"))) << scene;
    }
}
