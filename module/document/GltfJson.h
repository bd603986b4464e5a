// The JSON side of GltfDocument::Write, for the document's own sources and its tests.
//
// One rapidjson::Document per write; every value is built with its allocator. AddMember appends,
// so the member order of every object in the file is the order of the calls that build it. The
// helpers below exist so that each "add this member only when ..." rule is one readable call.
#pragma once

#include "gltfio_json.h"

#include "document/GltfDocument.h"

#include <string>
#include <type_traits>

static_assert(std::is_same<GltfJsonValue, rapidjson::Value>::value,
              "GltfDocument.h declares GltfJsonValue by hand; it must stay rapidjson::Value");

using GltfJsonAllocator = rapidjson::Document::AllocatorType;

// The JSON under construction: the root, its pool allocator (RapidJSON's default chunk size)
// and the 13 top-level arrays, which FinishJson moves into the root.
struct GltfJsonState {
    rapidjson::Document root{rapidjson::kObjectType};
    GltfJsonAllocator& allocator = root.GetAllocator();
    rapidjson::Value scenes{rapidjson::kArrayType};
    rapidjson::Value nodes{rapidjson::kArrayType};
    rapidjson::Value meshes{rapidjson::kArrayType};
    rapidjson::Value buffers{rapidjson::kArrayType};
    rapidjson::Value bufferViews{rapidjson::kArrayType};
    rapidjson::Value accessors{rapidjson::kArrayType};
    rapidjson::Value materials{rapidjson::kArrayType};
    rapidjson::Value textures{rapidjson::kArrayType};
    rapidjson::Value images{rapidjson::kArrayType};
    rapidjson::Value samplers{rapidjson::kArrayType};
    rapidjson::Value animations{rapidjson::kArrayType};
    rapidjson::Value skins{rapidjson::kArrayType};
    rapidjson::Value cameras{rapidjson::kArrayType};
};

namespace gltfjson {

using rapidjson::Value;

// Appends value to array and returns its index there.
inline uint32_t pushToArray(Value& array, Value& value, GltfJsonAllocator& allocator) {
    const uint32_t index = array.Size();
    array.PushBack(value, allocator);
    return index;
}

// A number that passes through a 32-bit float is written as the double of that float.
inline Value floatValue(double number) {
    return Value(static_cast<double>(static_cast<float>(number)));
}

inline Value copiedString(const std::string& text, GltfJsonAllocator& allocator) {
    return Value(text, allocator);
}

inline void addUintMember(Value& object, const char* key, uint32_t number,
                          GltfJsonAllocator& allocator) {
    object.AddMember(rapidjson::StringRef(key), Value(number), allocator);
}

inline void addMemberIfNonZero(Value& object, const char* key, uint32_t number,
                               GltfJsonAllocator& allocator) {
    if (number != 0) addUintMember(object, key, number, allocator);
}

// For the results of the write operations: kGltfNoIndex means "nothing written".
inline void addIndexMember(Value& object, const char* key, uint32_t index,
                           GltfJsonAllocator& allocator) {
    if (index != kGltfNoIndex) addUintMember(object, key, index, allocator);
}

// An array of count numbers, each through a 32-bit float.
inline Value makeFloatArray(const double* numbers, size_t count, GltfJsonAllocator& allocator) {
    Value array(rapidjson::kArrayType);
    for (size_t i = 0; i < count; ++i)
        array.PushBack(floatValue(numbers[i]), allocator);
    return array;
}

// Compact text, RapidJSON's default number form. A NaN or an infinity makes the Writer stop,
// and the text then ends where it stopped; that text is what gets written.
std::string serializeJson(const Value& root);

} // namespace gltfjson
