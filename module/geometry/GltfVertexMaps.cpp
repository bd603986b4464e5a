// Vertex maps: the set-up that lists the host's maps, the corner steps that evaluate every map
// at every triangle corner, and the late reduction of UVs.
#include "geometry/GltfGeometry.h"

#include "host/CQvImpl.h"

#include <algorithm>
#include <cctype>
#include <cmath>

// ---- Point id table -----------------------------------------------------------------------

namespace {
// Host point ids are opaque, but hosts hand them out in runs (array positions or serial
// numbers), and the corners of neighbouring polygons visit neighbouring points. Folding the high
// half onto the low keeps such runs in neighbouring slots: the table is read once per corner,
// and on a large mesh a scattering hash would make each read a cache miss.
size_t HashPointId(QvPointId id) {
    uint64_t bits = reinterpret_cast<uintptr_t>(id);
    return size_t(bits ^ (bits >> 32) ^ (bits >> 48));
}
} // namespace

void PointIndexTable::Reserve(size_t points) {
    size_t size = 64;
    while (size < points * 2)
        size *= 2;
    slots.assign(size, {nullptr, 0});
    count = 0;
}

void PointIndexTable::Insert(QvPointId id, uint32_t index) {
    if ((count + 1) * 2 > slots.size()) {
        std::vector<std::pair<QvPointId, uint32_t>> old;
        old.swap(slots);
        Reserve(std::max<size_t>(old.size(), 32));
        for (auto& [oldId, oldIndex] : old)
            if (oldId) Insert(oldId, oldIndex);
    }
    size_t mask = slots.size() - 1;
    for (size_t i = HashPointId(id) & mask;; i = (i + 1) & mask) {
        if (slots[i].first == id) return; // deliberate: the first index of an id stays
        if (!slots[i].first) {
            slots[i] = {id, index};
            ++count;
            return;
        }
    }
}

bool PointIndexTable::Find(QvPointId id, uint32_t& index) const {
    if (slots.empty() || !id) return false;
    size_t mask = slots.size() - 1;
    for (size_t i = HashPointId(id) & mask;; i = (i + 1) & mask) {
        if (slots[i].first == id) {
            index = slots[i].second;
            return true;
        }
        if (!slots[i].first) return false;
    }
}

void PointIndexTable::Clear() {
    slots.clear();
    count = 0;
}

// ---- Set-up -------------------------------------------------------------------------------

void MeshWork::Begin(GltfMesh* record, GltfLogMsg* saverLog, MeshAccessors& host,
                     uint32_t pointCount, int32_t corners) {
    Reset();
    log = saverLog;
    gltfMesh = record;
    mesh = &host.mesh;
    meshMap = &host.maps;
    polygon = &host.polygons;
    point = &host.points;
    pointIndexById.Reserve(pointCount);
    if (corners > 0) {
        expectedCorners = uint32_t(corners);
        record->pointIndex.reserve(size_t(corners));
        record->normalIndex.reserve(size_t(corners));
    }
}

void MeshWork::Reset() {
    pointIndexById.Clear();
    normalIndexByValue.Clear();
    uvMapIds.clear();
    normalMapId = nullptr;
    mesh = nullptr;
    meshMap = nullptr;
    polygon = nullptr;
    point = nullptr;
    uvWork.clear();
    colorMaps.clear();
    colorIndexByValue.clear();
    tangentMaps.clear();
    tangentIndexByValue.clear();
    gltfMesh = nullptr;
    expectedCorners = 0;
    pointCounter = triangleCounter = cornerCounter = 0;
    hasNormalMap = false;
}

