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

constexpr uint32_t kNone = UINT32_MAX;
constexpr uint32_t kReflex = UINT32_MAX - 1; // a cached "no ear" that its corners alone decide

// The cell of one coordinate along an axis of `cells` cells from `low`, `size` wide; anything
// outside, or not a number, lands in the nearest end cell.
uint32_t CellOf(double x, double low, double size, uint32_t cells) {
    double t = (x - low) / size;
    if (!(t > 0)) return 0;
    if (t >= double(cells - 1)) return cells - 1;
    return uint32_t(t);
}

// Buckets the points still in the ring by (u, v) into about one cell a point, so that a triangle
// is tested only against the points near it rather than the whole ring: that keeps an ear test
// cheap however large the polygon. Made again whenever half the points it holds are gone, so
// that cut points do not crowd the cells.
void BuildGrid(uint32_t count, TriangulationScratch& s) {
    std::vector<uint32_t>& left = s.gridLeft;
    left.clear();
    double uLow = INFINITY, uHigh = -INFINITY, vLow = INFINITY, vHigh = -INFINITY;
    for (uint32_t p = 0; p < count; ++p)
        if (s.alive[p]) {
            left.push_back(p);
            uLow = std::min(uLow, s.u[p]), uHigh = std::max(uHigh, s.u[p]);
            vLow = std::min(vLow, s.v[p]), vHigh = std::max(vHigh, s.v[p]);
        }
    const double points = double(left.size()), width = uHigh - uLow, height = vHigh - vLow;
    double cell = std::sqrt(width * height / points);
    bool usable = cell > 0 && std::isfinite(cell);
    s.uLow = uLow, s.vLow = vLow, s.gridPoints = uint32_t(left.size());
    s.cellsU = usable ? uint32_t(std::clamp(std::ceil(width / cell), 1.0, points)) : 1;
    s.cellsV = usable ? uint32_t(std::clamp(std::ceil(height / cell), 1.0, points)) : 1;
    s.cellU = usable ? width / s.cellsU : 1;
    s.cellV = usable ? height / s.cellsV : 1;
    s.cellStart.assign(size_t(s.cellsU) * s.cellsV + 1, 0);
    auto cellIndex = [&](uint32_t p) {
        return size_t(CellOf(s.v[p], s.vLow, s.cellV, s.cellsV)) * s.cellsU +
               CellOf(s.u[p], s.uLow, s.cellU, s.cellsU);
    };
    for (uint32_t p : left)
        ++s.cellStart[cellIndex(p) + 1];
    for (size_t c = 1; c < s.cellStart.size(); ++c)
        s.cellStart[c] += s.cellStart[c - 1];
    s.cellPoints.resize(left.size());
    std::vector<uint32_t>& fill = s.gridFill; // the next free place of each cell
    fill.assign(s.cellStart.begin(), s.cellStart.end() - 1);
    for (uint32_t p : left)
        s.cellPoints[fill[cellIndex(p)]++] = p;
}

// Widens [u0, u1] to hold the part of the triangle (a, b, c) between v = low and v = high:
// its corners there and where its sides cross the two lines.
void SpanInBand(const TriangulationScratch& s, uint32_t a, uint32_t b, uint32_t c, double low,
                double high, double& u0, double& u1) {
    auto widen = [&](double u) { u0 = std::min(u0, u), u1 = std::max(u1, u); };
    const uint32_t corners[3] = {a, b, c};
    for (int i = 0; i < 3; ++i) {
        uint32_t p = corners[i], q = corners[(i + 1) % 3];
        if (s.v[p] >= low && s.v[p] <= high) widen(s.u[p]);
        for (double line : {low, high})
            if ((s.v[p] < line) != (s.v[q] < line))
                widen(s.u[p] + (line - s.v[p]) / (s.v[q] - s.v[p]) * (s.u[q] - s.u[p]));
    }
}

// (a, b, c) is an ear when b turns left and no other point of the ring lies in the triangle or
// on its border; points on the spot of one of its corners do not count (they are where a polygon
// touches itself). When it is not, `blocker` tells why: kReflex, or a point inside.
bool IsEar(const TriangulationScratch& s, uint32_t a, uint32_t b, uint32_t c, double tolerance,
           uint32_t& blocker) {
    blocker = kReflex;
    if (Turn(s, a, b, c) <= tolerance) return false;
    // Only points in the cells that the triangle covers, widened far beyond rounding, can be in
    // it; row by row, since a long thin triangle crosses few of the cells of its box.
    double slack = 1e-9 * (s.cellU * s.cellsU + s.cellV * s.cellsV);
    auto [v0, v1] = std::minmax({s.v[a], s.v[b], s.v[c]});
    uint32_t cv0 = CellOf(v0 - slack, s.vLow, s.cellV, s.cellsV),
             cv1 = CellOf(v1 + slack, s.vLow, s.cellV, s.cellsV);
    for (uint32_t cv = cv0; cv <= cv1; ++cv) {
        double low = cv == 0 ? -INFINITY : s.vLow + cv * s.cellV - slack;
        double high = cv + 1 == s.cellsV ? INFINITY : s.vLow + (cv + 1) * s.cellV + slack;
        double u0 = INFINITY, u1 = -INFINITY;
        SpanInBand(s, a, b, c, low, high, u0, u1);
        if (!(u0 <= u1)) continue;
        uint32_t cu0 = CellOf(u0 - slack, s.uLow, s.cellU, s.cellsU),
                 cu1 = CellOf(u1 + slack, s.uLow, s.cellU, s.cellsU);
        for (size_t cell = size_t(cv) * s.cellsU + cu0; cell <= size_t(cv) * s.cellsU + cu1; ++cell)
            for (uint32_t i = s.cellStart[cell]; i < s.cellStart[cell + 1]; ++i) {
                uint32_t p = s.cellPoints[i];
                if (!s.alive[p] || p == a || p == b || p == c || Same(s, p, a) || Same(s, p, b) ||
                    Same(s, p, c))
                    continue;
                if (Turn(s, a, b, p) >= 0 && Turn(s, b, c, p) >= 0 && Turn(s, c, a, p) >= 0) {
                    blocker = p;
                    return false;
                }
            }
    }
    return true;
}

