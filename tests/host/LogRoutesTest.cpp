// The plug-in's log channel: where each kind of message lands in the host's log, what the boxes
// say, and the text it formats.
#include "host/GltfLogMsg.h"
#include "support/SaveFixture.h"

using namespace testsupport;

namespace {

class LogRoutes : public SaveFixture {
protected:
    std::vector<std::string> Texts(const std::string& subsystem) const {
        std::vector<std::string> texts;
        for (const auto& record : host.LogOf(subsystem)) texts.push_back(record.text);
        return texts;
    }
};

} // namespace

TEST_F(LogRoutes, InfoBeforeAnyHeaderOpensTheMasterEntry) {
    GltfLogMsg log;
    log.LogInfo("first");
    log.LogInfo("second");
    const auto& records = host.LogOf("io-status");
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].text, "gltf: load/save");
    EXPECT_EQ(records[0].depth, 0u);
    EXPECT_EQ(records[1].text, "first");
    EXPECT_EQ(records[2].text, "second");
    EXPECT_EQ(records[2].depth, 1u);
}

TEST_F(LogRoutes, WarningsAndErrorsGoToLogsysWithTheirCodes) {
    GltfLogMsg log;
    log.LogHeader("header");
    log.LogWarning("bad %s", "tangent");
    log.LogError("no %d", 7);
    const auto& sys = host.LogOf("logsys");
    ASSERT_EQ(sys.size(), 2u);
    EXPECT_EQ(sys[0].text, "bad tangent");
    EXPECT_EQ(sys[0].code, qvWarning);
    EXPECT_EQ(sys[0].level, "warning");
    EXPECT_EQ(sys[1].text, "no 7");
    EXPECT_EQ(sys[1].code, qvFailed);
    EXPECT_EQ(sys[1].level, "error");
    EXPECT_EQ(Texts("io-status"), (std::vector<std::string>{"gltf: load/save", "header"}));
}

TEST_F(LogRoutes, WithoutLogsysWarningsUseTheErrorCaptionAndStillCount) {
    host.RemoveLogSubsystem("logsys");
    GltfLogMsg log;
    log.LogWarning("careful");
    EXPECT_EQ(log.WarningCount(), 1u);
    const auto& records = host.LogOf("io-status");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].text, "gltf: load/save error");
    EXPECT_EQ(records[0].code, qvWarning);
    EXPECT_EQ(records[1].text, "careful");
    EXPECT_EQ(records[1].depth, 1u);
}

TEST_F(LogRoutes, WithNoSubsystemNothingIsWrittenButCountsGoOn) {
    host.RemoveLogSubsystem("logsys");
    host.RemoveLogSubsystem("io-status");
    GltfLogMsg log;
    log.LogInfo("lost");
    log.LogWarning("lost too");
    EXPECT_EQ(log.WarningCount(), 1u);
    EXPECT_TRUE(host.Log().empty());
}

TEST_F(LogRoutes, BoxesShowTheTextAndAreLogged) {
    GltfLogMsg log;
    log.PopupError("Failed to export %s!", "GLTF");
    log.PopupNotice("notice");
    ASSERT_EQ(host.MessageBoxes().size(), 2u);
    EXPECT_EQ(host.MessageBoxes()[0].text, "Failed to export GLTF!");
    EXPECT_EQ(host.MessageBoxes()[0].code, qvFailed);
    EXPECT_EQ(host.MessageBoxes()[1].code, qvWarning);
    EXPECT_EQ(Texts("logsys"), (std::vector<std::string>{"Failed to export GLTF!", "notice"}));
    EXPECT_EQ(log.ErrorCount() + log.WarningCount(), 0u); // boxes do not count
}

TEST_F(LogRoutes, VersionLineComesFromThePlatform) {
    host.Platform().build = "77";
    host.Platform().text1 = "Linux";
    host.Platform().text2 = "x64";
    GltfLogMsg log;
    EXPECT_STREQ(log.GetVersion(), "Vorn 11.2 [Build 77], Linux (x64)");
    host.Platform().build = "78"; // built once and kept
    EXPECT_STREQ(log.GetVersion(), "Vorn 11.2 [Build 77], Linux (x64)");
}

TEST(GltfLogMsgText, FormatsPrintfStyleAndKeepsAtMost1023Characters) {
    GltfLogMsg log; // no host: nothing is written anywhere, but the text is kept
    log.LogInfo("Scanning finished, rootItems:%d", 3);
    EXPECT_STREQ(log.Text(), "Scanning finished, rootItems:3");
    EXPECT_STREQ(log.GetFormat(), "gltf");
    std::string exact(1023, 'a');
    log.LogInfo("%s", exact.c_str());
    EXPECT_EQ(std::string(log.Text()), exact);
    log.LogInfo("%s", (std::string(1023, 'b') + "cdef").c_str());
    EXPECT_EQ(std::string(log.Text()), std::string(1023, 'b'));
}
