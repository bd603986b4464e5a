// A hash map that iterates in insertion order. The mesh tables keyed by material or map name
// reach the file in iteration order (one primitive per entry), and an export must give the same
// bytes for the same scene on every run, which std::unordered_map does not promise.
//
// Entries live in a deque, so references to values stay valid while further keys are added, as
// they do in std::unordered_map. There is no erase: nothing in an export removes an entry.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <stdexcept>
#include <unordered_map>
#include <utility>

template <typename K, typename V, typename Hash = std::hash<K>> class InsertionOrderedMap {
public:
    using key_type = K;
    using mapped_type = V;
    using value_type = std::pair<const K, V>;
    using iterator = typename std::deque<value_type>::iterator;
    using const_iterator = typename std::deque<value_type>::const_iterator;

    iterator begin() { return entries.begin(); }
    iterator end() { return entries.end(); }
    const_iterator begin() const { return entries.begin(); }
    const_iterator end() const { return entries.end(); }

    std::size_t size() const { return entries.size(); }
    bool empty() const { return entries.empty(); }
    std::size_t count(const K& key) const { return index.count(key); }

    iterator find(const K& key) {
        auto found = index.find(key);
        return found == index.end() ? entries.end() : entries.begin() + found->second;
    }
    const_iterator find(const K& key) const {
        auto found = index.find(key);
        return found == index.end() ? entries.end() : entries.begin() + found->second;
    }

    // Adds the entry at the end unless the key is present; an existing value is kept.
    std::pair<iterator, bool> emplace(const K& key, V value) {
        auto [slot, inserted] = index.emplace(key, entries.size());
        if (!inserted) return {entries.begin() + slot->second, false};
        entries.emplace_back(key, std::move(value));
        return {entries.end() - 1, true};
    }

    // The value for key, default-constructed and appended when the key is new.
    V& operator[](const K& key) { return emplace(key, V()).first->second; }

    V& at(const K& key) { return entries[checkedIndex(key)].second; }
    const V& at(const K& key) const { return entries[checkedIndex(key)].second; }

    void clear() {
        entries.clear();
        index.clear();
    }

private:
    std::size_t checkedIndex(const K& key) const {
        auto found = index.find(key);
        if (found == index.end()) throw std::out_of_range("InsertionOrderedMap::at: no such key");
        return found->second;
    }

    std::deque<value_type> entries;
    std::unordered_map<K, std::size_t, Hash> index;
};
