#include "material/GltfMaterials.h"

#include <algorithm>

namespace {
uint64_t Fnv1a(const std::string& text) {
    uint64_t h = 0xcbf29ce484222325ull;
    for (unsigned char c : text)
        h = (h ^ c) * 0x100000001b3ull;
    return h;
}
} // namespace

size_t EffectLayerMap::BucketOf(const std::string& effect) const {
    return size_t(Fnv1a(effect) & (buckets - 1));
}

void EffectLayerMap::Insert(const std::string& effect, IQvItem* item) {
    // Deliberate: the order follows the buckets, so effects trade places as the map grows.
    if (entries.size() + 1 > buckets) buckets *= 8; // grows before the entry goes in
    auto sameKey = [&](const auto& entry) { return entry.first == effect; };
    auto lastEqual = std::find_if(entries.rbegin(), entries.rend(), sameKey);
    if (lastEqual != entries.rend()) {
        entries.insert(lastEqual.base(), {effect, item});
        return;
    }
    size_t bucket = BucketOf(effect);
    auto sharing = std::find_if(entries.begin(), entries.end(),
                                [&](const auto& entry) { return BucketOf(entry.first) == bucket; });
    entries.insert(sharing, {effect, item});
}

std::vector<std::pair<std::string, IQvItem*>> EffectLayerMap::FirstOfEachEffect() const {
    std::vector<std::pair<std::string, IQvItem*>> firsts;
    for (const auto& entry : entries) {
        bool seen = std::any_of(firsts.begin(), firsts.end(),
                                [&](const auto& first) { return first.first == entry.first; });
        if (!seen) firsts.push_back(entry);
    }
    return firsts;
}

void EffectLayerMap::Clear() {
    entries.clear();
    buckets = 8;
}
