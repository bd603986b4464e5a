// File and JSON helpers shared by the test suites: a scratch directory per test, host-form
// paths into it, raw bytes, and parsed JSON.
#pragma once

#include "gltfio_json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

namespace testsupport {

namespace fs = std::filesystem;

// The host hands the plug-in backslash paths; on this platform they name the same files as the
// slash form.
inline std::string ToHostPath(const fs::path& path) {
    std::string text = path.string();
    std::replace(text.begin(), text.end(), '/', '\\');
    return text;
}

// A fresh directory named after the running test; removed with its contents afterwards. The
// name has no "." so that the extension rules see only the file names of a test.
class ScratchDir {
public:
    ScratchDir() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        dir = fs::temp_directory_path() /
              ("gltfio_test_" + std::to_string(::getpid()) + "_" + test->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    ~ScratchDir() {
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }
    fs::path Path(const std::string& name) const { return dir / name; }
    std::string Host(const std::string& name) const { return ToHostPath(dir / name); }

    fs::path dir;
};

inline std::string ReadBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline uint32_t ReadUint32(const std::string& bytes, size_t offset) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | static_cast<unsigned char>(bytes.at(offset + i));
    return value;
}

// RapidJSON's default number parsing may miss the nearest double by an ulp; tests compare
// numbers exactly, so they read them at full precision.
constexpr unsigned kFullPrecision = rapidjson::kParseFullPrecisionFlag;

inline rapidjson::Document ParseJson(const std::string& text) {
    rapidjson::Document parsed;
    parsed.Parse<kFullPrecision>(text.c_str(), text.size());
    EXPECT_FALSE(parsed.HasParseError()) << text;
    return parsed;
}

inline std::vector<std::string> MemberNames(const rapidjson::Value& object) {
    std::vector<std::string> names;
    for (const auto& member : object.GetObject())
        names.emplace_back(member.name.GetString());
    return names;
}

// Compact JSON text of a value, as the writer would produce it.
inline std::string JsonText(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize());
}

} // namespace testsupport
