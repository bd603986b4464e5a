#include "SceneFileMesh.h"

#include "JsonTree.h"
#include "MeshData.h"
#include "MeshGenerate.h"
#include "SceneFileArrays.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <initializer_list>
#include <string>
#include <unordered_set>
#include <vector>

namespace scenehost {

namespace {

using Kind = JsonNode::Kind;

constexpr size_t kSearchedPolygonSize = 16;

[[noreturn]] void Fail(const JsonNode& at, const std::string& what) {
    throw JsonError(at.offset, what);
}

void Expect(const JsonNode& node, Kind kind, const std::string& what) {
    if (node.kind == kind || (kind == Kind::Number && node.kind == Kind::Integer)) return;
    JsonNode wanted;
    wanted.kind = kind;
    Fail(node, what + " must be " + DescribeKind(wanted) + ", not " + DescribeKind(node));
}

void CheckMembers(const JsonNode& object, const char* where,
                  std::initializer_list<const char*> allowed) {
    for (const JsonMember& m : object.members) {
        bool known = false;
        std::string list;
        for (const char* name : allowed) {
            known = known || m.name == name;
            list += std::string(list.empty() ? "" : ", ") + name;
        }
        if (!known)
            throw JsonError(m.nameOffset, "unknown member '" + m.name + "' in " + where +
                                              " (known: " + list + ")");
    }
}

float Float(const JsonNode& node, const char* what) {
    Expect(node, Kind::Number, what);
    if (std::fabs(node.number) > FLT_MAX)
        Fail(node, std::string(what) + " does not fit in a float");
    return float(node.number);
}

// A non-negative integer below `limit`, which counts the elements of `of`.
uint32_t IndexBelow(const JsonNode& node, uint32_t limit, const char* what, const char* of) {
    if (node.kind != Kind::Integer)
        Fail(node, std::string(what) + " must be an integer, not " + DescribeKind(node));
    if (node.integer < 0 || node.integer >= int64_t(limit))
        Fail(node, "no " + std::string(what) + " " + std::to_string(node.integer) +
                       ": the mesh has " + std::to_string(limit) + " " + (limit == 1 ? what : of));
    return uint32_t(node.integer);
}

// The sink that took the array in while the file was parsed, if one of type T did.
template <class T> T* Taken(const JsonNode& node) {
    return dynamic_cast<T*>(node.sink.get());
}

const std::string& Text(const JsonNode& node, const char* what) {
    Expect(node, Kind::String, what);
    return node.text;
}

void ReadPoints(MeshData& mesh, const JsonNode& points) {
    if (NumberRows* rows = Taken<NumberRows>(points)) return rows->AddPoints(mesh);
    Expect(points, Kind::Array, "\"points\"");
    mesh.Reserve(uint32_t(points.elements.size()), 0, 0);
    for (const JsonNode& p : points.elements) {
        Expect(p, Kind::Array, "a point");
        if (p.elements.size() != 3)
            Fail(p, "a point has 3 numbers, not " + std::to_string(p.elements.size()));
        mesh.AddPoint(Float(p.elements[0], "a coordinate"), Float(p.elements[1], "a coordinate"),
                      Float(p.elements[2], "a coordinate"));
    }
}

void ReadPolygon(MeshData& mesh, const JsonNode& polygon) {
    const JsonNode* list = &polygon;
    if (polygon.kind == Kind::Object) {
        CheckMembers(polygon, "a polygon", {"points", "material", "part", "tags"});
        const JsonMember* points = polygon.Find("points");
        if (!points) Fail(polygon, "a polygon needs \"points\"");
        list = &points->value;
    } else if (polygon.kind != Kind::Array) {
        Fail(polygon,
             std::string("a polygon must be an array of point indices or an object, not ") +
                 DescribeKind(polygon));
    }
    Expect(*list, Kind::Array, "a polygon's \"points\"");
    if (list->elements.size() < 3)
        Fail(*list,
             "a polygon needs at least 3 points, not " + std::to_string(list->elements.size()));
    std::vector<uint32_t> points;
    // A small polygon is searched in place; a set keeps a polygon of a million points from
    // taking its square in time.
    std::unordered_set<uint32_t> seen;
    for (const JsonNode& e : list->elements) {
        uint32_t point = IndexBelow(e, mesh.PointCount(), "point", "points");
        if (points.size() == kSearchedPolygonSize) seen.insert(points.begin(), points.end());
        bool twice = points.size() < kSearchedPolygonSize
                         ? std::find(points.begin(), points.end(), point) != points.end()
                         : !seen.insert(point).second;
        if (twice) Fail(e, "a polygon has point " + std::to_string(point) + " twice");
        points.push_back(point);
    }
    const char* tags[2] = {nullptr, nullptr};
    if (polygon.kind == Kind::Object) {
        if (const JsonMember* m = polygon.Find("material"))
            tags[0] = Text(m->value, "\"material\"").c_str();
        if (const JsonMember* m = polygon.Find("part"))
            tags[1] = Text(m->value, "\"part\"").c_str();
    }
    uint32_t index = mesh.AddPolygon(points, tags[0], tags[1]);
    if (const JsonMember* m = polygon.kind == Kind::Object ? polygon.Find("tags") : nullptr) {
        Expect(m->value, Kind::Object, "\"tags\"");
        for (const JsonMember& tag : m->value.members) {
            if (tag.name.size() != 4)
                throw JsonError(tag.nameOffset, "a tag code has four characters, like \"MATR\"");
            mesh.SetPolygonTag(index, FourCCFromText(tag.name), Text(tag.value, "a tag value"));
        }
    }
}

// One value of the map: `null` (none, when allowed) or as many numbers as the map's dimension.
bool ReadValue(const MeshMap& map, const JsonNode& node, float* value) {
    if (node.kind == Kind::Null) return false;
    std::string type = FourCCText(map.Type());
    Expect(node, Kind::Array, "a " + type + " value");
    if (node.elements.size() != map.Dimension())
        Fail(node, "a " + type + " value has " + std::to_string(map.Dimension()) +
                       " numbers, not " + std::to_string(node.elements.size()));
    for (size_t i = 0; i < node.elements.size(); ++i)
        value[i] = Float(node.elements[i], "a map value");
    return true;
}

void ReadPointValues(MeshData& mesh, MeshMap& map, const JsonNode& values) {
    if (NumberRows* rows = Taken<NumberRows>(values)) return rows->SetPointValues(mesh, map);
    Expect(values, Kind::Array, "\"values\"");
    const std::vector<JsonNode>& list = values.elements;
    if (list.size() > mesh.PointCount())
        Fail(values, "the map has values for " + std::to_string(list.size()) +
                         " points, and the mesh has " + std::to_string(mesh.PointCount()));
    float value[8];
    for (uint32_t point = 0; point < list.size(); ++point)
        if (ReadValue(map, list[point], value)) map.SetPointValue(point, value);
}

void ReadPolygonValues(MeshData& mesh, MeshMap& map, const JsonNode& polygonValues) {
    if (PolygonValueRows* rows = Taken<PolygonValueRows>(polygonValues))
        return rows->SetPolygonValues(mesh, map);
    Expect(polygonValues, Kind::Array, "\"polygonValues\"");
    float value[8];
    for (const JsonNode& entry : polygonValues.elements) {
        Expect(entry, Kind::Object, "a polygon's values");
        CheckMembers(entry, "a polygon's values", {"polygon", "values"});
        const JsonMember* polygon = entry.Find("polygon");
        const JsonMember* corners = entry.Find("values");
        if (!polygon || !corners) Fail(entry, "a polygon's values need \"polygon\" and \"values\"");
        uint32_t index = IndexBelow(polygon->value, mesh.PolygonCount(), "polygon", "polygons");
        Expect(corners->value, Kind::Array, "\"values\"");
        uint32_t count = mesh.VertexCount(index);
        if (corners->value.elements.size() != count)
            Fail(corners->value, "polygon " + std::to_string(index) + " has " +
                                     std::to_string(count) + " points, and " +
                                     std::to_string(corners->value.elements.size()) +
                                     " values are given");
        for (uint32_t corner = 0; corner < count; ++corner)
            if (ReadValue(map, corners->value.elements[corner], value))
                map.SetPolygonValue(index, corner, value);
    }
}

void ReadMap(MeshData& mesh, const JsonNode& node) {
    Expect(node, Kind::Object, "a map");
    CheckMembers(node, "a map", {"type", "name", "values", "polygonValues"});
    const JsonMember* type = node.Find("type");
    const JsonMember* name = node.Find("name");
    if (!type || !name) Fail(node, "a map needs a \"type\" and a \"name\"");
    const std::string& typeText = Text(type->value, "\"type\"");
    uint32_t code = FourCCFromText(typeText);
    if (MapDimension(code) == 0)
        Fail(type->value, "unknown map type '" + typeText + "' (known: " + KnownMapTypes() + ")");
    const std::string& mapName = Text(name->value, "\"name\"");
    if (mesh.FindMap(code, mapName))
        Fail(name->value, "the mesh has a " + typeText + " map '" + mapName + "' already");
    MeshMap& map = mesh.AddMap(code, mapName);

    if (const JsonMember* values = node.Find("values")) ReadPointValues(mesh, map, values->value);
    if (const JsonMember* polygonValues = node.Find("polygonValues"))
        ReadPolygonValues(mesh, map, polygonValues->value);
}

void ReadGenerate(MeshData& mesh, const JsonNode& node) {
    Expect(node, Kind::Object, "\"generate\"");
    CheckMembers(
        node, "\"generate\"",
        {"shape", "triangles", "triangulated", "uv", "color", "colorType", "normals", "materials"});
    GenerateOptions options;
    if (const JsonMember* m = node.Find("shape")) {
        const std::string& shape = Text(m->value, "\"shape\"");
        if (shape == "grid")
            options.shape = GenerateOptions::Shape::Grid;
        else if (shape != "torus")
            Fail(m->value, "a generated shape is \"grid\" or \"torus\", not '" + shape + "'");
    }
    if (const JsonMember* m = node.Find("triangles")) {
        if (m->value.kind != Kind::Integer || m->value.integer < 2 || m->value.integer > 50000000)
            Fail(m->value, "\"triangles\" must be an integer from 2 to 50000000");
        options.triangles = uint32_t(m->value.integer);
    }
    if (const JsonMember* m = node.Find("triangulated")) {
        Expect(m->value, Kind::Bool, "\"triangulated\"");
        options.triangulated = m->value.boolean;
    }
    if (const JsonMember* m = node.Find("uv")) options.uvMap = Text(m->value, "\"uv\"");
    if (const JsonMember* m = node.Find("color")) options.colorMap = Text(m->value, "\"color\"");
    if (const JsonMember* m = node.Find("colorType")) {
        const std::string& type = Text(m->value, "\"colorType\"");
        uint32_t code = FourCCFromText(type);
        if (code != qvMapRgb && code != qvMapRgba)
            Fail(m->value, "a colour map type is \"RGB \" or \"RGBA\", not '" + type + "'");
        options.colorAlpha = code == qvMapRgba;
    }
    if (const JsonMember* m = node.Find("normals"))
        options.normalMap = Text(m->value, "\"normals\"");
    if (const JsonMember* m = node.Find("materials")) {
        Expect(m->value, Kind::Array, "\"materials\"");
        options.materials.clear();
        for (const JsonNode& e : m->value.elements)
            options.materials.push_back(Text(e, "a material"));
    }
    GenerateMesh(mesh, options);
}

} // namespace

void ReadMeshMember(MeshData& mesh, const JsonNode& node) {
    Expect(node, Kind::Object, "\"mesh\"");
    CheckMembers(node, "\"mesh\"", {"points", "polygons", "maps", "generate"});
    if (const JsonMember* generate = node.Find("generate")) {
        if (node.members.size() > 1)
            Fail(node, "\"generate\" makes the whole mesh: it stands alone in \"mesh\"");
        ReadGenerate(mesh, generate->value);
        return;
    }
    if (const JsonMember* m = node.Find("points")) ReadPoints(mesh, m->value);
    if (const JsonMember* m = node.Find("polygons")) {
        Expect(m->value, Kind::Array, "\"polygons\"");
        if (PolygonRows* rows = Taken<PolygonRows>(m->value))
            rows->AddPolygons(mesh);
        else
            for (const JsonNode& polygon : m->value.elements)
                ReadPolygon(mesh, polygon);
    }
    if (const JsonMember* m = node.Find("maps")) {
        Expect(m->value, Kind::Array, "\"maps\"");
        for (const JsonNode& map : m->value.elements)
            ReadMap(mesh, map);
    }
}

} // namespace scenehost