namespace {

// Lists the maps of the filter; a map named "UV Distortion" is no attribute of any kind.
// Deliberate: a map whose name cannot be read ends the listing, and the maps after it are not
// listed.
class MeshMapVisitor final : public CQvImpl_AbstractVisitor {
public:
    MeshMapVisitor(IQvMeshMap* meshMap, std::vector<MeshMapListing>& listings)
        : meshMap(meshMap), listings(listings) {}
    QvResult Evaluate() override {
        const char* name = nullptr;
        if (QvFailed(meshMap->Name(&name)) || !name) return qvFailed;
        if (std::string(name) == "UV Distortion") return qvOk;
        QvMapId id = nullptr;
        meshMap->Id(&id);
        listings.push_back({name, id});
        return qvOk;
    }

private:
    IQvMeshMap* meshMap;
    std::vector<MeshMapListing>& listings;
};

bool NameBefore(const MeshMapListing& a, const MeshMapListing& b) {
    return std::lexicographical_compare(a.name.begin(), a.name.end(), b.name.begin(), b.name.end(),
                                        [](char x, char y) {
                                            return std::tolower(static_cast<unsigned char>(x)) <
                                                   std::tolower(static_cast<unsigned char>(y));
                                        });
}

} // namespace

std::vector<MeshMapListing> MeshWork::gatherMaps(uint32_t type, bool sorted) {
    std::vector<MeshMapListing> listings;
    IQvMeshMap* maps = meshMap ? meshMap->get() : nullptr;
    if (!maps) return listings;
    maps->FilterByType(type);
    MeshMapVisitor visitor(maps, listings);
    maps->Enumerate(0, &visitor, nullptr);
    // UV sets are numbered by name so that TEXCOORD_n stays the same from save to save.
    if (sorted) std::stable_sort(listings.begin(), listings.end(), NameBefore);
    return listings;
}

void MeshWork::addColorMap(QvMapId id) {
    colorMaps.push_back({gltfMesh->AddColorMap(), id});
    colorMaps.back().map->index.reserve(expectedCorners);
    colorIndexByValue.emplace_back();
}

void MeshWork::addTangentMap(QvMapId id) {
    tangentMaps.push_back({gltfMesh->AddTangentMap(), id});
    tangentMaps.back().map->index.reserve(expectedCorners);
    tangentIndexByValue.emplace_back();
}

void MeshWork::addUvMap(const std::string& name, QvMapId id) {
    auto work = std::make_unique<UvWork>();
    work->log = log;
    work->map = gltfMesh->AddUvMap();
    work->corners.reserve(expectedCorners);
    gltfMesh->uvSets.emplace(name, uint32_t(uvWork.size()));
    uvWork.push_back(std::move(work));
    uvMapIds.push_back(id);
}

// ---- Corner steps -------------------------------------------------------------------------

void MeshWork::AddCornerPoint(QvPointId pointId) {
    uint32_t index = 0;
    // Deliberate: an id the point walk did not see adds no entry (the writer refuses the mesh).
    if (pointIndexById.Find(pointId, index)) gltfMesh->pointIndex.push_back(index);
}

// Deliberate: a corner without value is (0, 0, 0, 0), and an RGB map leaves alpha at 0.
void MeshWork::AddCornerColors(QvPointId pointId) {
    for (size_t m = 0; m < colorMaps.size(); ++m) {
        (*point)->Select(pointId);
        ColorValue value{};
        if ((*polygon)->MapEvaluate(colorMaps[m].id, pointId, value.data()) != qvOk) value = {};
        GltfColorMap& map = *colorMaps[m].map;
        map.index.push_back(colorIndexByValue[m].IndexOf(value, map.values));
    }
}

void MeshWork::AddCornerTangents(QvPointId pointId) {
    for (size_t m = 0; m < tangentMaps.size(); ++m) {
        (*point)->Select(pointId);
        TangentValue value{};
        if ((*polygon)->MapEvaluate(tangentMaps[m].id, pointId, value.data()) != qvOk) value = {};
        GltfTangentMap& map = *tangentMaps[m].map;
        map.index.push_back(tangentIndexByValue[m].IndexOf(value, map.values));
    }
}

