#include "host/CQvSceneSaver.h"

#include "host/CQvGlobals.h"
#include "host/CQvImpl.h"
#include "host/QvItemQuery.h"

#include <new>

// Everything one verify or save call works with; exists only while the call runs.
struct SceneSaverState {
    CQvUser_SceneService sceneService;
    CQvUser_Scene scene;
    CQvUser_ItemCollection collection;
    CQvUser_ItemGraph shadeLocGraph;
    CQvUser_ChannelRead editRead;
    CQvUser_ChannelRead evalRead;
    CQvUser_Message message;
    CQvUser_Monitor monitor;

    QvTypeCode meshType = 0, meshInstType = 0, triSurfType = 0, polyRenderType = 0;
    QvTypeCode maskType = 0, textureLayerType = 0, videoStillType = 0, txtrLocatorType = 0;

    bool realPass = false;
    uint32_t stepCount = 0;
    QvResult lastError = qvOk;

    uint32_t scanIndex = 0, scanCount = 0, scanMode = 0;
    QvTypeCode scanType = qvAllTypes;

    CQvUser_Item currentItem;
    CQvUser_StringTag itemTags;
    CQvUser_Mesh mesh;
    CQvUser_TriangleGroup triangleGroup;
    CQvUser_StringTag polygonTags;
    CQvUser_Point point;
    CQvUser_Edge edge;
    CQvUser_Polygon polygon;
    CQvUser_MeshMap meshMap;
};

CQvSceneSaver::CQvSceneSaver() = default;

CQvSceneSaver::~CQvSceneSaver() {
    DestroyState();
}

// ---- State --------------------------------------------------------------------------------

bool CQvSceneSaver::CreateState(IQvUnknown* source) {
    DestroyState();
    try {
        state = std::make_unique<SceneSaverState>();
    } catch (const std::bad_alloc&) {
        return false;
    }
    SceneSaverState& s = *state;
    CQvGlobals::LookupService(s.sceneService);
    IQvSceneService* types = s.sceneService.get();
    s.meshType = LookupTypeCode(types, "mesh");
    s.meshInstType = LookupTypeCode(types, "meshInst");
    s.triSurfType = LookupTypeCode(types, "triSurf");
    s.polyRenderType = LookupTypeCode(types, "polyRender");
    s.maskType = LookupTypeCode(types, "mask");
    s.textureLayerType = LookupTypeCode(types, "textureLayer");
    s.videoStillType = LookupTypeCode(types, "videoStill");
    s.txtrLocatorType = LookupTypeCode(types, "txtrLocator");

    CQvUser_SceneSubset subset;
    if (UsesSceneSubset() && subset.bind(source)) {
        subset->SubsetScene(s.scene.out());
        subset->SubsetCollection(s.collection.out());
    } else {
        s.scene.bind(source);
    }
    // A scene whose readers or shading graph cannot be had still runs; Save reports it after.
    bool usable = s.scene.test() &&
                  QvSucceeded(s.scene->GetChannels(qvActionEdit, 0.0, s.editRead.out())) &&
                  QvSucceeded(s.scene->GetChannels(nullptr, 0.0, s.evalRead.out())) &&
                  QvSucceeded(s.scene->GraphLookup(qvGraphShadeLoc, IQvItemGraph::iid,
                                                   s.shadeLocGraph.outVoid())) &&
                  s.editRead.test() && s.evalRead.test() && s.shadeLocGraph.test();
    s.lastError = usable ? qvOk : qvSceneUnusable;
    return true;
}

void CQvSceneSaver::DestroyState() {
    state.reset();
}

// ---- Host calls ---------------------------------------------------------------------------

QvResult CQvSceneSaver::Verify(IQvUnknown* source, IQvUnknown* message) {
    if (!CreateState(source)) return qvFailed;
    // Deliberate: a message that does not bind leaves the state in place until the next call.
    if (!state->message.bind(message)) return qvBadMessage;
    VerifyScene();
    DestroyState();
    return qvOk;
}

