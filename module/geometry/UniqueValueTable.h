// Tables of unique values for the per-corner attributes. A value is looked up by exact equality
// of its components (no epsilon) and hashed over its raw bytes, so 0.0 and -0.0 compare equal
// but usually land in two entries, and a NaN never matches and always makes a new one. The table
// holds only indices; the values live in the mesh record, so that nothing is stored twice.
//
// Open addressing with linear probing: one flat array of slots, no allocation per value, which
// matters on the per-corner path of a large mesh.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// FNV-1a over the bytes of a value.
template <class T> inline uint64_t HashValueBytes(const T& value, size_t bytes = sizeof(T)) {
    const auto* p = reinterpret_cast<const unsigned char*>(&value);
    uint64_t h = 0xCBF29CE484222325ull;
    for (size_t i = 0; i < bytes; ++i) h = (h ^ p[i]) * 0x100000001B3ull;
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
        if ((count + 1) * 2 > slots.size()) Grow(values);
        size_t mask = slots.size() - 1;
        for (size_t i = HashValueBytes(value) & mask;; i = (i + 1) & mask) {
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

    void Clear() {
        slots.clear();
        count = 0;
    }

private:
    static constexpr uint32_t empty = 0xFFFFFFFFu;

    void Grow(const std::vector<T>& values) {
        std::vector<uint32_t> old;
        old.swap(slots);
        slots.assign(old.empty() ? 64 : old.size() * 2, empty);
        size_t mask = slots.size() - 1;
        for (uint32_t index : old) {
            if (index == empty) continue;
            size_t i = HashValueBytes(values[index]) & mask;
            while (slots[i] != empty) i = (i + 1) & mask;
            slots[i] = index;
        }
    }

    std::vector<uint32_t> slots;
    size_t count = 0;
};
