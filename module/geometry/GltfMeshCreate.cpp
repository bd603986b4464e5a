// CreateMesh: one host mesh item becomes one GltfMesh record, through a point walk and a
// polygon walk over the base saver's current item.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/QvItemQuery.h"

namespace {

// Deliberate: the 16-bit index limit counts the triangle corners of the whole mesh, not its
// welded vertices nor one primitive's, so a mesh is refused even when each primitive would fit.
constexpr int32_t maxShortCorners = 65535;

const char* textOrEmpty(const char* text) {
    return text ? text : "";
}

// Deliberate: any value of the "visible" channel in the edit action but 0 counts as hidden.
bool isHiddenItem(IQvItem* item, CQvUser_ChannelRead& editChannels) {
    const int32_t visibleChannel = ChannelIndexOf(item, "visible");
    int32_t hidden = 0;
    return visibleChannel >= 0 && editChannels &&
           QvSucceeded(editChannels->ReadInteger(item, uint32_t(visibleChannel), &hidden)) &&
           hidden != 0;
}

// Opens the point, polygon and map accessors; a mesh without maps is still built.
void openAccessors(MeshAccessors& host) {
    host.mapsFailed = QvFailed(host.mesh->MapAccessor(host.maps.out())) || !host.maps;
    host.mesh->PointAccessor(host.points.out());
    host.mesh->PolygonAccessor(host.polygons.out());
}

} // namespace

// The tables are not checked here but by the writer, which sees the mesh complete with its
// skins (see GltfDocument::WriteMesh).
GltfMesh* GltfSaver::CreateMesh(CQvUser_Item& item) {
    const uint32_t pointCount = PointCount();
    if (pointCount == 0) return nullptr;
    MeshAccessors host;
    if (!GetMesh(host.mesh)) {
        log.LogError("Failed to get mesh for item:%s", textOrEmpty(ItemName()));
        return nullptr;
    }
    // A hidden item keeps its node but not its geometry; the test comes before reuse so that a
    // hidden item never borrows a mesh.
    if (isHiddenItem(item.get(), editChannels)) return nullptr;

    const char* name = textOrEmpty(ItemName());
    const char* typeName = textOrEmpty(ItemTypeName());
    const auto reused = meshNodes.find(item.get());
    if (reused != meshNodes.end()) {
        log.LogInfo("Using mesh:%s type:%s which is already created", name, typeName);
        return reused->second;
    }
    log.LogInfo("Creating mesh:%s type:%s nPoints:%u", name, typeName, pointCount);

    openAccessors(host);
    const int32_t polyInds = CountPolygonCorners(host.mesh.get(), host.polygons.get());
    if (polyInds > maxShortCorners && indicesExport == 0) {
        log.LogError(
            "   Creating mesh:%s type:%s nPoints:%u polyInds:%d failed! Number of vertices "
            "goes over the maximum of unsigned short data type!",
            name, typeName, pointCount, polyInds);
        return nullptr;
    }
    log.LogInfo("   polyInds:%d", polyInds);

    GltfMesh* gltfMesh = rootNode->CreateMesh();
    meshWork.Begin(gltfMesh, &log, host, pointCount, polyInds);
    if (!host.mapsFailed) SetUpVertexMaps();
    // The walks call back OnPoint for every point, then OnPolygon for every polygon.
    WalkPoints();
    WalkPolygons();
    if (materials != 0) RecordMaterialNames(gltfMesh);
    meshWork.ResolveUvMaps();
    meshNodes.emplace(item.get(), gltfMesh);
    meshWork.Reset();
    return gltfMesh;
}

// Corners of all polygons once triangulated; 0 when the host cannot count the polygons.
int32_t GltfSaver::CountPolygonCorners(IQvMesh* mesh, IQvPolygon* polygons) {
    int32_t polygonCount = 0;
    int32_t corners = 0;
    if (!polygons || QvFailed(mesh->PolygonCount(&polygonCount)) || polygonCount <= 0) return 0;
    for (int32_t i = 0; i < polygonCount; ++i) {
        uint32_t triangles = 0;
        polygons->SelectByIndex(uint32_t(i));
        if (QvFailed(polygons->GenerateTriangles(&triangles))) triangles = 0;
        corners += int32_t(3 * triangles);
    }
    return corners;
}

