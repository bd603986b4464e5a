// The benchmarks (Google Benchmark), run by scripts/bench.sh:
//
//   BM_SceneLoad/triangles:N/full:F   read a generated scene file into a fresh scene host
//   BM_Save/triangles:N/full:F        the plug-in's save of that scene to .glb, in-process
//   BM_AnimationSampling/items:I/steps:S/depth:D/counting:C
//                                     the save of I keyed locators sampled over S steps, in
//                                     chains of D; C: with the host counting its calls, as in
//                                     the tests
//
// The scenes are the generated scan-like model (ModelScene.h): full:0 has one UV set and no
// colours, like a scan and like its OBJ; full:1 adds a second UV set and an RGBA colour per point.
// Besides time, each reports its rate (triangles, or keys for the sampling, per second), the size
// of the file read or written, and the memory the step added: the peak resident during the step
// less the resident before it.
//
//   gltfio_bench [--sizes=N,N,...] [--dir=DIR] [--scene=FILE] [Google Benchmark options]
//
// --sizes replaces 100000,300000,1000000; --dir keeps the generated scenes (default
// $TMPDIR/gltfio-bench); --scene benchmarks the load and save of that one file instead.
#include "ModelScene.h"

#include "ModuleHost.h"
#include "SceneFile.h"
#include "SceneHost.h"
#include "host/CQvThisModule.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#ifndef GLTFIO_EXAMPLE_IMAGES
#error "GLTFIO_EXAMPLE_IMAGES names the folder of the example images"
#endif

namespace {

namespace fs = std::filesystem;

std::string benchDir = (fs::temp_directory_path() / "gltfio-bench").string();

// Resident set size or its peak, in bytes, from /proc/self/status.
double ProcStatusBytes(const char* key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind(key, 0) == 0) return 1024.0 * std::atof(line.c_str() + std::strlen(key));
    return 0;
}

// Measures the memory one step adds: the peak resident during it less the resident before.
class AddedMemory {
public:
    // Hands freed memory back first, so that what an earlier step left in the heap is not
    // taken for memory this one did without.
    void Start() {
        malloc_trim(0);
        before_ = ProcStatusBytes("VmRSS:");
        std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts again from now
    }
    void Stop() { worst_ = std::max(worst_, ProcStatusBytes("VmHWM:") - before_); }
    double Worst() const { return worst_; }

private:
    double before_ = 0, worst_ = 0;
};

struct SceneFile {
    std::string path;
    uint32_t triangles = 0;
    uint64_t bytes = 0;
};

// The generated scene of `triangles` (made once a run, kept in benchDir), or the --scene file.
const SceneFile& Scene(uint32_t triangles, bool full) {
    static std::map<std::pair<uint32_t, bool>, SceneFile> made;
    auto found = made.find({triangles, full});
    if (found != made.end()) return found->second;
    bench::ModelOptions options;
    options.triangles = triangles;
    options.uvSets = full ? 2 : 1;
    options.colors = full;
    bench::ModelFiles files =
        bench::WriteModel(options, benchDir + (full ? "/full" : "/scan"), GLTFIO_EXAMPLE_IMAGES);
    return made[{triangles, full}] = {files.scene, files.triangles, files.sceneBytes};
}

std::unique_ptr<scenehost::SceneHost> LoadScene(const std::string& path) {
    auto host = std::make_unique<scenehost::SceneHost>();
    host->SetCounting(false); // as qvhost runs it
    std::string error;
    if (!scenehost::LoadSceneFile(*host, path, &error)) throw std::runtime_error(error);
    return host;
}

