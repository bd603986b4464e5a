#include "OutputCheck.h"

#include "gltfio_json.h"

#include <cstdint>
#include <filesystem>
#include <fstream>

namespace qvhost {

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kGlbMagic = 0x46546C67u;      // "glTF"
constexpr uint32_t kJsonChunkType = 0x4E4F534Au; // "JSON"
constexpr uint32_t kBinChunkType = 0x004E4942u;  // "BIN\0"

std::string ReadAt(std::ifstream& in, uint64_t offset, uint64_t size) {
    std::string bytes(size, '\0');
    in.clear();
    in.seekg(static_cast<std::streamoff>(offset));
    in.read(bytes.data(), static_cast<std::streamsize>(size));
    if (static_cast<uint64_t>(in.gcount()) != size) bytes.clear();
    return bytes;
}

uint32_t Uint32At(const std::string& bytes, std::size_t offset) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | static_cast<unsigned char>(bytes[offset + i]);
    return value;
}

// The byteLength of the first buffer, or -1 when the document states none.
int64_t BufferLength(const rapidjson::Document& json) {
    if (!json.HasMember("buffers") || !json["buffers"].IsArray() || json["buffers"].Empty())
        return -1;
    const auto& buffer = json["buffers"][0];
    if (!buffer.IsObject() || !buffer.HasMember("byteLength") || !buffer["byteLength"].IsUint64())
        return -1;
    return static_cast<int64_t>(buffer["byteLength"].GetUint64());
}

std::string FindJsonDefect(const std::string& text, rapidjson::Document* json) {
    json->Parse(text.data(), text.size());
    if (json->HasParseError())
        return "its JSON text ends early or breaks off at byte " +
               std::to_string(json->GetErrorOffset()) + " of " + std::to_string(text.size());
    if (!json->IsObject() || !json->HasMember("asset"))
        return "its JSON text is not a glTF document";
    return std::string();
}

std::string FindGlbDefect(std::ifstream& in, uint64_t fileSize, rapidjson::Document& json) {
    const std::string header = ReadAt(in, 0, 20);
    if (header.empty()) return "it is too short for a .glb header";
    if (Uint32At(header, 4) != 2) return "its .glb version is not 2";
    if (Uint32At(header, 8) != fileSize)
        return "its .glb header states " + std::to_string(Uint32At(header, 8)) +
               " bytes but the file has " + std::to_string(fileSize);
    const uint64_t jsonLength = Uint32At(header, 12);
    if (Uint32At(header, 16) != kJsonChunkType || 20 + jsonLength + 8 > fileSize)
        return "its JSON chunk header is wrong";
    const std::string binHeader = ReadAt(in, 20 + jsonLength, 8);
    const uint64_t binLength = Uint32At(binHeader, 0);
    if (Uint32At(binHeader, 4) != kBinChunkType || 28 + jsonLength + binLength != fileSize)
        return "its BIN chunk header does not match the file's length";
    std::string defect = FindJsonDefect(ReadAt(in, 20, jsonLength), &json);
    if (!defect.empty()) return defect;
    const int64_t stated = BufferLength(json);
    if (stated > static_cast<int64_t>(binLength) || stated + 3 < static_cast<int64_t>(binLength))
        return "its buffer states " + std::to_string(stated) + " bytes but its BIN chunk holds " +
               std::to_string(binLength);
    return std::string();
}

std::string FindGltfDefect(const std::string& path, std::ifstream& in, uint64_t fileSize,
                           rapidjson::Document& json) {
    std::string defect = FindJsonDefect(ReadAt(in, 0, fileSize), &json);
    if (!defect.empty()) return defect;
    const auto& buffers = json["buffers"];
    if (BufferLength(json) < 0 || !buffers[0].HasMember("uri") || !buffers[0]["uri"].IsString())
        return std::string();
    const fs::path bin = fs::path(path).parent_path() / buffers[0]["uri"].GetString();
    std::error_code error;
    const uint64_t binSize = fs::file_size(bin, error);
    if (error) return "its buffer file " + bin.filename().string() + " is missing";
    if (binSize != static_cast<uint64_t>(BufferLength(json)))
        return "its buffer states " + std::to_string(BufferLength(json)) + " bytes but " +
               bin.filename().string() + " has " + std::to_string(binSize);
    return std::string();
}

} // namespace

std::string FindOutputDefect(const std::string& path, rapidjson::Document* json) {
    rapidjson::Document own;
    rapidjson::Document& document = json ? *json : own;
    std::error_code error;
    const uint64_t fileSize = fs::file_size(path, error);
    std::ifstream in(path, std::ios::binary);
    if (error || !in) return "it was not written";
    const std::string magic = ReadAt(in, 0, fileSize < 4 ? fileSize : 4);
    if (magic.size() == 4 && Uint32At(magic, 0) == kGlbMagic)
        return FindGlbDefect(in, fileSize, document);
    in.clear();
    return FindGltfDefect(path, in, fileSize, document);
}

} // namespace qvhost
