// A generated model that looks, to an exporter, like a scanned one: a closed, bumpy surface of
// shared points (about one point for two triangles), cut into UV charts whose borders are seams
// (the polygons there carry their own UVs), four materials in bands with a hard normal edge where
// two bands meet, each material with its own image. Written as a scene file for qvhost and, with
// the same points, UVs, normals and materials, as an OBJ with its MTL for other tools.
//
//     ModelOptions options;
//     options.triangles = 1000000;
//     WriteModel(options, "/tmp/models", "/path/to/examples/images");
//     // /tmp/models/model_1000000.json, and with options.obj the .obj and .mtl beside it
#pragma once

#include <cstdint>
#include <string>

namespace bench {

struct ModelOptions {
    uint32_t triangles = 1000000;
    uint32_t uvSets = 1; // 1: the chart atlas; 2: also a planar "Detail" set without seams
    bool colors = false; // an RGBA colour per point, as scanners give
    bool obj = false;    // also the OBJ and MTL (one UV set, no colours: what OBJ carries)
};

struct ModelFiles {
    std::string scene, obj;
    uint64_t sceneBytes = 0;
    uint32_t triangles = 0, points = 0;
};

// Writes DIR/model_N.json (N the triangle count asked for; the model has exactly that many when
// N is twice a product of rows and columns the generator picks, else a few more or fewer), the
// OBJ when asked for, and DIR/images/ with the four images, copied from `imageSource`.
// Throws std::runtime_error when a file cannot be written.
ModelFiles WriteModel(const ModelOptions& options, const std::string& dir,
                      const std::string& imageSource);

} // namespace bench
