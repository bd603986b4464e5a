// The log channel's own rules, which hold with or without a host behind it.
#include "host/GltfLogMsg.h"

#include <gtest/gtest.h>

#include <string>

TEST(GltfLogMsgText, KeepsAtMost1023Characters) {
    GltfLogMsg log;
    std::string exact(1023, 'a');
    log.LogInfo("%s", exact.c_str());
    EXPECT_EQ(std::string(log.Text()), exact);

    std::string longer = std::string(1023, 'b') + "cdef";
    log.LogInfo("%s", longer.c_str());
    EXPECT_EQ(std::string(log.Text()), std::string(1023, 'b'));
}

TEST(GltfLogMsgText, FormatsPrintfStyle) {
    GltfLogMsg log;
    log.LogInfo("Scanning finished, rootItems:%d", 3);
    EXPECT_STREQ(log.Text(), "Scanning finished, rootItems:3");
    EXPECT_STREQ(log.GetFormat(), "gltf");
}

TEST(GltfLogMsgCounts, OnlyWarningsAndErrorsCount) {
    GltfLogMsg log; // no host: nothing is written anywhere, but counting still works
    log.LogInfo("info");
    log.LogHeader("header");
    log.PopupError("box");
    log.PopupNotice("notice");
    EXPECT_EQ(log.WarningCount(), 0u);
    EXPECT_EQ(log.ErrorCount(), 0u);
    log.LogWarning("w1");
    log.LogWarning("w2");
    log.LogError("e1");
    EXPECT_EQ(log.WarningCount(), 2u);
    EXPECT_EQ(log.ErrorCount(), 1u);
    log.ResetCounts();
    EXPECT_EQ(log.WarningCount(), 0u);
    EXPECT_EQ(log.ErrorCount(), 0u);
}
