// Scene files: what a good file builds, and where a broken one is refused.
#include "SceneFile.h"
#include "HostPath.h"
#include "HostTestUtil.h"
#include "JsonTree.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace scenehost;
using namespace hosttest;

namespace {

std::string Load(SceneHost& host, const std::string& text) {
    std::string error;
    bool ok = LoadSceneText(host, text, "s.json", "base/dir", &error);
    EXPECT_EQ(ok, error.empty());
    return error;
}

std::string Refusal(const std::string& text) {
    SceneHost host;
    return Load(host, text);
}

const char* const kFullScene = R"({
  "platform": {"build": "77", "text2": "test"},
  "logSubsystems": ["io-status", "extra"],
  "userValues": {"sceneio.gltf.save.exportType": 2, "odd": "text"},
  "absentTypes": ["unityShader"],
  "scene": {"channels": {"fps": 30.0, "currentE": 4}, "actions": {"walk": {"time": 1.5}}},
  "items": [
    {"id": "child", "type": "locator", "name": "Child", "parent": "root",
     "transform": {"position": [1, 2, 3], "rotation": [90, 0, 0], "scale": [2, 2, 2], "order": "ZYX"}},
    {"id": "root", "type": "groupLocator", "name": "Root", "tags": {"GTYP": "rig"}, "packages": ["ik.joint"]},
    {"id": "second", "type": "locator", "parent": "root", "worldMatrix": [1,0,0,0, 0,1,0,0, 0,0,1,0, 5,6,7,1]},
    {"id": "walk", "type": "actionclip", "channels": {"active": 1}},
    {"id": "mask", "type": "mask", "channels": {"ptag": "Wood"}, "actions": {"edit": {"enable": 0}, "walk": {"opacity": 0.5}}},
    {"id": "img", "type": "imageMap", "image": "tex/wood.png"},
    {"id": "abs", "type": "imageMap", "image": "/abs/stone.png"},
    {"id": "place", "type": "txtrLocator"},
    {"id": "actor", "type": "group", "members": ["root", "walk"], "channelMembers": [{"item": "child", "channel": "visible"}]},
    {"id": "copy", "type": "meshInst", "source": "cube"},
    {"id": "cube", "type": "mesh", "name": "Cube"},
    {"id": "cam", "type": "camera"}
  ],
  "graphs": {"shadeLoc": [["img", "place"]], "currentGroups": [["scene", "actor"]], "myGraph": [["cube", "cam"]]},
  "channelLinks": [{"driver": "root", "driverChannel": "visible", "item": "cube", "channel": "worldMatrix"}],
  "absentGraphs": ["particle"],
  "renderCameras": ["cam"],
  "selection": ["cube", "root", "scene"]
})";

} // namespace

TEST(SceneFile, AFullSceneBuildsEveryPart) {
    SceneHost host;
    ASSERT_EQ(Load(host, kFullScene), "");
    Scene& scene = host.Scene();
    Item& root = *scene.FindIdent("root");
    Item& child = *scene.FindIdent("child");
    ASSERT_EQ(root.Children().size(), 2u);
    EXPECT_EQ(root.Children()[0], &child); // file order, though the child came first
    EXPECT_EQ(scene.FindIdent("second")->Name(), "second"); // the name defaults to the id

    Item& rotation = child.OwnTransform(qvXfrmRotation);
    ComRef<IQvChannelRead> setup = Channels(host, "setup");
    EXPECT_EQ(ReadDouble(setup.get(), rotation, "rot.X"), 90 * (M_PI / 180));
    EXPECT_EQ(ReadInt(setup.get(), rotation, "order"), 5);
    EXPECT_EQ(ReadDouble(setup.get(), child.OwnTransform(qvXfrmScale), "scl.Y"), 2.0);
    EXPECT_EQ(World(*scene.FindIdent("second"), setup.get())[13], 6.0);

    Item& mask = *scene.FindIdent("mask");
    EXPECT_EQ(ReadInt(Channels(host, "edit").get(), mask, "enable"), 0);
    EXPECT_EQ(ReadDouble(Channels(host, nullptr).get(), mask, "opacity"), 0.5); // "walk" is active
    EXPECT_EQ(ReadDouble(Channels(host, nullptr).get(), scene.SceneItem(), "time"), 1.5);
    EXPECT_EQ(ReadDouble(setup.get(), scene.SceneItem(), "currentE"), 4.0);

    EXPECT_EQ(scene.FindIdent("img")->Image(),
              (std::filesystem::current_path() / "base/dir/tex/wood.png").generic_string());
    EXPECT_EQ(scene.FindIdent("abs")->Image(), "/abs/stone.png");
    EXPECT_EQ(scene.FindIdent("img")->Links("shadeLoc")[0]->Ident(), "place");
    EXPECT_EQ(scene.SceneItem().Links("currentGroups")[0]->Ident(), "actor");
    EXPECT_EQ(scene.FindIdent("actor")->Members().size(), 2u);
    EXPECT_EQ(scene.FindIdent("actor")->ChannelMembers()[0].item, &child);
    EXPECT_EQ(scene.FindIdent("copy")->Links("source")[0]->Name(), "Cube");
    EXPECT_EQ(scene.FindIdent("cube")->Drivers(3)[0].item, &root);
    EXPECT_TRUE(scene.HasGraph("myGraph"));
    EXPECT_FALSE(scene.HasGraph("particle"));
    EXPECT_EQ(scene.RenderCameras(), std::vector<Item*>{scene.FindIdent("cam")});
    EXPECT_EQ(scene.Types().Find("unityShader"), nullptr);

    std::vector<std::string> selected;
    for (Item* item : host.Selection())
        selected.push_back(item->Ident());
    EXPECT_EQ(selected, (std::vector<std::string>{"cube", "root", "scene"}));
    EXPECT_EQ(host.Platform().build, "77");
    EXPECT_EQ(host.Platform().name, "Vorn");
    auto logs = Service<IQvLogService>(host);
    ComRef<IQvLog> log;
    EXPECT_EQ(logs->SubsystemLookup("logsys", log.out()), qvNotFound);
    EXPECT_EQ(logs->SubsystemLookup("extra", log.out()), qvOk);
    ComRef<IQvUserValue> value;
    int32_t v = 0;
    Service<IQvUserValueService>(host)->UserValueLookup("odd", value.out());
    EXPECT_TRUE(QvFailed(value->GetInt(&v)));
}

