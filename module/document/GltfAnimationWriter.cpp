// Animations: samplers with their time and value blocks, and channels that name nodes by index.
//
// Keys arrive as doubles with four value slots and leave as 32-bit floats. Interpolation is
// always linear: the animation code samples every step, so no other curve is ever needed.
#include "document/GltfJson.h"

#include <cmath>
#include <unordered_map>
#include <vector>

using namespace gltfjson;

namespace {

const char* pathName(GltfAnimationPath path) {
    switch (path) {
    case GltfAnimationPath::Translation:
        return "translation";
    case GltfAnimationPath::Rotation:
        return "rotation";
    case GltfAnimationPath::Scale:
        return "scale";
    case GltfAnimationPath::Weights:
        return "weights";
    }
    return ""; // a stored value outside the four
}

// Output components per key; 0 for a path outside the four.
uint32_t componentsOf(GltfAnimationPath path) {
    switch (path) {
    case GltfAnimationPath::Translation:
    case GltfAnimationPath::Scale:
        return 3;
    case GltfAnimationPath::Rotation:
        return 4;
    case GltfAnimationPath::Weights:
        return 1;
    }
    return 0;
}

GltfAccessorType valueTypeOf(uint32_t components) {
    if (components == 3) return GltfAccessorType::Vec3;
    if (components == 4) return GltfAccessorType::Vec4;
    return GltfAccessorType::Scalar;
}

// Deliberate: translation and scale keys leave as unit vectors (a zero vector as (1, 0, 0)),
// whatever was sampled; the file carries directions, not positions or sizes.
void putUnitVector(const GltfVec4& value, float* out) {
    const float x = static_cast<float>(value[0]);
    const float y = static_cast<float>(value[1]);
    const float z = static_cast<float>(value[2]);
    const float length = std::sqrt(x * x + y * y + z * z);
    if (length == 0.0f) {
        out[0] = 1.0f;
        out[1] = out[2] = 0.0f;
        return;
    }
    out[0] = x / length;
    out[1] = y / length;
    out[2] = z / length;
}

// A rotation is normalised as doubles in the key itself, then narrowed; a zero quaternion
// becomes the identity.
void putQuaternion(GltfVec4& value, float* out) {
    const double length = std::sqrt(value[0] * value[0] + value[1] * value[1] +
                                    value[2] * value[2] + value[3] * value[3]);
    if (length == 0.0) {
        value = {0.0, 0.0, 0.0, 1.0};
    } else {
        for (double& component : value)
            component /= length;
    }
    for (size_t i = 0; i < 4; ++i)
        out[i] = static_cast<float>(value[i]);
}

// The running time range. The comparison is between the key's double and the stored float;
// when the two ends meet, both take the key's float.
struct TimeRange {
    void Add(double time, float narrowed, bool first) {
        if (first) {
            min = max = narrowed;
        } else {
            if (time < min) min = narrowed;
            if (time > max) max = narrowed;
        }
        if (min == max) min = max = narrowed;
    }
    float min = 0.0f, max = 0.0f; // 0 and 0 without keys
};

Value singleNumber(float number, GltfJsonAllocator& allocator) {
    Value array(rapidjson::kArrayType);
    array.PushBack(Value(static_cast<double>(number)), allocator);
    return array;
}

} // namespace

// A channel whose node was not written, or whose sampler is not one of this animation's, would
// name no valid index; it is left out.
uint32_t GltfDocument::WriteAnimation(GltfAnimation* animation) {
    if (animation->channels.empty() && animation->samplers.empty()) return kGltfNoIndex;
    GltfJsonAllocator& allocator = json->allocator;
    Value samplers(rapidjson::kArrayType);
    std::unordered_map<const GltfAnimationSampler*, uint32_t> samplerIds;
    for (const auto& sampler : animation->samplers)
        samplerIds.emplace(sampler.get(), WriteAnimationSampler(sampler.get(), samplers));
    Value channels(rapidjson::kArrayType);
    for (const auto& channel : animation->channels) {
        const auto node = nodeIds.find(channel->node);
        const auto sampler = samplerIds.find(channel->sampler);
        if (node == nodeIds.end() || sampler == samplerIds.end()) continue;
        WriteAnimationChannel(channel.get(), channels, node->second, sampler->second);
    }
    Value object(rapidjson::kObjectType);
    object.AddMember("channels", channels, allocator);
    object.AddMember("samplers", samplers, allocator);
    if (!animation->name.empty())
        object.AddMember("name", copiedString(animation->name, allocator), allocator);
    return pushToArray(json->animations, object, allocator);
}

uint32_t GltfDocument::WriteAnimationSampler(GltfAnimationSampler* sampler,
                                             GltfJsonValue& samplers) {
    GltfJsonAllocator& allocator = json->allocator;
    const uint32_t keyCount = static_cast<uint32_t>(sampler->keys.size());
    const uint32_t components = componentsOf(sampler->path);
    std::vector<float> times(keyCount), values(size_t{keyCount} * components);
    TimeRange range;
    for (uint32_t k = 0; k < keyCount; ++k) {
        GltfAnimationKey& key = sampler->keys[k];
        times[k] = static_cast<float>(key.time);
        range.Add(key.time, times[k], k == 0);
        float* out = values.data() + size_t{k} * components;
        if (components == 1) out[0] = static_cast<float>(key.value[0]);
        if (components == 3) putUnitVector(key.value, out);
        if (components == 4) putQuaternion(key.value, out);
    }

    Value min = singleNumber(range.min, allocator);
    Value max = singleNumber(range.max, allocator);
    const uint32_t timeView = AddChunkView(GltfBufferChunk::FromFloats(times));
    const uint32_t input =
        AddAccessor(timeView, GltfAccessorType::Scalar, kGltfFloat, keyCount, 0, min, max);
    const uint32_t valueView = AddChunkView(GltfBufferChunk::FromFloats(values));
    const uint32_t output =
        AddAccessor(valueView, valueTypeOf(components), kGltfFloat, keyCount, 0, min, max);

    Value object(rapidjson::kObjectType);
    addUintMember(object, "input", input, allocator);
    addUintMember(object, "output", output, allocator);
    object.AddMember("interpolation", "LINEAR", allocator);
    return pushToArray(samplers, object, allocator);
}

uint32_t GltfDocument::WriteAnimationChannel(GltfAnimationChannel* channel, GltfJsonValue& channels,
                                             uint32_t nodeIndex, uint32_t samplerIndex) {
    GltfJsonAllocator& allocator = json->allocator;
    Value target(rapidjson::kObjectType);
    addUintMember(target, "node", nodeIndex, allocator);
    target.AddMember("path", rapidjson::StringRef(pathName(channel->path)), allocator);
    Value object(rapidjson::kObjectType);
    addUintMember(object, "sampler", samplerIndex, allocator);
    object.AddMember("target", target, allocator);
    return pushToArray(channels, object, allocator);
}