// The order of the set-up fixes the set numbers in the file: normals, RGB colours, RGBA colours,
// UV maps by name, then tangent frames.
void GltfSaver::SetUpVertexMaps() {
    std::vector<MeshMapListing> normalMaps = meshWork.gatherMaps(qvMapNormal, false);
    meshWork.hasNormalMap = false;
    if (!normalMaps.empty()) {
        log.LogInfo("   normal vmap:%s", normalMaps[0].name.c_str());
        meshWork.normalMapId = normalMaps[0].id;
        meshWork.hasNormalMap = normalMaps[0].id != nullptr;
    } else {
        log.LogInfo("   adding calculated normals (normals mesh map not found)");
    }
    for (const MeshMapListing& map : meshWork.gatherMaps(qvMapRgb, false)) {
        meshWork.addColorMap(map.id);
        log.LogInfo("   vcolRGB vmap:%s", map.name.c_str());
    }
    for (const MeshMapListing& map : meshWork.gatherMaps(qvMapRgba, false)) {
        meshWork.addColorMap(map.id);
        log.LogInfo("   vcolRGBA vmap:%s", map.name.c_str());
    }
    for (const MeshMapListing& map : meshWork.gatherMaps(qvMapUv, true)) {
        meshWork.addUvMap(map.name, map.id);
        // Deliberate: counts whichever map the accessor holds after the listing; the number is
        // only for the log.
        MeshMapContentVisitor counter;
        (*meshWork.meshMap)->EnumerateContent(&counter, meshWork.point->get());
        log.LogInfo("   uv vmap:%s count:%u", map.name.c_str(), counter.count);
    }
    if (tangentsBitangents != 0) {
        for (const MeshMapListing& map : meshWork.gatherMaps(qvMapTangent, false)) {
            meshWork.addTangentMap(map.id);
            log.LogInfo("   vTbasis vmap:%s", map.name.c_str());
        }
    }
}

void GltfSaver::OnPoint() {
    if (!meshWork.gltfMesh) return;
    double position[3] = {0, 0, 0};
    CurrentPointPosition(position);
    meshWork.pointIndexById.Insert(CurrentPointId(), meshWork.pointCounter);
    meshWork.gltfMesh->AddPosition(position[0], position[1], position[2]);
    ++meshWork.pointCounter;
}

void GltfSaver::OnPolygon() {
    if (!meshWork.gltfMesh) return;
    const char* material = PolyTag(qvPolyTagMaterial);
    const char* part = PolyTag(qvPolyTagPart);
    QvPolygonId polygonId = CurrentPolygonId();
    CQvUser_Polygon walking;
    uint32_t triangles = 0;
    if (!PolygonAccessorOfSaver(walking) || QvFailed(walking->GenerateTriangles(&triangles)) ||
        triangles == 0)
        return;
    // The records are found once a polygon; a polygon without triangles creates none.
    GltfMesh& mesh = *meshWork.gltfMesh;
    GltfPrimitive* primitive =
        material ? meshWork.materialPrimitive.Find(mesh.primitives, material) : nullptr;
    GltfPrimitive* partRecord = part ? meshWork.partRecord.Find(mesh.parts, part) : nullptr;
    const bool readsCorners = meshWork.polygon->test() && meshWork.point->test();
    if (readsCorners) meshWork.BeginPolygon(polygonId);
    for (uint32_t t = 0; t < triangles; ++t) {
        QvPointId corners[3] = {nullptr, nullptr, nullptr};
        // A triangle the host fails to hand out keeps its place with null corners, whatever the
        // call left behind. A null id is never a known point, so the point table falls short
        // and the writer refuses the mesh with an error rather than write made-up corners.
        if (QvFailed(walking->TriangleByIndex(t, &corners[0], &corners[1], &corners[2])))
            corners[0] = corners[1] = corners[2] = nullptr;
        AddTriangle(primitive, partRecord);
        for (QvPointId corner : corners) {
            if (readsCorners) meshWork.AddCorner(corner);
            ++meshWork.cornerCounter;
        }
        ++meshWork.triangleCounter;
    }
}

// Deliberate: a polygon without "MATR" tag adds its triangles to no primitive; its corners are
// recorded, but the triangle is never written.
void GltfSaver::AddTriangle(GltfPrimitive* material, GltfPrimitive* part) {
    if (material) material->triangles.push_back(meshWork.triangleCounter);
    if (part) part->triangles.push_back(meshWork.triangleCounter);
    ++meshWork.gltfMesh->triangleCount;
}

// The mesh's material names, for the shader tree walk.
void GltfSaver::RecordMaterialNames(GltfMesh* mesh) {
    std::vector<std::string> names;
    for (auto& [name, primitive] : mesh->primitives)
        names.push_back(name);
    meshMaterialNames.emplace(mesh, names);
    for (auto& [name, primitive] : mesh->primitives) {
        usedMaterialNames.emplace(name, true);
        log.LogInfo("   material:%s polyInds:%lu", name.c_str(),
                    static_cast<unsigned long>(primitive.triangles.size()));
    }
}
