// The user values that steer a save, seen in the file: each is read once, a missing one takes
// its default, an unreadable one counts as -1.
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

using namespace testsupport;

namespace {
class SaveOptions : public SaveFixture {};
} // namespace

TEST_F(SaveOptions, EachIsReadOncePerSave) {
    ASSERT_EQ(Save("once.glb"), qvOk);
    int options = 0;
    for (const auto& [key, count] : host.Counters()) {
        if (key.rfind("UserValueLookup:sceneio.gltf.save.", 0) != 0) continue;
        ++options;
        EXPECT_EQ(count, 1) << key;
    }
    EXPECT_EQ(options, 11);
}

// Without user values: the selected items stand alone in world space, without their children,
// with their geometry, materials and cameras, 16-bit indices and no tangents.
TEST_F(SaveOptions, MissingValuesExportTheSelectionWithEverythingButTangents) {
    auto& s = host.Scene();
    auto& parent = s.AddItem("locator", "Parent").Position(0, 5, 0);
    auto& cube = s.AddItem("mesh", "Cube", parent).Position(1, 0, 0);
    BuildCube(cube.Mesh());
    auto& frames = cube.Mesh().AddMap("TBAS", "Frames");
    for (uint32_t p = 0; p < 8; ++p)
        frames.SetPointValue(p, {1, 0, 0, 0, 1, 0});
    s.AddItem("locator", "Lid", cube);
    auto& cam = s.AddItem("camera", "Cam");
    s.AddItem("locator", "Unselected");
    host.Select(cube);
    host.Select(cam);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(NodeNames(glb.json), (std::vector<std::string>{"Cube", "Cam"}));
    EXPECT_EQ(JsonText(glb.json["nodes"][0]),
              R"({"name":"Cube","matrix":[1.0,0.0,0.0,0.0,0.0,1.0,0.0,0.0,0.0,0.0,1.0,0.0,)"
              R"(1.0,5.0,0.0,1.0],"mesh":0})");
    const auto& primitive = glb.Primitive(0, 0);
    EXPECT_EQ(MemberNames(primitive["attributes"]),
              (std::vector<std::string>{"POSITION", "NORMAL"}));
    const auto& indices = glb.json["accessors"][primitive["indices"].GetUint()];
    EXPECT_EQ(indices["componentType"].GetUint(), 5123u);
    const auto& material = glb.json["materials"][primitive["material"].GetUint()];
    EXPECT_STREQ(material["name"].GetString(), "Default");
    EXPECT_EQ(glb.json["cameras"].Size(), 1u);
}

TEST_F(SaveOptions, ExportTypeOutsideTheThreeCasesWritesAnEmptyDocument) {
    auto& parent = host.Scene().AddItem("locator", "Parent");
    host.Scene().AddItem("locator", "Child", parent);
    host.Select(parent);
    for (const char* value : {"3", "unreadable"}) {
        SCOPED_TRACE(value);
        if (std::string(value) == "3")
            ExportType(3);
        else
            host.SetUserString("sceneio.gltf.save.exportType", value);
        ASSERT_EQ(Save("other.glb"), qvOk);
        EXPECT_EQ(GlbJson("other.glb"), emptyDocumentJson);
    }
    EXPECT_EQ(CountLines("Scanning finished, rootItems:0"), 2);
    EXPECT_EQ(CountLines("Root item:Parent\n"), 0);
    EXPECT_EQ(CountLines("   Parent"), 0);
}

// Cameras on (also when unreadable) read the render resolution, which leaves no trace in the
// file; off, they read nothing. Counters are compared before and after each save, since a reset
// would also wipe the ledger that TearDown reads.
TEST_F(SaveOptions, CamerasDecideWhetherTheRenderResolutionIsRead) {
    host.Scene().AddItem("polyRender", "Render").Set("resX", 1920).Set("resY", 1080);
    const char* const keys[] = {"ChannelLookup:Render:resX", "ChannelRead:Render:resX",
                                "ChannelRead:Render:resY"};
    const std::pair<const char*, int> cases[] = {{"", 1}, {"unreadable", 1}, {"0", 0}};
    std::string first;
    for (const auto& [value, reads] : cases) {
        SCOPED_TRACE(value);
        std::vector<int> before;
        for (const char* key : keys)
            before.push_back(host.Count(key));
        if (*value == '0')
            host.SetUserInt("sceneio.gltf.save.cameras", 0);
        else if (*value)
            host.SetUserString("sceneio.gltf.save.cameras", value);
        ASSERT_EQ(Save("render.glb"), qvOk);
        for (size_t k = 0; k < 3; ++k)
            EXPECT_EQ(host.Count(keys[k]) - before[k], reads) << keys[k];
        if (first.empty()) first = GlbJson("render.glb");
        EXPECT_EQ(GlbJson("render.glb"), first);
    }
}
