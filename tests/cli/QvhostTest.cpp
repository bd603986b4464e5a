// qvhost with the real plug-in, as a user runs it: exit statuses, what it prints, the log file,
// and what lands on disk.
#include "support/TestFiles.h"

#include <cstdlib>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using namespace testsupport;

namespace {

class Qvhost : public ::testing::Test {
protected:
    // Runs qvhost with the real plug-in; returns its exit status, with its output in `out` and
    // `errors`.
    // `before` goes ahead of the command in the shell line (a ulimit, say).
    int Run(const std::string& arguments, bool withPlugin = true, const std::string& before = "") {
        std::string command = before + Command(arguments, withPlugin) + " > " + Out("stdout.txt") +
                              " 2> " + Out("stderr.txt");
        int status = std::system(command.c_str());
        out = ReadBytes(scratch.Path("stdout.txt"));
        errors = ReadBytes(scratch.Path("stderr.txt"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // Runs qvhost with standard output and error into a pipe whose reading end is closed
    // before it starts, so that its first write fails, however loaded the machine.
    int RunIntoClosedPipe(const std::string& arguments) {
        int ends[2];
        if (pipe(ends) != 0) return -1;
        close(ends[0]);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
        posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
        const std::string command = Command(arguments);
        char* argv[] = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                        const_cast<char*>(command.c_str()), nullptr};
        pid_t pid = -1;
        int spawned = posix_spawn(&pid, "/bin/sh", &actions, nullptr, argv, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        int status = 0;
        if (spawned != 0 || waitpid(pid, &status, 0) != pid) return -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    static std::string Command(const std::string& arguments, bool withPlugin = true) {
        return std::string(GLTFIO_QVHOST_PATH) + " " + arguments +
               (withPlugin ? std::string(" --plugin ") + GLTFIO_PLUGIN_PATH : "");
    }
    std::string Scene(const std::string& text) {
        WriteBytes(scratch.Path("scene.json"), text);
        return Out("scene.json");
    }
    std::string Out(const std::string& name) const { return scratch.Path(name).string(); }
    // Files of the scratch folder that a save may touch, with their bytes; the staging folder
    // too while it exists.
    std::string Outputs() const {
        std::string listing;
        for (const auto& entry : fs::directory_iterator(scratch.dir)) {
            const std::string name = entry.path().filename().string();
            if (name.rfind("out", 0) == 0 || name.rfind("qvhost", 0) == 0)
                listing += name + "=" + ReadBytes(entry.path()) + ";";
        }
        return listing;
    }
    void WriteOldOutputs() {
        for (const char* name : {"out.glb", "out.gltf", "out.bin"})
            WriteBytes(scratch.Path(name), std::string("old ") + name);
    }
    // Two materials, each with an image map, on one mesh: the .gltf saver copies both images.
    std::string TexturedScene(const std::string& imageA, const std::string& imageB) {
        std::string items = R"({"id": "r", "type": "polyRender"})";
        for (const std::string& tag : {std::string("A"), std::string("B")})
            items += R"(, {"id": ")" + tag +
                     R"(", "type": "mask", "parent": "r", "channels": {"ptag": ")" + tag +
                     R"("}}, {"id": ")" + tag + R"(i", "type": "imageMap", "parent": ")" + tag +
                     R"(", "image": ")" + (tag == "A" ? imageA : imageB) +
                     R"(", "textureLocator": ")" + tag +
                     R"(l", "channels": {"effect": "baseColorGLTF"}}, {"id": ")" + tag +
                     R"(l", "type": "txtrLocator", "channels": {"projType": 6, "uvMap": "UV"}})";
        return Scene(
            R"({"userValues": {"sceneio.gltf.save.exportType": 0}, "items": [)" + items +
            R"(, {"id": "m", "type": "mesh", "mesh": {"points": [[0,0,0],[1,0,0],[0,1,0]], "polygons": [{"points": [0,1,2], "material": "A"}, {"points": [0,2,1], "material": "B"}], "maps": [{"type": "TXUV", "name": "UV", "polygonValues": [{"polygon": 0, "values": [[0,0],[1,0],[0,1]]}, {"polygon": 1, "values": [[0,0],[0,1],[1,0]]}]}]}}]})");
    }

    ScratchDir scratch;
    std::string out, errors;
};

} // namespace

TEST_F(Qvhost, SavePicksTheSaverByExtensionAndWritesTheLogAsJsonLines) {
    std::string scene = Scene(R"({"items": [{"id": "a", "type": "locator", "name": "A"}]})");
    ASSERT_EQ(Run("save " + scene + " " + Out("a.glb") + " --set exportType=0" +
                  " --monitor --log " + Out("log.jsonl")),
              0)
        << errors;
    EXPECT_EQ(ReadBytes(scratch.Path("a.glb")).substr(0, 4), "glTF");
    EXPECT_NE(errors.find("\n  [io-status info] Root item:A\n"), std::string::npos) << errors;
    EXPECT_NE(errors.find("\nqvhost: the saver announced no steps to the monitor, so there is no "
                          "progress to show\n"),
              std::string::npos);
    // The last line is the summary: what the file holds, counted from it.
    EXPECT_TRUE(errors.size() > 20 && errors.substr(errors.rfind("qvhost:")) ==
                                          "qvhost: gltf.bin saved " + Out("a.glb") +
                                              ": 1 node, 0 meshes, 0 primitives, 0 triangles, 0 "
                                              "vertices, 1 material, 0 textures, 0 images, 0 "
                                              "animations, " +
                                              std::to_string(fs::file_size(scratch.Path("a.glb"))) +
                                              " bytes, 0 warnings, 0 errors, " +
                                              errors.substr(errors.rfind(", ") + 2))
        << errors;

    // One object a line, members in a fixed order, the same entries as standard error shows.
    std::istringstream lines(ReadBytes(scratch.Path("log.jsonl")));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, R"({"subsystem":"io-status","level":"info","code":1,"depth":0,)"
                    R"("text":"gltf: load/save"})");
    int entries = 1;
    for (; std::getline(lines, line); ++entries) {
        auto entry = ParseJson(line);
        ASSERT_TRUE(entry.IsObject()) << line;
        EXPECT_EQ(MemberNames(entry),
                  (std::vector<std::string>{"subsystem", "level", "code", "depth", "text"}));
        EXPECT_NE(errors.find(std::string(2 * entry["depth"].GetUint(), ' ') + "[" +
                              entry["subsystem"].GetString() + " " + entry["level"].GetString() +
                              "] " + entry["text"].GetString()),
                  std::string::npos)
            << line;
    }
    EXPECT_GT(entries, 5);

