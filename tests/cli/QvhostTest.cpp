// qvhost with the real plug-in, as a user runs it: exit statuses, what it prints, the log file,
// and what lands on disk.
#include "support/TestFiles.h"

#include <cstdlib>
#include <sstream>
#include <string>
#include <sys/wait.h>

using namespace testsupport;

namespace {

class Qvhost : public ::testing::Test {
protected:
    // Runs qvhost with the real plug-in; returns its exit status, with its output in `out` and
    // `errors`.
    int Run(const std::string& arguments, bool withPlugin = true) {
        std::string command = std::string(GLTFIO_QVHOST_PATH) + " " + arguments +
                              (withPlugin ? std::string(" --plugin ") + GLTFIO_PLUGIN_PATH : "") +
                              " > " + Out("stdout.txt") + " 2> " + Out("stderr.txt");
        int status = std::system(command.c_str());
        out = ReadBytes(scratch.Path("stdout.txt"));
        errors = ReadBytes(scratch.Path("stderr.txt"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Scene(const std::string& text) {
        WriteBytes(scratch.Path("scene.json"), text);
        return Out("scene.json");
    }
    std::string Out(const std::string& name) const { return scratch.Path(name).string(); }

    ScratchDir scratch;
    std::string out, errors;
};

} // namespace

TEST_F(Qvhost, SavePicksTheSaverByExtensionAndWritesTheLogAsJsonLines) {
    std::string scene = Scene(R"({"items": [{"id": "a", "type": "locator", "name": "A"}]})");
    ASSERT_EQ(Run("save " + scene + " " + Out("a.glb") + " --set sceneio.gltf.save.exportType=0" +
                  " --monitor --log " + Out("log.jsonl")),
              0)
        << errors;
    EXPECT_EQ(ReadBytes(scratch.Path("a.glb")).substr(0, 4), "glTF");
    EXPECT_NE(errors.find("\n  [io-status info] Root item:A\n"), std::string::npos) << errors;
    EXPECT_NE(errors.find("\nqvhost: monitor initialized with 0 steps\n"), std::string::npos);
    EXPECT_TRUE(errors.size() > 20 && errors.substr(errors.rfind("qvhost:")) ==
                                          "qvhost: gltf.bin saved " + Out("a.glb") + "\n")
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

TEST_F(Qvhost, FailedSaveExitsOneWithTheBoxInTheLog) {
    std::string scene = Scene("{}");
    const std::string out = Out("no/such/dir/e.gltf");
    EXPECT_EQ(Run("save " + scene + " " + out + " --log " + Out("log.jsonl")), 1);
    std::string log = ReadBytes(scratch.Path("log.jsonl"));
    EXPECT_NE(log.find(R"({"subsystem":"msgbox","level":"error","code":2147483648,"depth":0,)"
                       R"("text":"Failed to export GLTF!"})"),
              std::string::npos)
        << log;
    EXPECT_NE(errors.find("qvhost: gltf.gltf failed to save " + out + " (0x80000000)\n"),
              std::string::npos)
        << errors;
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
        {good, x + " --set novalue", "qvhost: --set takes NAME=VALUE, not 'novalue'"},
        {good, x + " --colour", "qvhost: unknown option --colour"},
        {good, x + " --plugin /nonexistent.qv", "qvhost: cannot load plug-in /nonexistent.qv",
         false},
    };
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

TEST_F(Qvhost, ServersListsEveryServerWithItsTagsInRegistrationOrder) {
    ASSERT_EQ(Run("servers"), 0) << errors;
    EXPECT_EQ(out, "loaderOptions.gltf\n"
                   "gltf.bin\n  saver.outClass = scene2\n  saver.dosType = glb\n"
                   "  server.username = glTF v2 .glb\n  server.logsubsystem = io-status\n"
                   "gltf.gltf\n  saver.outClass = scene2\n  saver.dosType = gltf\n"
                   "  server.username = glTF v2 .gltf\n  server.logsubsystem = io-status\n");
}
