// qvhost with the real plug-in: exit statuses, the log file and what lands on disk.
#include "support/TestFiles.h"

#include <cstdlib>
#include <string>
#include <sys/wait.h>

using namespace testsupport;

namespace {

class QvhostSave : public ::testing::Test {
protected:
    // Runs qvhost with the real plug-in; returns its exit status, with stderr in `errors`.
    int Run(const std::string& arguments) {
        std::string command = std::string(GLTFIO_QVHOST_PATH) + " " + arguments + " --plugin " +
                              GLTFIO_PLUGIN_PATH + " 2> " + scratch.Path("stderr.txt").string();
        int status = std::system(command.c_str());
        errors = ReadBytes(scratch.Path("stderr.txt"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Scene(const std::string& text) {
        WriteBytes(scratch.Path("scene.json"), text);
        return scratch.Path("scene.json").string();
    }
    std::string Out(const std::string& name) const { return scratch.Path(name).string(); }

    ScratchDir scratch;
    std::string errors;
};

} // namespace

TEST_F(QvhostSave, EmptySceneSavesWithExitZeroAndAJsonLog) {
    std::string scene = Scene("{}");
    ASSERT_EQ(Run("save " + scene + " " + Out("e.glb") + " --set sceneio.gltf.save.exportType=0 --log " +
                  Out("log.jsonl")),
              0)
        << errors;
    EXPECT_EQ(ReadBytes(scratch.Path("e.glb")).substr(0, 4), "glTF");
    std::string log = ReadBytes(scratch.Path("log.jsonl"));
    EXPECT_NE(log.find(R"x("text":"glTf v2 :: InitSaver()")x"), std::string::npos) << log;
    EXPECT_NE(log.find(R"("text":"...DONE")"), std::string::npos) << log;
    EXPECT_NE(errors.find("RunSaver()"), std::string::npos);
}

TEST_F(QvhostSave, UnwritableOutputExitsOneWithTheFailureBox) {
    std::string scene = Scene("{}");
    EXPECT_EQ(Run("save " + scene + " " + Out("no/such/dir/e.gltf") + " --log " + Out("log.jsonl")), 1);
    std::string log = ReadBytes(scratch.Path("log.jsonl"));
    EXPECT_NE(log.find(R"("subsystem":"msgbox")"), std::string::npos) << log;
    EXPECT_NE(log.find("Failed to export GLTF!"), std::string::npos) << log;
}

TEST_F(QvhostSave, BrokenSceneFilesExitTwoWithTheirPlaceAndWriteNothing) {
    struct Case {
        const char* text;
        const char* where;
    } cases[] = {
        {"{\"items\": [", "scene.json:1:12:"},
        {"{\"items\": [{\"id\": \"a\", \"type\": \"teapot\"}]}", "scene.json:1:32:"},
        {"{\"items\": [{\"id\": \"a\", \"type\": \"locator\", \"parent\": \"nobody\"}]}",
         "scene.json:1:"},
        {"{\"userValues\": {\"sceneio.gltf.save.exportType\": [0]}}", "scene.json:1:"},
    };
    for (const Case& c : cases) {
        std::string scene = Scene(c.text);
        EXPECT_EQ(Run("save " + scene + " " + Out("x.glb")), 2) << c.text;
        EXPECT_NE(errors.find(c.where), std::string::npos) << errors;
        EXPECT_FALSE(fs::exists(scratch.Path("x.glb"))) << c.text;
    }
}

TEST_F(QvhostSave, ServersAreListedInRegistrationOrder) {
    ASSERT_EQ(std::system((std::string(GLTFIO_QVHOST_PATH) + " servers --plugin " + GLTFIO_PLUGIN_PATH +
                           " > " + Out("servers.txt"))
                              .c_str()),
              0);
    std::string listing = ReadBytes(scratch.Path("servers.txt"));
    size_t options = listing.find("loaderOptions.gltf");
    size_t glb = listing.find("gltf.bin");
    size_t gltf = listing.find("gltf.gltf");
    ASSERT_NE(options, std::string::npos);
    EXPECT_LT(options, glb);
    EXPECT_LT(glb, gltf);
    EXPECT_NE(listing.find("server.username = glTF v2 .glb"), std::string::npos) << listing;
}
