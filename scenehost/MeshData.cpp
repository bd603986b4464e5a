#include "MeshData.h"

#include "Triangulate.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace scenehost {

namespace {

// Every mesh of the process gets its own serial, so that a handle of one mesh is refused by all
// others; 30 bits of it go into a handle, and 0 is skipped so that no handle is null.
uint64_t NextSerial() {
    static std::atomic<uint64_t> counter{0};
    uint64_t serial;
    do
        serial = (++counter) & ((uint64_t(1) << 30) - 1);
    while (serial == 0);
    return serial;
}

} // namespace

uint32_t MapDimension(uint32_t type) {
    switch (type) {
    case qvMapNormal:
    case qvMapRgb:
    case qvMapMorph:
        return 3;
    case qvMapRgba:
        return 4;
    case qvMapUv:
        return 2;
    case qvMapTangent:
        return 6;
    case qvMapWeight:
        return 1;
    default:
        return 0;
    }
}

uint32_t FourCCFromText(const std::string& text) {
    return text.size() == 4 ? QvFourCC(text[0], text[1], text[2], text[3]) : 0;
}

std::string FourCCText(uint32_t code) {
    return {char(code >> 24), char(code >> 16), char(code >> 8), char(code)};
}

const char* KnownMapTypes() {
    return "NORM, RGB , RGBA, TXUV, TBAS, WGHT, MORF";
}

// ---- Maps -----------------------------------------------------------------------------------

MeshMap::MeshMap(const MeshData& mesh, uint32_t index, uint32_t type, std::string name)
    : mesh_(mesh), index_(index), type_(type), dimension_(MapDimension(type)),
      name_(std::move(name)) {}

const float* MeshMap::Checked(std::initializer_list<float> value) const {
    if (value.size() != dimension_)
        throw std::invalid_argument("a value of the " + FourCCText(type_) + " map '" + name_ +
                                    "' has " + std::to_string(dimension_) + " numbers, not " +
                                    std::to_string(value.size()));
    return value.begin();
}

void MeshMap::ReservePoints(uint32_t count) {
    if (pointSet_.size() < count) {
        pointSet_.resize(count, 0);
        pointValues_.resize(size_t(count) * dimension_, 0.0f);
    }
}

MeshMap& MeshMap::SetPointValue(uint32_t point, const float* value) {
    if (point >= mesh_.PointCount())
        throw std::invalid_argument("map '" + name_ + "': no point " + std::to_string(point));
    if (point >= pointSet_.size()) ReservePoints(std::max(mesh_.PointCount(), point + 1));
    std::memcpy(&pointValues_[size_t(point) * dimension_], value, dimension_ * sizeof(float));
    if (!pointSet_[point]) ++pointValueCount_;
    pointSet_[point] = 1;
    return *this;
}

MeshMap& MeshMap::SetPointValue(uint32_t point, std::initializer_list<float> value) {
    return SetPointValue(point, Checked(value));
}

MeshMap& MeshMap::SetPolygonValue(uint32_t polygon, uint32_t corner, const float* value) {
    if (polygon >= mesh_.PolygonCount())
        throw std::invalid_argument("map '" + name_ + "': no polygon " + std::to_string(polygon));
    if (corner >= mesh_.VertexCount(polygon))
        throw std::invalid_argument("map '" + name_ + "': polygon " + std::to_string(polygon) +
                                    " has no corner " + std::to_string(corner));
    if (polygon >= polygonRow_.size())
        polygonRow_.resize(std::max<size_t>(mesh_.PolygonCount(), polygon + 1), kNoRow);
    if (polygonRow_[polygon] == kNoRow) {
        polygonRow_[polygon] = uint32_t(rowSet_.size());
        rowSet_.resize(rowSet_.size() + mesh_.VertexCount(polygon), 0);
        rowValues_.resize(rowSet_.size() * dimension_, 0.0f);
    }
    const size_t row = size_t(polygonRow_[polygon]) + corner;
    std::memcpy(&rowValues_[row * dimension_], value, dimension_ * sizeof(float));
    rowSet_[row] = 1;
    return *this;
}

