// The savers: what happens between the host's save call and the finished file. GltfSaver writes
// a .glb, GltfSaverGLTF a .gltf with its .bin; the one behavioural difference between them is
// `outputKind`, set at the top of each pass and handed to the document.
//
// A save runs in three stages, always in this order:
//   InitSaver  read the options, create the document, bind the host's scene objects, cache type
//              codes and channel indices, scan the scene for roots (GltfSaverInit.cpp,
//              GltfScan.cpp)
//   RunSaver   turn the scan into document records: nodes with meshes and cameras, deformers,
//              materials, animations (GltfSaver.cpp and the subsystem folders)
//   Write      the document's own serialisation into the output files (document/)
#pragma once

#include "animation/GltfAnimation.h"
#include "document/GltfDocument.h"
#include "document/InsertionOrderedMap.h"
#include "geometry/GltfGeometry.h"
#include "host/CQvSceneSaver.h"
#include "host/GltfLogMsg.h"
#include "material/GltfMaterials.h"
#include "saver/GltfMatrix.h"

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

class GltfScene;
class GltfNode;
class GltfMesh;

// An item as the saver's maps know it: the host hands out one object per item, so the pointer
// identifies the item. Not owned.
using ItemRef = IQvItem*;

// The locator's own transform items, as the transform analysis compares links against them.
struct OwnTransforms {
    ItemRef translation = nullptr;
    ItemRef rotation = nullptr;
    ItemRef scale = nullptr;
};

// One entry of the node-building work stack.
struct NodeWorkEntry {
    GltfNode* parent = nullptr;
    ItemRef item = nullptr;
};

// Item type codes, looked up once per save in this order; 0 when the host does not know a type.
struct ItemTypeCodes {
    QvTypeCode scene = 0, locator = 0, groupLocator = 0, camera = 0, light = 0;
    QvTypeCode sunLight = 0, pointLight = 0, spotLight = 0, areaLight = 0, lightMaterial = 0;
    QvTypeCode mesh = 0, meshInst = 0, triSurf = 0, morphDeform = 0, txtrLocator = 0;
    QvTypeCode polyRender = 0, mask = 0, advancedMaterial = 0, imageMap = 0, deformGroup = 0;
    QvTypeCode scale = 0, rotation = 0, translation = 0, transform = 0, shear = 0;
    QvTypeCode ikFullBody = 0, actionclip = 0, group = 0, unityShader = 0, unrealShader = 0;
    QvTypeCode replicator = 0;
};

// What a save exports, the values of the user value "sceneio.gltf.save.exportType". Any other
// value collects no root and writes a document without nodes.
namespace ExportScope {
constexpr int32_t WholeScene = 0;          // every locator without a parent, with its children
constexpr int32_t SelectedItems = 1;       // each selected item alone (the default)
constexpr int32_t SelectedHierarchies = 2; // selected items with their children and skeletons
} // namespace ExportScope

// Which animation a save samples, the values of "sceneio.gltf.save.exportActionType". Any other
// value exports no animation.
namespace ActionExport {
constexpr int32_t SceneAsItPlays = 0;
constexpr int32_t EveryActorAction = 1;
constexpr int32_t ActiveActorAction = 2;
} // namespace ActionExport

// The only option value that turns on the steps tested for equality (the skin step gated by
// `morphMaps`, the doubled sampling rate): 0, -1 and every other value leave them off.
constexpr int32_t optionOn = 1;

// Everything one save gathers and reads, from Open to Close: the options, the host objects the
// run reads through, the scan's lists and maps, the document and the mesh being built. Close
// replaces it whole with a fresh one, so no save can leave anything behind for the next. Fields
// marked "gathered, never read" are kept for the host calls that fill them.
struct GltfSaveState {
    // ---- Scan results and work maps ----
    std::vector<ItemRef> rootItems;
    InsertionOrderedMap<ItemRef, GltfNode*> itemNodes; // every node made, by its item
    InsertionOrderedMap<ItemRef, GltfMesh*> meshNodes;
    std::vector<ItemRef> deformGroups;
    InsertionOrderedMap<std::string, Matrix4> locatorWorldByName;
    std::deque<NodeWorkEntry> nodeStack;
    InsertionOrderedMap<std::string, bool> usedMaterialNames;
    InsertionOrderedMap<std::string, ItemRef> enabledMasks;
    InsertionOrderedMap<GltfMesh*, std::vector<std::string>> meshMaterialNames;
    InsertionOrderedMap<std::string, GltfMaterial*> materialsByTag;
    InsertionOrderedMap<std::string, std::shared_ptr<GltfTexture>> texturesByLayer;
    InsertionOrderedMap<ItemRef, XformAnalysis> itemXforms;
    std::vector<ItemRef> ikRoots;
    std::set<ItemRef> ikItems; // membership only, never walked for output
    CQvUser_Item actorGroup;
    std::vector<ItemRef> actorItems;
    std::vector<ItemRef> actorActions; // enabled clips, in group order
    uint32_t actorChannelCount = 0;
    // Sampling, emptied at the start of every pass: items in first-seen order, their records in
    // insertion order under each item.
    std::vector<ItemRef> sampledItems;
    std::multimap<ItemRef, SampleRecord> sampleRecords;
    // Items with several nodes. Nothing fills it, so its pass visits nothing; it stays as the
    // place where such items would go.
    std::multimap<ItemRef, GltfNode*> animatedMeshNodes;

