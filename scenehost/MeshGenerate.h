// Large meshes made by rule, for tests, benchmarks and scene files ("generate"): a grid or a
// torus of quads (or of their triangles) with a UV map, a colour map, an optional normal map and
// two materials on alternate rows.
//
//     GenerateOptions options;
//     options.triangles = 1000000;
//     GenerateMesh(scene.AddItem("mesh", "Big").Mesh(), options);
//
// The grid lies in the XZ plane, one unit square, facing +Y; its points carry all map values. The
// torus (ring radius 1, tube radius 0.35) is closed: its UV map wraps, so the quads along the two
// seams carry polygon values of their own at the seam (u or v of 1 where the points say 0), as a
// modelling application keeps a UV seam.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace scenehost {

class MeshData;

struct GenerateOptions {
    enum class Shape { Grid, Torus };
    Shape shape = Shape::Torus;
    // About this many triangles: the quads are laid out as close to half of it as rows allow.
    uint32_t triangles = 1000;
    bool triangulated = false;      // the polygons are triangles rather than quads
    std::string uvMap = "Texture";  // "TXUV"; empty for none
    std::string colorMap = "Color"; // "RGBA", or "RGB " when !colorAlpha; empty for none
    bool colorAlpha = true;
    std::string normalMap; // "NORM" holding the exact surface normal; empty for none
    // The "MATR" tags of alternate rows of quads; one name tags all, none leaves them untagged.
    std::vector<std::string> materials = {"Red", "Blue"};
};

// Adds the generated points, polygons and maps to `mesh` (normally an empty one). Throws
// std::invalid_argument for fewer than 2 or more than 50 million triangles.
void GenerateMesh(MeshData& mesh, const GenerateOptions& options);

} // namespace scenehost
