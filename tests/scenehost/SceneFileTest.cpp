// Scene files: what a good file builds, seen through the host, and where a broken one is refused
// with its file, line and column.
#include "SceneFile.h"
#include "HostPath.h"
#include "HostTestUtil.h"
#include "support/TestFiles.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace scenehost;
using namespace hosttest;

namespace {

std::string Load(SceneHost& host, const std::string& text) {
    std::string error;
    bool ok = LoadSceneText(host, text, "s.json", "base/dir", &error);
    EXPECT_EQ(ok, error.empty());
    return error;
}

const char* const kFullScene = R"({
  "platform": {"build": "77", "text2": "test"},
  "logSubsystems": ["io-status", "extra"],
  "userValues": {"sceneio.gltf.save.exportType": 2},
  "absentTypes": ["unityShader"],
  "scene": {"channels": {"fps": 30.0, "currentS": 0.5, "currentE": 4, "sceneE": 8},
            "actions": {"walk": {"time": 1.5}}},
  "items": [
    {"id": "child", "type": "locator", "name": "Child", "parent": "root",
     "transform": {"position": [1, 2, 3], "rotation": [90, 0, 0], "scale": [2, 2, 2], "order": "ZYX"},
     "keys": {"edit": {"pos.Y": [[0, 0], [1, 2, "stepped"], [2, 4]], "visible": [[0, 1]]},
              "walk": {"rot.Z": [[0, 0], [1, 1.5, "linear"]]}}},
    {"id": "root", "type": "groupLocator", "name": "Root", "tags": {"GTYP": "rig"}, "packages": ["ik.joint"]},
    {"id": "second", "type": "locator", "parent": "root", "worldMatrix": [1,0,0,0, 0,1,0,0, 0,0,1,0, 5,6,7,1]},
    {"id": "walk", "type": "actionclip", "channels": {"active": 1}, "exportTag": "walk;loop"},
    {"id": "tracked", "type": "locator",
     "worldTrack": [[0, [1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1]], [2, [1,0,0,0, 0,1,0,0, 0,0,1,0, 8,0,0,1]]]},
    {"id": "render", "type": "polyRender"},
    {"id": "mask", "type": "mask", "parent": "render", "channels": {"ptag": "Wood"},
     "actions": {"edit": {"enable": 0}, "walk": {"opacity": 0.5}}},
    {"id": "img", "type": "imageMap", "parent": "mask", "image": "tex/wood.png", "textureLocator": "place",
     "channels": {"effect": "baseColorGLTF", "rgba": 4}},
    {"id": "shader", "type": "glTFShader", "parent": "mask"},
    {"id": "abs", "type": "imageMap", "image": "/abs/stone.png"},
    {"id": "place", "type": "txtrLocator", "channels": {"uvMap": "UVMap", "tileU": 3}},
    {"id": "actor", "type": "group", "members": ["root", "walk"], "channelMembers": [{"item": "child", "channel": "visible"}]},
    {"id": "copy", "type": "meshInst", "source": "cube"},
    {"id": "cube", "type": "mesh", "name": "Cube", "mesh": {
      "points": [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [2, 0, 0]],
      "polygons": [{"points": [0, 1, 2, 3], "material": "Wood", "part": "Lid", "tags": {"NOTE": "top"}}, [1, 4, 2]],
      "maps": [{"type": "TXUV", "name": "UVMap", "values": [[0, 0], null, [1, 1]],
                "polygonValues": [{"polygon": 1, "values": [[0.5, 0], null, [0.5, 1]]}]}]}},
    {"id": "big", "type": "mesh", "mesh": {"generate": {"shape": "grid", "triangles": 2000,
      "uv": "UV", "color": "Paint", "colorType": "RGB ", "normals": "Normals", "materials": ["A", "B"], "triangulated": true}}},
    {"id": "cam", "type": "camera"}
  ],
  "graphs": {"currentGroups": [["scene", "actor"]], "myGraph": [["cube", "cam"]]},
  "channelLinks": [{"driver": "root", "driverChannel": "visible", "item": "cube", "channel": "worldMatrix"}],
  "absentGraphs": ["particle"],
  "absentCommands": ["item.exportTags"],
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
    EXPECT_EQ(ReadDouble(setup.get(), scene.SceneItem(), "currentS"), 0.5);
    EXPECT_EQ(ReadDouble(setup.get(), scene.SceneItem(), "sceneE"), 8.0);