    bool initialized = false; // InitSaver has run since Open
    std::string outputPath;   // the path given to Open; the document writes to it
    MeshWork meshWork;        // the mesh being built; empty between meshes

    // ---- Host objects the run reads through ----
    CQvUser_Scene sceneWrap;
    CQvUser_Item sceneItem;
    CQvUser_ItemGraph xfrmCoreGraph;
    CQvUser_ItemGraph xfrmLocalGraph; // gathered, never read
    CQvUser_ItemGraph targetsGraph;   // opened and let go, never walked
    CQvUser_ChannelGraph chanLinksGraph;
    CQvUser_ChannelRead setupChannels, editChannels, evalChannels, baseChannels;

    std::unique_ptr<GltfDocument> document; // created by InitSaver, freed after the write
    GltfScene* rootNode = nullptr;          // the document's one scene

    double timeStart = 0.0, timeEnd = 0.0; // the scene's current range, seconds
    double sampleRate = 0.0;               // samples per second

    // ---- Options, and between them the format flag ----
    int32_t exportType = ExportScope::SelectedItems;
    int32_t outputKind = kGltfOutputGlb; // set by SavePass at the top of every pass
    int32_t geometry = 1, materials = 1, cameras = 1, animation = 1, morphMaps = 1;
    int32_t skinnedMeshInWS = 1, tangentsBitangents = 0, indicesExport = 0;
    int32_t sampleAnimFpsMultiplier = 0, exportActionType = ActionExport::SceneAsItPlays;

    ItemTypeCodes types;

    // ---- Channel indices, -1 until found ----
    int32_t chanWposMatrix = -1, chanWrotMatrix = -1, chanWsclMatrix = -1;
    int32_t chanWorldMatrix = -1, chanLocalMatrix = -1, chanParentMatrix = -1;
    int32_t chanX = -1, chanY = -1, chanZ = -1; // of a transform item: pos, rot or scl X, Y, Z
    int32_t chanMorphEnable = -1;               // gathered, never read
};

// The saver is its save state plus the steps of a save. The state is a base rather than a
// member so that every step reads its fields by their plain names.
class GltfSaver : public CQvSceneSaver, public CQvFileFormat, public GltfSaveState {
public:
    GltfSaver();
    ~GltfSaver() override;
    GltfSaver(const GltfSaver&) = delete;
    GltfSaver& operator=(const GltfSaver&) = delete;

    // ---- CQvSceneSaver face ----
    CQvFileFormat* GetFormat() override { return this; }
    QvResult SavePass() override;

    // ---- CQvFileFormat face ----
    bool Open(const char* path) override;
    void SetPass(int) override {}
    bool HasError() override { return false; }
    void Close() override;

    // ---- Run sequence ----
    int InitSaver();
    void CreateDocument();
    QvResult RunSaver();
    void ReportCounts();

    // ---- Options ----
    void ReadOptions();
    static int32_t ReadUserInt(const char* name, int32_t defaultValue);

    // ---- Scene scan ----
    void BindSceneObjects();
    void CacheTypeCodes();
    void FindChannelIndices();
    void CollectRootItems();
    void CollectWholeScene();
    void CollectSelectedItems();
    void CollectSelectedHierarchies();
    void AddSkeletonRoots(IQvItem* item);
    CQvUser_GroupDeformer FindGroupDeformerOfMesh(IQvItem* mesh);
    void ScanCurrentItem();
    void ScanItem(IQvItem* item);
    void ScanDeformGroup(IQvItem* item);
    void ScanMask(IQvItem* item);
    void EnterLocatorWorld(IQvItem* item);
    void LogRootItems();
    void FindActor();
    void WalkIkRoots();

    // ---- Node building ----
    QvResult BuildNodes();
    GltfNode* BuildNode(CQvUser_Item& item, GltfNode* parentNode);

    // ---- Transform analysis ----
    QvResult AnalyseXform(IQvItem* item, XformAnalysis& out);

