// Behaviours of a save that users of the host see and that look like faults: kept as they are,
// pinned here by the files and the log they give. And the one per-save state: a saver that has
// saved one scene saves the next exactly as a new saver would.
#include "MeshGenerate.h"
#include "saver/GltfSaver.h"
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

using namespace testsupport;

namespace {

class SaverState : public SaveFixture {
protected:
    // A skinned mesh Body, and its skeleton World > Rig > Hip > Knee, with Hip and Knee as joints.
    void BuildSkinnedBody() {
        auto& s = host.Scene();
        auto& world = s.AddItem("locator", "World");
        rig = &s.AddItem("locator", "Rig", world).Position(0, 2, 0);
        hip = &s.AddItem("locator", "Hip", *rig);
        auto& knee = s.AddItem("locator", "Knee", *hip);
        body = &s.AddItem("mesh", "Body");
        BuildCube(body->Mesh());
        auto& hipWeight = s.AddItem("influence", "HipWeight").DrivenByLocator(*hip);
        auto& kneeWeight = s.AddItem("influence", "KneeWeight").DrivenByLocator(knee);
        s.AddItem("deformGroup", "Skin")
            .AddJoint(hipWeight)
            .AddJoint(kneeWeight)
            .Link("deformers", *body);
        host.SetUserInt("sceneio.gltf.save.exportType", ExportScope::SelectedHierarchies);
    }

    std::vector<std::string> NodeNames(const std::string& file) const {
        auto doc = ParseJson(GlbJson(file));
        std::vector<std::string> names;
        for (const auto& node : doc["nodes"].GetArray())
            names.emplace_back(node["name"].GetString());
        return names;
    }

    scenehost::Item* rig = nullptr;
    scenehost::Item* hip = nullptr;
    scenehost::Item* body = nullptr;
};

} // namespace

// The last "." stands in a directory name and the .gltf path ends before the host path's last
// separator: the .gltf is written, the .bin opened, and then the directory cut throws.
TEST_F(SaverState, ShortGltfPathThrowsIntoTheCatchAllAfterTheFilesAreOpened) {
    // A mesh over the 16-bit corner limit gives a counted error: the notice must still not come.
    auto& big = host.Scene().AddItem("mesh", "Big");
    scenehost::GenerateOptions options;
    options.triangles = 22000;
    scenehost::GenerateMesh(big.Mesh(), options);
    host.Select(big);
    fs::create_directories(scratch.Path("a.b/longdirectory"));

    EXPECT_EQ(SaveWith("gltf.gltf", "a.b/longdirectory/model"), qvFailed);
    ASSERT_EQ(host.MessageBoxes().size(), 1u);
    EXPECT_EQ(host.MessageBoxes()[0].text, "Fatal internal error in FBX saver");
    EXPECT_EQ(host.MessageBoxes()[0].code, qvFailed);
    const auto errors = host.LogTexts("error");
    EXPECT_TRUE(std::any_of(errors.begin(), errors.end(), [](const std::string& line) {
        return line.find("goes over the maximum of unsigned short") != std::string::npos;
    }));
    EXPECT_EQ(CountLines("...DONE"), 0);
    EXPECT_EQ(CountLines("Failed to export GLTF!"), 0);

    auto doc = ParseJson(FileText("a.gltf"));
    EXPECT_EQ(JsonText(doc["nodes"]), R"([{"name":"Big"}])");
    EXPECT_EQ(JsonText(doc["buffers"]), R"([{"byteLength":0,"uri":"a.bin"}])");
    ASSERT_TRUE(fs::exists(scratch.Path("a.bin")));
    EXPECT_EQ(fs::file_size(scratch.Path("a.bin")), 0u);
    EXPECT_TRUE(fs::is_empty(scratch.Path("a.b/longdirectory")));
}