    // Keys on the locator's own transform items and its own channels, per action.
    Item& position = child.OwnTransform(qvXfrmTranslation);
    EXPECT_EQ(ReadDouble(Channels(host, "edit", 0.5).get(), position, "pos.Y"), 1.0);
    EXPECT_EQ(ReadDouble(Channels(host, "edit", 1.5).get(), position, "pos.Y"), 2.0);
    EXPECT_EQ(ReadDouble(setup.get(), position, "pos.Y"), 2.0); // the transform's own value
    EXPECT_EQ(ReadInt(Channels(host, "edit").get(), child, "visible"), 1);
    EXPECT_EQ(ReadDouble(Channels(host, nullptr, 0.5).get(), rotation, "rot.Z"), 0.75);
    EXPECT_EQ(World(*scene.FindIdent("tracked"), Channels(host, nullptr, 1.0).get())[12], 4.0);
    EXPECT_EQ(scene.FindIdent("walk")->ExportTagText(), "walk;loop");
    ComRef<IQvCommand> command;
    EXPECT_EQ(Service<IQvCommandService>(host)->SpawnCommand(0, "item.exportTags", command.out()),
              qvNotFound);

    // The shader tree: layers in file order under their mask, placed images beside the file.
    Item& img = *scene.FindIdent("img");
    ASSERT_EQ(mask.Children().size(), 2u);
    EXPECT_EQ(mask.Children()[1]->Ident(), "shader");
    EXPECT_EQ(img.Image(),
              (std::filesystem::current_path() / "base/dir/tex/wood.png").generic_string());
    EXPECT_EQ(scene.FindIdent("abs")->Image(), "/abs/stone.png");
    EXPECT_EQ(img.TextureLocator(), scene.FindIdent("place"));
    EXPECT_EQ(ReadInt(setup.get(), img, "rgba"), 4);
    EXPECT_EQ(ReadInt(setup.get(), *scene.FindIdent("place"), "tileU"), 3);

    EXPECT_EQ(scene.SceneItem().Links("currentGroups")[0]->Ident(), "actor");
    EXPECT_EQ(scene.FindIdent("actor")->Members().size(), 2u);
    EXPECT_EQ(scene.FindIdent("actor")->ChannelMembers()[0].item, &child);
    EXPECT_EQ(scene.FindIdent("copy")->Links("source")[0]->Name(), "Cube");
    EXPECT_EQ(scene.FindIdent("cube")->Drivers(3)[0].item, &root);
    EXPECT_TRUE(scene.HasGraph("myGraph"));
    EXPECT_FALSE(scene.HasGraph("particle"));
    EXPECT_EQ(scene.RenderCameras(), std::vector<Item*>{scene.FindIdent("cam")});
    EXPECT_EQ(scene.Types().Find("unityShader"), nullptr);

    // Mesh data: points, polygons, their tags, and map values of points and of polygons.
    const MeshData& mesh = scene.FindIdent("cube")->Mesh();
    EXPECT_EQ(mesh.PointCount(), 5u);
    EXPECT_EQ(mesh.PolygonCount(), 2u);
    EXPECT_STREQ(mesh.Tag(0, qvPolyTagMaterial), "Wood");
    EXPECT_STREQ(mesh.Tag(0, qvPolyTagPart), "Lid");
    EXPECT_STREQ(mesh.Tag(0, QvFourCC('N', 'O', 'T', 'E')), "top");
    EXPECT_EQ(mesh.Tag(1, qvPolyTagMaterial), nullptr);
    const MeshMap& uv = *mesh.FindMap(qvMapUv, "UVMap");
    EXPECT_EQ(uv.PointValue(1), nullptr);
    EXPECT_EQ(uv.CornerValue(1, 1), nullptr);
    ASSERT_NE(uv.CornerValue(1, 2), nullptr); // point 2 on the triangle
    EXPECT_EQ(uv.CornerValue(1, 2)[0], 0.5f);
    const MeshData& big = scene.FindIdent("big")->Mesh();
    EXPECT_NEAR(big.PolygonCount(), 2000, 100);
    EXPECT_EQ(big.FindMap(qvMapNormal, "Normals")->PointValue(7)[1], 1.0f); // the grid faces +Y
    EXPECT_STREQ(big.Tag(big.PolygonCount() - 1, qvPolyTagMaterial), "B");

