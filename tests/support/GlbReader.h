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
        size_t count = accessor["count"].GetUint() * Components(accessor["type"].GetString());
        unsigned componentType = accessor["componentType"].GetUint();
        std::vector<double> values;
        for (size_t i = 0; i < count; ++i) values.push_back(Read(componentType, offset, i));
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
    static size_t Components(const std::string& type) {
        if (type == "SCALAR") return 1;
        if (type == "VEC2") return 2;
        if (type == "VEC3") return 3;
        if (type == "VEC4") return 4;
        return 16;
    }
    double Read(unsigned componentType, size_t offset, size_t i) const {
        if (componentType == 5123) {
            uint16_t v;
            std::memcpy(&v, bin.data() + offset + 2 * i, 2);
            return v;
        }
        if (componentType == 5125) {
            uint32_t v;
            std::memcpy(&v, bin.data() + offset + 4 * i, 4);
            return v;
        }
        float f;
        std::memcpy(&f, bin.data() + offset + 4 * i, 4);
        return f;
    }
};

} // namespace testsupport
