// Tables of unique values for the per-corner attributes. Values are compared exactly, with no
// epsilon, and a NaN never matches, so it always makes a new entry: a duplicate costs a vertex,
// never a wrong value. The tables hold only indices; the values live in the mesh record, so that
// nothing is stored twice.
//
// An entry only has to be unique among the corners of one point: the writer welds a vertex from
// a point and its entries, so corners of two points never meet in a vertex whatever entries they
// name. PointValueTable keeps each point's entries as a short list (one value, or one per side
// of a seam) and is what normals and colours use. UniqueValueTable is one table over the whole
// mesh, hashed, for the tangent frames, whose comparison looks at part of the value only.
#pragma once

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

template <class T> bool HasNaN(const T& value) {
    for (const auto component : value)
        if (component != component) return true;
    return false;
}

// Values unique per point, compared bit for bit: a corner takes the entry of an identical value
// at its point, or a new one. Bits, not numbers: 0.0 and -0.0 stay two entries, as they would
// in a hashed table unless their probes happened to meet. A value with a NaN never matches.
// A point outside the tracked range (an id the point walk did not see) gets a new entry every
// time: the writer refuses such a mesh, and no list grows long on a hostile host.
template <class T> class PointValueTable {
public:
    // Starts an empty table for points 0 .. points - 1.
    void TrackPoints(size_t points) {
        newestAtPoint.assign(points, noEntry);
        nextAtPoint.clear();
    }
    // The index of `value` at `point` in `values`, appending it when the point has no identical
    // value yet.
    uint32_t IndexAt(const T& value, uint32_t point, std::vector<T>& values) {
        const bool tracked = point < newestAtPoint.size() && !HasNaN(value);
        if (tracked)
            for (uint32_t entry = newestAtPoint[point]; entry != noEntry;
                 entry = nextAtPoint[entry])
                if (std::memcmp(&values[entry], &value, sizeof(T)) == 0) return entry;
        const auto entry = static_cast<uint32_t>(values.size());
        values.push_back(value);
        nextAtPoint.push_back(tracked ? newestAtPoint[point] : noEntry);
        if (tracked) newestAtPoint[point] = entry;
        return entry;
    }
    void Clear() {
        std::vector<uint32_t>().swap(newestAtPoint);
        std::vector<uint32_t>().swap(nextAtPoint);
    }

private:
    static constexpr uint32_t noEntry = 0xFFFFFFFFu;
    std::vector<uint32_t> newestAtPoint;
    std::vector<uint32_t> nextAtPoint; // per entry: the entry before it at the same point
};
