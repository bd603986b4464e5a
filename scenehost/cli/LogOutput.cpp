#include "LogOutput.h"

#include <cstring>

#include <cerrno>

#include "gltfio_json.h"

namespace qvhost {

namespace {

// Length of the valid UTF-8 sequence at text[i], or 0 when the byte there starts none.
size_t Utf8Length(const std::string& text, size_t i) {
    auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    unsigned char c = byte(i);
    if (c < 0x80) return 1;
    size_t length = 0;
    if (c >= 0xC2 && c <= 0xDF) length = 2;
    if (c >= 0xE0 && c <= 0xEF) length = 3;
    if (c >= 0xF0 && c <= 0xF4) length = 4;
    if (length == 0 || i + length > text.size()) return 0;
    for (size_t k = 1; k < length; ++k)
        if ((byte(i + k) & 0xC0) != 0x80) return 0;
    // Overlong three- and four-byte forms, surrogates and code points past U+10FFFF.
    if ((c == 0xE0 && byte(i + 1) < 0xA0) || (c == 0xED && byte(i + 1) > 0x9F) ||
        (c == 0xF0 && byte(i + 1) < 0x90) || (c == 0xF4 && byte(i + 1) > 0x8F))
        return 0;
    return length;
}

} // namespace

std::string ValidUtf8(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        size_t length = Utf8Length(text, i);
        if (length == 0) {
            out += "\xEF\xBF\xBD";
            ++i;
        } else {
            out.append(text, i, length);
            i += length;
        }
    }
    return out;
}

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