    // ---- Mesh creation ----
    GltfMesh* CreateMesh(CQvUser_Item& item);
    void OnPoint() override;
    void OnPolygon() override;

    // ---- Actor and its actions ----
    void CollectActor(IQvItem* group);

    // ---- Materials ----
    int CreateMaterials();
    GltfMaterial* MaterialForTag(const std::string& tag);
    static ShaderLayer ClassifyLayer(IQvItem* item);
    void ApplyEffectTextures(GltfMaterial* material, const EffectLayerMap& effectLayers);
    std::shared_ptr<GltfTexture> TextureForLayer(IQvItem* item);
    void ReadGltfShader(GltfMaterial* material, IQvItem* item);
    void ReadHostMaterial(GltfMaterial* material, IQvItem* item);

    // ---- Later steps of RunSaver ----
    void CreateAllDeformers(); // CreateDeformers for every entry of meshNodes, in order
    void CreateDeformers(GltfMesh* mesh, CQvUser_Item& item);
    void CreateGroupSkins(GltfMesh* mesh, CQvUser_Mesh& meshObject,
                          const std::vector<uint32_t>& groups, uint32_t meshIndex);
    void CreateGraphSkin(GltfMesh* mesh, CQvUser_Item& item, CQvUser_Mesh& meshObject);
    int CreateAnimations();
    void ReadTimeRange();
    void ExportActorActions();
    QvResult ExportAction(uint32_t actionIndex, double rate);
    std::string ExportTagsOfClip(CQvUser_ActionClip& clip);
    void CollectSampledItems();
    void WarnOrWidenTimeRange(IQvItem* item, double& minimum, double& maximum);
    bool UpdateTimeRange(IQvChannelRead* channels, IQvItem* item, int32_t channel, double& minimum,
                         double& maximum);

    // ---- Transform sampling ----
    void AddSampledItem(IQvItem* item, GltfNode* node, IQvChannelRead* channels);
    void AddDrivenTransform(IQvItem* item, IQvItem* transform, GltfNode* node);
    void AddSampleRecord(const SampleRecord& record);
    void SampleAnimation(double rate);
    void SampleItemAt(SampleRecord& record, IQvChannelRead* channels, double time);
    void ReadRenderResolution();

protected:
    // Runs one pass with `outputKind` already set by the concrete class.
    QvResult RunPass();
    // Replaces the save state with a fresh one: the one place where a save's state ends.
    void ResetSaveState();

private:
    struct ShaderWalk;
    void WalkShaderLayer(const ShaderLayer& layer, ShaderWalk& walk);
    void ExpandMask(const ShaderLayer& mask, ShaderWalk& walk);
    GltfMaterial* MaterialOfWalk(const std::string& tag, const ShaderWalk& walk);
    void AttachMaterialsToMeshes();
    void SetMetallicRoughness(GltfMaterial* m, const std::shared_ptr<GltfTexture>& texture,
                              const char* label, const char* mapName);
    void SwizzleCheck(const SwizzleRule& rule, int32_t& swizzling, int32_t& rgba);
    int32_t ReadEditInt(IQvItem* item, const char* channel, int32_t fallback);
    double ReadEditDouble(IQvItem* item, const char* channel, double fallback);
    std::string ReadEditString(IQvItem* item, const char* channel);
    std::vector<JointInfluences> GatherGroupInfluences(CQvUser_Mesh& meshObject,
                                                       CQvUser_GroupDeformer& deformer,
                                                       uint32_t meshIndex, uint32_t jointCount,
                                                       GltfSkin& skin);
    std::string WeightMapNameOf(IQvItem* deformer);
    bool SkippedWithChildren(IQvItem* item);
    bool FollowsChildren() const;
    void ReadNodeMatrix(IQvItem* item, GltfNode* node, GltfNode* parentNode, bool hasHostParent,
                        IQvItem* hostParent);
    void ClassifyTransformLink(IQvItem* link, uint32_t position, const OwnTransforms& own,
                               XformAnalysis& out);
    uint32_t DrivenChannelCount(IQvItem* item);
    uint32_t DrivenTransformChannelCount(IQvItem* locator, IQvItem* transform);
    uint32_t ChannelDriverCount(IQvItem* item, int32_t channel);
    int32_t CountPolygonCorners(IQvMesh* mesh, IQvPolygon* polygons);
    void SetUpVertexMaps();
    void AddTriangle(GltfPrimitive* material, GltfPrimitive* part);
    void RecordMaterialNames(GltfMesh* mesh);

public:
    GltfLogMsg log;                          // lives with the saver: every pass resets its counts
    CQvUser_DeformerService deformerService; // found once, when the saver is made
};

class GltfSaverGLTF : public GltfSaver {
public:
    QvResult SavePass() override;
};
