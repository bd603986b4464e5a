// Any bytes are a scene file to the reader; a scene that it accepts is saved by the real plug-in,
// attached in-process, once as .glb and once as .gltf, into a scratch folder of this process
// that is emptied after every input. A crash, a sanitizer report, a leak or a hang anywhere on
// that path is a finding.
#include "SceneSaveTarget.h"

#include "ModuleHost.h"
#include "SceneFile.h"
#include "SceneHost.h"
#include "host/CQvThisModule.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

// Bigger inputs only make each run slower: what they can reach, a small one reaches too.
constexpr size_t kMaxInputBytes = 64 * 1024;
// A generated mesh is the one way a few bytes ask for millions of polygons; the reader allows up
// to 50 million triangles, which is work, not a fault, so such inputs are passed over.
constexpr double kMaxGeneratedTriangles = 20000;

// Every "triangles" member of the text, read as a number wherever it stands; a value that does
// not parse as one is left to the reader, which refuses it.
bool AsksForHugeMesh(const std::string& text) {
    const std::string key = "\"triangles\"";
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1)) {
        size_t colon = text.find_first_not_of(" \t\r\n", at + key.size());
        if (colon == std::string::npos || text[colon] != ':') continue;
        const char* start = text.c_str() + colon + 1;
        char* end = nullptr;
        double n = std::strtod(start, &end);
        if (end != start && !(n <= kMaxGeneratedTriangles)) return true;
    }
    return false;
}

// Relative image paths start in examples/, so that seeds taken from there save real images.
std::string ImageBaseDir() {
    if (const char* dir = std::getenv("GLTFIO_FUZZ_IMAGE_DIR"); dir && *dir) return dir;
    return GLTFIO_EXAMPLES_DIR;
}

// One folder per process, so that parallel fuzzing jobs never share output files. /dev/shm keeps
// the writes off the disk where it exists.
const fs::path& ScratchDir() {
    // Never destroyed, so that the exit handler below still finds it after static destructors.
    static const fs::path* dir = [] {
        std::error_code ec;
        fs::path base =
            fs::is_directory("/dev/shm", ec) ? fs::path("/dev/shm") : fs::temp_directory_path();
        auto* made = new fs::path(base / ("gltfio-fuzz-" + std::to_string(getpid())));
        fs::create_directories(*made, ec);
        return made;
    }();
    static const bool removedAtExit = std::atexit([] {
                                          std::error_code ignored;
                                          fs::remove_all(*dir, ignored);
                                      }) == 0;
    (void)removedAtExit;
    return *dir;
}

void EmptyScratchDir() {
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(ScratchDir(), ec))
        fs::remove_all(entry.path(), ec);
}

// The save's result does not matter here: a failed save is an answer like any other.
void SaveBothForms(scenehost::SceneHost& host) {
    scenehost::ModuleHost plugin(host);
    std::string error;
    if (!plugin.Attach(CQvModuleCreate(), &error)) std::abort(); // our own set-up is broken
    plugin.Save("gltf.bin", (ScratchDir() / "out.glb").string());
    plugin.Save("gltf.gltf", (ScratchDir() / "out.gltf").string());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > kMaxInputBytes) return -1; // -1: never kept in the corpus
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (AsksForHugeMesh(text)) return -1;

    scenehost::SceneHost host;
    std::string error;
    if (scenehost::LoadSceneText(host, text, "fuzz.json", ImageBaseDir(), &error))
        SaveBothForms(host);
    else if (std::getenv("GLTFIO_FUZZ_VERBOSE")) // for writing seeds: why one is refused
        std::fprintf(stderr, "%s\n", error.c_str());
    EmptyScratchDir();
    return 0;
}
