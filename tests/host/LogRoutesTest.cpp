// The plug-in's log channel: where each kind of message lands in the host's log, what the boxes
// say, what counts as a warning or an error, and the text it formats.
#include "host/GltfLogMsg.h"
#include "support/SaveFixture.h"

using namespace testsupport;

namespace {

class LogRoutes : public SaveFixture {
protected:
    // Every record as "subsystem level depth code text".
    std::vector<std::string> Records() const {
        std::vector<std::string> out;
        for (const auto& r : host.Log())
            out.push_back(r.subsystem + " " + r.level + " " + std::to_string(r.depth) + " " +
                          std::to_string(r.code) + " " + r.text);
        return out;
    }
};

} // namespace

// Info goes under a master entry of "io-status", opened by the first info; a header opens a new
// master entry of its own. Warnings and errors go to "logsys" with their codes.
TEST_F(LogRoutes, InfoUnderTheMasterEntryAndWarningsAndErrorsInLogsys) {
    GltfLogMsg log;
    log.LogInfo("first");
    log.LogHeader("header");
    log.LogWarning("bad %s", "tangent");
    log.LogError("no %d", 7);
    EXPECT_EQ(Records(), (std::vector<std::string>{
                             "io-status info 0 1 gltf: load/save", "io-status info 1 1 first",
                             "io-status info 0 1 gltf: load/save", "io-status info 1 1 header",
                             "logsys warning 0 2 bad tangent", "logsys error 0 2147483648 no 7"}));
    EXPECT_EQ(log.WarningCount(), 1u);
    EXPECT_EQ(log.ErrorCount(), 1u);
}

// Without "logsys" a warning opens the master entry with the error caption, and its own text goes
// under it as info; without either subsystem nothing is written. Counting goes on in both cases.
TEST_F(LogRoutes, MissingSubsystemsChangeTheRouteButNotTheCounts) {
    host.RemoveLogSubsystem("logsys");
    GltfLogMsg log;
    log.LogWarning("careful");
    EXPECT_EQ(Records(), (std::vector<std::string>{"io-status warning 0 2 gltf: load/save error",
                                                   "io-status info 1 1 careful"}));
    host.RemoveLogSubsystem("io-status");
    GltfLogMsg lost;
    lost.LogInfo("lost");
    lost.LogWarning("lost too");
    EXPECT_EQ(log.WarningCount() + lost.WarningCount(), 2u);
    EXPECT_EQ(host.Log().size(), 2u);
}

TEST_F(LogRoutes, BoxesShowTheTextAndAreLoggedButNotCounted) {
    GltfLogMsg log;
    log.PopupError("Failed to export %s!", "GLTF");
    log.PopupNotice("notice");
    ASSERT_EQ(host.MessageBoxes().size(), 2u);
    EXPECT_EQ(host.MessageBoxes()[0].text, "Failed to export GLTF!");
    EXPECT_EQ(host.MessageBoxes()[0].code, qvFailed);
    EXPECT_EQ(host.MessageBoxes()[1].code, qvWarning);
    EXPECT_EQ(Records(),
              (std::vector<std::string>{"logsys error 0 2147483648 Failed to export GLTF!",
                                        "msgbox error 0 2147483648 Failed to export GLTF!",
                                        "logsys warning 0 2 notice", "msgbox warning 0 2 notice"}));
    EXPECT_EQ(log.ErrorCount() + log.WarningCount(), 0u);
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