struct RefusalCase {
    const char* text;
    const char* message;
};

class SceneFileRefusal : public testing::TestWithParam<RefusalCase> {};

TEST_P(SceneFileRefusal, PointsAtTheOffendingValue) {
    EXPECT_EQ(Refusal(GetParam().text), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SceneFileRefusal,
    testing::Values(
        RefusalCase{"", "s.json:1:1: the file is empty"},
        RefusalCase{"{\"items\": [\n  {\"id\": \"a\" \"type\": \"mesh\"}]}",
                    "s.json:2:14: expected ',' or '}'"},
        RefusalCase{"{} x", "s.json:1:4: text after the end of the scene"},
        RefusalCase{"[]", "s.json:1:1: a scene file must be an object, not an array"},
        RefusalCase{
            "{\"itmes\": []}",
            "s.json:1:2: unknown member 'itmes' in the scene file (known: platform, logSubsystems, "
            "userValues, absentTypes, scene, items, graphs, channelLinks, absentGraphs, "
            "renderCameras, "
            "selection)"},
        RefusalCase{"{\"items\": [{\"id\": \"a\", \"type\": \"mesh\", \"naem\": \"A\"}]}",
                    "s.json:1:40: unknown member 'naem' in an item (known: id, type, name, parent, "
                    "channels, "
                    "actions, tags, packages, transform, worldMatrix, image, textureLocator, "
                    "members, channelMembers, source, mesh, triangles, meshes, joints, locator)"},
        RefusalCase{"{\"items\": [{\"id\": \"a\", \"type\": \"Mesh\"}]}",
                    "s.json:1:32: unknown item type 'Mesh'"},
        RefusalCase{"{\"items\": [{\"id\": \"a\", \"type\": \"mesh\"},\n {\"id\": \"b\", \"type\": "
                    "\"mesh\", \"parent\": \"c\"}]}",
                    "s.json:2:40: no item with id 'c'"},
        RefusalCase{"{\"items\": [{\"id\": \"a\", \"type\": \"locator\", \"parent\": \"b\"},\n"
                    "            {\"id\": \"b\", \"type\": \"locator\", \"parent\": \"a\"}]}",
                    "s.json:2:54: making 'a' the parent of 'b' would make a cycle"},
        RefusalCase{"{\"items\": [{\"id\": \"a\", \"type\": \"locator\", \"parent\": \"scene\"}]}",
                    "s.json:1:53: the scene item has no place in the item hierarchy"},
        RefusalCase{"{\"items\": [{\"id\": \"a\", \"type\": \"mesh\"}, {\"id\": \"a\", \"type\": "
                    "\"mesh\"}]}",
                    "s.json:1:48: id 'a' is taken"},
        RefusalCase{"{\"items\": [{\"id\": \"scene\", \"type\": \"mesh\"}]}",
                    "s.json:1:19: id 'scene' is taken by the scene item"},
        RefusalCase{"{\"items\": [{\"type\": \"mesh\"}]}", "s.json:1:12: an item needs an \"id\""},
        RefusalCase{"{\"items\": [{\"id\": \"r\", \"type\": \"polyRender\", \"channels\": "
                    "{\"resX\": 1.5}}]}",
                    "s.json:1:67: this channel's value must be an integer, not a number"},
        RefusalCase{"{\"items\": [{\"id\": \"r\", \"type\": \"polyRender\", \"channels\": "
                    "{\"resX\": \"wide\"}}]}",
                    "s.json:1:67: this channel's value must be an integer, not a string"},
        RefusalCase{
            "{\"items\": [{\"id\": \"r\", \"type\": \"mask\", \"channels\": {\"ptag\": 3}}]}",
            "s.json:1:61: this channel's value must be a string, not an integer"},
        RefusalCase{
            "{\"items\": [{\"id\": \"r\", \"type\": \"mask\", \"channels\": {\"pTag\": \"x\"}}]}",
            "s.json:1:53: type 'mask' has no channel 'pTag'"},
        RefusalCase{
            "{\"items\": [{\"id\": \"m\", \"type\": \"mesh\", \"channels\": {\"mesh\": 1}}]}",
            "s.json:1:53: channel 'mesh' holds object values, which a scene file does not set"},
        RefusalCase{
            "{\"items\": [{\"id\": \"m\", \"type\": \"locator\", \"mesh\": {\"points\": []}}]}",
            "s.json:1:51: only mesh items have a \"mesh\""},
        RefusalCase{"{\"items\": [{\"id\": \"m\", \"type\": \"mask\", \"transform\": {}}]}",
                    "s.json:1:53: only locator items have a \"transform\""},
        RefusalCase{"{\"items\": [{\"id\": \"m\", \"type\": \"mesh\", \"transform\": "
                    "{\"position\": [1, 2]}}]}",
                    "s.json:1:66: \"position\" must hold 3 numbers, not 2"},
        RefusalCase{"{\"items\": [{\"id\": \"m\", \"type\": \"mesh\", \"transform\": {\"order\": "
                    "\"xyz\"}}]}",
                    "s.json:1:63: a rotation order is one of XYZ, XZY, YXZ, YZX, ZXY, ZYX"},
        RefusalCase{
            "{\"items\": [{\"id\": \"m\", \"type\": \"mesh\", \"tags\": {\"GTY\": \"x\"}}]}",
            "s.json:1:49: a tag code has four characters, like \"GTYP\""},
        RefusalCase{
            "{\"items\": [{\"id\": \"m\", \"type\": \"mask\", \"actions\": {\"run\": {}}}]}",
            "s.json:1:52: no action 'run': actions are \"edit\" and the ids of action clips"},
        RefusalCase{
            "{\"items\": [{\"id\": \"m\", \"type\": \"mesh\"}], \"selection\": [\"m\", \"m\"]}",
            "s.json:1:61: 'm' is selected twice"},
        RefusalCase{"{\"userValues\": {\"a\": true}}",
                    "s.json:1:22: a user value must be an integer or a string, not a boolean"},
        RefusalCase{"{\"userValues\": {\"a\": 4294967296}}",
                    "s.json:1:22: a user value does not fit in 32 bits"},
        RefusalCase{"{\"absentGraphs\": [\"shadeloc\"]}", "s.json:1:19: no graph named 'shadeloc'"},
        // The shader tree: layers under masks, images on image maps, locators that place them.
        RefusalCase{
            R"({"items": [{"id": "m", "type": "mask"}, {"id": "c", "type": "mesh", "parent": "m"}]})",
            "s.json:1:79: 'c' cannot be a child of 'm': masks and the render item hold "
            "texture layers only"},
        RefusalCase{
            R"({"items": [{"id": "l", "type": "locator"}, {"id": "i", "type": "imageMap", "parent": "l"}]})",
            "s.json:1:86: 'i' cannot be a child of 'l': a texture layer belongs under a "
            "mask or the render item"},
        RefusalCase{
            R"({"items": [{"id": "s", "type": "glTFShader"}, {"id": "i", "type": "imageMap", "parent": "s"}]})",
            "s.json:1:89: 'i' cannot be a child of 's': only masks and the render item hold "
            "layers"},
        RefusalCase{R"({"items": [{"id": "s", "type": "glTFShader", "image": "a.png"}]})",
                    "s.json:1:55: only image maps have an \"image\""},
        RefusalCase{R"({"items": [{"id": "i", "type": "imageMap", "image": ""}]})",
                    "s.json:1:53: an image path must not be empty"},
        RefusalCase{R"({"items": [{"id": "i", "type": "imageMap", "image": 3}]})",
                    "s.json:1:53: \"image\" must be a string, not an integer"},
        RefusalCase{
            R"({"items": [{"id": "c", "type": "mesh", "textureLocator": "p"}, {"id": "p", "type": "txtrLocator"}]})",
            "s.json:1:58: only texture layers have a \"textureLocator\""},
        RefusalCase{R"({"items": [{"id": "i", "type": "imageMap", "textureLocator": "p"}]})",
                    "s.json:1:62: no item with id 'p'"},
        RefusalCase{
            R"({"items": [{"id": "i", "type": "imageMap", "textureLocator": "c"}, {"id": "c", "type": "camera"}]})",
            "s.json:1:62: placing a texture layer needs an item of type 'txtrLocator', "
            "and 'c' is a 'camera'"},
        RefusalCase{"{\"graphs\": {\"targets\": [[\"scene\"]]}}",
                    "s.json:1:25: a link is a pair [from, to] of item ids"},
        RefusalCase{
            "{\"absentTypes\": [\"rotation\"], \"items\": [{\"id\": \"a\", \"type\": \"locator\", "
            "\"transform\": {\"rotation\": [0, 0, 1]}}]}",
            "s.json:1:85: unknown item type 'rotation'"},
        RefusalCase{"{\"renderCameras\": [\"scene\"]}", "s.json:1:20: 'Scene' is no camera"},
        RefusalCase{"{\"platform\": {\"name\": \"Vorn\", \"name\": \"Other\"}}",
                    "s.json:1:31: duplicate member 'name' (first at line 1, column 15)"},
        // Columns count characters: the two-byte "é" is one column.
        RefusalCase{"{\"scene\": {\"channels\": {\"é\": 1}}}",
                    "s.json:1:25: type 'scene' has no channel 'é'"}),
    [](const testing::TestParamInfo<RefusalCase>& info) {
        return "case" + std::to_string(info.index);
    });

TEST(SceneFile, ExamplesLoad) {
    for (const char* name : {"empty.json", "hierarchy.json"}) {
        SceneHost host;
        std::string error;
        EXPECT_TRUE(
            LoadSceneFile(host, std::string(GLTFIO_SOURCE_DIR) + "/examples/" + name, &error))
            << error;
    }
}

TEST(SceneFile, AFileThatCannotBeReadIsNamed) {
    SceneHost host;
    std::string error;
    EXPECT_FALSE(LoadSceneFile(host, "/nonexistent/scene.json", &error));
    EXPECT_EQ(error, "/nonexistent/scene.json: cannot read the scene file");
}

TEST(SceneFile, ImagesAreFoundBesideTheFile) {
    auto dir =
        std::filesystem::temp_directory_path() / ("scenehost_images_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "s.json")
        << R"({"items": [{"id": "i", "type": "imageMap", "image": "../tex/a.png"}]})";
    SceneHost host;
    std::string error;
    ASSERT_TRUE(LoadSceneFile(host, (dir / "s.json").string(), &error)) << error;
    const char* path = nullptr;
    Query<IQvTexture>(static_cast<IQvItem*>(host.Scene().FindIdent("i")))->ImageFile(&path);
    EXPECT_EQ(std::string(path), ToHostPath((dir.parent_path() / "tex/a.png").generic_string()));
    std::filesystem::remove_all(dir);
}

TEST(SceneFileJson, PositionsCountLinesAndCharacters) {
    std::string text = "ab\ncé\nx";
    EXPECT_EQ(PositionOf(text, 0).line, 1u);
    EXPECT_EQ(PositionOf(text, 3).column, 1u);
    EXPECT_EQ(PositionOf(text, 3).line, 2u);
    TextPosition x = PositionOf(text, text.size() - 1);
    EXPECT_EQ(x.line, 3u);
    EXPECT_EQ(x.column, 1u);
    TextPosition afterE = PositionOf(text, 6); // past the two bytes of "é"
    EXPECT_EQ(afterE.column, 3u);
}

TEST(SceneFileJson, IntegersAndNumbersStayApart) {
    JsonNode root = ParseJson(R"({"a": 1, "b": 1.0, "c": -7, "d": 1e2})");
    EXPECT_EQ(root.Find("a")->value.kind, JsonNode::Kind::Integer);
    EXPECT_EQ(root.Find("b")->value.kind, JsonNode::Kind::Number);
    EXPECT_EQ(root.Find("c")->value.integer, -7);
    EXPECT_EQ(root.Find("d")->value.kind, JsonNode::Kind::Number);
    EXPECT_EQ(root.Find("d")->value.number, 100.0);
    EXPECT_THROW(ParseJson(std::string("{}\0 ", 4)), JsonError);
}
