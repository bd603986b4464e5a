// The one log channel of a save. Formats printf-style text into one fixed buffer, sends it to the
// host's log subsystems "io-status" and "logsys", shows boxes, and counts warnings and errors
// for the closing notice. Never throws, never stops a save.
#pragma once

#include "host/CQvLogMessage.h"

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
    const char* GetVersion() override;

    void LogHeader(const char* format, ...) GLTF_PRINTF(2, 3);
    void LogInfo(const char* format, ...) GLTF_PRINTF(2, 3);
    void LogWarning(const char* format, ...) GLTF_PRINTF(2, 3);
    void LogError(const char* format, ...) GLTF_PRINTF(2, 3);
    void PopupError(const char* format, ...) GLTF_PRINTF(2, 3);
    void PopupNotice(const char* format, ...) GLTF_PRINTF(2, 3);

    void ResetCounts() { warningCount = errorCount = 0; }
    uint32_t WarningCount() const { return warningCount; }
    uint32_t ErrorCount() const { return errorCount; }

    // Text of the last formatted message (for the routes and the tests).
    const char* Text() const { return buffer; }

private:
    // ... private members filled in by the implementation
    char buffer[1024] = {};
    uint32_t warningCount = 0;
    uint32_t errorCount = 0;
};
