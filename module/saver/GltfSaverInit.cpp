// InitSaver: once per file, in the first pass that arrives. Reads the options, creates the
// document and binds the host objects that the rest of the run reads through.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/CQvGlobals.h"
#include "host/QvItemQuery.h"

namespace {

// The eleven options, in the order they are read.
struct OptionSpec {
    const char* name;
    int32_t defaultValue;
    int32_t GltfSaver::*member;
};

const OptionSpec optionSpecs[] = {
    {"sceneio.gltf.save.exportType", ExportScope::SelectedItems, &GltfSaver::exportType},
    {"sceneio.gltf.save.geometry", 1, &GltfSaver::geometry},
    {"sceneio.gltf.save.materials", 1, &GltfSaver::materials},
    {"sceneio.gltf.save.cameras", 1, &GltfSaver::cameras},
    {"sceneio.gltf.save.animation", 1, &GltfSaver::animation},
    {"sceneio.gltf.save.morphMaps", 1, &GltfSaver::morphMaps},
    {"sceneio.gltf.save.skinnedMeshInWS", 1, &GltfSaver::skinnedMeshInWS},
    {"sceneio.gltf.save.tangentsBitangents", 0, &GltfSaver::tangentsBitangents},
    {"sceneio.gltf.save.indicesExport", 0, &GltfSaver::indicesExport},
    {"sceneio.gltf.save.sampleAnimFpsMultiplier", 0, &GltfSaver::sampleAnimFpsMultiplier},
    {"sceneio.gltf.save.exportActionType", ActionExport::SceneAsItPlays,
     &GltfSaver::exportActionType},
};

} // namespace

// Deliberate: always 0, and no caller looks at it.
int GltfSaver::InitSaver() {
    initialized = true;
    log.EnsureSubsystem();
    log.LogHeader("glTf v2 :: InitSaver()");
    ReadOptions();

    CreateDocument();

    BindSceneObjects();
    CacheTypeCodes();
    FindChannelIndices();
    CollectRootItems();
    LogRootItems();
    return 0;
}

// The document takes the format flag and the two options it serves, and has the one scene.
void GltfSaver::CreateDocument() {
    document = std::make_unique<GltfDocument>();
    document->outputKind = uint32_t(outputKind);
    document->skinnedMeshInWorldSpace = uint32_t(skinnedMeshInWS);
    document->useUint32Indices = uint32_t(indicesExport);
    document->log = &log;
    rootNode = document->CreateScene();
}

// Missing gives the default; a value that exists but cannot be read as an integer gives -1.
int32_t GltfSaver::ReadUserInt(const char* name, int32_t defaultValue) {
    CQvUser_UserValueService service;
    CQvUser_UserValue value;
    if (!CQvGlobals::LookupService(service) ||
        QvFailed(service->UserValueLookup(name, value.out())) || !value)
        return defaultValue;
    int32_t result = -1;
    if (QvFailed(value->GetInt(&result))) return -1;
    return result;
}

void GltfSaver::ReadOptions() {
    for (const OptionSpec& option : optionSpecs)
        this->*option.member = ReadUserInt(option.name, option.defaultValue);
}

void GltfSaver::BindSceneObjects() {
    sceneWrap.bind(GetScene());
    sceneItem.clear();
    if (!sceneWrap) return;
    QvTypeCode sceneType = LookupTypeCode(SceneService(), "scene");
    sceneWrap->ItemByIndex(sceneType, 0, sceneItem.out());
    sceneWrap->GraphLookup(qvGraphXfrmCore, IQvItemGraph::iid, xfrmCoreGraph.outVoid());
    sceneWrap->GraphLookup(qvGraphXfrmLocal, IQvItemGraph::iid, xfrmLocalGraph.outVoid());
    sceneWrap->GraphLookup(qvGraphTargets, IQvItemGraph::iid, targetsGraph.outVoid());
    if (QvFailed(sceneWrap->GraphLookup(qvGraphChanLinks, IQvChannelGraph::iid,
                                        chanLinksGraph.outVoid())))
        chanLinksGraph.clear();
    sceneWrap->BaseChannels(baseChannels.out());
    sceneWrap->GetChannels(qvActionSetup, 0.0, setupChannels.out());
    sceneWrap->GetChannels(qvActionEdit, 0.0, editChannels.out());

    // The evaluated reader stands at the scene's current time.
    double currentTime = 0.0;
    int32_t timeChannel = -1;
    if (sceneItem && setupChannels &&
        QvSucceeded(sceneItem->ChannelLookup(qvChanTime, &timeChannel)) && timeChannel >= 0 &&
        QvFailed(setupChannels->ReadDouble(sceneItem.get(), uint32_t(timeChannel), &currentTime)))
        currentTime = 0.0;
    sceneWrap->GetChannels(nullptr, currentTime, evalChannels.out());
}

void GltfSaver::CacheTypeCodes() {
    IQvSceneService* s = SceneService();
    ItemTypeCodes& t = types;
    for (auto [field, name] : std::initializer_list<std::pair<QvTypeCode*, const char*>>{
             {&t.scene, "scene"},
             {&t.locator, "locator"},
             {&t.groupLocator, "groupLocator"},
             {&t.camera, "camera"},
             {&t.light, "light"},
             {&t.sunLight, "sunLight"},
             {&t.pointLight, "pointLight"},
             {&t.spotLight, "spotLight"},
             {&t.areaLight, "areaLight"},
             {&t.lightMaterial, "lightMaterial"},
             {&t.mesh, "mesh"},
             {&t.meshInst, "meshInst"},
             {&t.triSurf, "triSurf"},
             {&t.morphDeform, "morphDeform"},
             {&t.txtrLocator, "txtrLocator"},
             {&t.polyRender, "polyRender"},
             {&t.mask, "mask"},
             {&t.advancedMaterial, "advancedMaterial"},
             {&t.imageMap, "imageMap"},
             {&t.deformGroup, "deformGroup"},
             {&t.scale, "scale"},
             {&t.rotation, "rotation"},
             {&t.translation, "translation"},
             {&t.transform, "transform"},
             {&t.shear, "shear"},
             {&t.ikFullBody, "ikFullBody"},
             {&t.actionclip, "actionclip"},
             {&t.group, "group"},
             {&t.unityShader, "unityShader"},
             {&t.unrealShader, "unrealShader"},
             {&t.replicator, "replicator"}})
        *field = LookupTypeCode(s, name);
}
