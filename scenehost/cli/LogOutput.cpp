#include "LogOutput.h"

#include <cstring>

#include <cerrno>

#include "Utf8.h"
#include "gltfio_json.h"

namespace qvhost {

using scenehost::ValidUtf8;

std::string ReadableLine(const scenehost::LogRecord& record) {
    std::string text = record.text;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return std::string(2 * record.depth, ' ') + "[" + record.subsystem + " " + record.level + "] " +
           text;
}

std::string JsonLine(const scenehost::LogRecord& record) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    writer.Key("subsystem");
    writer.String(record.subsystem);
    writer.Key("level");
    writer.String(record.level);
    writer.Key("code");
    writer.Uint(record.code);
    writer.Key("depth");
    writer.Uint(record.depth);
    writer.Key("text");
    writer.String(ValidUtf8(record.text));
    writer.EndObject();
    return buffer.GetString();
}

LogFile::~LogFile() {
    if (file_) std::fclose(file_);
}

bool LogFile::Open(const std::string& path, std::string* error) {
    path_ = path;
    file_ = std::fopen(path.c_str(), "wb");
    if (!file_) *error = "cannot write the log file " + path + ": " + std::strerror(errno);
    return file_ != nullptr;
}

void LogFile::Write(const scenehost::LogRecord& record) {
    if (!file_) return;
    std::string line = JsonLine(record) + "\n";
    if (std::fwrite(line.data(), 1, line.size(), file_) != line.size()) failed_ = true;
}

bool LogFile::Close(std::string* error) {
    if (!file_) return true;
    bool ok = !failed_ && std::fflush(file_) == 0;
    ok = std::fclose(file_) == 0 && ok;
    file_ = nullptr;
    if (!ok) *error = "could not write all of the log file " + path_;
    return ok;
}

} // namespace qvhost
