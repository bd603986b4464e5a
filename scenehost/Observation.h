// What the tests watch of the host: a count per kind of host call, the references that the
// plug-in holds on host-owned objects, and what a progress monitor was told. Keys are sorted
// strings, so a dump of the counters reads the same in every run.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace scenehost {

struct MonitorRecord {
    std::vector<uint32_t> initialize; // the step count of each Initialize call, in order
    std::vector<uint32_t> steps;      // the argument of each Step call, in order
};

struct Observation {
    // Keys: "UserValueLookup:<name>", "ItemTypeLookup:<name>", "ChannelLookup:<item>:<channel>",
    // "ChannelRead:<item>:<channel>", "RenderCameraCount", "GraphLookup:<name>",
    // "LookupService:<service>", "SpawnCommand:<name>", "OverRelease" (a Release without a
    // matching AddRef).
    std::map<std::string, int> counters;
    // References that callers hold on objects the scene or the host owns (items, faces, graphs,
    // services). Zero again after a save means that the plug-in released all it took.
    int heldReferences = 0;
    MonitorRecord monitor;
    // Off, nothing is counted: a caller that reads no counters (qvhost, the benchmarks) pays
    // neither for the keys nor for the map. Hot paths test it before they build a key.
    bool counting = true;

    void Count(const std::string& key) {
        if (counting) ++counters[key];
    }
    int CountOf(const std::string& key) const {
        auto it = counters.find(key);
        return it == counters.end() ? 0 : it->second;
    }
};

} // namespace scenehost