// The root test looks at the parent only: a parent that the skeleton step made a root keeps its
// selected child out, and an item that is a root already is appended a second time.
TEST_F(SaverState, SelectedHierarchyRootsTestTheParentAndAreNotDeduplicated) {
    BuildSkinnedBody();
    host.Select(*body);
    host.Select(*hip); // Rig is no selection, but a root through Body's skeleton
    ASSERT_EQ(Save("child.glb"), qvOk);
    EXPECT_EQ(CountLines("Scanning finished, rootItems:2"), 1);
    EXPECT_EQ(CountLines("Root item:Hip\n"), 0);
    EXPECT_EQ(NodeNames("child.glb"), (std::vector<std::string>{"Body", "Rig", "Hip", "Knee"}));

    host.ClearSelection();
    host.Select(*body);
    host.Select(*rig); // a root through the skeleton, selected, its parent World neither
    const int rigLinesBefore = CountLines("Root item:Rig\n");
    ASSERT_EQ(Save("twice.glb"), qvOk);
    EXPECT_EQ(CountLines("Scanning finished, rootItems:3"), 1);
    EXPECT_EQ(CountLines("Root item:Rig\n") - rigLinesBefore, 2);
    EXPECT_EQ(NodeNames("twice.glb"),
              (std::vector<std::string>{"Body", "Rig", "Hip", "Knee", "Rig", "Hip", "Knee"}));
    auto doc = ParseJson(GlbJson("twice.glb"));
    EXPECT_EQ(JsonText(doc["scenes"][0]["nodes"]), "[0,1,4]");
}

// An instance whose source has no mesh ends the whole-scene scan quietly: the items behind it
// are not seen, and the save succeeds.
TEST_F(SaverState, InstanceOfAnItemWithoutMeshEndsTheScanButNotTheSave) {
    auto& s = host.Scene();
    auto& group = s.AddItem("groupLocator", "Group");
    s.AddItem("locator", "Before");
    s.AddItem("meshInst", "Copy").Link("source", group);
    s.AddItem("locator", "After");
    host.SetUserInt("sceneio.gltf.save.exportType", ExportScope::WholeScene);
    EXPECT_EQ(Save("inst.glb"), qvOk);
    EXPECT_EQ(CountLines("Scanning finished, rootItems:2"), 1);
    EXPECT_EQ(NodeNames("inst.glb"), (std::vector<std::string>{"Group", "Before"}));
    EXPECT_TRUE(host.MessageBoxes().empty());
}

// Two different scenes through one saver give what two new savers give: the files byte for
// byte, the log, and every host look-up the scan makes.
TEST_F(SaverState, OneSaverForTwoScenesActsAsTwoNewSavers) {
    GltfSaver reused;
    auto saveBoth = [&](const std::string& name) {
        host.ResetCounters();
        const size_t start = Lines().size();
        EXPECT_EQ(reused.Save(host.SceneObject(), scratch.Host("reused-" + name).c_str(), nullptr),
                  qvOk);
        const auto reusedCounters = host.Counters();
        const size_t middle = Lines().size();

        GltfSaver fresh; // finds its services when made, as `reused` did
        host.ResetCounters();
        EXPECT_EQ(fresh.Save(host.SceneObject(), scratch.Host("fresh-" + name).c_str(), nullptr),
                  qvOk);
        for (const auto& [key, count] : host.Counters())
            EXPECT_EQ(count, reusedCounters.count(key) ? reusedCounters.at(key) : 0) << name << key;
        for (const auto& [key, count] : reusedCounters)
            EXPECT_EQ(host.Count(key), count) << name << key;
        const auto lines = Lines();
        EXPECT_EQ(
            std::vector<std::string>(lines.begin() + long(start), lines.begin() + long(middle)),
            std::vector<std::string>(lines.begin() + long(middle), lines.end()))
            << name;
        EXPECT_EQ(FileText("reused-" + name), FileText("fresh-" + name)) << name;
    };

    // First: a skinned body and its skeleton, a mask, whole-scene export.
    BuildSkinnedBody();
    host.Scene().AddItem("mask", "Red").Set("ptag", "Default").Set("enable", 1);
    host.SetUserInt("sceneio.gltf.save.exportType", ExportScope::WholeScene);
    // The shader layer types are looked up once per process; that first look-up is no state of
    // a saver.
    GltfSaver().Save(host.SceneObject(), scratch.Host("warm-up.glb").c_str(), nullptr);
    saveBoth("first.glb");

    // Second: a new mesh selected, with other options; the first scene's items stay in the host.
    auto& crate = host.Scene().AddItem("mesh", "Crate");
    BuildMappedCube(crate.Mesh(), "Wood", "Texture");
    host.Select(crate);
    host.SetUserInt("sceneio.gltf.save.exportType", ExportScope::SelectedHierarchies);
    host.SetUserInt("sceneio.gltf.save.indicesExport", 1);
    saveBoth("second.glb");
}
