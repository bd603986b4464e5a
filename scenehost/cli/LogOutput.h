// The log of a qvhost run: readable lines on standard error as entries arrive, and with --log a
// file of JSON lines, one object per entry: {"subsystem", "level", "code", "depth", "text"}.
#pragma once

#include "LogService.h"

#include <cstdio>
#include <string>

namespace qvhost {

// "[io-status info] text", indented two blanks per depth; trailing newlines of the text dropped.
std::string ReadableLine(const scenehost::LogRecord& record);

// One JSON object without a newline. Text that is not valid UTF-8 (a plug-in may cut a message
// inside a character) has each bad byte replaced by U+FFFD, so every line stays valid JSON.
std::string JsonLine(const scenehost::LogRecord& record);

class LogFile {
public:
    LogFile() = default;
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    bool Open(const std::string& path, std::string* error);
    void Write(const scenehost::LogRecord& record);
    // Flushes and closes; false when anything could not be written.
    bool Close(std::string* error);

private:
    std::FILE* file_ = nullptr;
    std::string path_;
    bool failed_ = false;
};

} // namespace qvhost
