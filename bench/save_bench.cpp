// Times the save of a generated mesh scene to .glb: the plug-in runs in-process behind the scene
// host, exactly as the tests and qvhost run it. Reports the best and median of several saves,
// triangles per second, the file's size and the memory the save added on top of the scene.
//
//   save_bench [TRIANGLES...] [--runs N] [--out DIR]
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

Result BenchmarkSave(uint32_t triangles, int runs, const std::string& dir) {
    scenehost::SceneHost host;
    auto& item = host.Scene().AddItem("mesh", "Generated");
    scenehost::GenerateOptions options;
    options.triangles = triangles;
    options.shape = scenehost::GenerateOptions::Shape::Grid;
    scenehost::GenerateMesh(item.Mesh(), options);
    host.SetUserInt("sceneio.gltf.save.exportType", 0);
    host.SetUserInt("sceneio.gltf.save.indicesExport", 1);
    scenehost::ModuleHost plugin(host);
    std::string error;
    if (!plugin.Attach(CQvModuleCreate(), &error)) {
        std::fprintf(stderr, "save_bench: %s\n", error.c_str());
        std::exit(1);
    }
    std::string path = dir + "/bench_" + std::to_string(triangles) + ".glb";
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
    std::string dir = std::filesystem::temp_directory_path().string();
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--runs" && i + 1 < argc)
            runs = std::max(1, std::atoi(argv[++i]));
        else if (arg == "--out" && i + 1 < argc)
            dir = argv[++i];
        else
            sizes.push_back(uint32_t(std::strtoul(arg.c_str(), nullptr, 10)));
    }
    if (sizes.empty()) sizes = {10000, 100000, 1000000};
    std::printf("%12s %10s %10s %14s %12s %12s %8s\n", "triangles", "best s", "median s",
                "triangles/s", "file MiB", "save MiB", "mem/file");
    for (uint32_t triangles : sizes) {
        Result r = BenchmarkSave(triangles, runs, dir);
        double fileMiB = r.fileBytes / 1048576.0;
        double extraMiB = r.saveExtraKiB / 1024.0;
        std::printf("%12u %10.4f %10.4f %14.0f %12.2f %12.2f %8.2f\n", triangles, r.bestSeconds,
                    r.medianSeconds, triangles / r.bestSeconds, fileMiB, extraMiB,
                    extraMiB / fileMiB);
    }
    return 0;
}
