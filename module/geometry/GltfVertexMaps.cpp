// Vertex maps: the set-up that lists the host's maps, the corner steps that evaluate every map
// at every triangle corner, and the late reduction of UVs.
#include "geometry/GltfGeometry.h"

#include "host/CQvImpl.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

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
    slots.assign(size, Slot());
    count = 0;
}

void PointIndexTable::Put(QvPointId id, uint32_t index, size_t at) {
    const auto bits = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(id));
    slots[at] = {static_cast<uint32_t>(bits), static_cast<uint32_t>(bits >> 32), index};
    ++count;
}

void PointIndexTable::Insert(QvPointId id, uint32_t index) {
    if ((count + 1) * 2 > slots.size()) {
        std::vector<Slot> old;
        old.swap(slots);
        Reserve(std::max<size_t>(old.size(), 32));
        for (const Slot& slot : old)
            if (slot.Id()) Insert(slot.Id(), slot.index);
    }
    size_t mask = slots.size() - 1;
    for (size_t i = HashPointId(id) & mask;; i = (i + 1) & mask) {
        const QvPointId held = slots[i].Id();
        if (held == id) return; // deliberate: the first index of an id stays
        if (!held) {
            Put(id, index, i);
            return;
        }
    }
}

bool PointIndexTable::Find(QvPointId id, uint32_t& index) const {
    if (slots.empty() || !id) return false;
    size_t mask = slots.size() - 1;
    for (size_t i = HashPointId(id) & mask;; i = (i + 1) & mask) {
        const QvPointId held = slots[i].Id();
        if (held == id) {
            index = slots[i].index;
            return true;
        }
        if (!held) return false;
    }
}

void PointIndexTable::Clear() {
    slots.clear();
    count = 0;
}

// ---- Set-up -------------------------------------------------------------------------------

namespace {
// Room for the per-point entries of a map: one a point, and a quarter more for the second
// sides of seams, so that a large mesh's values are not copied as they grow. Reserved pages that
// stay unused are never touched, so the guess costs no memory when it is too high.
size_t EntriesFor(size_t points) {
    return points + points / 4 + 1;
}
} // namespace

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
    record->positions.reserve(pointCount);
    record->normals.reserve(EntriesFor(pointCount));
    expectedPoints = pointCount;
    normalIndexByValue.TrackPoints(pointCount);
    pointNormalAnswers.assign(pointCount, unknownAnswer);
    recentNormals.assign(recentNormalCount, RecentNormal());
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
    polygonId = nullptr;
    materialPrimitive.Clear();
    partRecord.Clear();
    point = nullptr;
    uvWork.clear();
    colorMaps.clear();
    colorIndexByValue.clear();
    tangentMaps.clear();
    tangentIndexByValue.clear();
    std::vector<uint8_t>().swap(pointNormalAnswers);
    recentNormals.clear();
    pointSelected = false;
    gltfMesh = nullptr;
    expectedCorners = 0;
    expectedPoints = 0;
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
    colorMaps.back().map->values.reserve(EntriesFor(expectedPoints));
    colorIndexByValue.emplace_back();
    colorIndexByValue.back().TrackPoints(expectedPoints);
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
    work->map->index.reserve(expectedCorners);
    work->map->values.reserve(EntriesFor(expectedPoints));
    gltfMesh->uvSets.emplace(name, uint32_t(uvWork.size()));
    uvWork.push_back(std::move(work));
    uvMapIds.push_back(id);
}

// ---- Corner steps -------------------------------------------------------------------------

// The polygon stays selected for all its corners, and its id is asked once: nothing between two
// corners of a polygon changes the accessor's selection.
void MeshWork::BeginPolygon(QvPolygonId id) {
    (*polygon)->Select(id);
    polygonId = nullptr;
    (*polygon)->Id(&polygonId);
}

// The point is looked up once for all tables. Deliberate: an id the point walk did not see adds
// no point entry (the writer refuses the mesh).
void MeshWork::AddCorner(QvPointId pointId) {
    uint32_t index = noPoint;
    if (pointIndexById.Find(pointId, index))
        gltfMesh->pointIndex.push_back(index);
    else
        index = noPoint;
    pointSelected = (*point)->Select(pointId) == qvOk;
    AddCornerColors(pointId, index);
    AddCornerTangents(pointId);
    AddCornerNormal(pointId, index);
    AddCornerUvs(pointId, index);
}

// Deliberate: a corner without value is (0, 0, 0, 0), and an RGB map leaves alpha at 0.
void MeshWork::AddCornerColors(QvPointId pointId, uint32_t pointIndex) {
    for (size_t m = 0; m < colorMaps.size(); ++m) {
        ColorValue value{};
        if ((*polygon)->MapEvaluate(colorMaps[m].id, pointId, value.data()) != qvOk) value = {};
        GltfColorMap& map = *colorMaps[m].map;
        map.index.push_back(colorIndexByValue[m].IndexAt(value, pointIndex, map.values));
    }
}

