#include "Triangulate.h"

#include <algorithm>
#include <cmath>

namespace scenehost {

namespace {

struct Vec {
    double x, y, z;
};

Vec Sub(const Vec& a, const Vec& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vec Cross(const Vec& a, const Vec& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double Dot(const Vec& a, const Vec& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// Points relative to the polygon's first point, which keeps the sums exact enough far from the
// origin.
Vec At(const float* positions, const uint32_t* points, uint32_t i, const Vec& origin) {
    const float* p = positions + size_t(points[i]) * 3;
    return {p[0] - origin.x, p[1] - origin.y, p[2] - origin.z};
}

void Emit(std::vector<uint32_t>& out, uint32_t a, uint32_t b, uint32_t c) {
    out.push_back(a);
    out.push_back(b);
    out.push_back(c);
}

void Fan(uint32_t count, std::vector<uint32_t>& out) {
    for (uint32_t i = 1; i + 1 < count; ++i)
        Emit(out, 0, i, i + 1);
}

// Twice the signed area of the 2D triangle (a, b, c); positive when it turns left.
double Turn(const TriangulationScratch& s, uint32_t a, uint32_t b, uint32_t c) {
    return (s.u[b] - s.u[a]) * (s.v[c] - s.v[a]) - (s.v[b] - s.v[a]) * (s.u[c] - s.u[a]);
}

bool Same(const TriangulationScratch& s, uint32_t a, uint32_t b) {
    return s.u[a] == s.u[b] && s.v[a] == s.v[b];
}

// (a, b, c) is an ear when b turns left and no other point of the ring lies in the triangle or
// on its border; points on the spot of one of its corners do not count (they are where a polygon
// touches itself).
bool IsEar(const TriangulationScratch& s, size_t at, double tolerance) {
    const std::vector<uint32_t>& ring = s.ring;
    size_t k = ring.size();
    uint32_t a = ring[(at + k - 1) % k], b = ring[at], c = ring[(at + 1) % k];
    if (Turn(s, a, b, c) <= tolerance) return false;
    for (uint32_t p : ring) {
        if (p == a || p == b || p == c || Same(s, p, a) || Same(s, p, b) || Same(s, p, c)) continue;
        if (Turn(s, a, b, p) >= 0 && Turn(s, b, c, p) >= 0 && Turn(s, c, a, p) >= 0) return false;
    }
    return true;
}

void EarClip(uint32_t count, double tolerance, std::vector<uint32_t>& out,
             TriangulationScratch& s) {
    std::vector<uint32_t>& ring = s.ring;
    ring.resize(count);
    for (uint32_t i = 0; i < count; ++i)
        ring[i] = i;
    size_t at = 0, misses = 0;
    while (ring.size() > 3) {
        size_t k = ring.size();
        if (misses >= k) {
            // No ear anywhere (the outline crosses itself, or rounding hides the ears): cut the
            // most convex corner, which always exists, so the loop shrinks the ring every round.
            double best = -INFINITY;
            for (size_t i = 0; i < k; ++i) {
                double turn = Turn(s, ring[(i + k - 1) % k], ring[i], ring[(i + 1) % k]);
                if (turn > best) best = turn, at = i;
            }
        } else if (!IsEar(s, at, tolerance)) {
            at = (at + 1) % k;
            ++misses;
            continue;
        }
        Emit(out, ring[(at + k - 1) % k], ring[at], ring[(at + 1) % k]);
        ring.erase(ring.begin() + std::ptrdiff_t(at));
        if (at >= ring.size()) at = 0;
        misses = 0;
    }
    Emit(out, ring[0], ring[1], ring[2]);
}

} // namespace

void PolygonNormal(const float* positions, const uint32_t* points, uint32_t count, double* normal) {
    const float* first = positions + size_t(points[0]) * 3;
    Vec origin{first[0], first[1], first[2]};
    Vec n{0, 0, 0};
    Vec cur = At(positions, points, 0, origin);
    for (uint32_t i = 0; i < count; ++i) {
        Vec next = At(positions, points, (i + 1) % count, origin);
        n.x += (cur.y - next.y) * (cur.z + next.z);
        n.y += (cur.z - next.z) * (cur.x + next.x);
        n.z += (cur.x - next.x) * (cur.y + next.y);
        cur = next;
    }
    normal[0] = n.x;
    normal[1] = n.y;
    normal[2] = n.z;
}

uint32_t QuadDiagonal(const float* positions, const uint32_t* points) {
    const float* first = positions + size_t(points[0]) * 3;
    Vec origin{first[0], first[1], first[2]};
    Vec p1 = At(positions, points, 1, origin), p2 = At(positions, points, 2, origin),
        p3 = At(positions, points, 3, origin);
    Vec n = Cross(p2, Sub(p3, p1)); // a quad's Newell normal is the cross of its diagonals
    // Each cut is good when both its triangles face the way the quad does; 0-2 is taken when
    // both are, and when neither is (a quad without area, or one folded over itself).
    bool along02 = Dot(Cross(p1, p2), n) > 0 && Dot(Cross(p2, p3), n) > 0;
    bool along13 = Dot(Cross(p1, p3), n) > 0 && Dot(Cross(Sub(p2, p1), Sub(p3, p1)), n) > 0;
    return along02 || !along13 ? 0 : 1;
}

void TriangulatePolygon(const float* positions, const uint32_t* points, uint32_t count,
                        std::vector<uint32_t>& out, TriangulationScratch& scratch) {
    if (count < 3) return;
    if (count == 3) {
        Emit(out, 0, 1, 2);
        return;
    }
    double nv[3];
    PolygonNormal(positions, points, count, nv);
    Vec n{nv[0], nv[1], nv[2]};
    const float* first = positions + size_t(points[0]) * 3;
    Vec origin{first[0], first[1], first[2]};

    double extent = 0;
    for (uint32_t i = 1; i < count; ++i) {
        Vec p = At(positions, points, i, origin);
        extent = std::max({extent, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
    }
    double length = std::sqrt(Dot(n, n));
    if (!(length > 1e-12 * extent * extent)) { // no area, or not a number
        Fan(count, out);
        return;
    }

    if (count == 4) {
        if (QuadDiagonal(positions, points) == 0) {
            Emit(out, 0, 1, 2);
            Emit(out, 0, 2, 3);
        } else {
            Emit(out, 0, 1, 3);
            Emit(out, 1, 2, 3);
        }
        return;
    }

    // A right-handed basis (u, v, n) of the best-fit plane: the polygon runs counter-clockwise in
    // (u, v) because its Newell normal follows its winding.
    n = {n.x / length, n.y / length, n.z / length};
    Vec axis = std::fabs(n.x) < 0.6   ? Vec{1, 0, 0}
               : std::fabs(n.y) < 0.6 ? Vec{0, 1, 0}
                                      : Vec{0, 0, 1};
    Vec u = Cross(axis, n);
    double ul = std::sqrt(Dot(u, u));
    u = {u.x / ul, u.y / ul, u.z / ul};
    Vec v = Cross(n, u);
    scratch.u.resize(count);
    scratch.v.resize(count);
    for (uint32_t i = 0; i < count; ++i) {
        Vec p = At(positions, points, i, origin);
        scratch.u[i] = Dot(p, u);
        scratch.v[i] = Dot(p, v);
    }
    EarClip(count, 1e-14 * extent * extent, out, scratch);
}

} // namespace scenehost