    ASSERT_EQ(Run("save " + scene + " " + Out("a.GLTF")), 0) << errors;
    EXPECT_EQ(ReadBytes(scratch.Path("a.gltf")).substr(0, 9), R"({"asset":)");
}

// Every way a save fails: status 1, a last line that says why, the old files byte for byte as
// they were and no staging folder left behind.
TEST_F(Qvhost, FailedSavesSayWhyAndReplaceNothing) {
    const std::string tooLarge =
        R"({"userValues": {"sceneio.gltf.save.exportType": 0}, "items": [{"id": "a", "type": "mesh", "transform": {"scale": [1e300, 1, 1]}, "mesh": {"points": [[1,0,0],[0,1,0],[0,0,1]], "polygons": [{"points": [0,1,2]}]}}]})";
    const std::string large = ReadBytes(fs::path(GLTFIO_SOURCE_DIR) / "examples/large.json");
    struct Case {
        std::string scene, output, said;
        std::string before = std::string(); // ahead of qvhost in the shell line
    };
    const Case cases[] = {
        {tooLarge, "out.glb",
         "qvhost: the saved " + Out("out.glb") +
             " is broken: its JSON text ends early or breaks off at byte"},
        {tooLarge, "out.GLTF",
         "; a number in the scene is probably too large for the file's "
         "floats, e.g. a scale of 1e300; nothing was replaced"},
        {R"({"absentGraphs": ["shadeLoc"]})", "out.gltf",
         "(0x80000009 qvSceneUnusable: the scene could not be bound); the log above names no "
         "error; nothing was replaced"},
        // A file size limit stands in for a full disk.
        {large, "out.glb",
         "(0x80000000 qvFailed: general failure); see the 1 error in the log above",
         "ulimit -f 64; "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.output + " " + c.said);
        WriteOldOutputs();
        const std::string before = Outputs();
        EXPECT_EQ(Run("save " + Scene(c.scene) + " " + Out(c.output) + " --log " + Out("log.jsonl"),
                      true, c.before),
                  1);
        const std::string last = errors.substr(errors.rfind('\n', errors.size() - 2) + 1);
        EXPECT_NE(last.find(c.said), std::string::npos) << errors;
        EXPECT_EQ(Outputs(), before);
    }
    EXPECT_NE(ReadBytes(scratch.Path("log.jsonl")).find(R"("text":"Failed to export GLTF!"})"),
              std::string::npos);
}