void MeshWork::AddCornerTangents(QvPointId pointId) {
    for (size_t m = 0; m < tangentMaps.size(); ++m) {
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
void MeshWork::AddCornerNormal(QvPointId pointId, uint32_t pointIndex) {
    NormalValue normal{};
    bool fromHost = true;
    if (hasNormalMap) {
        float evaluated[3] = {}, polygonValue[3] = {};
        (*polygon)->MapEvaluate(normalMapId, pointId, evaluated);
        // A point's own value decides alone, so the polygon's is only asked for without one.
        if (pointHasNormal(pointIndex) ||
            (*polygon)->MapValue(normalMapId, pointId, polygonValue) != qvFalse) {
            normal = {evaluated[0], evaluated[1], evaluated[2]};
            fromHost = false;
        }
    }
    if (fromHost) (*point)->Normal(polygonId, normal.data());
    // The corners of a point mostly read the same normal: its last one is remembered, with the
    // entry it got, so that the division and the list are skipped.
    const bool known = pointIndex < expectedPoints;
    RecentNormal& recent = recentNormals[pointIndex % recentNormals.size()];
    if (known && recent.point == pointIndex &&
        std::memcmp(&recent.read, &normal, sizeof normal) == 0) {
        gltfMesh->normalIndex.push_back(recent.entry);
        return;
    }
    const NormalValue read = normal;
    double length =
        std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
    if (length > 0)
        normal = {normal[0] / length, normal[1] / length, normal[2] / length};
    else
        normal = {1, 0, 0};
    const uint32_t entry = normalIndexByValue.IndexAt(normal, pointIndex, gltfMesh->normals);
    gltfMesh->normalIndex.push_back(entry);
    // Only an entry the table would give again is remembered: not for a NaN, nor off the points.
    if (known && !HasNaN(normal)) recent = {read, pointIndex, entry};
}

// Whether the selected point's read of the normal map gives anything but "no value". The host
// is asked once a point; a point the accessor could not select is asked every time, since the
// answer is then that of whichever point stayed selected.
bool MeshWork::pointHasNormal(uint32_t pointIndex) {
    float pointValue[3] = {};
    if (!pointSelected || pointIndex >= pointNormalAnswers.size())
        return (*point)->MapValue(normalMapId, pointValue) != qvFalse;
    uint8_t& answer = pointNormalAnswers[pointIndex];
    if (answer == unknownAnswer)
        answer = (*point)->MapValue(normalMapId, pointValue) != qvFalse ? hasValue : noValue;
    return answer == hasValue;
}

void MeshWork::AddCornerUvs(QvPointId pointId, uint32_t pointIndex) {
    for (size_t m = 0; m < uvWork.size(); ++m) {
        float value[2] = {};
        bool mapped = (*polygon)->MapEvaluate(uvMapIds[m], pointId, value) == qvOk;
        addCornerUv(*uvWork[m], pointIndex, mapped, value[0], value[1]);
    }
}

// Unmapped corners take index 0; a mapped one the entry of an equal value at its point, or a new
// one. The lists are short: a point has one value, or one per side of a seam.
void MeshWork::addCornerUv(UvWork& work, uint32_t pointIndex, bool mapped, float u, float v) {
    GltfUvMap& map = *work.map;
    if (!mapped) {
        work.complete = false;
        map.index.push_back(0);
        return;
    }
    if (work.newestAtPoint.empty()) {
        // The point walk is over: its count fixes the lists, the last for unknown ids.
        work.newestAtPoint.assign(size_t{pointCounter} + 1, noEntry);
        map.values.push_back({0.0f, 0.0f});
        work.nextAtPoint.push_back(noEntry);
    }
    uint32_t& newest = work.newestAtPoint[std::min(std::min(pointIndex, noPoint), pointCounter)];
    for (uint32_t entry = newest; entry != noEntry; entry = work.nextAtPoint[entry])
        if (map.values[entry][0] == u && map.values[entry][1] == v) {
            map.index.push_back(entry);
            return;
        }
    const auto entry = static_cast<uint32_t>(map.values.size());
    map.values.push_back({u, v});
    work.nextAtPoint.push_back(newest);
    newest = entry;
    map.index.push_back(entry);
}

// ---- UV reduction -------------------------------------------------------------------------

void MeshWork::ResolveUvMaps() {
    for (auto& work : uvWork)
        resolveUvMap(*work);
}

// UVs are made unique per point: deliberately, two points with equal UVs keep separate entries,
// which costs nothing in the file since their corners differ in position anyway. Unmapped
// corners share index 0, which holds (0, 0); a map without them gives that entry up.
void MeshWork::resolveUvMap(UvWork& work) {
    GltfUvMap& map = *work.map;
    std::vector<uint32_t>().swap(work.newestAtPoint);
    std::vector<uint32_t>().swap(work.nextAtPoint);
    if (!work.complete) {
        if (map.values.empty()) map.values.push_back({0.0f, 0.0f});
        return;
    }
    if (map.values.empty()) return;
    map.values.erase(map.values.begin());
    for (uint32_t& index : map.index)
        --index;
}