    std::vector<std::string> selected;
    for (Item* item : host.Selection())
        selected.push_back(item->Ident());
    EXPECT_EQ(selected, (std::vector<std::string>{"cube", "root", "scene"}));
    EXPECT_EQ(host.Platform().build, "77");
    EXPECT_EQ(host.Platform().name, "Vorn");
    ComRef<IQvLog> log;
    EXPECT_EQ(Service<IQvLogService>(host)->SubsystemLookup("logsys", log.out()), qvNotFound);
    EXPECT_EQ(Service<IQvLogService>(host)->SubsystemLookup("extra", log.out()), qvOk);
}

TEST(SceneFile, ImagesAreFoundBesideTheFileAndAMissingFileIsNamed) {
    testsupport::ScratchDir scratch;
    std::filesystem::create_directories(scratch.Path("scenes"));
    testsupport::WriteBytes(
        scratch.Path("scenes/s.json"),
        R"({"items": [{"id": "i", "type": "imageMap", "image": "../tex/a.png"}]})");
    SceneHost host;
    std::string error;
    ASSERT_TRUE(LoadSceneFile(host, scratch.Path("scenes/s.json").string(), &error)) << error;
    const char* path = nullptr;
    Query<IQvTexture>(static_cast<IQvItem*>(host.Scene().FindIdent("i")))->ImageFile(&path);
    EXPECT_EQ(std::string(path), scratch.Host("tex/a.png"));

    EXPECT_FALSE(LoadSceneFile(host, "/nonexistent/scene.json", &error));
    EXPECT_EQ(error,
              "/nonexistent/scene.json: cannot read the scene file: No such file or directory");
}

TEST(SceneFile, PathsThatAreNotRegularFilesAreRefusedBeforeTheyAreRead) {
    testsupport::ScratchDir scratch;
    const std::string dir = scratch.dir.string(), fifo = scratch.Path("fifo").string();
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    testsupport::WriteBytes(scratch.Path("big.json"), "{\"items\": [ ]}");
    SceneHost host;
    std::string error;
    for (const std::string& path : {dir, fifo, std::string("/dev/zero")}) {
        EXPECT_FALSE(LoadSceneFile(host, path, &error));
        EXPECT_EQ(error, path + ": cannot read the scene file: it " +
                             (path == dir    ? "is a directory"
                              : path == fifo ? "is not a regular file but a FIFO"
                                             : "is not a regular file but a character device"));
    }
    const std::string big = scratch.Path("big.json").string();
    EXPECT_FALSE(LoadSceneFile(host, big, 13, &error));
    EXPECT_EQ(error, big + ": cannot read the scene file: it is 14 bytes, more than the limit of "
                           "13 bytes (--max-scene-size raises it)");
    EXPECT_TRUE(LoadSceneFile(host, big, 14, &error)) << error;
    // qvhost takes its limit from --max-scene-size; a refusal exits 2.
    const std::pair<const char*, std::string> limits[] = {
        {"13", "is 14 bytes, more than the limit of 13 bytes"},
        {"1K", "qvhost: cannot load plug-in /nonexistent"},
        {"0", "--max-scene-size takes a positive byte count"},
        {"1X", "--max-scene-size takes"},
        {"99999999999999999999", "--max-scene-size takes"}};
    for (const auto& [limit, message] : limits) {
        const std::string err = scratch.Path("err").string();
        int status =
            std::system((std::string(GLTFIO_QVHOST_PATH) + " save " + big + " " + dir +
                         "/x.glb --plugin /nonexistent --max-scene-size " + limit + " 2> " + err)
                            .c_str());
        EXPECT_EQ(WEXITSTATUS(status), 2) << limit;
        EXPECT_NE(testsupport::ReadBytes(err).find(message), std::string::npos) << limit;
    }

    // Image paths are looked at, not read; a missing image stays the plug-in's to report.
    const std::string sparse = scratch.Path("huge.png").string();
    int fd = ::open(sparse.c_str(), O_CREAT | O_WRONLY, 0600);
    bool bigFile = fd >= 0 && ::ftruncate(fd, off_t(1) << 32) == 0;
    if (fd >= 0) ::close(fd);
    const std::string head = R"({"items": [{"id": "i", "type": "imageMap", "image": ")";
    for (const std::string& image : {dir, fifo, std::string("/dev/zero"), sparse}) {
        if (image == sparse && !bigFile) continue;
        SceneHost fresh;
        std::string expected = image == dir    ? "is a directory"
                               : image == fifo ? "is not a regular file but a FIFO"
                               : image == sparse
                                   ? "is 4294967296 bytes; image files must be smaller than 4 GiB"
                                   : "is not a regular file but a character device";
        EXPECT_EQ(Load(fresh, head + image + "\"}]}"), "s.json:1:" + std::to_string(head.size()) +
                                                           ": image '" + image + "' " + expected);
    }
    if (!bigFile) GTEST_SKIP() << "no sparse 4 GiB file here";
}