// Each behaviour that the plug-in keeps on purpose and without a word is named in a warning,
// which --strict turns into status 3; the clean scene that differs in that one thing is silent.
TEST_F(Qvhost, KeptBehavioursAreWarnedAboutAndStrictMakesThemCount) {
    const std::string png = ReadBytes(fs::path(GLTFIO_SOURCE_DIR) / "examples/images/wood.png");
    WriteBytes(scratch.Path("a.png"), png);
    WriteBytes(scratch.Path("a#1.png"), png);
    WriteBytes(scratch.Path("a.bmp"), "BM" + std::string(60, '\0'));
    // A triangle of material M, or what a case puts in its place.
    auto triangle = [](const std::string& polygon, const std::string& maps = "") {
        return R"({"id": "m", "type": "mesh", "name": "Tri", "mesh": {"points": [[0,0,0],[1,0,0],[0,1,0]], "polygons": [)" +
               polygon + "]" + maps + "}}";
    };
    const std::string tagged = triangle(R"({"points": [0,1,2], "material": "M"})");
    const std::string all = R"({"userValues": {"sceneio.gltf.save.exportType": 0}, "items": [)";
    const std::string blended =
        R"({"id": "k", "type": "mask", "channels": {"ptag": "M"}}, {"id": "h", "type": "advancedMaterial", "parent": "k", "channels": {"dissAmt": 0.5}}, {"id": "s", "type": "glTFShader", "parent": "k"}, )";
    const std::string large =
        R"({"id": "t", "type": "mesh", "name": "Torus", "mesh": {"generate": {"shape": "torus", "triangles": 30000, "materials": ["M"]}}})";
    struct Case {
        std::string scene, clean, output, warning;
    };
    const Case cases[] = {
        {R"({"items": [)" + tagged + "]}", all + tagged + "]}", "out.glb",
         "nothing is selected and the export scope is the selected items (exportType 1, the "
         "default), so the file holds no nodes; --set exportType=0 exports the whole scene"},
        {all + triangle(R"([0,1,2])") + "]}", all + tagged + "]}", "out.glb",
         "'Tri' has 1 polygon without a material tag, which the save leaves out"},
        {all + large + "]}",
         R"({"userValues": {"sceneio.gltf.save.exportType": 0, "sceneio.gltf.save.indicesExport": 1}, "items": [)" +
             large + "]}",
         "out.glb",
         "'Torus' was left out: its polygons make 89784 triangle corners (it has 14964 points), "
         "more than the 65,535 that 16-bit indices count; --set indicesExport=1"},
        {ReadBytes(TexturedScene(Out("a.bmp"), Out("a.png"))),
         ReadBytes(TexturedScene(Out("a.png"), Out("a.png"))), "out.glb",
         "is neither PNG nor JPEG, so the .glb gives it no type"},
        {all + blended +
             triangle(
                 R"({"points": [0,1,2], "material": "M"})",
                 R"(, "maps": [{"type": "RGB ", "name": "C", "values": [[1,0,0],[0,1,0],[0,0,1]]}])") +
             "]}",
         all + blended +
             triangle(
                 R"({"points": [0,1,2], "material": "M"})",
                 R"(, "maps": [{"type": "RGBA", "name": "C", "values": [[1,0,0,1],[0,1,0,1],[0,0,1,1]]}])") +
             "]}",
         "out.glb", "'Tri' has an RGB colour map, written with alpha 0, and a blended material"},
        {ReadBytes(TexturedScene(Out("a#1.png"), Out("a.png"))),
         ReadBytes(TexturedScene(Out("a.png"), Out("a.png"))), "out.gltf",
         "the image copy a#1.png has a '%', '#' or '?' in its name"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.warning);
        const std::string scene = Scene(c.scene);
        EXPECT_EQ(Run("save " + scene + " " + Out(c.output)), 0) << errors;
        EXPECT_NE(errors.find("\nqvhost: warning: "), std::string::npos) << errors;
        EXPECT_NE(errors.find(c.warning), std::string::npos) << errors;
        EXPECT_EQ(Run("save " + scene + " " + Out(c.output) + " --strict"), 3) << errors;
        const std::string clean = Scene(c.clean);
        EXPECT_EQ(Run("save " + clean + " " + Out(c.output) + " --strict"), 0) << errors;
        EXPECT_EQ(errors.find("qvhost: warning"), std::string::npos) << errors;
    }
}

