// Small meshes that tests state in one line.
#pragma once

#include "MeshData.h"

namespace testsupport {

// A unit cube of six quads, wound outward, all tagged with one material (null: untagged).
inline void BuildCube(scenehost::MeshData& mesh, const char* material = "Default") {
    for (int i = 0; i < 8; ++i)
        mesh.AddPoint(float(i & 1), float((i >> 1) & 1), float((i >> 2) & 1));
    const uint32_t quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                  {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const auto& q : quads)
        mesh.AddPolygon({q[0], q[1], q[2], q[3]}, material);
}

// The cube with a UV map of that name covering every point.
inline void BuildMappedCube(scenehost::MeshData& mesh, const char* material, const char* uvMap) {
    BuildCube(mesh, material);
    auto& uv = mesh.AddMap("TXUV", uvMap);
    for (uint32_t p = 0; p < 8; ++p)
        uv.SetPointValue(p, {float(p & 1), float((p >> 1) & 1)});
}

} // namespace testsupport