TEST(SceneFile, HostileShapesAreRefusedOrReadInLinearTime) {
    SceneHost host;
    // Nesting: 256 levels parse (and are refused as no object), 257 and a million are refused
    // where the 257th opens, without recursion.
    auto nested = [](const std::string& open, const std::string& close, size_t depth) {
        std::string text;
        for (size_t i = 0; i < depth; ++i)
            text += open;
        for (size_t i = 0; i < depth; ++i)
            text += close;
        return text;
    };
    const std::string deeper = "arrays and objects nest deeper than 256 levels here";
    EXPECT_EQ(Load(host, nested("[", "]", 256)),
              "s.json:1:1: a scene file must be an object, not an array");
    EXPECT_EQ(Load(host, nested("[", "]", 257)), "s.json:1:257: " + deeper);
    EXPECT_EQ(Load(host, nested("[", "]", 1000000)), "s.json:1:257: " + deeper);
    EXPECT_EQ(Load(host, nested("{\"a\":", "}", 1000000)), "s.json:1:1281: " + deeper);

    // Ids the host makes for its own items never take a user's id, nor does a user's id reach
    // them; a control character, which would hide in messages, is refused.
    ASSERT_EQ(
        Load(host,
             R"({"items": [{"id": "a", "type": "locator", "transform": {"position": [1, 2, 3]}},
      {"id": "translation1", "type": "translation"}, {"id": "mesh1", "type": "mesh"}]})"),
        "");
    Item& own = host.Scene().FindIdent("a")->OwnTransform(qvXfrmTranslation);
    EXPECT_NE(&own, host.Scene().FindIdent("translation1"));
    EXPECT_EQ(Load(host, R"({"items": [{"id": "b\u001f1", "type": "mesh"}]})"),
              "s.json:1:19: an id must not hold control characters");
    EXPECT_EQ(Load(host, R"({"selection": ["translation\u001f1"]})"),
              "s.json:1:16: no item with id '" + own.Ident() + "'");

    // An object of 200000 members, or a polygon of 200000 points, cost no square of their count.
    std::string values = "{\"userValues\": {", points, polygon;
    for (int i = 0; i < 200000; ++i)
        values += (i ? ",\"v" : "\"v") + std::to_string(i) + "\": 1";
    EXPECT_EQ(Load(host, values + ", \"v7\": 2}}"),
              "s.json:1:" + std::to_string(values.size() + 3) +
                  ": duplicate member 'v7' (first at line 1, column " +
                  std::to_string(values.find("\"v7\"") + 1) + ")");
    for (int i = 0; i < 200000; ++i) {
        points += std::string(i ? ", " : "") + "[" + std::to_string(i) + ", 0, 0]";
        polygon += std::string(i ? ", " : "") + std::to_string(i);
    }
    SceneHost meshHost;
    EXPECT_EQ(Load(meshHost, R"({"items": [{"id": "m", "type": "mesh", "mesh": {"points": [)" +
                                 points + "], \"polygons\": [[" + polygon + "]]}}]}"),
              "");
}

