// qvhost options with the real plug-in: what it shows, what it keeps in the configuration file,
// what it refuses, and the stream form it writes and reads.
#include "support/TestFiles.h"

#include <cstdlib>
#include <string>
#include <sys/wait.h>

using namespace testsupport;

namespace {

class QvhostOptions : public ::testing::Test {
protected:
    int Run(const std::string& arguments) {
        std::string command = std::string(GLTFIO_QVHOST_PATH) + " options --config " + Config() +
                              " " + arguments + " --plugin " + GLTFIO_PLUGIN_PATH + " > " +
                              Out("stdout.txt") + " 2> " + Out("stderr.txt");
        int status = std::system(command.c_str());
        out = ReadBytes(scratch.Path("stdout.txt"));
        errors = ReadBytes(scratch.Path("stderr.txt"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Out(const std::string& name) const { return scratch.Path(name).string(); }
    std::string Config() const { return Out("config.txt"); }

    ScratchDir scratch;
    std::string out, errors;
};

} // namespace

TEST_F(QvhostOptions, ShowsDefaultsKeepsSettingsAndRefusesBadOnes) {
    ASSERT_EQ(Run(""), 0) << errors;
    EXPECT_EQ(out, "mergeWithExistingItems = false\nloadGeometry = true\nloadNormals = true\n"
                   "loadMeshSmoothing = true\nloadBlendShapes = true\nloadPolygonParts = true\n"
                   "loadSelectionSets = true\nloadMaterials = true\ninvertMatTranAmt = false\n"
                   "useMatTranColAsTranAmt = false\nchangeTextureEffect = false\n"
                   "loadCameras = true\nloadLights = true\nloadAnimation = true\n"
                   "loadSampleAnimation = true\nloadSampleAnimationRate = 0 (1x FPS)\n"
                   "globalScalingFactor = 1\nimportUnits = 0 (Use FBX file units)\n"
                   "configuration: " +
                       Config() + "\n");

    ASSERT_EQ(Run("importUnits=8 loadSampleAnimationRate=3 globalScalingFactor=2.5"), 0) << errors;
    ASSERT_EQ(Run("loadCameras=0"), 0) << errors; // a later session starts from the file
    EXPECT_NE(out.find("\nloadCameras = false\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\nimportUnits = 8 (Yards)\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\nglobalScalingFactor = 2.5\n"), std::string::npos) << out;
    std::string kept = ReadBytes(Config());

    const std::pair<const char*, const char*> refused[] = {
        {"nosuchOption=1", "no option 'nosuchOption'"},
        {"loadGeometry=yes", "'yes' is not a valid boolean value for 'loadGeometry'"},
        {"importUnits=Parsecs", "'Parsecs' is not a valid integer value for 'importUnits'"},
        {"globalScalingFactor=nan", "not a valid float value for 'globalScalingFactor'"},
        {"loadAnimation=false loadSampleAnimation=true", "'loadSampleAnimation' cannot be set"},
    };
    for (const auto& [setting, message] : refused) {
        EXPECT_EQ(Run(std::string("loadNormals=0 ") + setting), 2) << setting;
        EXPECT_NE(errors.find(message), std::string::npos) << errors;
        EXPECT_EQ(out, "");
        EXPECT_EQ(ReadBytes(Config()), kept) << setting;
    }
}

TEST_F(QvhostOptions, StreamReadsBackAsTheLoaderSeesIt) {
    ASSERT_EQ(Run("importUnits=Miles loadSampleAnimationRate=3 changeTextureEffect=1 --stream " +
                  Out("s.bin")),
              0)
        << errors;
    EXPECT_EQ(ReadBytes(scratch.Path("s.bin")).size(), 16u);
    ASSERT_EQ(Run("--read-stream " + Out("s.bin")), 0) << errors;
    EXPECT_NE(out.find("\nimportUnits = 9 (Miles)\n"), std::string::npos) << out;
    size_t read = out.find("read from ");
    ASSERT_NE(read, std::string::npos) << out;
    std::string asRead = out.substr(read);
    EXPECT_NE(asRead.find("\n  importUnits = 1\n"), std::string::npos) << asRead;
    EXPECT_NE(asRead.find("\n  loadSampleAnimationRate = 1\n"), std::string::npos);
    EXPECT_NE(asRead.find("\n  changeTextureEffect = true\n"), std::string::npos);

    WriteBytes(scratch.Path("v0.bin"), std::string("\0\0\0\0\xff\xff\xff\xff", 8));
    ASSERT_EQ(Run("--read-stream " + Out("v0.bin")), 0) << errors;
    asRead = out.substr(out.find("read from "));
    EXPECT_NE(asRead.find("\n  changeTextureEffect = false\n"), std::string::npos) << asRead;
    EXPECT_NE(asRead.find("\n  globalScalingFactor = 1\n  importUnits = 0\n"), std::string::npos);
}
