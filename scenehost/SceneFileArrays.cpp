#include "SceneFileArrays.h"

#include "JsonArrayScan.h"
#include "MeshData.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

namespace scenehost {

namespace {

constexpr size_t kSearchedPolygonSize = 16;

// A number as the general reader keeps it, a double, and then as the mesh keeps it; a value
// beyond a float declines, for the general reader to refuse it where it stands.
bool ToFloat(double d, std::vector<float>& out) {
    if (std::fabs(d) > FLT_MAX) return false;
    out.push_back(float(d));
    return true;
}

bool SameKey(const char* s, size_t length, const char* name) {
    return length == std::strlen(name) && std::memcmp(s, name, length) == 0;
}

bool HasRepeatedPoint(const std::vector<uint32_t>& points) {
    if (points.size() <= kSearchedPolygonSize) {
        for (size_t i = 1; i < points.size(); ++i)
            if (std::find(points.begin(), points.begin() + i, points[i]) != points.begin() + i)
                return true;
        return false;
    }
    std::vector<uint32_t> sorted(points);
    std::sort(sorted.begin(), sorted.end());
    return std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end();
}

template <class T> void Release(std::vector<T>& v) {
    std::vector<T>().swap(v);
}

// The mesh's builder refuses what the general reader refuses, with a message of its own.
template <class F> void AsArrayFault(F&& step) {
    try {
        step();
    } catch (const std::invalid_argument& e) {
        throw ArrayFault(e.what());
    }
}

} // namespace

// ---- NumberRows -----------------------------------------------------------------------------

bool NumberRows::Null() {
    if (inRow_ || fixedWidth_) return false;
    present_.push_back(0);
    return true;
}

bool NumberRows::StartArray() {
    if (inRow_) return false;
    inRow_ = true;
    rowLength_ = 0;
    return true;
}

bool NumberRows::Number(double d) {
    if (!inRow_ || !ToFloat(d, numbers_)) return false;
    ++rowLength_;
    return true;
}

bool NumberRows::EndArray() {
    if (width_ == 0) width_ = rowLength_;
    if (!inRow_ || rowLength_ == 0 || rowLength_ != width_) return false;
    inRow_ = false;
    present_.push_back(1);
    return true;
}

bool NumberRows::ScanQuickly(const char* text, size_t size, size_t open, size_t* close) {
    return ScanJsonArray(text, size, open, *this, close);
}

void NumberRows::AddPoints(MeshData& mesh) {
    mesh.Reserve(mesh.PointCount() + uint32_t(present_.size()), 0, 0);
    AsArrayFault([&] {
        for (size_t i = 0; i + 2 < numbers_.size(); i += 3)
            mesh.AddPoint(numbers_[i], numbers_[i + 1], numbers_[i + 2]);
    });
    Release(numbers_);
    Release(present_);
}

void NumberRows::SetPointValues(MeshData& mesh, MeshMap& map) {
    if (present_.size() > mesh.PointCount())
        throw ArrayFault("a map has values for more points than the mesh has");
    if (width_ != 0 && width_ != map.Dimension())
        throw ArrayFault("a map's values have another number of numbers than its type");
    const float* row = numbers_.data();
    AsArrayFault([&] {
        for (uint32_t point = 0; point < present_.size(); ++point)
            if (present_[point]) map.SetPointValue(point, row), row += width_;
    });
    Release(numbers_);
    Release(present_);
}

// ---- PolygonRows ----------------------------------------------------------------------------

bool PolygonRows::StartObject() {
    if (inObject_ || inPoints_) return false;
    inObject_ = true;
    seen_ = 0;
    member_ = kNone;
    return true;
}

bool PolygonRows::Key(const char* s, size_t length) {
    if (!inObject_ || inPoints_) return false;
    if (SameKey(s, length, "points"))
        member_ = kPoints;
    else if (SameKey(s, length, "material"))
        member_ = kMaterial;
    else if (SameKey(s, length, "part"))
        member_ = kPart;
    else
        return false; // "tags" and unknown members: the general reader
    if (seen_ & (1u << member_)) return false;
    seen_ |= uint8_t(1u << member_);
    return true;
}

bool PolygonRows::String(const char* s, size_t length) {
    if (!inObject_ || inPoints_ || (member_ != kMaterial && member_ != kPart)) return false;
    tags_[member_ == kMaterial ? 0 : 1] = TextIndex(s, length);
    return true;
}

bool PolygonRows::StartArray() {
    if (inPoints_ || (inObject_ && member_ != kPoints)) return false;
    inPoints_ = true;
    points_.clear();
    return true;
}

bool PolygonRows::Uint(unsigned u) {
    if (!inPoints_) return false;
    points_.push_back(u);
    return true;
}

bool PolygonRows::EndArray() {
    if (!inPoints_) return false;
    inPoints_ = false;
    return inObject_ || Commit();
}

bool PolygonRows::EndObject() {
    if (!inObject_ || inPoints_ || !(seen_ & (1u << kPoints))) return false;
    inObject_ = false;
    return Commit();
}

bool PolygonRows::Commit() {
    if (points_.size() < 3 || HasRepeatedPoint(points_)) return false;
    corners_.insert(corners_.end(), points_.begin(), points_.end());
    ends_.push_back(uint32_t(corners_.size()));
    std::vector<uint32_t>* columns[2] = {&material_, &part_};
    for (int i = 0; i < 2; ++i) {
        if (tags_[i] != kNoText || !columns[i]->empty()) {
            columns[i]->resize(ends_.size() - 1, kNoText);
            columns[i]->push_back(tags_[i]);
        }
        tags_[i] = kNoText;
    }
    return true;
}

// Polygons share a few texts, mostly the one of the polygon before.
uint32_t PolygonRows::TextIndex(const char* s, size_t length) {
    for (size_t i = texts_.size(); i-- > 0;)
        if (texts_[i].size() == length && std::memcmp(texts_[i].data(), s, length) == 0)
            return uint32_t(i);
    texts_.emplace_back(s, length);
    return uint32_t(texts_.size() - 1);
}

bool PolygonRows::ScanQuickly(const char* text, size_t size, size_t open, size_t* close) {
    return ScanJsonArray(text, size, open, *this, close);
}

void PolygonRows::AddPolygons(MeshData& mesh) {
    mesh.Reserve(mesh.PointCount(), mesh.PolygonCount() + uint32_t(ends_.size()),
                 mesh.CornerCount() + uint32_t(corners_.size()));
    auto text = [&](const std::vector<uint32_t>& column, size_t polygon) -> const char* {
        return polygon < column.size() && column[polygon] != kNoText
                   ? texts_[column[polygon]].c_str()
                   : nullptr;
    };
    AsArrayFault([&] {
        uint32_t first = 0;
        for (size_t p = 0; p < ends_.size(); ++p) {
            mesh.AddPolygon(&corners_[first], ends_[p] - first, text(material_, p), text(part_, p));
            first = ends_[p];
        }
    });
    Release(corners_);
    Release(ends_);
    Release(material_);
    Release(part_);
}

// ---- PolygonValueRows -----------------------------------------------------------------------

bool PolygonValueRows::StartObject() {
    if (inEntry_) return false;
    inEntry_ = true;
    seen_ = 0;
    member_ = kNone;
    return true;
}

bool PolygonValueRows::Key(const char* s, size_t length) {
    if (!inEntry_ || inValues_) return false;
    if (SameKey(s, length, "polygon"))
        member_ = kPolygon;
    else if (SameKey(s, length, "values"))
        member_ = kValues;
    else
        return false;
    if (seen_ & (1u << member_)) return false;
    seen_ |= uint8_t(1u << member_);
    return true;
}

bool PolygonValueRows::Uint(unsigned u) {
    if (inEntry_ && !inValues_ && member_ == kPolygon) {
        polygon_ = u;
        return true;
    }
    return Number(double(u));
}

bool PolygonValueRows::Number(double d) {
    if (!inRow_ || !ToFloat(d, numbers_)) return false;
    ++rowLength_;
    return true;
}

bool PolygonValueRows::Null() {
    if (!inValues_ || inRow_) return false;
    present_.push_back(0);
    return true;
}

bool PolygonValueRows::StartArray() {
    if (!inEntry_ || inRow_ || (!inValues_ && member_ != kValues)) return false;
    if (inValues_) {
        inRow_ = true;
        rowLength_ = 0;
    } else {
        inValues_ = true;
    }
    return true;
}

bool PolygonValueRows::EndArray() {
    if (inRow_) {
        if (width_ == 0) width_ = rowLength_;
        if (rowLength_ == 0 || rowLength_ != width_) return false;
        inRow_ = false;
        present_.push_back(1);
        return true;
    }
    if (!inValues_) return false;
    inValues_ = false;
    return true;
}

bool PolygonValueRows::EndObject() {
    if (!inEntry_ || inValues_ || seen_ != ((1u << kPolygon) | (1u << kValues))) return false;
    inEntry_ = false;
    polygons_.push_back(polygon_);
    ends_.push_back(uint32_t(present_.size()));
    return true;
}

bool PolygonValueRows::ScanQuickly(const char* text, size_t size, size_t open, size_t* close) {
    return ScanJsonArray(text, size, open, *this, close);
}

void PolygonValueRows::SetPolygonValues(MeshData& mesh, MeshMap& map) {
    if (width_ != 0 && width_ != map.Dimension())
        throw ArrayFault("a map's polygon values have another number of numbers than its type");
    const float* row = numbers_.data();
    uint32_t first = 0;
    for (size_t e = 0; e < polygons_.size(); ++e) {
        uint32_t polygon = polygons_[e], count = ends_[e] - first;
        if (polygon >= mesh.PolygonCount() || mesh.VertexCount(polygon) != count)
            throw ArrayFault("polygon values for a polygon that is not there or not so");
        for (uint32_t corner = 0; corner < count; ++corner)
            if (present_[first + corner]) map.SetPolygonValue(polygon, corner, row), row += width_;
        first = ends_[e];
    }
    Release(polygons_);
    Release(ends_);
    Release(present_);
    Release(numbers_);
}

// ---- Router ---------------------------------------------------------------------------------

JsonArrayRouter SceneArrayRouter() {
    return [](const std::vector<std::string>& path) -> std::shared_ptr<JsonArraySink> {
        static const std::vector<std::string> kMesh = {"items", "", "mesh"};
        if (path.size() < 4 || !std::equal(kMesh.begin(), kMesh.end(), path.begin()))
            return nullptr;
        if (path.size() == 4 && path[3] == "points") return std::make_shared<NumberRows>(3);
        if (path.size() == 4 && path[3] == "polygons") return std::make_shared<PolygonRows>();
        if (path.size() != 6 || path[3] != "maps" || !path[4].empty()) return nullptr;
        if (path[5] == "values") return std::make_shared<NumberRows>(0);
        if (path[5] == "polygonValues") return std::make_shared<PolygonValueRows>();
        return nullptr;
    };
}

} // namespace scenehost