// The report holds the summary's counts, taken from the file, a row per mesh and the warnings.
TEST_F(Qvhost, ReportCountsWhatTheFileHolds) {
    const std::string scene = TexturedScene(Out("a.png"), Out("a.png"));
    WriteBytes(scratch.Path("a.png"),
               ReadBytes(fs::path(GLTFIO_SOURCE_DIR) / "examples/images/wood.png"));
    ASSERT_EQ(Run("save " + scene + " " + Out("out.glb") + " --report " + Out("report.json")), 0)
        << errors;
    auto report = ParseJson(ReadBytes(scratch.Path("report.json")));
    ASSERT_TRUE(report.IsObject());
    EXPECT_EQ(MemberNames(report), (std::vector<std::string>{"output", "saver", "seconds", "counts",
                                                             "meshes", "warnings"}));
    const std::string bytes = ReadBytes(scratch.Path("out.glb"));
    auto file = ParseJson(bytes.substr(20, ReadUint32(bytes, 12)));
    const auto& counts = report["counts"];
    for (const char* array : {"nodes", "meshes", "materials", "textures", "images"})
        EXPECT_EQ(counts[array].GetUint(), file[array].Size()) << array;
    EXPECT_EQ(counts["bytes"].GetUint64(), bytes.size());
    EXPECT_EQ(counts["primitives"].GetUint(), 2u);
    EXPECT_EQ(counts["triangles"].GetUint(), 2u);
    const auto& row = report["meshes"][0];
    EXPECT_EQ(row["triangles"].GetUint(), 2u);
    EXPECT_EQ(row["materials"].Size(), 2u);
    EXPECT_EQ(report["warnings"].Size(), 0u);
}