// The normal map where it has a value at this corner, the host's own normal where it has none;
// always of unit length, and (1, 0, 0) where that is zero. Deliberate: only two answers of
// exactly "no value" fall back to the host's normal; a failed read takes the evaluated value,
// zero if the read wrote nothing.
void MeshWork::AddCornerNormal(QvPointId pointId) {
    NormalValue normal{};
    bool fromHost = true;
    (*point)->Select(pointId);
    if (hasNormalMap) {
        float evaluated[3] = {}, polygonValue[3] = {}, pointValue[3] = {};
        (*polygon)->MapEvaluate(normalMapId, pointId, evaluated);
        QvResult ownValue = (*polygon)->MapValue(normalMapId, pointId, polygonValue);
        QvResult pointHas = (*point)->MapValue(normalMapId, pointValue);
        if (!(ownValue == qvFalse && pointHas == qvFalse)) {
            normal = {evaluated[0], evaluated[1], evaluated[2]};
            fromHost = false;
        }
    }
    if (fromHost) {
        QvPolygonId polygonId = nullptr;
        (*polygon)->Id(&polygonId);
        (*point)->Normal(polygonId, normal.data());
    }
    double length =
        std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
    if (length > 0)
        normal = {normal[0] / length, normal[1] / length, normal[2] / length};
    else
        normal = {1, 0, 0};
    gltfMesh->normalIndex.push_back(normalIndexByValue.IndexOf(normal, gltfMesh->normals));
}

void MeshWork::AddCornerUvs(QvPointId pointId) {
    uint32_t pointIndex = noPoint;
    if (!uvWork.empty() && (!pointIndexById.Find(pointId, pointIndex) || pointIndex > noPoint))
        pointIndex = noPoint;
    for (size_t m = 0; m < uvWork.size(); ++m) {
        float value[2] = {};
        bool mapped = (*polygon)->MapEvaluate(uvMapIds[m], pointId, value) == qvOk;
        if (!mapped) value[0] = value[1] = 0;
        UvWork& work = *uvWork[m];
        UvCorner corner;
        corner.u = value[0];
        corner.v = value[1];
        corner.point = pointIndex & noPoint;
        corner.mapped = mapped;
        work.corners.push_back(corner);
        if (!mapped) work.complete = false;
    }
}

// ---- UV reduction -------------------------------------------------------------------------

void MeshWork::ResolveUvMaps() {
    for (auto& work : uvWork)
        resolveUvMap(*work);
}

// UVs are made unique per point: deliberately, two points with equal UVs keep separate entries,
// which costs nothing in the file since their corners differ in position anyway. Unmapped
// corners share index 0, which then holds (0, 0).
void MeshWork::resolveUvMap(UvWork& work) {
    GltfUvMap& map = *work.map;
    size_t cornerCount = work.corners.size();
    map.index.assign(cornerCount, 0);
    if (!work.complete) map.values.push_back({0.0f, 0.0f});

    // Corners grouped by point, each group in corner order: a linked list per point.
    size_t buckets = pointCounter + 1; // the last bucket takes ids the point walk did not see
    std::vector<uint32_t> head(buckets, noPoint), next(cornerCount, noPoint);
    for (size_t c = cornerCount; c-- > 0;) {
        uint32_t p = std::min<uint32_t>(uint32_t(work.corners[c].point), pointCounter);
        next[c] = head[p];
        head[p] = uint32_t(c);
    }
    struct Seen {
        float u, v;
        uint32_t index;
    };
    std::vector<Seen> seen;
    for (size_t p = 0; p < buckets; ++p) {
        seen.clear();
        for (uint32_t c = head[p]; c != noPoint; c = next[c]) {
            const UvCorner& corner = work.corners[c];
            if (!corner.mapped) continue;
            auto found = std::find_if(seen.begin(), seen.end(), [&](const Seen& s) {
                return s.u == corner.u && s.v == corner.v;
            });
            uint32_t index;
            if (found != seen.end()) {
                index = found->index;
            } else {
                index = uint32_t(map.values.size());
                map.values.push_back({corner.u, corner.v});
                seen.push_back({corner.u, corner.v, index});
            }
            map.index[c] = index;
        }
    }
}
