// The one log channel of a save. Formats printf-style text into one fixed buffer, sends it to the
// host's log subsystems "io-status" and "logsys", shows boxes, and counts warnings and errors
// for the closing notice. Never throws, never stops a save.
#pragma once

#include "host/CQvLogMessage.h"

#include <cstdarg>
#include <cstdint>

#if defined(__GNUC__)
#define GLTF_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define GLTF_PRINTF(fmt, args)
#endif

class GltfLogMsg : public CQvHarrowLogMessage {
public:
    GltfLogMsg();
    ~GltfLogMsg() override;

    const char* GetFormat() override { return "gltf"; }

    void LogHeader(const char* format, ...) GLTF_PRINTF(2, 3);
    void LogInfo(const char* format, ...) GLTF_PRINTF(2, 3);
    void LogWarning(const char* format, ...) GLTF_PRINTF(2, 3);
    void LogError(const char* format, ...) GLTF_PRINTF(2, 3);
    void PopupError(const char* format, ...) GLTF_PRINTF(2, 3);
    void PopupNotice(const char* format, ...) GLTF_PRINTF(2, 3);

    void ResetCounts() { warningCount = errorCount = 0; }
    uint32_t WarningCount() const { return warningCount; }
    uint32_t ErrorCount() const { return errorCount; }

    // Text of the last formatted message.
    const char* Text() const { return buffer; }

private:
    void Format(const char* format, va_list args);
    // Writes the buffer to "logsys" with `code`; false when there is no such subsystem.
    bool WriteSysLog(QvResult code);
    void ShowBox(QvResult code);

    // At most 1,023 characters and the terminator; longer text is cut, deliberately.
    char buffer[1024] = {};
    CQvUser_LogEntry entryWrap;
    CQvUser_Log sysLog;
    CQvUser_Message messageWrap;
    uint32_t warningCount = 0;
    uint32_t errorCount = 0;
};