TEST(SceneFile, BulkArraysReadAsTheTreeReadsThemAndFaultsFoundLaterArePlaced) {
    // Numbers of every form, nulls, both polygon forms and "polygons" before "points"; an escape
    // and a 17-digit number leave their arrays to RapidJSON's reader. A polygon with "tags"
    // elsewhere sends the whole file to the tree reader: both readings give the same bits.
    const std::string mesh = R"({"id": "m", "type": "mesh", "mesh": {
      "polygons": [[0, 1, 2], {"material": "W\u00f6od", "points": [3, 2, 1], "part": "P"}],
      "points": [[1e-3, -0.0, 12345678.5], [0.1, 1E+2, -7], [3.4028234e38, 0, 5e-324],
                 [-2.5e-40, 123456789, 0.000001]],
      "maps": [{"type": "TXUV", "name": "UV", "values": [null, [0.25, -1e2], [7, 0.30000000000000004]],
                "polygonValues": [{"values": [[1, 2], null, [0.3, 0.7]], "polygon": 1}]}]}})";
    const std::string tagged =
        R"(, {"id": "t", "type": "mesh", "mesh": {"points": [[0, 0, 0], [1, 0, 0], [0, 1, 0]],
      "polygons": [{"points": [0, 1, 2], "tags": {"NOTE": "x"}}]}})";
    SceneHost quick, tree;
    ASSERT_EQ(Load(quick, "{\"items\": [" + mesh + "]}"), "");
    ASSERT_EQ(Load(tree, "{\"items\": [" + mesh + tagged + "]}"), "");
    const MeshData& a = quick.Scene().FindIdent("m")->Mesh();
    const MeshData& b = tree.Scene().FindIdent("m")->Mesh();
    ASSERT_EQ(a.PointCount(), 4u);
    ASSERT_EQ(a.CornerCount(), b.CornerCount());
    EXPECT_EQ(std::memcmp(a.Position(0), b.Position(0), 12 * sizeof(float)), 0);
    EXPECT_EQ(std::vector<uint32_t>(a.PolygonPoints(0), a.PolygonPoints(0) + 6),
              std::vector<uint32_t>(b.PolygonPoints(0), b.PolygonPoints(0) + 6));
    EXPECT_EQ(a.Tag(0, qvPolyTagMaterial), nullptr);
    EXPECT_STREQ(a.Tag(1, qvPolyTagMaterial), "W\xc3\xb6od");
    EXPECT_STREQ(a.Tag(1, qvPolyTagPart), "P");
    const MeshMap &uvA = a.Map(0), &uvB = b.Map(0);
    EXPECT_EQ(uvA.PointValue(0), nullptr);
    EXPECT_EQ(uvA.CornerValue(1, 1), nullptr);
    for (uint32_t i : {1u, 2u})
        EXPECT_EQ(std::memcmp(uvA.PointValue(i), uvB.PointValue(i), 2 * sizeof(float)), 0);
    for (uint32_t corner : {0u, 2u})
        EXPECT_EQ(std::memcmp(uvA.CornerValue(1, corner), uvB.CornerValue(1, corner), 8), 0);

    // Faults that need the whole mesh are found as the arrays go into it, and placed as the
    // tree reader places them; a file is read again for it, after its text was let go.
    auto scene = [](const std::string& meshMembers) {
        return "{\"items\": [{\"id\": \"m\", \"type\": \"mesh\", \"mesh\": {\"points\": [[0, 0, "
               "0], [1, 0, 0], [0, 1, 0]], " +
               meshMembers + "}}]}";
    };
    const std::string uv = R"("maps": [{"type": "TXUV", "name": "UV", )";
    auto load = [](const std::string& text) {
        SceneHost host;
        return Load(host, text);
    };
    EXPECT_EQ(load(scene(R"("polygons": [[0, 1, 2], [2, 1, 3]])")),
              "s.json:1:125: no point 3: the mesh has 3 points");
    EXPECT_EQ(load(scene(uv + R"("values": [[0, 0], [1, 0], [0, 1], [1, 1]]}])")),
              "s.json:1:144: the map has values for 4 points, and the mesh has 3");
    EXPECT_EQ(load(scene(uv + R"("values": [null, [0, 0, 1]]}])")),
              "s.json:1:151: a TXUV value has 2 numbers, not 3");
    EXPECT_EQ(load(scene(R"("polygons": [[0, 1, 2]], )" + uv +
                         R"("polygonValues": [{"polygon": 0, "values": [[0, 0]]}]}])")),
              "s.json:1:202: polygon 0 has 3 points, and 1 values are given");
    testsupport::ScratchDir scratch;
    testsupport::WriteBytes(scratch.Path("s.json"), scene(uv + R"("polygonValues": [
        {"polygon": 1, "values": [[0, 0], [1, 1], [0, 1]]}]}])"));
    SceneHost host;
    std::string error;
    EXPECT_FALSE(LoadSceneFile(host, scratch.Path("s.json").string(), &error));
    EXPECT_EQ(error,
              scratch.Path("s.json").string() + ":2:21: no polygon 1: the mesh has 0 polygons");
}

