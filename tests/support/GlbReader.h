// Reads a .glb back, or a document's JSON and buffer: the JSON, and the numbers of any accessor
// from the buffer, so that tests can check values rather than counts.
#pragma once

#include "support/TestFiles.h"

#include <cstring>
#include <string>
#include <vector>

namespace testsupport {

class GlbReader {
public:
    explicit GlbReader(const std::string& bytes) {
        if (bytes.size() < 28) return;
        uint32_t jsonLength = ReadUint32(bytes, 12);
        json.Parse<kFullPrecision>(bytes.c_str() + 20, jsonLength);
        size_t binHeader = 20 + jsonLength;
        if (bytes.size() >= binHeader + 8)
            bin = bytes.substr(binHeader + 8, ReadUint32(bytes, binHeader));
    }
    GlbReader(const std::string& jsonText, std::string buffer) : bin(std::move(buffer)) {
        json.Parse<kFullPrecision>(jsonText.c_str(), jsonText.size());
    }

    // The accessor's numbers, widened to double, whatever their component type.
    std::vector<double> Values(unsigned accessorIndex) const {
        const auto& accessor = json["accessors"][accessorIndex];
        const auto& view = json["bufferViews"][accessor["bufferView"].GetUint()];
        size_t offset = view.HasMember("byteOffset") ? view["byteOffset"].GetUint() : 0;
        const std::string type = accessor["type"].GetString();
        size_t width = type == "SCALAR" ? 1
                       : type == "VEC2" ? 2
                       : type == "VEC3" ? 3
                       : type == "MAT4" ? 16
                                        : 4;
        unsigned componentType = accessor["componentType"].GetUint();
        std::vector<double> values;
        for (size_t i = 0; i < accessor["count"].GetUint() * width; ++i) {
            if (componentType == 5123)
                values.push_back(Read<uint16_t>(offset + 2 * i));
            else if (componentType == 5125)
                values.push_back(Read<uint32_t>(offset + 4 * i));
            else
                values.push_back(Read<float>(offset + 4 * i));
        }
        return values;
    }

    // The values of a primitive's attribute, or of its indices for "indices".
    std::vector<double> Attribute(const rapidjson::Value& primitive, const char* name) const {
        if (std::strcmp(name, "indices") == 0) return Values(primitive["indices"].GetUint());
        return Values(primitive["attributes"][name].GetUint());
    }

    const rapidjson::Value& Primitive(unsigned mesh, unsigned primitive) const {
        return json["meshes"][mesh]["primitives"][primitive];
    }

    rapidjson::Document json;
    std::string bin;

private:
    template <class T> T Read(size_t at) const {
        T value{};
        if (at + sizeof(T) <= bin.size()) std::memcpy(&value, bin.data() + at, sizeof(T));
        return value;
    }
};

} // namespace testsupport
