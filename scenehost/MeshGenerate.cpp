#include "MeshGenerate.h"

#include "MeshData.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace scenehost {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kRing = 1.0, kTube = 0.35;

struct Layout {
    uint32_t columns, rows; // quads along u and along v
    bool wraps;             // the torus: the last column and row join the first
};

Layout LayOut(const GenerateOptions& options) {
    double quads = std::max(1u, options.triangles / 2);
    if (options.shape == GenerateOptions::Shape::Grid) {
        uint32_t rows = std::max(1u, uint32_t(std::lround(std::sqrt(quads))));
        return {std::max(1u, uint32_t(std::lround(quads / rows))), rows, false};
    }
    // The ring is twice as long as the tube is round, so its quads come out about square.
    uint32_t rows = std::max(3u, uint32_t(std::lround(std::sqrt(quads / 2))));
    return {std::max(3u, uint32_t(std::lround(quads / rows))), rows, true};
}

} // namespace

void GenerateMesh(MeshData& mesh, const GenerateOptions& options) {
    if (options.triangles < 2 || options.triangles > 50000000)
        throw std::invalid_argument("a generated mesh has 2 to 50000000 triangles, not " +
                                    std::to_string(options.triangles));
    const Layout l = LayOut(options);
    const uint32_t across = l.wraps ? l.columns : l.columns + 1; // points a row
    const uint32_t down = l.wraps ? l.rows : l.rows + 1;
    const uint32_t base = mesh.PointCount();
    const uint32_t quads = l.columns * l.rows;
    mesh.Reserve(base + across * down, quads * (options.triangulated ? 2 : 1), quads * 4);

    MeshMap* uv = options.uvMap.empty() ? nullptr : &mesh.AddMap(qvMapUv, options.uvMap);
    uint32_t colorType = options.colorAlpha ? qvMapRgba : qvMapRgb;
    MeshMap* color = options.colorMap.empty() ? nullptr : &mesh.AddMap(colorType, options.colorMap);
    MeshMap* normals =
        options.normalMap.empty() ? nullptr : &mesh.AddMap(qvMapNormal, options.normalMap);
    for (MeshMap* map : {uv, color, normals})
        if (map) map->ReservePoints(base + across * down);

    for (uint32_t j = 0; j < down; ++j) {
        for (uint32_t i = 0; i < across; ++i) {
            float u = float(i) / l.columns, v = float(j) / l.rows;
            float n[3] = {0, 1, 0};
            uint32_t point;
            if (l.wraps) {
                double theta = 2 * kPi * u, phi = 2 * kPi * v;
                double radius = kRing + kTube * std::cos(phi);
                point = mesh.AddPoint(float(radius * std::cos(theta)), float(kTube * std::sin(phi)),
                                      float(radius * std::sin(theta)));
                n[0] = float(std::cos(phi) * std::cos(theta));
                n[1] = float(std::sin(phi));
                n[2] = float(std::cos(phi) * std::sin(theta));
            } else {
                point = mesh.AddPoint(u - 0.5f, 0.0f, v - 0.5f);
            }
            if (uv) {
                float value[2] = {u, v};
                uv->SetPointValue(point, value);
            }
            if (color) {
                float value[4] = {u, v, 1.0f - 0.5f * (u + v), 1.0f};
                color->SetPointValue(point, value);
            }
            if (normals) {
                normals->SetPointValue(point, n);
            }
        }
    }

    const std::vector<std::string>& materials = options.materials;
    for (uint32_t j = 0; j < l.rows; ++j) {
        const char* material =
            materials.empty() ? nullptr : materials[j % materials.size()].c_str();
        for (uint32_t i = 0; i < l.columns; ++i) {
            // Counter-clockwise seen from outside: from (i, j) along v first, then along u.
            uint32_t ci[4] = {i, i, i + 1, i + 1};
            uint32_t cj[4] = {j, j + 1, j + 1, j};
            uint32_t quad[4];
            for (int c = 0; c < 4; ++c)
                quad[c] = base + (ci[c] % across) + (cj[c] % down) * across;
            uint32_t polygons[2];
            static const uint32_t kQuad[4] = {0, 1, 2, 3},
                                  kTriangles[2][3] = {{0, 1, 2}, {0, 2, 3}};
            int pieces = options.triangulated ? 2 : 1;
            for (int k = 0; k < pieces; ++k) {
                const uint32_t* places = options.triangulated ? kTriangles[k] : kQuad;
                uint32_t count = options.triangulated ? 3 : 4, points[4];
                for (uint32_t c = 0; c < count; ++c)
                    points[c] = quad[places[c]];
                polygons[k] = mesh.AddPolygon(points, count, material);
                // A seam: where a corner's point wrapped round to the first column or row, the
                // polygon keeps the UV that continues its own (1 where the point has 0).
                if (!uv || !l.wraps || (i + 1 < l.columns && j + 1 < l.rows)) continue;
                for (uint32_t c = 0; c < count; ++c) {
                    uint32_t q = places[c];
                    if (ci[q] < across && cj[q] < down) continue;
                    float value[2] = {float(ci[q]) / l.columns, float(cj[q]) / l.rows};
                    uv->SetPolygonValue(polygons[k], c, value);
                }
            }
        }
    }
}

} // namespace scenehost