MeshMap& MeshMap::SetPolygonValue(uint32_t polygon, uint32_t corner,
                                  std::initializer_list<float> value) {
    return SetPolygonValue(polygon, corner, Checked(value));
}

// ---- Mesh: builder --------------------------------------------------------------------------

MeshData::MeshData()
    : serial_(NextSerial()), firstCorner_{0}, scratch_(std::make_unique<TriangulationScratch>()) {
    tags_.push_back({qvPolyTagMaterial, {}});
    tags_.push_back({qvPolyTagPart, {}});
}

MeshData::~MeshData() = default;

void MeshData::Changed() {
    normalsValid_ = false;
    cuts_.clear();
    bigTriangles_.clear();
    edgesValid_ = false;
}

void MeshData::Reserve(uint32_t points, uint32_t polygons, uint32_t corners) {
    positions_.reserve(size_t(points) * 3);
    firstCorner_.reserve(size_t(polygons) + 1);
    corners_.reserve(corners);
}

uint32_t MeshData::AddPoint(float x, float y, float z) {
    if (PointCount() == 0xFFFFFFFFu)
        throw std::invalid_argument("a mesh has at most 2^32-1 points");
    positions_.push_back(x);
    positions_.push_back(y);
    positions_.push_back(z);
    Changed();
    return PointCount() - 1;
}

void MeshData::SetPosition(uint32_t point, float x, float y, float z) {
    if (point >= PointCount()) throw std::invalid_argument("no point " + std::to_string(point));
    float* p = &positions_[size_t(point) * 3];
    p[0] = x;
    p[1] = y;
    p[2] = z;
    Changed();
}

uint32_t MeshData::AddPolygon(std::initializer_list<uint32_t> points, const char* material,
                              const char* part) {
    return AddPolygon(points.begin(), uint32_t(points.size()), material, part);
}

uint32_t MeshData::AddPolygon(const std::vector<uint32_t>& points, const char* material,
                              const char* part) {
    return AddPolygon(points.data(), uint32_t(points.size()), material, part);
}

uint32_t MeshData::AddPolygon(const uint32_t* points, uint32_t count, const char* material,
                              const char* part) {
    if (count < 3)
        throw std::invalid_argument("a polygon needs at least 3 points, not " +
                                    std::to_string(count));
    uint32_t pointCount = PointCount();
    for (uint32_t i = 0; i < count; ++i)
        if (points[i] >= pointCount)
            throw std::invalid_argument("no point " + std::to_string(points[i]) +
                                        ": the mesh has " + std::to_string(pointCount));
    // A polygon visits a point once: a polygon's values are found by point, which needs this.
    auto twice = [](uint32_t point) {
        return std::invalid_argument("a polygon has point " + std::to_string(point) + " twice");
    };
    if (count <= 16) {
        for (uint32_t i = 1; i < count; ++i)
            for (uint32_t j = 0; j < i; ++j)
                if (points[j] == points[i]) throw twice(points[i]);
    } else {
        std::vector<uint32_t> sorted(points, points + count);
        std::sort(sorted.begin(), sorted.end());
        auto repeated = std::adjacent_find(sorted.begin(), sorted.end());
        if (repeated != sorted.end()) throw twice(*repeated);
    }
    corners_.insert(corners_.end(), points, points + count);
    firstCorner_.push_back(uint32_t(corners_.size()));
    uint32_t polygon = PolygonCount() - 1;
    const char* texts[2] = {material, part}; // the columns of MATR and PART
    for (int i = 0; i < 2; ++i) {
        if (!texts[i]) continue;
        tags_[i].text.resize(size_t(polygon) + 1, kNoTag);
        tags_[i].text[polygon] = TagText(texts[i]);
    }
    Changed();
    return polygon;
}