// Corners whose ear test is still to make: all at first, then the two beside each cut and
// those that the cut point kept from being ears. Every other corner is known to be no ear: its
// neighbours and the point inside it (or its own turn) are as they were when it was tested.
void MarkUntested(TriangulationScratch& s, uint32_t corner) {
    s.untested[corner / 64] |= uint64_t(1) << (corner % 64);
}

void MarkUntestedAfterCut(TriangulationScratch& s, uint32_t cut) {
    s.untested[cut / 64] &= ~(uint64_t(1) << (cut % 64));
    MarkUntested(s, s.prev[cut]);
    MarkUntested(s, s.next[cut]);
    for (uint32_t corner : s.blocked[cut])
        if (s.alive[corner] && s.blocker[corner] == cut) MarkUntested(s, corner);
    s.blocked[cut].clear();
}

// Tests the untested corners in ring order from `from`, which is also the order of their
// places, wrapping once; the first ear is the answer, kNone when there is none. A corner found
// to be no ear is noted with its blocker and not tested again until a cut unsettles it, so that
// a polygon without ears costs no more than one with them.
uint32_t NextEar(TriangulationScratch& s, uint32_t from, double tolerance) {
    const size_t words = s.untested.size();
    for (size_t pass = 0, w = from / 64; pass <= words; ++pass, w = (w + 1) % words) {
        uint64_t bits = s.untested[w];
        if (pass == 0) bits &= ~uint64_t(0) << (from % 64);
        if (pass == words) bits &= ~(~uint64_t(0) << (from % 64));
        while (bits) {
            const uint32_t b = uint32_t(w * 64) + uint32_t(__builtin_ctzll(bits));
            bits &= bits - 1;
            ++s.earTests;
            uint32_t& blocker = s.blocker[b];
            if (IsEar(s, s.prev[b], b, s.next[b], tolerance, blocker)) return b;
            s.untested[w] &= ~(uint64_t(1) << (b % 64));
            if (blocker != kReflex) s.blocked[blocker].push_back(b);
        }
    }
    return kNone;
}

// Corners by their turn, the largest first and of equal turns the lowest place, for a polygon
// without ears; entries whose turn has changed since are dropped as they come up.
bool ConvexFirst(const std::pair<double, uint32_t>& x, const std::pair<double, uint32_t>& y) {
    return x.first < y.first || (x.first == y.first && x.second > y.second);
}

void PushTurn(TriangulationScratch& s, uint32_t corner) {
    s.turns.emplace_back(Turn(s, s.prev[corner], corner, s.next[corner]), corner);
    std::push_heap(s.turns.begin(), s.turns.end(), ConvexFirst);
}

// The corner with the largest left turn, the first of them from the ring's start.
uint32_t MostConvexCorner(TriangulationScratch& s, uint32_t count) {
    if (s.turns.empty())
        for (uint32_t i = 0; i < count; ++i)
            if (s.alive[i]) PushTurn(s, i);
    for (;;) {
        std::pair<double, uint32_t> top = s.turns.front();
        std::pop_heap(s.turns.begin(), s.turns.end(), ConvexFirst);
        s.turns.pop_back();
        const uint32_t i = top.second;
        if (s.alive[i] && Turn(s, s.prev[i], i, s.next[i]) == top.first) return i;
    }
}

// The ring runs through the points in their order, as a linked list, so that cutting a corner
// costs the same anywhere; `start` is the lowest point still in it. The first ear from where
// the last cut was is cut next; when there is none, the most convex corner is.
void EarClip(uint32_t count, double tolerance, std::vector<uint32_t>& out,
             TriangulationScratch& s) {
    s.next.resize(count);
    s.prev.resize(count);
    for (uint32_t i = 0; i < count; ++i) {
        s.next[i] = (i + 1) % count;
        s.prev[i] = (i + count - 1) % count;
    }
    s.alive.assign(count, 1);
    BuildGrid(count, s);
    s.blocker.assign(count, kReflex);
    s.untested.assign((count + 63) / 64, 0);
    for (uint32_t i = 0; i < count; ++i)
        MarkUntested(s, i);
    if (s.blocked.size() < count) s.blocked.resize(count);
    for (uint32_t i = 0; i < count; ++i)
        s.blocked[i].clear();
    s.turns.clear();
    uint32_t start = 0, at = 0, corners = count;
    while (corners > 3) {
        uint32_t ear = NextEar(s, at, tolerance);
        // No ear anywhere (the outline crosses itself, or rounding hides the ears): cut the most
        // convex corner, which always exists, so the loop shrinks the ring every round.
        if (ear == kNone) ear = MostConvexCorner(s, count);
        uint32_t before = s.prev[ear], after = s.next[ear];
        Emit(out, before, ear, after);
        s.alive[ear] = 0;
        s.next[before] = after;
        s.prev[after] = before;
        MarkUntestedAfterCut(s, ear);
        if (!s.turns.empty()) PushTurn(s, before), PushTurn(s, after);
        if (ear == start) start = after;
        at = after;
        --corners;
        if (corners * 2 < s.gridPoints) BuildGrid(count, s);
    }
    Emit(out, start, s.next[start], s.next[s.next[start]]);
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
