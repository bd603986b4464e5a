// Times the save of a generated scene to .glb: the plug-in runs in-process behind the scene host,
// exactly as the tests and qvhost run it. Reports the best and median of several saves, the
// file's size and the memory the save added on top of the scene.
//
//   save_bench [TRIANGLES...] [--runs N] [--out DIR]   meshes of a grid, triangles per second
//   save_bench --animated ITEMS STEPS [--depth D] [--runs N]
//                                                       keyed locators sampled over STEPS steps,
//                                                       in chains of D (1: side by side)
#include "MeshData.h"
#include "MeshGenerate.h"
#include "ModuleHost.h"
#include "SceneHost.h"
#include "host/CQvThisModule.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

// Resident set size and its peak, in KiB, from /proc/self/status.
long ProcStatusKiB(const char* key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind(key, 0) == 0) return std::atol(line.c_str() + std::strlen(key));
    return -1;
}

// Lets the next VmHWM reading start from the current resident size.
void ResetPeakMemory() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

struct Result {
    double bestSeconds = 0, medianSeconds = 0;
    long fileBytes = 0;
    long saveExtraKiB = 0;
};

void BuildGrid(scenehost::SceneHost& host, uint32_t triangles) {
    auto& item = host.Scene().AddItem("mesh", "Generated");
    scenehost::GenerateOptions options;
    options.triangles = triangles;
    options.shape = scenehost::GenerateOptions::Shape::Grid;
    scenehost::GenerateMesh(item.Mesh(), options);
    host.SetUserInt("sceneio.gltf.save.indicesExport", 1);
}

// `items` locators side by side, each with its position and rotation keyed every second; the
// scene's current range at 30 fps gives `steps` samples. With `depth` above 1 each item is the
// child of the one before, in chains of that many.
void BuildAnimated(scenehost::SceneHost& host, uint32_t items, uint32_t steps, uint32_t depth) {
    auto& scene = host.Scene();
    scene.SceneItem().Set("fps", 30.0).Set("currentS", 0.0).Set("currentE", (steps - 1) / 30.0);
    scenehost::Item* previous = nullptr;
    for (uint32_t i = 0; i < items; ++i) {
        auto& item =
            scene.AddItem("locator", "Item" + std::to_string(i), i % depth ? previous : nullptr);
        previous = &item;
        for (uint32_t second = 0; second <= steps / 30 + 1; ++second) {
            item.Key("pos.Y", second, double((second + i) % 3));
            item.Key("rot.Z", second, 0.1 * double(second + i));
        }
    }
}

template <class Build>
Result BenchmarkSave(Build build, const std::string& name, int runs, const std::string& dir) {
    scenehost::SceneHost host;
    build(host);
    host.SetUserInt("sceneio.gltf.save.exportType", 0);
    scenehost::ModuleHost plugin(host);
    std::string error;
    if (!plugin.Attach(CQvModuleCreate(), &error)) {
        std::fprintf(stderr, "save_bench: %s\n", error.c_str());
        std::exit(1);
    }
    std::string path = dir + "/bench_" + name + ".glb";
    std::vector<double> seconds;
    Result result;
    for (int run = 0; run < runs; ++run) {
        host.ResetCounters();
        long before = ProcStatusKiB("VmRSS:");
        ResetPeakMemory();
        auto start = std::chrono::steady_clock::now();
        QvResult saved = plugin.Save("gltf.bin", path);
        auto stop = std::chrono::steady_clock::now();
        if (saved != qvOk) {
            std::fprintf(stderr, "save_bench: save failed (0x%08X)\n", saved);
            std::exit(1);
        }
        seconds.push_back(std::chrono::duration<double>(stop - start).count());
        result.saveExtraKiB = std::max(result.saveExtraKiB, ProcStatusKiB("VmHWM:") - before);
    }
    std::sort(seconds.begin(), seconds.end());
    result.bestSeconds = seconds.front();
    result.medianSeconds = seconds[seconds.size() / 2];
    result.fileBytes = long(std::filesystem::file_size(path));
    std::filesystem::remove(path);
    return result;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<uint32_t> sizes;
    int runs = 5;
    uint32_t animatedItems = 0, animatedSteps = 0, animatedDepth = 1;
    std::string dir = std::filesystem::temp_directory_path().string();
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--runs" && i + 1 < argc)
            runs = std::max(1, std::atoi(argv[++i]));
        else if (arg == "--out" && i + 1 < argc)
            dir = argv[++i];
        else if (arg == "--animated" && i + 2 < argc) {
            animatedItems = uint32_t(std::strtoul(argv[++i], nullptr, 10));
            animatedSteps = std::max(1ul, std::strtoul(argv[++i], nullptr, 10));
        } else if (arg == "--depth" && i + 1 < argc)
            animatedDepth = std::max(1ul, std::strtoul(argv[++i], nullptr, 10));
        else
            sizes.push_back(uint32_t(std::strtoul(arg.c_str(), nullptr, 10)));
    }
    if (animatedItems != 0) {
        Result r = BenchmarkSave(
            [&](scenehost::SceneHost& host) {
                BuildAnimated(host, animatedItems, animatedSteps, animatedDepth);
            },
            "animated", runs, dir);
        std::printf("%8s %8s %10s %10s %12s %10s\n", "items", "steps", "best s", "median s",
                    "keys/s", "file KiB");
        const double keys = 2.0 * animatedItems * animatedSteps;
        std::printf("%8u %8u %10.4f %10.4f %12.0f %10.1f\n", animatedItems, animatedSteps,
                    r.bestSeconds, r.medianSeconds, keys / r.bestSeconds, r.fileBytes / 1024.0);
        return 0;
    }
    if (sizes.empty()) sizes = {10000, 100000, 1000000};
    std::printf("%12s %10s %10s %14s %12s %12s %8s\n", "triangles", "best s", "median s",
                "triangles/s", "file MiB", "save MiB", "mem/file");
    for (uint32_t triangles : sizes) {
        Result r = BenchmarkSave([&](scenehost::SceneHost& host) { BuildGrid(host, triangles); },
                                 std::to_string(triangles), runs, dir);
        double fileMiB = r.fileBytes / 1048576.0;
        double extraMiB = r.saveExtraKiB / 1024.0;
        std::printf("%12u %10.4f %10.4f %14.0f %12.2f %12.2f %8.2f\n", triangles, r.bestSeconds,
                    r.medianSeconds, triangles / r.bestSeconds, fileMiB, extraMiB,
                    extraMiB / fileMiB);
    }
    return 0;
}