uint32_t MeshData::TagText(const char* text) {
    if (lastTag_ != kNoTag && tagTexts_[lastTag_] == text) return lastTag_;
    auto found = tagIndex_.find(text);
    if (found == tagIndex_.end()) {
        tagTexts_.emplace_back(text);
        found = tagIndex_.emplace(tagTexts_.back(), uint32_t(tagTexts_.size() - 1)).first;
    }
    return lastTag_ = found->second;
}

void MeshData::SetPolygonTag(uint32_t polygon, uint32_t code, const std::string& value) {
    if (polygon >= PolygonCount())
        throw std::invalid_argument("no polygon " + std::to_string(polygon));
    auto column = std::find_if(tags_.begin(), tags_.end(),
                               [&](const TagColumn& c) { return c.code == code; });
    if (column == tags_.end()) column = tags_.insert(tags_.end(), TagColumn{code, {}});
    if (column->text.size() <= polygon) column->text.resize(polygon + 1, kNoTag);
    column->text[polygon] = TagText(value.c_str());
}

MeshMap& MeshData::AddMap(const std::string& type, const std::string& name) {
    uint32_t code = FourCCFromText(type);
    if (MapDimension(code) == 0)
        throw std::invalid_argument("unknown map type '" + type + "' (known: " + KnownMapTypes() +
                                    ")");
    return AddMap(code, name);
}

MeshMap& MeshData::AddMap(uint32_t type, const std::string& name) {
    if (MapDimension(type) == 0)
        throw std::invalid_argument("unknown map type '" + FourCCText(type) + "'");
    if (FindMap(type, name))
        throw std::invalid_argument("the mesh has a " + FourCCText(type) + " map '" + name +
                                    "' already");
    maps_.push_back(std::make_unique<MeshMap>(*this, MapCount(), type, name));
    return *maps_.back();
}

// ---- Mesh: the model ------------------------------------------------------------------------

const char* MeshData::Tag(uint32_t polygon, uint32_t code) const {
    for (const TagColumn& column : tags_)
        if (column.code == code)
            return polygon < column.text.size() && column.text[polygon] != kNoTag
                       ? tagTexts_[column.text[polygon]].c_str()
                       : nullptr;
    return nullptr;
}

MeshMap* MeshData::FindMap(uint32_t type, const std::string& name) const {
    for (const auto& map : maps_)
        if ((type == 0 || map->Type() == type) && map->Name() == name) return map.get();
    return nullptr;
}

const float* MeshData::PointNormal(uint32_t point) const {
    if (!normalsValid_) ComputeNormals();
    return &normals_[size_t(point) * 3];
}

namespace {

// acos to float precision (the series is within 2e-8 radians), several times faster than the
// library's, which the normals of a mesh of millions of corners notice.
float FastAcos(float x) {
    float a = std::min(std::fabs(x), 1.0f);
    float series =
        1.5707963050f +
        a * (-0.2145988016f +
             a * (0.0889789874f +
                  a * (-0.0501743046f +
                       a * (0.0308918810f +
                            a * (-0.0170881256f + a * (0.0066700901f - 0.0012624911f * a))))));
    float r = std::sqrt(1.0f - a) * series;
    return x < 0 ? 3.14159265f - r : r;
}

} // namespace

