// The bulk arrays of a scene file's meshes, taken in while the file is parsed: a mesh's "points"
// and "polygons", a map's "values" and "polygonValues". A scanned model holds millions of these
// values; as a tree of JSON nodes they would take many times the file's size, here they take
// about what the mesh takes.
//
// The sinks accept the usual shapes only, and only values free of faults that can be seen
// without the rest of the mesh (a coordinate beyond a float, a polygon with a point twice, ...);
// anything else declines, and the file is read again the general way, which places the fault.
// Faults that need the mesh (an index beyond its points) are found when the arrays are put into
// it, and are reported as an ArrayFault, without a place, for the caller to place the same way.
#pragma once

#include "JsonTree.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace scenehost {

class MeshData;
class MeshMap;

// A fault found while a sink's arrays went into a mesh; the general reader places it.
class ArrayFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Rows of numbers, each a float: "points" (rows of 3, never null) and a map's "values" (rows of
// the map's dimension, or null where a point has no value).
class NumberRows final : public JsonArraySink {
public:
    // `width` 0: any width, the same in every row, and null rows allowed.
    explicit NumberRows(uint32_t width) : width_(width), fixedWidth_(width != 0) {}

    bool Null() override;
    bool Bool(bool) override { return false; }
    bool Int(int i) override { return Number(double(i)); }
    bool Uint(unsigned u) override { return Number(double(u)); }
    bool Int64(int64_t i) override { return Number(double(i)); }
    bool Uint64(uint64_t u) override { return Number(double(u)); }
    bool Double(double d) override { return Number(d); }
    bool String(const char*, size_t) override { return false; }
    bool Key(const char*, size_t) override { return false; }
    bool StartObject() override { return false; }
    bool EndObject() override { return false; }
    bool StartArray() override;
    bool EndArray() override;
    bool Finish() override { return !inRow_; }
    bool ScanQuickly(const char* text, size_t size, size_t open, size_t* close) override;

    // Adds the rows as the mesh's points.
    void AddPoints(MeshData& mesh);
    // Sets the rows as the map's point values.
    void SetPointValues(MeshData& mesh, MeshMap& map);

private:
    bool Number(double d);

    uint32_t width_;
    bool fixedWidth_;
    bool inRow_ = false;
    uint32_t rowLength_ = 0;
    std::vector<float> numbers_;   // the rows that are not null, one after the other
    std::vector<uint8_t> present_; // a row: 1, or 0 for null
};

// "polygons": arrays of point indices, or objects with "points", "material" and "part".
class PolygonRows final : public JsonArraySink {
public:
    bool Null() override { return false; }
    bool Bool(bool) override { return false; }
    bool Int(int) override { return false; }
    bool Uint(unsigned u) override;
    bool Int64(int64_t) override { return false; }
    bool Uint64(uint64_t) override { return false; }
    bool Double(double) override { return false; }
    bool String(const char* s, size_t length) override;
    bool Key(const char* s, size_t length) override;
    bool StartObject() override;
    bool EndObject() override;
    bool StartArray() override;
    bool EndArray() override;
    bool Finish() override { return !inObject_ && !inPoints_; }
    bool ScanQuickly(const char* text, size_t size, size_t open, size_t* close) override;

    void AddPolygons(MeshData& mesh);

private:
    enum Member { kPoints, kMaterial, kPart, kNone };
    static constexpr uint32_t kNoText = 0xFFFFFFFFu;

    bool Commit();
    uint32_t TextIndex(const char* s, size_t length);

    bool inObject_ = false;
    bool inPoints_ = false;
    Member member_ = kNone;
    uint8_t seen_ = 0; // members of the open object, a bit each
    std::vector<uint32_t> points_;
    uint32_t tags_[2] = {kNoText, kNoText}; // material, part

    std::vector<uint32_t> corners_;
    std::vector<uint32_t> ends_;            // one past each polygon's last corner
    std::vector<uint32_t> material_, part_; // text indices, empty while no polygon has one
    std::vector<std::string> texts_;
};

// A map's "polygonValues": objects with a "polygon" index and "values" per corner, each a row
// of numbers or null.
class PolygonValueRows final : public JsonArraySink {
public:
    bool Null() override;
    bool Bool(bool) override { return false; }
    bool Int(int i) override { return Number(double(i)); }
    bool Uint(unsigned u) override;
    bool Int64(int64_t i) override { return Number(double(i)); }
    bool Uint64(uint64_t u) override { return Number(double(u)); }
    bool Double(double d) override { return Number(d); }
    bool String(const char*, size_t) override { return false; }
    bool Key(const char* s, size_t length) override;
    bool StartObject() override;
    bool EndObject() override;
    bool StartArray() override;
    bool EndArray() override;
    bool Finish() override { return !inEntry_; }
    bool ScanQuickly(const char* text, size_t size, size_t open, size_t* close) override;

    void SetPolygonValues(MeshData& mesh, MeshMap& map);

private:
    enum Member { kPolygon, kValues, kNone };
    bool Number(double d);

    bool inEntry_ = false, inValues_ = false, inRow_ = false;
    Member member_ = kNone;
    uint8_t seen_ = 0;
    uint32_t polygon_ = 0;
    uint32_t width_ = 0; // of every row that is not null
    uint32_t rowLength_ = 0;

    std::vector<uint32_t> polygons_;
    std::vector<uint32_t> ends_;   // one past each entry's last row
    std::vector<uint8_t> present_; // a row: 1, or 0 for null
    std::vector<float> numbers_;   // the rows that are not null
};

// The router for a scene file: the sinks above at the places of a mesh's bulk arrays.
JsonArrayRouter SceneArrayRouter();

} // namespace scenehost
