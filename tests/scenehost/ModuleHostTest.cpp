// Hosting plug-ins: the in-process route, the loader, savers by extension, and qvhost.
#include "ModuleHost.h"
#include "HostPath.h"
#include "HostTestUtil.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

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

std::string BuildDir() {
    return std::filesystem::path(GLTFIO_QVHOST_PATH).parent_path().string();
}
std::string FakeModulePath() {
    return BuildDir() + "/fakemodule.qv";
}

// A fresh folder per test and process, so that runs in parallel do not meet; gone afterwards.
struct Scratch {
    std::string dir;
    explicit Scratch(const char* name)
        : dir((std::filesystem::temp_directory_path() /
               (std::string(name) + "_" + std::to_string(getpid())))
                  .string()) {
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
    }
    ~Scratch() { std::filesystem::remove_all(dir); }
};

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A host path as it stands inside a JSON string: backslashes escaped.
std::string ToHostPathJson(const std::string& path) {
    std::string out;
    for (char c : ToHostPath(path))
        out += c == '\\' ? std::string("\\\\") : std::string(1, c);
    return out;
}

struct CliRun {
    int status;
    std::string out, err;
};

// Runs qvhost with the fake module as its plug-in.
CliRun Qvhost(const std::string& args, const std::string& dir) {
    std::string out = dir + "/stdout.txt", err = dir + "/stderr.txt";
    std::string command = "QVHOST_PLUGIN='" + FakeModulePath() + "' '" + GLTFIO_QVHOST_PATH + "' " +
                          args + " >'" + out + "' 2>'" + err + "'";
    int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, ReadFile(out), ReadFile(err)};
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
    Scratch scratch("scenehost_fakemodule");
    const std::string& dir = scratch.dir;
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
        EXPECT_EQ(ReadFile(dir + "/out.fake"), "scene Scene\nmesh Cube\ntranslation Translation\n");
        EXPECT_EQ(host.MonitorCalls().initialize, std::vector<uint32_t>{1});
        EXPECT_EQ(host.MonitorCalls().steps, std::vector<uint32_t>{1});
        ASSERT_EQ(host.Log().size(), 2u);
        EXPECT_EQ(host.Log()[1].depth, 1u);
        EXPECT_EQ(host.HeldReferences(), 0);
        EXPECT_EQ(host.Count("OverRelease"), 0);
    }
    EXPECT_EQ(LiveTransientObjects(), transients);
}

TEST(Qvhost, SavesWithTheSaverOfTheExtensionAndWritesTheLog) {
    Scratch scratch("scenehost_qvhost_save");
    const std::string& dir = scratch.dir;
    std::ofstream(dir + "/s.json")
        << R"({"items": [{"id": "cam", "type": "camera", "name": "Cam"}]})";
    CliRun run = Qvhost("save '" + dir + "/s.json' '" + dir + "/out.fake' --log '" + dir +
                            "/log.jsonl' --monitor",
                        dir);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ReadFile(dir + "/out.fake"), "scene Scene\ncamera Cam\n");
    EXPECT_EQ(ReadFile(dir + "/log.jsonl"), "{\"subsystem\":\"io-status\",\"level\":\"info\","
                                            "\"code\":1,\"depth\":0,\"text\":\"fake: save\"}\n"
                                            "{\"subsystem\":\"io-status\",\"level\":\"info\","
                                            "\"code\":1,\"depth\":1,\"text\":\"wrote 2 items to " +
                                                ToHostPathJson(dir + "/out.fake") + "\"}\n");
    EXPECT_NE(run.err.find("\n  [io-status info] wrote 2 items"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("qvhost: monitor initialized with 1 steps"), std::string::npos)
        << run.err;
}

TEST(Qvhost, AFailedSaveExitsWithOneAndKeepsItsLog) {
    Scratch scratch("scenehost_qvhost_fail");
    const std::string& dir = scratch.dir;
    std::ofstream(dir + "/s.json") << R"({"items": []})";
    CliRun run =
        Qvhost("save '" + dir + "/s.json' '" + dir +
                   "/out.x' --saver fake.save --set fake.fail=1 --log '" + dir + "/log.jsonl'",
               dir);
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_EQ(ReadFile(dir + "/log.jsonl"),
              "{\"subsystem\":\"logsys\",\"level\":\"error\",\"code\":2147483648,\"depth\":0,"
              "\"text\":\"fake failure "
              "requested\"}\n");
    EXPECT_NE(run.err.find("(0x80000000)"), std::string::npos) << run.err;

    // A value that is no integer reaches the plug-in as an unreadable one: the fake reads 0.
    run = Qvhost("save '" + dir + "/s.json' '" + dir + "/out.fake' --set fake.fail=one", dir);
    EXPECT_EQ(run.status, 0) << run.err;
}

TEST(Qvhost, ABrokenSceneOrBadArgumentsExitWithTwoAndWriteNothing) {
    Scratch scratch("scenehost_qvhost_refuse");
    const std::string& dir = scratch.dir;
    std::ofstream(dir + "/bad.json") << "{\n  \"items\": [{\"id\": \"a\", \"type\": \"cube\"}]\n}";
    std::ofstream(dir + "/good.json") << "{}";
    CliRun run = Qvhost(
        "save '" + dir + "/bad.json' '" + dir + "/out.fake' --log '" + dir + "/log.jsonl'", dir);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, dir + "/bad.json:2:33: unknown item type 'cube'\n");
    EXPECT_FALSE(std::filesystem::exists(dir + "/out.fake"));
    EXPECT_FALSE(std::filesystem::exists(dir + "/log.jsonl"));

    EXPECT_EQ(Qvhost("save '" + dir + "/good.json' '" + dir + "/out.glb'", dir).status,
              2); // no such saver
    EXPECT_EQ(Qvhost("save '" + dir + "/good.json' '" + dir + "/noextension'", dir).status, 2);
    EXPECT_EQ(
        Qvhost("save '" + dir + "/good.json' '" + dir + "/o.fake' --saver nosuch", dir).status, 2);
    EXPECT_EQ(Qvhost("save '" + dir + "/good.json'", dir).status, 2);
    EXPECT_EQ(Qvhost("save a b --set novalue", dir).status, 2);
    EXPECT_EQ(Qvhost("save a b --colour", dir).status, 2);
    EXPECT_EQ(Qvhost("frobnicate", dir).status, 2);
    EXPECT_EQ(
        Qvhost("save '" + dir + "/good.json' '" + dir + "/o.fake' --plugin /nonexistent.qv", dir)
            .status,
        2);
    EXPECT_FALSE(std::filesystem::exists(dir + "/o.fake"));
    CliRun options = Qvhost("options --config c.cfg a=1", dir);
    EXPECT_EQ(options.status, 2);
    EXPECT_EQ(options.err, "qvhost options: not available yet\n");
}

TEST(Qvhost, ServersListsNamesAndTagRowsInOrder) {
    Scratch scratch("scenehost_qvhost_servers");
    const std::string& dir = scratch.dir;
    CliRun run = Qvhost("servers", dir);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out,
              "fake.command\nfake.save\n  saver.outClass = scene2\n  saver.dosType = fake\n"
              "  server.username = Fake .fake\n  server.logsubsystem = io-status\n");
}
