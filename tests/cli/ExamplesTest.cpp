// Every example scene, exported twice: the same bytes and the same log on both runs, no error in
// the log, and textures that viewers can show, i.e. every texture reference names a TEXCOORD set
// that the primitives using it have.
#include "SceneFile.h"
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

struct Export {
    std::string bytes;
    std::vector<std::string> log; // "level text"
};

// Loads a scene file into a host of its own, with the plug-in attached, and saves it; the plug-in
// must leave the host's ledger as it found it.
Export ExportExample(const std::string& scene, const fs::path& out) {
    scenehost::SceneHost host;
    {
        scenehost::ModuleHost plugin(host);
        std::string error;
        EXPECT_TRUE(plugin.Attach(CQvModuleCreate(), &error)) << error;
        EXPECT_TRUE(scenehost::LoadSceneFile(host, scene, &error)) << error;
        EXPECT_EQ(plugin.Save("gltf.bin", out.string()), qvOk);
    }
    EXPECT_EQ(host.HeldReferences(), 0);
    EXPECT_EQ(host.Count("OverRelease"), 0);
    Export result{ReadBytes(out), {}};
    for (const auto& record : host.Log())
        result.log.push_back(record.level + " " + record.text);
    return result;
}

} // namespace

TEST(Examples, ExportTheSameFileAndLogOnEveryRunWithUsableTextures) {
    ScratchDir scratch;
    for (const std::string& scene : ExampleScenes()) {
        SCOPED_TRACE(scene);
        Export first = ExportExample(scene, scratch.Path("first.glb"));
        Export second = ExportExample(scene, scratch.Path("second.glb"));
        EXPECT_EQ(first.bytes, second.bytes);
        EXPECT_EQ(first.log, second.log);
        for (const std::string& line : first.log)
            EXPECT_NE(line.rfind("error ", 0), 0u) << line;

        GlbReader glb(first.bytes);
        ASSERT_TRUE(glb.json.IsObject());
        for (const auto& mesh : glb.json["meshes"].GetArray()) {
            for (const auto& primitive : mesh["primitives"].GetArray()) {
                const auto& material = glb.json["materials"][primitive["material"].GetUint()];
                for (unsigned set : TexCoordsOf(material)) {
                    std::string attribute = "TEXCOORD_" + std::to_string(set);
                    EXPECT_TRUE(primitive["attributes"].HasMember(attribute.c_str()))
                        << "material " << JsonText(material["name"]) << " needs " << attribute;
                }
            }
        }
    }
}