// A .gltf save copies its images beside it: a copy over the .gltf or the .bin is refused before
// anything is written, copies of one name from two folders are named in a warning.
TEST_F(Qvhost, ImageCopiesThatOverwriteAreRefusedOrWarnedAbout) {
    fs::create_directories(scratch.Path("x"));
    fs::create_directories(scratch.Path("y"));
    WriteBytes(scratch.Path("x/pic.png"), "first");
    WriteBytes(scratch.Path("y/pic.png"), "second");
    WriteBytes(scratch.Path("y/out.bin"), "image");
    WriteOldOutputs();
    const std::string before = Outputs();
    EXPECT_EQ(Run("save " + TexturedScene("x/pic.png", "y/out.bin") + " " + Out("out.gltf")), 2);
    EXPECT_EQ(errors, "qvhost: the image " + Out("y/out.bin") +
                          " would be copied over the saved out.bin; rename the image or the "
                          "output\n");
    EXPECT_EQ(Outputs(), before);

    ASSERT_EQ(Run("save " + TexturedScene("x/pic.png", "y/pic.png") + " " + Out("out.gltf")), 0)
        << errors;
    EXPECT_NE(errors.find("\nqvhost: warning: the images " + Out("x/pic.png") + " and " +
                          Out("y/pic.png") + " are copied under one name, pic.png, beside " +
                          Out("out.gltf") + "; the copy holds " + Out("y/pic.png") +
                          ", the one copied last\n"),
              std::string::npos)
        << errors;
    EXPECT_EQ(ReadBytes(scratch.Path("pic.png")), "second");
    EXPECT_EQ(Outputs().find("qvhost"), std::string::npos) << "the staging folder is gone";
    EXPECT_EQ(ReadBytes(scratch.Path("out.gltf")).back(), '}');

    // Two sparse images of 2.5 GiB: a .glb's 32-bit lengths cannot hold them.
    for (const char* name : {"x/pic.png", "y/pic.png"})
        if (::truncate(Out(name).c_str(), 5LL << 29) != 0) GTEST_SKIP() << "no sparse files";
    EXPECT_EQ(Run("save " + TexturedScene("x/pic.png", "y/pic.png") + " " + Out("out.glb")), 1);
    EXPECT_NE(errors.find("[logsys error] Output file " + ToHostPath(Out("qvhost-save-"))),
              std::string::npos)
        << errors;
    EXPECT_NE(errors.find(" would be 5368711620 bytes, more than its 32-bit length fields can "
                          "hold; nothing was written\n"),
              std::string::npos)
        << errors;
    EXPECT_EQ(ReadBytes(scratch.Path("out.glb")), "old out.glb");
}

// A log into a closed pipe fails the run but not the save; a signal ends it with 128 + N and
// leaves the old output and no staging folder.
TEST_F(Qvhost, ClosedPipesAndSignalsLeaveNoHalfWrittenFiles) {
    std::string scene = Scene(R"({"items": [{"id": "a", "type": "locator", "name": "A"}]})");
    const std::string status = Out("status.txt");
    EXPECT_EQ(RunIntoClosedPipe("save " + scene + " " + Out("out.glb")), 1);
    EXPECT_EQ(ReadBytes(scratch.Path("out.glb")).substr(0, 4), "glTF");

    WriteOldOutputs();
    const std::string before = Outputs();
    std::string large = ReadBytes(fs::path(GLTFIO_SOURCE_DIR) / "examples/large.json");
    large.replace(large.find("100000"), 6, "900000");
    const std::string staging = Out("qvhost-save-*");
    const std::string script = Command("save " + Scene(large) + " " + Out("out.glb")) + " 2> " +
                               Out("stderr.txt") + " & pid=$!; for i in $(seq 500); do ls -d " +
                               staging +
                               " >/dev/null 2>&1 && break; sleep 0.01; done; sleep 0.05; kill " +
                               "-TERM $pid; wait $pid; echo $? > " + status;
    ASSERT_NE(std::system(("sh -c '" + script + "'").c_str()), -1);
    EXPECT_EQ(ReadBytes(status), "143\n");
    EXPECT_NE(ReadBytes(scratch.Path("stderr.txt"))
                  .find("qvhost: stopped by signal 15 (Terminated); nothing was saved and " +
                        Out("out.glb") + " was left as it was\n"),
              std::string::npos);
    EXPECT_EQ(Outputs(), before);
}

