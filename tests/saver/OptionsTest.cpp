// The eleven user values that steer a save: read once each, defaults when missing, -1 when
// unreadable, and the effects that already act.
#include "saver/GltfSaver.h"
#include "support/SaveFixture.h"

using namespace testsupport;

namespace {

const char* const optionNames[] = {
    "sceneio.gltf.save.exportType",         "sceneio.gltf.save.geometry",
    "sceneio.gltf.save.materials",          "sceneio.gltf.save.cameras",
    "sceneio.gltf.save.animation",          "sceneio.gltf.save.morphMaps",
    "sceneio.gltf.save.skinnedMeshInWS",    "sceneio.gltf.save.tangentsBitangents",
    "sceneio.gltf.save.indicesExport",      "sceneio.gltf.save.sampleAnimFpsMultiplier",
    "sceneio.gltf.save.exportActionType",
};


// Saves through a saver object the test keeps, so that its option members can be read after.
std::vector<int32_t> SaveAndReadOptions(scenehost::SceneHost& host, const std::string& path) {
    GltfSaver saver;
    EXPECT_EQ(saver.Save(host.SceneObject(), path.c_str(), nullptr), qvOk);
    return {saver.exportType,      saver.geometry,         saver.materials,
            saver.cameras,         saver.animation,        saver.morphMaps,
            saver.skinnedMeshInWS, saver.tangentsBitangents, saver.indicesExport,
            saver.sampleAnimFpsMultiplier, saver.exportActionType};
}

class SaveOptions : public SaveFixture {
protected:
    std::string Path() const { return ToHostPath(scratch.Path("o.glb")); }
};

} // namespace

TEST_F(SaveOptions, EachIsReadOncePerSave) {
    ASSERT_EQ(Save("once.glb"), qvOk);
    for (const char* name : optionNames)
        EXPECT_EQ(host.Count(std::string("UserValueLookup:") + name), 1) << name;
}

TEST_F(SaveOptions, MissingValuesGiveTheDefaults) {
    EXPECT_EQ(SaveAndReadOptions(host, Path()),
              (std::vector<int32_t>{1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0}));
}

TEST_F(SaveOptions, PresentValuesAreTakenAndUnreadableOnesGiveMinusOne) {
    int32_t value = 7;
    for (const char* name : optionNames) host.SetUserInt(name, value++);
    host.SetUserString("sceneio.gltf.save.cameras", "yes");
    host.SetUserString("sceneio.gltf.save.indicesExport", "");
    EXPECT_EQ(SaveAndReadOptions(host, Path()),
              (std::vector<int32_t>{7, 8, 9, -1, 11, 12, 13, 14, -1, 16, 17}));
}

TEST_F(SaveOptions, ExportTypeOutsideTheThreeCasesWritesAnEmptyDocument) {
    auto& parent = host.Scene().AddItem("locator", "Parent");
    host.Scene().AddItem("locator", "Child", parent);
    host.Select(parent);
    host.SetUserInt("sceneio.gltf.save.exportType", 3);
    ASSERT_EQ(Save("three.glb"), qvOk);
    EXPECT_EQ(GlbJson("three.glb"), emptyDocumentJson);
    EXPECT_EQ(CountLines("Scanning finished, rootItems:0"), 1);
    EXPECT_EQ(CountLines("Root item:Parent\n"), 0);
    EXPECT_EQ(CountLines("   Parent"), 0);
}

TEST_F(SaveOptions, CamerasOffSkipsTheRenderResolutionReads) {
    auto& render = host.Scene().AddItem("polyRender", "Render");
    render.Set("resX", 1920).Set("resY", 1080);
    ASSERT_EQ(Save("on.glb"), qvOk);
    EXPECT_EQ(host.Count("ChannelLookup:Render:resX"), 1);
    EXPECT_EQ(host.Count("ChannelRead:Render:resX"), 1);
    EXPECT_EQ(host.Count("ChannelRead:Render:resY"), 1);

    host.ResetCounters();
    host.SetUserInt("sceneio.gltf.save.cameras", 0);
    ASSERT_EQ(Save("off.glb"), qvOk);
    EXPECT_EQ(host.Count("ChannelLookup:Render:resX"), 0);
    EXPECT_EQ(host.Count("ChannelLookup:Render:resY"), 0);
    EXPECT_EQ(host.Count("ChannelRead:Render:resX"), 0);
    // The resolution leaves no trace in the file.
    EXPECT_EQ(GlbJson("on.glb"), GlbJson("off.glb"));
}

TEST_F(SaveOptions, UnreadableCamerasCountsAsOn) {
    host.Scene().AddItem("polyRender", "Render");
    host.SetUserString("sceneio.gltf.save.cameras", "unreadable");
    ASSERT_EQ(Save("minus.glb"), qvOk);
    EXPECT_EQ(host.Count("ChannelLookup:Render:resX"), 1);
}
