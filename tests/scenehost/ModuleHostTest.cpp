// Hosting plug-ins: the in-process route, the loader, and savers by extension, with a module
// made here and with the fake module loaded from its file. qvhost runs the real plug-in in
// tests/cli.
#include "ModuleHost.h"
#include "HostTestUtil.h"
#include "support/TestFiles.h"

#include <filesystem>

using namespace scenehost;
using namespace hosttest;

namespace {

// A module object made in the test: one saver "t.save" for ".TST" files that records its calls.
struct Calls {
    IQvGlobal* contextAtFirstQuestion = nullptr;
    IQvGlobal* context = nullptr;
    std::string savedPath;
    IQvUnknown* source = nullptr;
    IQvUnknown* monitor = nullptr;
    bool verifyFails = false;
};

struct TestSaver : Transient<IQvSaver, IQvTagDescription> {
    Calls& calls;
    explicit TestSaver(Calls& c) : calls(c) {}
    QvResult TagCount(uint32_t* n) override {
        *n = 2;
        return qvOk;
    }
    QvResult TagDescribe(uint32_t i, QvTagRow* row) override {
        if (i >= 2) return qvOutOfRange;
        *row = i == 0 ? QvTagRow{nullptr, "saver.outClass", "scene2"}
                      : QvTagRow{&IQvSaver::iid, "saver.dosType", "TST"};
        return qvOk;
    }
    QvResult Verify(IQvUnknown*, IQvUnknown* message) override {
        if (!calls.verifyFails) return qvOk;
        auto m = Query<IQvMessage>(message);
        m->SetCode(qvFailed);
        m->SetMessage("common", nullptr, 2020);
        m->SetArgumentString(1, "nothing to save");
        return qvFailed;
    }
    QvResult Save(IQvUnknown* source, const char* path, IQvUnknown* monitor) override {
        calls.savedPath = path;
        calls.source = source;
        calls.monitor = monitor;
        return qvWarning; // a success that is not qvOk must come back unchanged
    }
};

struct TestModule : Transient<IQvModule, IQvNeedContext> {
    Calls& calls;
    explicit TestModule(Calls& c) : calls(c) {}
    QvResult SetContext(IQvGlobal* global) override {
        calls.context = global;
        return qvOk;
    }
    QvResult ServerCount(uint32_t* n) override {
        if (!calls.contextAtFirstQuestion) calls.contextAtFirstQuestion = calls.context;
        *n = 2;
        return qvOk;
    }
    QvResult ServerName(uint32_t i, const char** name) override {
        if (i >= 2) return qvOutOfRange;
        *name = i == 0 ? "t.command" : "t.save";
        return qvOk;
    }
    QvResult Generate(const char* name, const QvGuid& id, void** out) override {
        if (std::string(name) != "t.save") return qvNotFound;
        ComRef<TestSaver> saver(new TestSaver(calls), false);
        return saver->QueryInterface(id, out);
    }
};

std::string FakeModulePath() {
    return std::filesystem::path(GLTFIO_QVHOST_PATH).parent_path().string() + "/fakemodule.qv";
}

} // namespace

TEST(ModuleHost, AttachHandsOverTheContextBeforeAnyQuestion) {
    SceneHost host;
    Calls calls;
    ModuleHost plugin(host);
    std::string error;
    ASSERT_TRUE(plugin.Attach(static_cast<IQvModule*>(new TestModule(calls)), &error)) << error;
    EXPECT_EQ(plugin.ServerNames(), (std::vector<std::string>{"t.command", "t.save"}));
    EXPECT_EQ(calls.contextAtFirstQuestion, host.Global());

    std::vector<ServerTag> tags = plugin.ServerTags("t.save");
    ASSERT_EQ(tags.size(), 2u);
    EXPECT_EQ(tags[1].key, "saver.dosType");
    EXPECT_EQ(tags[1].value, "TST");
    EXPECT_FALSE(tags[0].forInterface);
    EXPECT_TRUE(tags[1].forInterface);
    EXPECT_TRUE(plugin.ServerTags("t.command").empty());
    EXPECT_FALSE(plugin.Attach(nullptr, &error));
}

