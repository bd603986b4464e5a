// Writes a generated scan-like model (see ModelScene.h) as a scene file, and as OBJ with --obj:
//
//   make_model TRIANGLES DIR [--obj] [--uv-sets 1|2] [--colors]
//
// Prints "SCENE OBJ TRIANGLES POINTS SCENE_BYTES" on one line (OBJ is "-" without --obj).
#include "ModelScene.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#ifndef GLTFIO_EXAMPLE_IMAGES
#error "GLTFIO_EXAMPLE_IMAGES names the folder of the example images"
#endif

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr,
                     "usage: make_model TRIANGLES DIR [--obj] [--uv-sets 1|2] [--colors]\n");
        return 2;
    }
    bench::ModelOptions options;
    options.triangles = uint32_t(std::strtoul(argv[1], nullptr, 10));
    for (int i = 3; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--obj")
            options.obj = true;
        else if (arg == "--colors")
            options.colors = true;
        else if (arg == "--uv-sets" && i + 1 < argc)
            options.uvSets = uint32_t(std::strtoul(argv[++i], nullptr, 10));
        else {
            std::fprintf(stderr, "make_model: unknown option %s\n", arg.c_str());
            return 2;
        }
    }
    try {
        bench::ModelFiles files = bench::WriteModel(options, argv[2], GLTFIO_EXAMPLE_IMAGES);
        std::printf("%s %s %u %u %llu\n", files.scene.c_str(),
                    files.obj.empty() ? "-" : files.obj.c_str(), files.triangles, files.points,
                    static_cast<unsigned long long>(files.sceneBytes));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "make_model: %s\n", e.what());
        return 1;
    }
    return 0;
}