// The counters every benchmark reports (a CSV report needs the same set in every row): the
// rate of `work` (triangles, keys), the size of the file read or written, the memory added and
// its ratio to that file.
void Report(benchmark::State& state, double work, double fileBytes, const AddedMemory& memory) {
    state.counters["rate"] =
        benchmark::Counter(work, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["file_MiB"] = fileBytes / (1 << 20);
    state.counters["added_MiB"] = memory.Worst() / (1 << 20);
    state.counters["added/file"] = memory.Worst() / fileBytes;
}

void RunLoad(benchmark::State& state, const SceneFile& file) {
    AddedMemory memory;
    for (auto _ : state) {
        state.PauseTiming();
        memory.Start();
        state.ResumeTiming();
        auto host = LoadScene(file.path);
        state.PauseTiming();
        memory.Stop();
        host.reset();
        state.ResumeTiming();
    }
    Report(state, file.triangles, double(file.bytes), memory);
}

// Saves the host's scene to .glb in every iteration; `work` is what one save does, for the rate.
void RunSave(benchmark::State& state, scenehost::SceneHost& host, double work) {
    host.SetUserInt("sceneio.gltf.save.exportType", 0);
    scenehost::ModuleHost plugin(host);
    std::string error;
    if (!plugin.Attach(CQvModuleCreate(), &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    const std::string path = benchDir + "/save.glb";
    AddedMemory memory;
    for (auto _ : state) {
        state.PauseTiming();
        host.ResetCounters();
        memory.Start();
        state.ResumeTiming();
        QvResult saved = plugin.Save("gltf.bin", path);
        state.PauseTiming();
        memory.Stop();
        state.ResumeTiming();
        if (saved != qvOk) {
            state.SkipWithError("the save failed");
            return;
        }
    }
    Report(state, work, double(fs::file_size(path)), memory);
    fs::remove(path);
}

void BM_SceneLoad(benchmark::State& state) {
    RunLoad(state, Scene(uint32_t(state.range(0)), state.range(1) != 0));
}

void BM_Save(benchmark::State& state) {
    const SceneFile& file = Scene(uint32_t(state.range(0)), state.range(1) != 0);
    auto host = LoadScene(file.path);
    RunSave(state, *host, file.triangles);
}

// `items` locators, each with pos.Y and rot.Z keyed every second; the scene's current range at
// 30 fps gives `steps` samples. With `depth` above 1 each item is the child of the one before, in
// chains of that many.
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

void BM_AnimationSampling(benchmark::State& state) {
    const auto items = uint32_t(state.range(0)), steps = uint32_t(state.range(1));
    scenehost::SceneHost host;
    host.SetCounting(state.range(3) != 0); // the tests' host counts every channel read
    BuildAnimated(host, items, steps, uint32_t(std::max<int64_t>(1, state.range(2))));
    RunSave(state, host, 2.0 * items * steps);
}

std::vector<int64_t> ParseSizes(const std::string& list) {
    std::vector<int64_t> sizes;
    for (size_t start = 0; start < list.size();) {
        size_t comma = std::min(list.find(',', start), list.size());
        sizes.push_back(std::strtoll(list.substr(start, comma - start).c_str(), nullptr, 10));
        start = comma + 1;
    }
    return sizes;
}

void RegisterModelBenchmarks(const std::vector<int64_t>& sizes) {
    auto* load = benchmark::RegisterBenchmark("BM_SceneLoad", BM_SceneLoad);
    auto* save = benchmark::RegisterBenchmark("BM_Save", BM_Save);
    for (auto* b : {load, save}) {
        b->ArgNames({"triangles", "full"})->Unit(benchmark::kMillisecond)->UseRealTime();
        for (int64_t full : {0, 1})
            for (int64_t size : sizes)
                b->Args({size, full});
    }
    benchmark::RegisterBenchmark("BM_AnimationSampling", BM_AnimationSampling)
        ->ArgNames({"items", "steps", "depth", "counting"})
        ->Args({100, 300, 1, 0})
        ->Args({100, 300, 1, 1})
        ->Args({100, 300, 10, 0})
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

void RegisterFileBenchmarks(const std::string& path) {
    static SceneFile file;
    file.path = path;
    file.bytes = fs::file_size(path);
    file.triangles = 1; // the rate counts files
    benchmark::RegisterBenchmark("BM_SceneLoad/file", [](benchmark::State& s) { RunLoad(s, file); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
    benchmark::RegisterBenchmark("BM_Save/file",
                                 [](benchmark::State& s) {
                                     auto host = LoadScene(file.path);
                                     RunSave(s, *host, 1);
                                 })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

} // namespace

int main(int argc, char** argv) {
    std::vector<int64_t> sizes = {100000, 300000, 1000000};
    std::string scene;
    std::vector<char*> rest = {argv[0]};
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg.rfind("--sizes=", 0) == 0)
            sizes = ParseSizes(arg.substr(8));
        else if (arg.rfind("--dir=", 0) == 0)
            benchDir = arg.substr(6);
        else if (arg.rfind("--scene=", 0) == 0)
            scene = arg.substr(8);
        else
            rest.push_back(argv[i]);
    }
    int restCount = int(rest.size());
    benchmark::Initialize(&restCount, rest.data());
    if (benchmark::ReportUnrecognizedArguments(restCount, rest.data())) return 2;
    try {
        fs::create_directories(benchDir);
        if (scene.empty())
            RegisterModelBenchmarks(sizes);
        else
            RegisterFileBenchmarks(scene);
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "gltfio_bench: %s\n", e.what());
        return 1;
    }
    benchmark::Shutdown();
    return 0;
}
