// The run sequence of a save as the host sees it: stages in the log, the monitor, the closing
// notice, and the failures that end a save.
#include "host/CQvGlobals.h"
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

#include <stdexcept>

using namespace testsupport;

namespace {

// A global object that serves the host's services but whose user values throw: stands for any
// failure that surfaces as an exception inside a pass.
class ThrowingGlobal final : public IQvGlobal, public IQvUserValueService {
public:
    explicit ThrowingGlobal(IQvGlobal* host) : host(host) {}
    QvResult QueryInterface(const QvGuid& id, void** out) override {
        if (id != IQvGlobal::iid && id != IQvUnknown::iid) return qvNoInterface;
        *out = static_cast<IQvGlobal*>(this);
        return qvOk;
    }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    QvResult LookupService(const QvGuid& id, void** out) override {
        if (id != IQvUserValueService::iid) return host->LookupService(id, out);
        *out = static_cast<IQvUserValueService*>(this);
        return qvOk;
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
    EXPECT_EQ(children,
              (std::vector<std::string>{"glTf v2 :: InitSaver()", "Scanning finished, rootItems:0",
                                        "RunSaver()", "Creating materials", "...DONE"}));
    EXPECT_TRUE(host.MessageBoxes().empty());
}

// With a monitor the saver first runs a counting pass, which only initialises the monitor.
TEST_F(RunSequence, MonitorGetsACountingPassThatRunsNoStage) {
    ASSERT_EQ(Save("m.gltf", true), qvOk);
    EXPECT_EQ(host.MonitorCalls().initialize, std::vector<uint32_t>{0});
    EXPECT_EQ(CountLines("glTf v2 :: InitSaver()"), 1);
    EXPECT_EQ(CountLines("RunSaver()"), 1);
}

// The notice counts the warnings and errors of its own save: counts start again at each save.
TEST_F(RunSequence, ClosingNoticeCountsTheWarningsOfEachSave) {
    ASSERT_EQ(Save("clean.glb"), qvOk);
    EXPECT_TRUE(host.MessageBoxes().empty());

    ExportType(0);
    BuildCube(host.Scene().AddItem("mesh", "Cube").Mesh(), "Wood");
    auto& mask = host.Scene().AddItem("mask", "Wood mask").Set("ptag", "Wood");
    host.Scene().AddItem("glTFShader", "PBR", mask);
    host.Scene().AddItem("advancedMaterial", "Host", mask); // above the glTF layer: one warning
    ASSERT_EQ(Save("a.glb"), qvOk);
    ASSERT_EQ(Save("b.glb"), qvOk);
    ASSERT_EQ(host.MessageBoxes().size(), 2u);
    for (const auto& box : host.MessageBoxes()) {
        EXPECT_EQ(box.text, "There are 1 warnings and 0 errors reported to event log");
        EXPECT_EQ(box.code, qvWarning);
    }
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

TEST_F(RunSequence, MissingShadingGraphStillWritesButReportsAnUnusableScene) {
    host.Scene().RemoveGraph("shadeLoc");
    EXPECT_EQ(Save("noshade.glb"), qvSceneUnusable);
    EXPECT_TRUE(fs::exists(scratch.Path("noshade.glb")));
    EXPECT_EQ(CountLines("...DONE"), 1);
}
