// Node building: the item hierarchy below each root becomes GltfNode records, with meshes and
// cameras attached. The host's numbers are copied as they stand: no axis swap, no unit change.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/QvItemQuery.h"

#include <cstring>

// Walks each root depth-first with an explicit stack; the first child is popped first, so node,
// mesh and camera order all follow the pre-order walk.
QvResult GltfSaver::BuildNodes() {
    if (rootItems.empty()) return qvOk;
    for (ItemRef root : rootItems) {
        if (!ItemIsA(root, types.locator)) continue; // only here does a root's type count
        nodeStack.push_back({rootNode, root});
        while (!nodeStack.empty()) {
            NodeWorkEntry entry = nodeStack.back();
            nodeStack.pop_back();
            CQvUser_Item item;
            if (!item.bind(entry.item)) {
                log.LogError("Failed to set item");
                return qvFailed;
            }
            SetItem(item.get());
            uint32_t childCount = ItemChildCount(item.get());
            if (SkippedWithChildren(item.get())) continue;
            GltfNode* node = BuildNode(item, entry.parent);
            if (!node) continue;
            itemNodes.emplace(item.get(), node);
            if (!FollowsChildren()) continue;
            for (uint32_t i = childCount; i-- > 0;) {
                CQvUser_Item child;
                if (QvFailed(item->SubByIndex(i, child.out()))) child.clear();
                nodeStack.push_back({node, child.get()});
            }
        }
    }
    return qvOk;
}

// The host's test is a bit test (exportType with bit 1 cleared is 0); it admits exactly these two.
bool GltfSaver::FollowsChildren() const {
    return exportType == ExportScope::WholeScene || exportType == ExportScope::SelectedHierarchies;
}

// Lights and their materials, texture locators, morph deformers, and cameras when cameras are
// off, leave no node, and nothing below them does either.
bool GltfSaver::SkippedWithChildren(IQvItem* item) {
    if (ItemIsA(item, types.lightMaterial) || ItemIsA(item, types.txtrLocator) ||
        ItemIsA(item, types.morphDeform))
        return true;
    if (ItemIsA(item, types.light)) return true;
    return cameras == 0 && ItemIsA(item, types.camera);
}

GltfNode* GltfSaver::BuildNode(CQvUser_Item& item, GltfNode* parentNode) {
    const char* name = ItemName();
    std::string nodeName = name ? name : "";
    // Deliberate: the user-visible name decides, so a locator named so is left out with its
    // children.
    if (nodeName == "MorphGroup" || nodeName == "TextureGroup") return nullptr;

    GltfMesh* mesh = nullptr;
    std::unique_ptr<GltfCamera> camera;
    if (ItemIsA(item.get(), types.mesh) && !ItemIsA(item.get(), types.meshInst) &&
        !ItemIsA(item.get(), types.triSurf)) {
        if (geometry != 0) mesh = CreateMesh(item);
    } else if (ItemIsA(item.get(), types.camera)) {
        camera = std::make_unique<GltfCamera>(nodeName);
    }
    GltfNode* node = rootNode->CreateNode(nodeName);
    if (mesh) node->SetMesh(mesh);
    if (camera) node->SetCamera(std::move(camera));
    parentNode->AddChild(node);

    CQvUser_Item hostParent;
    bool hasHostParent = ItemParentOf(item.get(), hostParent);
    XformAnalysis analysis;
    if (QvSucceeded(AnalyseXform(item.get(), analysis))) {
        itemXforms.emplace(item.get(), analysis);
        ReadNodeMatrix(item.get(), node, parentNode, hasHostParent, hostParent.get());
    }
    SetItem(item.get()); // CreateMesh moved the current item
    return node;
}

// World matrix for a node lifted out of its hierarchy by a selection export, local otherwise.
void GltfSaver::ReadNodeMatrix(IQvItem* item, GltfNode* node, GltfNode* parentNode,
                               bool hasHostParent, IQvItem* hostParent) {
    bool keepWorld =
        exportType != ExportScope::WholeScene && parentNode == rootNode && hasHostParent;
    const XformAnalysis& analysis = itemXforms.at(item);
    log.LogInfo("   driven:%d xformDriven:%d", int(analysis.drivenCount),
                int(analysis.xformDrivenCount));
    CQvUser_Locator locator;
    locator.bind(item);
    Matrix4 world = node->matrix;
    if (evalChannels) locator->WorldTransform(evalChannels.get(), world.data());
    node->matrix = world;
    node->useMatrix = true;
    const char* label = "World";
    if (hasHostParent && !keepWorld) {
        CQvUser_Locator parentLocator;
        Matrix4 parentWorld = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        if (parentLocator.bind(hostParent) && evalChannels)
            parentLocator->WorldTransform(evalChannels.get(), parentWorld.data());
        Invert(parentWorld);
        Multiply(node->matrix, parentWorld);
        label = "Local";
    }
    log.LogInfo("   Using %s matrix", label);
}
