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
#include <tuple>
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
    static constexpr size_t compared = Compared;
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

    // IndexOf with a memory per point: the corners of one point mostly repeat its value, and
    // the entry last given at the point is read from a small table in point order, where the
    // large table would be a cache miss. The shortcut gives exactly what IndexOf would: it is
    // taken only for a value without zero or NaN components, whose one equal entry in the table
    // can be none but the identical one, and it leaves the recent-value cache as IndexOf would.
    uint32_t IndexAtPoint(const T& value, uint32_t point, std::vector<T>& values) {
        static_assert(Equal::compared == std::tuple_size<T>::value,
                      "the shortcut needs equality over every component");
        if (point >= lastAtPoint.size()) return IndexOf(value, values);
        const uint32_t last = lastAtPoint[point];
        if (last != empty && std::memcmp(&values[last], &value, sizeof(T)) == 0 &&
            IsTwinFree(value)) {
            const uint64_t hash = HashValueBits(value);
            cache[(hash >> 40) & (cacheSize - 1)] = {value, hash, last};
            return last;
        }
        return lastAtPoint[point] = IndexOf(value, values);
    }
    // Starts the memory reads of the table look-up that IndexAtPoint(value, point, values) will
    // probably make, without waiting for them: none when the point's memory already holds the
    // value, else the recent value's cache line and the table slot. Returns whether it started
    // them. A hint only; nothing changes.
    bool Prefetch(const T& value, uint32_t point, const std::vector<T>& values) const {
        if (point < lastAtPoint.size()) {
            const uint32_t last = lastAtPoint[point];
            if (last < values.size() && std::memcmp(&values[last], &value, sizeof(T)) == 0)
                return false;
        }
        const uint64_t hash = HashValueBits(value);
        if (!cache.empty()) __builtin_prefetch(&cache[(hash >> 40) & (cacheSize - 1)]);
        if (!slots.empty()) __builtin_prefetch(&slots[hash & (slots.size() - 1)]);
        return true;
    }
    // The second step of a prefetch, once the slot is in cache: the entry the slot names.
    void PrefetchEntry(const T& value, const std::vector<T>& values) const {
        if (slots.empty()) return;
        const uint32_t slot = slots[HashValueBits(value) & (slots.size() - 1)];
        if (slot < values.size()) __builtin_prefetch(&values[slot]);
    }

    // Enables IndexAtPoint's memory for points 0 .. points - 1.
    void TrackPoints(size_t points) { lastAtPoint.assign(points, empty); }

    void Clear() {
        slots.clear();
        count = 0;
        cache.clear();
        std::vector<uint32_t>().swap(lastAtPoint);
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

    // Equal to no other bit pattern: neither 0.0 against -0.0 nor a NaN can make two entries
    // compare equal.
    static bool IsTwinFree(const T& value) {
        for (const auto component : value)
            if (component == 0 || component != component) return false;
        return true;
    }

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
    std::vector<uint32_t> lastAtPoint;
};

// Per-corner look-ups in a few steps each, for a batch of corners at a time: the memory reads of
// one corner's look-up are started while the others are still being gathered, so that the misses
// of a large table overlap instead of following one another. The indices come out in the order
// the values went in, exactly as IndexAtPoint gives them one by one.
template <class T, class Equal> class LookupBatch {
public:
    LookupBatch(UniqueValueTable<T, Equal>& table, std::vector<T>& values,
                std::vector<uint32_t>& index)
        : table(&table), values(&values), index(&index) {}

    void Add(const T& value, uint32_t point) {
        const bool lookup = table->Prefetch(value, point, *values);
        pending[count++] = {value, point, lookup};
        if (count == batchSize) Flush();
    }
    void Flush() {
        for (size_t i = 0; i < count; ++i)
            if (pending[i].lookup) table->PrefetchEntry(pending[i].value, *values);
        for (size_t i = 0; i < count; ++i)
            index->push_back(table->IndexAtPoint(pending[i].value, pending[i].point, *values));
        count = 0;
    }

private:
    static constexpr size_t batchSize = 16;
    struct Pending {
        T value;
        uint32_t point;
        bool lookup;
    };
    UniqueValueTable<T, Equal>* table;
    std::vector<T>* values;
    std::vector<uint32_t>* index;
    std::array<Pending, batchSize> pending;
    size_t count = 0;
};
