// placeholder implementation until the host layer lands: counts only
#include "host/GltfLogMsg.h"
#include <cstdarg>
#include <cstdio>
GltfLogMsg::GltfLogMsg() = default;
GltfLogMsg::~GltfLogMsg() = default;
const char* GltfLogMsg::GetVersion() { return ""; }
#define FMT va_list a; va_start(a, format); std::vsnprintf(buffer, sizeof buffer, format, a); va_end(a)
void GltfLogMsg::LogHeader(const char* format, ...) { FMT; }
void GltfLogMsg::LogInfo(const char* format, ...) { FMT; }
void GltfLogMsg::LogWarning(const char* format, ...) { FMT; ++warningCount; }
void GltfLogMsg::LogError(const char* format, ...) { FMT; ++errorCount; }
void GltfLogMsg::PopupError(const char* format, ...) { FMT; }
void GltfLogMsg::PopupNotice(const char* format, ...) { FMT; }