TEST(SceneFile, DeformGroupsGiveTheirMeshesJointsAndLocators) {
    SceneHost host;
    ASSERT_EQ(Load(host, R"({"items": [
    {"id": "body", "type": "mesh", "mesh": {"points": [[0, 0, 0], [0, 1, 0], [0, 2, 0]]}},
    {"id": "hipBone", "type": "locator"},
    {"id": "hip", "type": "influence", "locator": "hipBone", "channels": {"name": "hip"}},
    {"id": "knee", "type": "influence", "locator": "hipBone", "channels": {"name": "knee"}},
    {"id": "loose", "type": "influence"},
    {"id": "skin", "type": "deformGroup", "meshes": ["body"],
     "joints": ["hip", "knee", "hipBone"]}]})"),
              "");
    Scene& scene = host.Scene();
    Item& skin = *scene.FindIdent("skin");
    auto service = Service<IQvDeformerService>(host);
    uint32_t count = 0;
    ComRef<IQvItem> mesh, joint, locator;
    ASSERT_EQ(service->GroupMeshCount(&skin, &count), qvOk);
    ASSERT_EQ(count, 1u);
    ASSERT_EQ(service->GroupMeshByIndex(&skin, 0, mesh.out()), qvOk);
    EXPECT_EQ(NameOf(mesh.get()), "body");
    ComRef<IQvGroupDeformer> group;
    ASSERT_EQ(service->GroupDeformerOf(&skin, Channels(host, "setup").get(), group.out()), qvOk);
    ASSERT_EQ(group->JointCount(&count), qvOk);
    ASSERT_EQ(count, 3u);
    ASSERT_EQ(group->JointItem(1, joint.out()), qvOk);
    EXPECT_EQ(NameOf(joint.get()), "knee");
    EXPECT_EQ(service->DeformerLocator(joint.get(), locator.out()), qvOk);
    EXPECT_EQ(NameOf(locator.get()), "hipBone");
    EXPECT_EQ(service->DeformerLocator(scene.FindIdent("loose"), locator.out()), qvFalse);

    EXPECT_EQ(service->GroupDeformerOf(scene.FindIdent("body"), nullptr, group.out()), qvNotFound);
}