TEST(ModuleHost, SaverIsChosenByExtensionAndGetsHostPathSceneAndMonitor) {
    SceneHost host;
    Calls calls;
    ModuleHost plugin(host);
    std::string error;
    ASSERT_TRUE(plugin.Attach(static_cast<IQvModule*>(new TestModule(calls)), &error));
    EXPECT_EQ(plugin.SaverForExtension("tst"), "t.save");
    EXPECT_EQ(plugin.SaverForExtension("glb"), "");
    EXPECT_EQ(ModuleHost::ExtensionOf("out/a.b/scene.GLB"), "GLB");
    EXPECT_EQ(ModuleHost::ExtensionOf("out/a.b/scene"), "");

    EXPECT_EQ(plugin.Save("t.save", "out/dir/scene.tst"), qvWarning);
    EXPECT_EQ(calls.savedPath, "out\\dir\\scene.tst");
    EXPECT_EQ(Query<IQvScene>(calls.source).get(), static_cast<IQvScene*>(&host.Scene()));
    EXPECT_EQ(calls.monitor, nullptr);
    plugin.Save("t.save", "x.tst", true);
    EXPECT_EQ(calls.monitor, static_cast<IQvUnknown*>(host.Monitor()));
    EXPECT_EQ(plugin.Save("t.command", "x.tst"), qvNotFound);
}

TEST(ModuleHost, ARefusedVerifyShowsItsMessageAndSavesNothing) {
    SceneHost host;
    Calls calls;
    calls.verifyFails = true;
    ModuleHost plugin(host);
    std::string error;
    ASSERT_TRUE(plugin.Attach(static_cast<IQvModule*>(new TestModule(calls)), &error));
    EXPECT_EQ(plugin.Save("t.save", "x.tst"), qvFailed);
    EXPECT_EQ(calls.savedPath, "");
    ASSERT_EQ(host.MessageBoxes().size(), 1u);
    EXPECT_EQ(host.MessageBoxes()[0].text, "nothing to save");
    EXPECT_EQ(host.MessageBoxes()[0].code, qvFailed);
}

TEST(ModuleHost, LoaderReportsWhatWentWrong) {
    SceneHost host;
    ModuleHost plugin(host);
    std::string error;
    EXPECT_FALSE(plugin.Load("/nonexistent/plugin.qv", &error));
    EXPECT_NE(error.find("cannot load plug-in /nonexistent/plugin.qv"), std::string::npos) << error;
    EXPECT_FALSE(plugin.Load("libm.so.6", &error)); // a library, but no module
    EXPECT_EQ(error, "plug-in libm.so.6 has no _IQvModule_Create");
    EXPECT_FALSE(plugin.Loaded());
}

TEST(ModuleHost, ALoadedModuleSavesAndReleasesEverythingItTook) {
    testsupport::ScratchDir scratch;
    const std::string dir = scratch.dir.string();
    int transients = LiveTransientObjects();
    {
        SceneHost host;
        host.Scene().AddItem("mesh", "Cube").Position(1, 2, 3);
        {
            ModuleHost plugin(host);
            std::string error;
            ASSERT_TRUE(plugin.Load(FakeModulePath(), &error)) << error;
            EXPECT_EQ(plugin.SaverForExtension("FAKE"), "fake.save");
            EXPECT_EQ(plugin.Save("fake.save", dir + "/out.fake", true), qvOk);
        }
        EXPECT_EQ(testsupport::ReadBytes(dir + "/out.fake"), "scene Scene\nmesh Cube\ntranslation Translation\n");
        EXPECT_EQ(host.MonitorCalls().initialize, std::vector<uint32_t>{1});
        EXPECT_EQ(host.MonitorCalls().steps, std::vector<uint32_t>{1});
        ASSERT_EQ(host.Log().size(), 2u);
        EXPECT_EQ(host.Log()[1].depth, 1u);
        EXPECT_EQ(host.HeldReferences(), 0);
        EXPECT_EQ(host.Count("OverRelease"), 0);
    }
    EXPECT_EQ(LiveTransientObjects(), transients);
}
