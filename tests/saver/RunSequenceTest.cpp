// The run sequence of a save as the host sees it: passes, log lines, boxes and results.
#include "host/CQvGlobals.h"
#include "saver/GltfSaver.h"
#include "support/SaveFixture.h"

#include <stdexcept>

using namespace testsupport;

namespace {

// A saver that counts its passes; everything else is the real one.
class CountingSaver : public GltfSaverGLTF {
public:
    QvResult SavePass() override {
        ++passes;
        return GltfSaverGLTF::SavePass();
    }
    int passes = 0;
};

// A global object that serves the host's services but whose user values throw: stands for any
// failure that surfaces as an exception inside a pass.
class ThrowingGlobal final : public IQvGlobal, public IQvUserValueService {
public:
    explicit ThrowingGlobal(IQvGlobal* host) : host(host) {}
    QvResult QueryInterface(const QvGuid& id, void** out) override {
        if (id == IQvGlobal::iid || id == IQvUnknown::iid) {
            *out = static_cast<IQvGlobal*>(this);
            return qvOk;
        }
        return qvNoInterface;
    }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    QvResult LookupService(const QvGuid& id, void** out) override {
        if (id == IQvUserValueService::iid) {
            *out = static_cast<IQvUserValueService*>(this);
            return qvOk;
        }
        return host->LookupService(id, out);
    }
    QvResult UserValueLookup(const char*, IQvUserValue**) override {
        throw std::runtime_error("user value store is gone");
    }

private:
    IQvGlobal* host;
};

class RunSequence : public SaveFixture {};

} // namespace

TEST_F(RunSequence, LogsTheStagesAtInfoLevelUnderOneMasterEntry) {
    ASSERT_EQ(Save("scene.glb"), qvOk);
    const auto& log = host.LogOf("io-status");
    ASSERT_GE(log.size(), 5u);
    EXPECT_EQ(log[0].text, "gltf: load/save");
    EXPECT_EQ(log[0].depth, 0u);
    std::vector<std::string> children;
    for (size_t i = 1; i < log.size(); ++i) {
        EXPECT_EQ(log[i].depth, 1u) << log[i].text;
        EXPECT_EQ(log[i].level, "info") << log[i].text;
        children.push_back(log[i].text);
    }
    EXPECT_EQ(children, (std::vector<std::string>{"glTf v2 :: InitSaver()",
                                                  "Scanning finished, rootItems:0", "RunSaver()",
                                                  "Creating materials", "...DONE"}));
    EXPECT_TRUE(host.MessageBoxes().empty());
}

TEST_F(RunSequence, MonitorAddsACountingPassThatOnlyInitializes) {
    CountingSaver withMonitor;
    std::string path = ToHostPath(scratch.Path("m.gltf"));
    EXPECT_EQ(withMonitor.Save(host.SceneObject(), path.c_str(), host.Monitor()), qvOk);
    EXPECT_EQ(withMonitor.passes, 2);
    EXPECT_EQ(CountLines("glTf v2 :: InitSaver()"), 1);
    EXPECT_EQ(CountLines("RunSaver()"), 1);
    EXPECT_EQ(host.MonitorCalls().initialize, std::vector<uint32_t>{0});

    CountingSaver without;
    EXPECT_EQ(without.Save(host.SceneObject(), path.c_str(), nullptr), qvOk);
    EXPECT_EQ(without.passes, 1);
    EXPECT_EQ(CountLines("glTf v2 :: InitSaver()"), 2);
}

TEST_F(RunSequence, ExceptionInsideAPassFailsTheSaveWithTheFatalBox) {
    ThrowingGlobal throwing(host.Global());
    CQvGlobals::SetGlobal(&throwing);
    QvResult result = Save("x.glb");
    CQvGlobals::SetGlobal(host.Global());
    EXPECT_EQ(result, qvFailed);
    ASSERT_EQ(host.MessageBoxes().size(), 1u);
    EXPECT_EQ(host.MessageBoxes()[0].text, "Fatal internal error in FBX saver");
    EXPECT_EQ(host.MessageBoxes()[0].code, qvFailed);
    EXPECT_FALSE(fs::exists(scratch.Path("x.glb")));
    EXPECT_EQ(CountLines("RunSaver()"), 0);
}

TEST_F(RunSequence, ClosingNoticeCountsWarningsAndErrorsThenResets) {
    GltfSaver saver;
    saver.ReportCounts();
    EXPECT_TRUE(host.MessageBoxes().empty()); // nothing counted, no notice

    saver.log.LogWarning("first");
    saver.log.LogWarning("second");
    saver.log.LogError("third");
    saver.ReportCounts();
    ASSERT_EQ(host.MessageBoxes().size(), 1u);
    EXPECT_EQ(host.MessageBoxes()[0].text,
              "There are 2 warnings and 1 errors reported to event log");
    EXPECT_EQ(host.MessageBoxes()[0].code, qvWarning);
    EXPECT_EQ(saver.log.WarningCount(), 0u);
    EXPECT_EQ(saver.log.ErrorCount(), 0u);
}

TEST_F(RunSequence, MissingShadingGraphStillWritesButReportsAnUnusableScene) {
    host.Scene().RemoveGraph("shadeLoc");
    EXPECT_EQ(Save("noshade.glb"), qvSceneUnusable);
    EXPECT_TRUE(fs::exists(scratch.Path("noshade.glb")));
    EXPECT_EQ(CountLines("...DONE"), 1);
}