QvResult CQvSceneSaver::Save(IQvUnknown* source, const char* path, IQvUnknown* monitor) {
    CQvFileFormat* format = GetFormat();
    if (!CreateState(source)) return qvFailed;
    QvResult result = qvFailed;
    if (format->Open(path) && !format->HasError()) {
        state->stepCount = 0;
        result = qvOk;
        if (monitor) {
            format->SetPass(0);
            state->realPass = false;
            result = SavePass();
            if (QvFailed(result)) {
                format->Close();
                DestroyState();
                return result;
            }
            // Deliberate: no pass counts steps, so the monitor always starts at 0 steps.
            if (state->monitor.bind(monitor)) state->monitor->Initialize(state->stepCount);
        }
        format->SetPass(1);
        state->realPass = true;
        result = SavePass();
        if (QvSucceeded(result)) {
            if (QvFailed(state->lastError))
                result = state->lastError;
            else if (format->HasError())
                result = qvFailed;
        }
    }
    format->Close(); // deliberate: also when Open failed
    DestroyState();
    return result;
}

// ---- Accessors for the concrete saver -----------------------------------------------------

IQvScene* CQvSceneSaver::GetScene() const {
    return state ? state->scene.get() : nullptr;
}

bool CQvSceneSaver::IsRealPass() const {
    return state && state->realPass;
}

IQvSceneService* CQvSceneSaver::SceneService() const {
    return state ? state->sceneService.get() : nullptr;
}

void CQvSceneSaver::ScanStart(const char* typeName) {
    state->scanMode = 0;
    state->scanType = typeName ? LookupTypeCode(state->sceneService.get(), typeName) : qvAllTypes;
}

bool CQvSceneSaver::ScanNext() {
    SceneSaverState& s = *state;
    if (s.scanMode != 2) {
        s.scanMode = 2;
        // Deliberate: without a count the scan runs until ItemByIndex fails, and that failure
        // becomes the save's result.
        if (!s.scene || QvFailed(s.scene->ItemCount(s.scanType, &s.scanCount)))
            s.scanCount = 0xFFFFFFFFu;
        s.scanIndex = 0;
    } else {
        ++s.scanIndex;
    }
    CQvUser_Item item;
    for (; s.scanIndex < s.scanCount; ++s.scanIndex) {
        QvResult r = s.scene ? s.scene->ItemByIndex(s.scanType, s.scanIndex, item.out()) : qvFailed;
        if (QvFailed(r)) {
            s.lastError = r;
            return false;
        }
        if (!s.collection || s.collection->Contains(item.get()) == qvOk) break;
    }
    if (s.scanIndex >= s.scanCount) return false;
    // Deliberate: an item that SetItem refuses ends the scan; the items after it are not seen.
    return SetItem(item.get());
}

bool CQvSceneSaver::SetItem(IQvItem* item) {
    SceneSaverState& s = *state;
    if (!s.currentItem.bind(item)) return false;
    s.itemTags.bind(item);
    if (ItemIsA(item, s.triSurfType)) {
        int32_t channel = -1;
        if (QvFailed(item->ChannelLookup(qvChanSurf, &channel))) s.lastError = qvFailed;
        CQvUser_<IQvUnknown> value;
        if (channel < 0 || QvFailed(s.editRead->ReadObject(item, uint32_t(channel), value.out())))
            return false;
        return s.triangleGroup.bind(value.get());
    }
    if (ItemIsA(item, s.meshInstType)) {
        CQvUser_Item source;
        if (!s.sceneService || QvFailed(s.sceneService->InstanceSource(item, source.out())) ||
            !source)
            return false;
        if (ItemIsA(source.get(), s.triSurfType)) return true;
        // Deliberately quiet: a source without a mesh ends a scan here but fails no save.
        return BindMeshFromChannel(source.get(), false) && BindMeshAccessors();
    }
    if (ItemIsA(item, s.meshType)) return BindMeshFromChannel(item, true) && BindMeshAccessors();
    return true;
}

bool CQvSceneSaver::BindMeshFromChannel(IQvItem* item, bool noteMissingChannel) {
    SceneSaverState& s = *state;
    int32_t channel = -1;
    if (QvFailed(item->ChannelLookup(qvChanMesh, &channel)) || channel < 0) {
        if (noteMissingChannel) s.lastError = qvFailed;
        return false;
    }
    CQvUser_<IQvUnknown> value;
    if (!s.editRead || QvFailed(s.editRead->ReadObject(item, uint32_t(channel), value.out())))
        return false;
    return s.mesh.bind(value.get());
}