void MeshData::ComputeNormals() const {
    normals_.assign(positions_.size(), 0.0f);
    std::vector<float> edges; // unit edges of one polygon: edge i runs from point i to i + 1
    for (uint32_t p = 0, polygons = PolygonCount(); p < polygons; ++p) {
        const uint32_t* ring = PolygonPoints(p);
        uint32_t n = VertexCount(p);
        edges.resize(size_t(n) * 3);
        for (uint32_t i = 0; i < n; ++i) {
            const float* a = Position(ring[i]);
            const float* b = Position(ring[i + 1 < n ? i + 1 : 0]);
            float* e = &edges[size_t(i) * 3];
            e[0] = b[0] - a[0], e[1] = b[1] - a[1], e[2] = b[2] - a[2];
            float l = std::sqrt(e[0] * e[0] + e[1] * e[1] + e[2] * e[2]);
            float scale = l > 0 ? 1.0f / l : 0.0f;
            e[0] *= scale, e[1] *= scale, e[2] *= scale;
        }
        // The face's direction: for a triangle that of two of its edges, for a quad that of its
        // diagonals (both equal to its Newell normal's), else the Newell normal.
        float face[3];
        if (n <= 4) {
            const float* a = n == 3 ? &edges[0] : Position(ring[0]);
            const float* b = n == 3 ? &edges[3] : Position(ring[1]);
            float d0[3], d1[3];
            for (int k = 0; k < 3; ++k) {
                d0[k] = n == 3 ? a[k] : Position(ring[2])[k] - a[k];
                d1[k] = n == 3 ? b[k] : Position(ring[3])[k] - b[k];
            }
            face[0] = d0[1] * d1[2] - d0[2] * d1[1];
            face[1] = d0[2] * d1[0] - d0[0] * d1[2];
            face[2] = d0[0] * d1[1] - d0[1] * d1[0];
        } else {
            double newell[3];
            PolygonNormal(positions_.data(), ring, n, newell);
            face[0] = float(newell[0]), face[1] = float(newell[1]), face[2] = float(newell[2]);
        }
        float length = std::sqrt(face[0] * face[0] + face[1] * face[1] + face[2] * face[2]);
        if (!(length > 0)) continue; // a polygon without area gives no direction
        float unit[3] = {face[0] / length, face[1] / length, face[2] / length};
        for (uint32_t i = 0; i < n; ++i) {
            // The angle at point i, between the edge that arrives and the edge that leaves.
            const float* in = &edges[size_t(i == 0 ? n - 1 : i - 1) * 3];
            const float* out = &edges[size_t(i) * 3];
            float angle = FastAcos(-(in[0] * out[0] + in[1] * out[1] + in[2] * out[2]));
            float* sum = &normals_[size_t(ring[i]) * 3];
            sum[0] += angle * unit[0], sum[1] += angle * unit[1], sum[2] += angle * unit[2];
        }
    }
    for (size_t i = 0; i < normals_.size(); i += 3) {
        float* v = &normals_[i];
        float l = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        if (l > 0) v[0] /= l, v[1] /= l, v[2] /= l;
    }
    normalsValid_ = true;
}

uint32_t MeshData::ComputeCut(uint32_t polygon) const {
    if (cuts_.size() < PolygonCount()) cuts_.resize(PolygonCount(), kNotCut);
    const uint32_t* points = PolygonPoints(polygon);
    uint32_t n = VertexCount(polygon);
    if (n == 4) return cuts_[polygon] = QuadDiagonal(positions_.data(), points);
    cuts_[polygon] = uint32_t(bigTriangles_.size());
    TriangulatePolygon(positions_.data(), points, n, bigTriangles_, *scratch_);
    return cuts_[polygon];
}

bool MeshData::HasEdge(uint32_t a, uint32_t b) const {
    auto key = [](uint32_t x, uint32_t y) {
        return (uint64_t(std::min(x, y)) << 32) | std::max(x, y);
    };
    if (!edgesValid_) {
        edges_.clear();
        for (uint32_t p = 0, polygons = PolygonCount(); p < polygons; ++p) {
            const uint32_t* ring = PolygonPoints(p);
            uint32_t n = VertexCount(p);
            for (uint32_t i = 0; i < n; ++i)
                edges_.insert(key(ring[i], ring[(i + 1) % n]));
        }
        edgesValid_ = true;
    }
    return edges_.count(key(a, b)) > 0;
}

} // namespace scenehost