namespace {

struct Refusal {
    std::string text, message;
};

// One item's "mesh" member in a scene, on the file's second line.
Refusal Mesh(const std::string& mesh, const std::string& where) {
    return {"{\"items\": [{\"id\": \"m\", \"type\": \"mesh\",\n\"mesh\": " + mesh + "}]}",
            "s.json:2:" + where};
}

const Refusal kRefusals[] = {
    {"", "s.json:1:1: the file is empty"},
    {"{\"items\": [\n  {\"id\": \"a\" \"type\": \"mesh\"}]}", "s.json:2:14: expected ',' or '}'"},
    {"{} x", "s.json:1:4: text after the end of the scene"},
    {"[]", "s.json:1:1: a scene file must be an object, not an array"},
    {R"({"itmes": []})",
     "s.json:1:2: unknown member 'itmes' in the scene file (known: platform, logSubsystems, "
     "userValues, absentTypes, scene, items, graphs, channelLinks, absentGraphs, absentCommands, "
     "renderCameras, selection)"},
    {R"({"items": [{"id": "a", "type": "Mesh"}]})", "s.json:1:32: unknown item type 'Mesh'"},
    {"{\"items\": [{\"id\": \"a\", \"type\": \"mesh\"},\n"
     " {\"id\": \"b\", \"type\": \"mesh\", \"parent\": \"c\"}]}",
     "s.json:2:40: no item with id 'c'"},
    {"{\"items\": [{\"id\": \"a\", \"type\": \"locator\", \"parent\": \"b\"},\n"
     "            {\"id\": \"b\", \"type\": \"locator\", \"parent\": \"a\"}]}",
     "s.json:2:54: making 'a' the parent of 'b' would make a cycle"},
    {R"({"items": [{"id": "a", "type": "locator", "parent": "scene"}]})",
     "s.json:1:53: the scene item has no place in the item hierarchy"},
    {R"({"items": [{"id": "a", "type": "mesh"}, {"id": "a", "type": "mesh"}]})",
     "s.json:1:48: id 'a' is taken"},
    {R"({"items": [{"type": "mesh"}]})", "s.json:1:12: an item needs an \"id\""},
    {R"({"items": [{"id": "r", "type": "polyRender", "channels": {"resX": 1.5}}]})",
     "s.json:1:67: this channel's value must be an integer, not a number"},
    {R"({"items": [{"id": "r", "type": "mask", "channels": {"pTag": "x"}}]})",
     "s.json:1:53: type 'mask' has no channel 'pTag'"},
    {R"({"items": [{"id": "m", "type": "mesh", "channels": {"mesh": 1}}]})",
     "s.json:1:53: channel 'mesh' holds object values, which a scene file does not set"},
    {R"({"items": [{"id": "m", "type": "mask", "transform": {}}]})",
     "s.json:1:53: only locator items have a \"transform\""},
    {R"({"items": [{"id": "m", "type": "mesh", "transform": {"position": [1, 2]}}]})",
     "s.json:1:66: \"position\" must hold 3 numbers, not 2"},
    {R"({"items": [{"id": "m", "type": "mesh", "transform": {"order": "xyz"}}]})",
     "s.json:1:63: a rotation order is one of XYZ, XZY, YXZ, YZX, ZXY, ZYX"},
    {R"({"items": [{"id": "m", "type": "mesh", "tags": {"GTY": "x"}}]})",
     "s.json:1:49: a tag code has four characters, like \"GTYP\""},
    {R"({"items": [{"id": "m", "type": "mask", "actions": {"run": {}}}]})",
     "s.json:1:52: no action 'run': actions are \"edit\" and the ids of action clips"},
    {R"({"items": [{"id": "m", "type": "mesh"}], "selection": ["m", "m"]})",
     "s.json:1:61: 'm' is selected twice"},
    {R"({"userValues": {"a": true}})",
     "s.json:1:22: a user value must be an integer or a string, not a boolean"},
    {R"({"userValues": {"a": 4294967296}})", "s.json:1:22: a user value does not fit in 32 bits"},
    {R"({"absentGraphs": ["shadeloc"]})", "s.json:1:19: no graph named 'shadeloc'"},
    {R"({"graphs": {"targets": [["scene"]]}})",
     "s.json:1:25: a link is a pair [from, to] of item ids"},
    {R"({"absentTypes": ["rotation"], "items": [{"id": "a", "type": "locator",)"
     R"( "transform": {"rotation": [0, 0, 1]}}]})",
     "s.json:1:85: unknown item type 'rotation'"},
    {R"({"renderCameras": ["scene"]})", "s.json:1:20: 'Scene' is no camera"},
    {R"({"platform": {"name": "Vorn", "name": "Other"}})",
     "s.json:1:31: duplicate member 'name' (first at line 1, column 15)"},
    // Columns count characters: the two-byte "é" is one column.
    {"{\"scene\": {\"channels\": {\"é\": 1}}}", "s.json:1:25: type 'scene' has no channel 'é'"},
    // The shader tree: layers under masks, images on image maps, locators that place them.
    {R"({"items": [{"id": "m", "type": "mask"}, {"id": "c", "type": "mesh", "parent": "m"}]})",
     "s.json:1:79: 'c' cannot be a child of 'm': masks and the render item hold texture layers "
     "only"},
    {R"({"items": [{"id": "l", "type": "locator"},)"
     R"( {"id": "i", "type": "imageMap", "parent": "l"}]})",
     "s.json:1:86: 'i' cannot be a child of 'l': a texture layer belongs under a mask or the "
     "render item"},
    {R"({"items": [{"id": "s", "type": "glTFShader"},)"
     R"( {"id": "i", "type": "imageMap", "parent": "s"}]})",
     "s.json:1:89: 'i' cannot be a child of 's': only masks and the render item hold layers"},
    {R"({"items": [{"id": "s", "type": "glTFShader", "image": "a.png"}]})",
     "s.json:1:55: only image maps have an \"image\""},
    {R"({"items": [{"id": "i", "type": "imageMap", "image": ""}]})",
     "s.json:1:53: an image path must not be empty"},
    {R"({"items": [{"id": "i", "type": "imageMap", "textureLocator": "c"},)"
     R"( {"id": "c", "type": "camera"}]})",
     "s.json:1:62: placing a texture layer needs an item of type 'txtrLocator', and 'c' is a "
     "'camera'"},
    // Deformers and the items they tie together.
    {R"({"items": [{"id": "a", "type": "locator"},)"
     R"( {"id": "g", "type": "deformGroup", "meshes": ["a"]}]})",
     "s.json:1:90: 'a' is no mesh item"},
    {R"({"items": [{"id": "g", "type": "deformGroup"},)"
     R"( {"id": "i", "type": "influence", "locator": "g"}]})",
     "s.json:1:92: a deformer's driver needs an item of type 'locator', and 'g' is a "
     "'deformGroup'"},
    {R"({"items": [{"id": "g", "type": "deformGroup", "joints": ["g"]}]})",
     "s.json:1:58: a joint is an influence or a locator, and 'g' is a 'deformGroup'"},
    // Keys, world tracks, tags and commands.
    {R"({"items": [{"id": "a", "type": "locator", "keys": {"edit": {"pos.Y": [[0, 1, "smooth"]]}}}]})",
     "s.json:1:78: an interpolation is \"linear\" or \"stepped\", not 'smooth'"},
    {R"({"items": [{"id": "a", "type": "locator", "keys": {"edit": {"pos.W": [[0, 1]]}}}]})",
     "s.json:1:61: type 'locator' has no channel 'pos.W'"},
    {R"({"items": [{"id": "a", "type": "mesh", "keys": {"setup": {"rot.X": [[1, 0], [0.5, 1]]}}}]})",
     "s.json:1:78: a key's time must come after the time of the key before it"},
    {R"({"items": [{"id": "m", "type": "mask", "keys": {"edit": {"ptag": [[0, 1]]}}}]})",
     "s.json:1:58: only number channels have keys, and 'ptag' holds string values"},
    {R"({"items": [{"id": "m", "type": "mask", "actions": {"edit": {"opacity": 0.5}},)"
     R"( "keys": {"edit": {"opacity": [[0, 1]]}}}]})",
     "s.json:1:97: channel 'opacity' has a value in 'edit' already: a channel holds a value or "
     "keys"},
    {R"({"items": [{"id": "a", "type": "locator", "worldMatrix": [1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1],)"
     R"( "worldTrack": [[0, [1]]]}]})",
     "s.json:1:110: an item has a \"worldMatrix\" or a \"worldTrack\", not both"},
    {R"({"absentCommands": ["item.exportTag"]})",
     "s.json:1:21: no command 'item.exportTag' (known: item.exportTags)"},
    // Mesh data.
    Mesh(R"({"points": [[0, 0]]})", "21: a point has 3 numbers, not 2"),
    Mesh(R"({"points": [[0, 0, 0], [1, 0, 0], [0, 1, 0]], "polygons": [[0, 1, 3]]})",
         "75: no point 3: the mesh has 3 points"),
    Mesh(R"({"points": [[0, 0, 0], [1, 0, 0]], "polygons": [{"points": [0, 1]}]})",
         "68: a polygon needs at least 3 points, not 2"),
    Mesh(R"({"points": [[0, 0, 0], [1, 0, 0]], "polygons": [[0, 1, 0]]})",
         "64: a polygon has point 0 twice"),
    Mesh(R"({"maps": [{"type": "UVXX", "name": "T"}]})",
         "28: unknown map type 'UVXX' (known: NORM, RGB , RGBA, TXUV, TBAS, WGHT, MORF)"),
    Mesh(
        R"({"points": [[0, 0, 0]], "maps": [{"type": "WGHT", "name": "W", "values": [[1], [1]]}]})",
        "82: the map has values for 2 points, and the mesh has 1"),
    Mesh(
        R"({"points": [[0, 0, 0], [1, 0, 0], [0, 1, 0]], "polygons": [[0, 1, 2]], "maps": [)"
        R"({"type": "TXUV", "name": "T", "polygonValues": [{"polygon": 0, "values": [[0, 0]]}]}]})",
        "162: polygon 0 has 3 points, and 1 values are given"),
    Mesh(
        R"({"maps": [{"type": "TXUV", "name": "T", "polygonValues": [{"polygon": 0, "values": []}]}]})",
        "79: no polygon 0: the mesh has 0 polygons"),
    Mesh(R"({"maps": [{"type": "TXUV", "name": "T"}, {"type": "TXUV", "name": "T"}]})",
         "75: the mesh has a TXUV map 'T' already"),
    Mesh(R"({"points": [], "generate": {}})",
         "9: \"generate\" makes the whole mesh: it stands alone in \"mesh\""),
    Mesh(R"({"generate": {"triangles": 1}})",
         "36: \"triangles\" must be an integer from 2 to 50000000"),
    Mesh(R"({"generate": {"shape": "cube"}})",
         "32: a generated shape is \"grid\" or \"torus\", not 'cube'"),
    Mesh(R"({"pionts": []})",
         "10: unknown member 'pionts' in \"mesh\" (known: points, polygons, maps, generate)"),
};

class SceneFileRefusal : public testing::TestWithParam<Refusal> {};

} // namespace

TEST_P(SceneFileRefusal, PointsAtTheOffendingValue) {
    SceneHost host;
    EXPECT_EQ(Load(host, GetParam().text), GetParam().message) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Cases, SceneFileRefusal, testing::ValuesIn(kRefusals),
                         [](const testing::TestParamInfo<Refusal>& info) {
                             return "case" + std::to_string(info.index);
                         });