bool CQvSceneSaver::BindMeshAccessors() {
    SceneSaverState& s = *state;
    if (QvFailed(s.mesh->PointAccessor(s.point.out())) || !s.point) return false;
    if (QvFailed(s.mesh->EdgeAccessor(s.edge.out())) || !s.edge) return false;
    if (QvFailed(s.mesh->PolygonAccessor(s.polygon.out())) || !s.polygon) return false;
    if (QvFailed(s.mesh->MapAccessor(s.meshMap.out())) || !s.meshMap) return false;
    return s.polygonTags.bind(s.polygon.get());
}

void CQvSceneSaver::GetItem(CQvUser_Item& wrapper) const {
    wrapper.clear();
    if (state && state->currentItem) wrapper.bind(state->currentItem.get());
}

const char* CQvSceneSaver::ItemName() {
    const char* name = nullptr;
    if (!state->currentItem || QvFailed(state->currentItem->Name(&name))) {
        state->lastError = qvFailed;
        return nullptr;
    }
    return name;
}

const char* CQvSceneSaver::ItemTypeName() {
    QvTypeCode type = 0;
    const char* name = nullptr;
    if (!state->currentItem || !state->sceneService ||
        QvFailed(state->currentItem->ItemType(&type)) ||
        QvFailed(state->sceneService->ItemTypeName(type, &name))) {
        state->lastError = qvFailed;
        return nullptr;
    }
    return name;
}

bool CQvSceneSaver::ChannelObject(const char* channel, IQvUnknown** object) {
    IQvItem* item = state->currentItem.get();
    int32_t index = -1;
    if (!item || QvFailed(item->ChannelLookup(channel, &index)) || index < 0) {
        state->lastError = qvFailed;
        return false;
    }
    return state->editRead &&
           QvSucceeded(state->editRead->ReadObject(item, uint32_t(index), object)) && *object;
}

// ---- Mesh walk ----------------------------------------------------------------------------

bool CQvSceneSaver::GetMesh(CQvUser_Mesh& wrapper) const {
    wrapper.clear();
    return state && state->mesh && wrapper.bind(state->mesh.get());
}

uint32_t CQvSceneSaver::PointCount() {
    uint32_t count = 0;
    if (!state->mesh || QvFailed(state->mesh->PointCount(&count))) return 0;
    return count;
}

void CQvSceneSaver::WalkPoints() {
    if (!state->point) return;
    CQvFunctionVisitor visitor([this] {
        OnPoint();
        return qvOk;
    });
    state->point->Enumerate(&visitor);
}

void CQvSceneSaver::WalkPolygons() {
    if (!state->polygon) return;
    CQvFunctionVisitor visitor([this] {
        OnPolygon();
        return qvOk;
    });
    state->polygon->Enumerate(&visitor);
}

const char* CQvSceneSaver::PolyTag(uint32_t type) {
    const char* value = nullptr;
    if (!state->polygonTags || QvFailed(state->polygonTags->GetTag(type, &value))) return nullptr;
    return value;
}

QvPolygonId CQvSceneSaver::CurrentPolygonId() {
    QvPolygonId id = nullptr;
    if (state->polygon) state->polygon->Id(&id);
    return id;
}

QvPointId CQvSceneSaver::CurrentPointId() {
    QvPointId id = nullptr;
    if (state->point) state->point->Id(&id);
    return id;
}

bool CQvSceneSaver::CurrentPointPosition(double* xyz) {
    return state->point && QvSucceeded(state->point->Position(xyz));
}

bool CQvSceneSaver::PolygonAccessorOfSaver(CQvUser_Polygon& wrapper) const {
    return wrapper.bind(state->polygon.get());
}

bool CQvSceneSaver::PointAccessorOfSaver(CQvUser_Point& wrapper) const {
    return wrapper.bind(state->point.get());
}

bool CQvSceneSaver::MapAccessorOfSaver(CQvUser_MeshMap& wrapper) const {
    return wrapper.bind(state->meshMap.get());
}
