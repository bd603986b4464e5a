// Meshes and their element accessors. An accessor selects one element at a time; its queries
// answer for the selected element. Enumerations select each element in turn and call a visitor.
#pragma once

#include "qv/core.h"

class IQvPoint;
class IQvPolygon;
class IQvEdge;
class IQvMeshMap;

// ---- Vertex map types ---------------------------------------------------------------------
// The type codes of IQvMeshMap, with the floats one value of each type holds.
constexpr uint32_t qvMapNormal = QvFourCC('N', 'O', 'R', 'M');  // 3
constexpr uint32_t qvMapRgb = QvFourCC('R', 'G', 'B', ' ');     // 3
constexpr uint32_t qvMapRgba = QvFourCC('R', 'G', 'B', 'A');    // 4
constexpr uint32_t qvMapUv = QvFourCC('T', 'X', 'U', 'V');      // 2
constexpr uint32_t qvMapTangent = QvFourCC('T', 'B', 'A', 'S'); // 6: tangent, then bitangent
constexpr uint32_t qvMapWeight = QvFourCC('W', 'G', 'H', 'T');  // 1; a point without one weighs 0
constexpr uint32_t qvMapMorph = QvFourCC('M', 'O', 'R', 'F');   // 3: a point's offset in a morph

// ---- Polygon tags -------------------------------------------------------------------------
// String tags of polygons, read through the IQvStringTag of a polygon accessor.
constexpr uint32_t qvPolyTagMaterial = QvFourCC('M', 'A', 'T', 'R'); // the material's name
constexpr uint32_t qvPolyTagPart = QvFourCC('P', 'A', 'R', 'T');     // the part's name

class IQvMesh : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xc5f9cd47, 0xf9cd, 0x56fa, {0x84, 0x01, 0x50, 0xca, 0x77, 0x6b, 0xf0, 0x7a}});
    virtual QvResult PointCount(uint32_t* count) = 0;
    virtual QvResult PolygonCount(int32_t* count) = 0;
    virtual QvResult PointAccessor(IQvPoint** out) = 0;
    virtual QvResult EdgeAccessor(IQvEdge** out) = 0;
    virtual QvResult PolygonAccessor(IQvPolygon** out) = 0;
    virtual QvResult MapAccessor(IQvMeshMap** out) = 0;
};

class IQvPoint : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xce3cd6f1, 0xb437, 0x5afe, {0x93, 0x7e, 0xc0, 0x29, 0x8f, 0xd4, 0x52, 0x7c}});
    virtual QvResult Select(QvPointId point) = 0;
    virtual QvResult SelectByIndex(uint32_t index) = 0;
    virtual QvResult Id(QvPointId* point) = 0;
    virtual QvResult Index(uint32_t* index) = 0;
    virtual QvResult Position(double* xyz) = 0;
    // The host's own normal of the selected point on a polygon around it.
    virtual QvResult Normal(QvPolygonId polygon, double* xyz) = 0;
    // The point's value in a map: qvFalse (and nothing written) when it has none.
    virtual QvResult MapValue(QvMapId map, float* value) = 0;
    // As MapValue, but a map with continuous values (weights) answers 0 for a point without one.
    virtual QvResult MapEvaluate(QvMapId map, float* value) = 0;
    // Calls the visitor once for each point of the mesh, in the host's order.
    virtual QvResult Enumerate(IQvVisitor* visitor) = 0;
};

class IQvPolygon : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xfaac8314, 0x8675, 0x53f7, {0x9e, 0x94, 0x3b, 0x24, 0xf5, 0x58, 0x17, 0xc0}});
    virtual QvResult Select(QvPolygonId polygon) = 0;
    virtual QvResult SelectByIndex(uint32_t index) = 0;
    virtual QvResult Id(QvPolygonId* polygon) = 0;
    virtual QvResult Index(uint32_t* index) = 0;
    virtual QvResult VertexCount(uint32_t* count) = 0;
    virtual QvResult VertexByIndex(uint32_t index, QvPointId* point) = 0;
    // Triangulates the selected polygon; the triangles keep the polygon's winding.
    virtual QvResult GenerateTriangles(uint32_t* count) = 0;
    virtual QvResult TriangleByIndex(uint32_t index, QvPointId* a, QvPointId* b, QvPointId* c) = 0;
    // The value at a corner: the polygon's own value if it has one, else the point's.
    virtual QvResult MapEvaluate(QvMapId map, QvPointId point, float* value) = 0;
    // qvFalse when the polygon has no value of its own for that point.
    virtual QvResult MapValue(QvMapId map, QvPointId point, float* value) = 0;
    // Calls the visitor once for each polygon of the mesh, in the host's order.
    virtual QvResult Enumerate(IQvVisitor* visitor) = 0;
};

class IQvEdge : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xd0794066, 0x232d, 0x5553, {0x9f, 0xdf, 0x1f, 0xbd, 0x55, 0xfd, 0xe0, 0x00}});
    virtual QvResult SelectEndpoints(QvPointId a, QvPointId b) = 0;
    virtual QvResult Endpoints(QvPointId* a, QvPointId* b) = 0;
};

class IQvMeshMap : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x6eaee281, 0x89aa, 0x585e, {0xa3, 0xdb, 0x13, 0x69, 0x31, 0x9c, 0xe4, 0x89}});
    // Restricts the next Enumerate to maps of one type (0: all types).
    virtual QvResult FilterByType(uint32_t type) = 0;
    // Selects each map of the filter in turn and calls the visitor.
    virtual QvResult Enumerate(uint32_t mode, IQvVisitor* visitor, IQvUnknown* monitor) = 0;
    virtual QvResult SelectByName(uint32_t type, const char* name) = 0;
    virtual QvResult Name(const char** name) = 0;
    virtual QvResult Id(QvMapId* map) = 0;
    virtual QvResult Type(uint32_t* type) = 0;
    virtual QvResult Dimension(uint32_t* dimension) = 0;
    // Selects, through `point`, each point that has a value in the selected map and calls the
    // visitor.
    virtual QvResult EnumerateContent(IQvVisitor* visitor, IQvPoint* point) = 0;
};

// The surface of a "triSurf" item.
class IQvTriangleGroup : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x4c000037, 0x4ff7, 0x51aa, {0xb4, 0x51, 0x74, 0xef, 0x8e, 0x9b, 0x4f, 0xc3}});
    virtual QvResult TriangleCount(uint32_t* count) = 0;
};
