// Cutting one polygon into triangles, as the host does for GenerateTriangles.
//
// A polygon of n points always gives n - 2 triangles that keep its winding. Convex and concave
// polygons are cut by ear clipping in the polygon's best-fit plane (the plane of its Newell
// normal), so a slightly warped polygon is cut as its outline suggests. A quad is cut along the
// diagonal 0-2 unless that diagonal lies outside it, then along 1-3. A polygon with no area
// (all points on a line or on one spot) is cut as a fan; one whose outline crosses itself is cut
// as far as ears can be found and then by the most convex corners, so every polygon finishes.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace scenehost {

// Working storage that one caller reuses from polygon to polygon.
struct TriangulationScratch {
    std::vector<double> u, v; // the points in the polygon's plane
    // The ring of corners still to cut, as links between point places, and which are left.
    std::vector<uint32_t> next, prev;
    std::vector<uint8_t> alive;
    // What is known of the corners that are no ears: one bit a corner still to test, why each
    // tested one is none (a point inside, or its own turn), and by point the corners it blocks.
    std::vector<uint64_t> untested;
    std::vector<uint32_t> blocker;
    std::vector<std::vector<uint32_t>> blocked;
    std::vector<std::pair<double, uint32_t>> turns; // a heap, once a polygon runs out of ears
    // The points bucketed by place in the plane: cell c holds cellPoints[cellStart[c] ..
    // cellStart[c + 1]), cells row by row along v.
    std::vector<uint32_t> cellStart, cellPoints, gridLeft, gridFill;
    double uLow = 0, vLow = 0, cellU = 1, cellV = 1;
    uint32_t cellsU = 1, cellsV = 1, gridPoints = 0;
    // Ear tests made since the scratch was made: the work that the polygons' shapes cost.
    uint64_t earTests = 0;
};

// Appends the triangles of the polygon whose points are `points[0..count)` (indices into
// `positions`, 3 floats a point) to `out`, three corner places (0 .. count - 1) a triangle.
void TriangulatePolygon(const float* positions, const uint32_t* points, uint32_t count,
                        std::vector<uint32_t>& out, TriangulationScratch& scratch);

// The diagonal along which a quad is cut: 0 for 0-2, giving (0, 1, 2), (0, 2, 3); 1 for 1-3,
// giving (0, 1, 3), (1, 2, 3).
uint32_t QuadDiagonal(const float* positions, const uint32_t* points);

// The Newell normal of the polygon, not normalised: its length is twice the polygon's area.
void PolygonNormal(const float* positions, const uint32_t* points, uint32_t count, double* normal);

} // namespace scenehost