// A broken scene file or bad arguments: status 2, one line that says why, and no file written.
TEST_F(Qvhost, RefusedInputExitsTwoAndWritesNothing) {
    struct Case {
        std::string scene, arguments, error; // in the first line of standard error
        bool withPlugin = true;
    };
    const std::string good = "{}";
    const std::string x = Out("x.glb");
    const Case cases[] = {
        {"{\n  \"items\": [", x, "/scene.json:2:13: not a JSON value"},
        {R"({"items": [{"id": "a", "type": "teapot"}]})", x,
         "/scene.json:1:32: unknown item type 'teapot'"},
        {"{\"userValues\": {\"sceneio.gltf.save.exportType\": [0]}}", x,
         "/scene.json:1:49: a user value must be an integer or a string, not an array"},
        {good, Out("x.xyz"), "qvhost: no saver of the plug-in writes .xyz files"},
        {good, Out("x"), "qvhost: " + Out("x") + " has no extension; name a saver with --saver"},
        {good, x + " --saver gltf.fbx", "qvhost: the plug-in has no server 'gltf.fbx'"},
        {good, Out("a.d/x") + " --saver gltf.gltf", "has a '.' in a folder name but none in its"},
        {good, x + " --set novalue", "qvhost: --set takes NAME=VALUE, not 'novalue'"},
        {good, x + " --colour", "qvhost: unknown option --colour"},
        {good, Out("no/such/out.gltf"),
         "qvhost: cannot save " + Out("no/such/out.gltf") + ": the folder " + Out("no/such/") +
             " does not exist or cannot be reached (No such file or directory)"},
        {good, x + " --log " + Out("no/log.jsonl"),
         "qvhost: cannot write the log file " + Out("no/log.jsonl") +
             ": No such file or directory"},
        {good, x + " --plugin /nonexistent.qv", "qvhost: cannot load plug-in /nonexistent.qv",
         false},
    };
    fs::create_directories(scratch.Path("a.d"));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.arguments);
        EXPECT_EQ(Run("save " + Scene(c.scene) + " " + c.arguments, c.withPlugin), 2);
        const std::string first = errors.substr(0, errors.find('\n'));
        EXPECT_NE(first.find(c.error), std::string::npos) << errors;
        EXPECT_EQ(errors.find("[io-status"), std::string::npos) << "a save ran";
    }
    EXPECT_EQ(Run("frobnicate"), 2);
    EXPECT_EQ(Run("options --config " + Out("c.cfg") + " a=1"), 2);
    EXPECT_EQ(errors, "qvhost options: no option 'a'\n");
    EXPECT_FALSE(fs::exists(scratch.Path("c.cfg")));
    EXPECT_FALSE(fs::exists(scratch.Path("x.glb")));
}

TEST_F(Qvhost, EveryCommandAnswersHelpAndTheUsageListsThemAll) {
    ASSERT_EQ(Run("help"), 0);
    const std::string list = out;
    for (const char* command : {"import", "convert", "save", "servers", "options"}) {
        SCOPED_TRACE(command);
        EXPECT_NE(list.find(std::string("  qvhost ") + command + " "), std::string::npos) << list;
        const std::string usage = std::string("usage: qvhost ") + command + " ";
        EXPECT_EQ(Run(std::string(command) + " --help"), 0);
        EXPECT_EQ(out.substr(0, usage.size()), usage);
        EXPECT_EQ(Run(std::string("help ") + command), 0);
        EXPECT_EQ(out.substr(0, usage.size()), usage);
    }
    // save and convert print every save option, with its default.
    ASSERT_EQ(Run("save x.json y.glb --help"), 0);
    for (const char* option :
         {"exportType (default 1)", "indicesExport (default 0)", "exportActionType (default 0)"})
        EXPECT_NE(out.find(option), std::string::npos) << option;
}

TEST_F(Qvhost, ServersListsEveryServerWithItsTagsInRegistrationOrder) {
    ASSERT_EQ(Run("servers"), 0) << errors;
    EXPECT_EQ(out, "loaderOptions.gltf\n"
                   "gltf.bin\n  saver.outClass = scene2\n  saver.dosType = glb\n"
                   "  server.username = glTF v2 .glb\n  server.logsubsystem = io-status\n"
                   "gltf.gltf\n  saver.outClass = scene2\n  saver.dosType = gltf\n"
                   "  server.username = glTF v2 .gltf\n  server.logsubsystem = io-status\n");
}
