// Hosting a plug-in from its file, as the application does: the loader, savers by extension, the
// host path, the monitor, a refused Verify, and the references a module must give back. The fake
// module stands in for the plug-in; the real one is hosted in-process by every save test and from
// its file by qvhost (tests/cli).
#include "ModuleHost.h"
#include "HostTestUtil.h"
#include "support/TestFiles.h"

#include <filesystem>

using namespace scenehost;
using namespace hosttest;

namespace {

std::string FakeModulePath() {
    return std::filesystem::path(GLTFIO_QVHOST_PATH).parent_path().string() + "/fakemodule.qv";
}

} // namespace

TEST(ModuleHost, LoaderReportsWhatWentWrong) {
    SceneHost host;
    ModuleHost plugin(host);
    std::string error;
    EXPECT_FALSE(plugin.Load("/nonexistent/plugin.qv", &error));
    EXPECT_NE(error.find("cannot load plug-in /nonexistent/plugin.qv"), std::string::npos) << error;
    EXPECT_FALSE(plugin.Load("libm.so.6", &error)); // a library, but no module
    EXPECT_EQ(error, "plug-in libm.so.6 has no _IQvModule_Create");
    EXPECT_FALSE(plugin.Loaded());
    EXPECT_FALSE(plugin.Attach(nullptr, &error));
}

TEST(ModuleHost, ALoadedModuleSavesInHostPathsAndReleasesEverythingItTook) {
    testsupport::ScratchDir scratch;
    int transients = LiveTransientObjects();
    {
        SceneHost host;
        host.Scene().AddItem("mesh", "Cube").Position(1, 2, 3);
        {
            ModuleHost plugin(host);
            std::string error;
            ASSERT_TRUE(plugin.Load(FakeModulePath(), &error)) << error;
            EXPECT_EQ(plugin.ServerNames(),
                      (std::vector<std::string>{"fake.command", "fake.save"}));
            EXPECT_TRUE(plugin.ServerTags("fake.command").empty());
            ASSERT_EQ(plugin.ServerTags("fake.save").size(), 4u);
            EXPECT_EQ(plugin.ServerTags("fake.save")[1].value, "fake");
            EXPECT_EQ(plugin.SaverForExtension("FAKE"), "fake.save");
            EXPECT_EQ(plugin.SaverForExtension("glb"), "");
            EXPECT_EQ(ModuleHost::ExtensionOf("out/a.b/scene.GLB"), "GLB");
            EXPECT_EQ(ModuleHost::ExtensionOf("out/a.b/scene"), "");
            EXPECT_EQ(plugin.Save("fake.command", scratch.Path("x.fake").string()), qvNotFound);
            EXPECT_EQ(plugin.Save("fake.save", scratch.Path("out.fake").string(), true), qvOk);
        }
        EXPECT_EQ(testsupport::ReadBytes(scratch.Path("out.fake")),
                  "scene Scene\nmesh Cube\ntranslation Translation\n");
        ASSERT_EQ(host.Log().size(), 2u);
        EXPECT_EQ(host.Log()[1].text, "wrote 3 items to " + scratch.Host("out.fake"));
        EXPECT_EQ(host.Log()[1].depth, 1u);
        EXPECT_EQ(host.MonitorCalls().initialize, std::vector<uint32_t>{1});
        EXPECT_EQ(host.MonitorCalls().steps, std::vector<uint32_t>{1});
        EXPECT_EQ(host.HeldReferences(), 0);
        EXPECT_EQ(host.Count("OverRelease"), 0);
    }
    EXPECT_EQ(LiveTransientObjects(), transients);
}

TEST(ModuleHost, ARefusedVerifyShowsItsMessageAndSavesNothing) {
    testsupport::ScratchDir scratch;
    SceneHost host;
    host.SetUserInt("fake.refuse", 1);
    ModuleHost plugin(host);
    std::string error;
    ASSERT_TRUE(plugin.Load(FakeModulePath(), &error)) << error;
    EXPECT_EQ(plugin.Save("fake.save", scratch.Path("x.fake").string()), qvFailed);
    EXPECT_FALSE(std::filesystem::exists(scratch.Path("x.fake")));
    ASSERT_EQ(host.MessageBoxes().size(), 1u);
    EXPECT_EQ(host.MessageBoxes()[0].text, "refused by the fake saver");
    EXPECT_EQ(host.MessageBoxes()[0].code, qvFailed);
}
