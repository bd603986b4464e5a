// Tables of unique values for the per-corner attributes. A value is looked up by exact equality
// of its components (no epsilon) and hashed over its raw bits, so (deliberately) 0.0 and -0.0
// compare equal but usually land in two entries, and a NaN never matches and always makes a new
// one: both cost only a duplicate vertex, never a wrong value. The table
// holds only indices; the values live in the mesh record, so that nothing is stored twice.
//
// Open addressing with linear probing over one flat array, no allocation per value. In front of
// it sits a small direct-mapped cache of recent values: the corners of neighbouring polygons
// share points, so most look-ups repeat a value seen a few corners ago, and the cache answers
// those from memory that stays hot instead of a random read of the large table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// A fast hash of a value's bits, eight bytes at a time.
template <class T> inline uint64_t HashValueBits(const T& value) {
    constexpr size_t words = (sizeof(T) + 7) / 8;
    uint64_t buffer[words] = {};
    std::memcpy(buffer, &value, sizeof(T));
    uint64_t h = 0x9E3779B97F4A7C15ull;
    for (size_t i = 0; i < words; ++i) {
        h = (h ^ buffer[i]) * 0xBF58476D1CE4E5B9ull;
        h ^= h >> 31;
    }
    return h;
}

// Component-wise exact equality over the first `Compared` components.
template <class T, size_t Compared> struct ExactEqual {
    bool operator()(const T& a, const T& b) const {
        for (size_t i = 0; i < Compared; ++i)
            if (!(a[i] == b[i])) return false;
        return true;
    }
};

template <class T, class Equal> class UniqueValueTable {
public:
    // The index of `value` in `values`, appending it when no equal value is there yet.
    uint32_t IndexOf(const T& value, std::vector<T>& values) {
        uint64_t hash = HashValueBits(value);
        if (cache.empty()) cache.resize(cacheSize);
        Recent& recent = cache[(hash >> 40) & (cacheSize - 1)];
        if (recent.index != empty && recent.hash == hash && Equal()(recent.value, value))
            return recent.index;
        uint32_t index = Find(value, hash, values);
        recent = {value, hash, index};
        return index;
    }

    void Clear() {
        slots.clear();
        count = 0;
        cache.clear();
    }

private:
    static constexpr uint32_t empty = 0xFFFFFFFFu;
    // Large enough to hold the values of a few thousand corners: the next row of a grid-like
    // mesh comes back to a point that many corners later.
    static constexpr size_t cacheSize = 16384;

    struct Recent {
        T value{};
        uint64_t hash = 0;
        uint32_t index = empty;
    };

    uint32_t Find(const T& value, uint64_t hash, std::vector<T>& values) {
        if ((count + 1) * 2 > slots.size()) Grow(values);
        size_t mask = slots.size() - 1;
        for (size_t i = hash & mask;; i = (i + 1) & mask) {
            uint32_t slot = slots[i];
            if (slot == empty) {
                uint32_t index = uint32_t(values.size());
                values.push_back(value);
                slots[i] = index;
                ++count;
                return index;
            }
            if (Equal()(values[slot], value)) return slot;
        }
    }

    void Grow(const std::vector<T>& values) {
        std::vector<uint32_t> old;
        old.swap(slots);
        slots.assign(old.empty() ? 64 : old.size() * 2, empty);
        size_t mask = slots.size() - 1;
        for (uint32_t index : old) {
            if (index == empty) continue;
            size_t i = HashValueBits(values[index]) & mask;
            while (slots[i] != empty)
                i = (i + 1) & mask;
            slots[i] = index;
        }
    }

    std::vector<uint32_t> slots;
    size_t count = 0;
    std::vector<Recent> cache; // allocated on first use
};
