// The scene scan, second half of InitSaver: channel indices, the root items by export type, and
// the lists and maps later steps work from (deform groups, enabled masks, world matrices by
// name, IK hierarchies). It makes no document record and writes nothing to the host.
#include "saver/GltfSaver.h"

#include "host/CQvGlobals.h"
#include "host/QvItemQuery.h"

#include <algorithm>

namespace {

bool Contains(const std::vector<ItemRef>& list, ItemRef item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

// Looks up three channels of one transform item into x, y, z.
void LookupXyz(IQvItem* item, const char* x, const char* y, const char* z, int32_t& cx, int32_t& cy,
               int32_t& cz) {
    cx = ChannelIndexOf(item, x);
    cy = ChannelIndexOf(item, y);
    cz = ChannelIndexOf(item, z);
}

} // namespace

// One hit serves the whole scene: channel layouts are the same for every item of a type, and
// the three kinds of transform item keep X, Y and Z at the same indices.
void GltfSaver::FindChannelIndices() {
    uint32_t locatorCount = 0;
    if (sceneWrap && QvFailed(sceneWrap->ItemCount(types.locator, &locatorCount))) locatorCount = 0;
    for (uint32_t i = 0; i < locatorCount && chanX == -1; ++i) {
        CQvUser_Item item;
        if (QvFailed(sceneWrap->ItemByIndex(types.locator, i, item.out())) || !item) continue;
        // Deliberate: a locator without transform items still overwrites the six indices.
        chanWposMatrix = ChannelIndexOf(item.get(), qvChanWposMatrix);
        chanWrotMatrix = ChannelIndexOf(item.get(), qvChanWrotMatrix);
        chanWsclMatrix = ChannelIndexOf(item.get(), qvChanWsclMatrix);
        chanWorldMatrix = ChannelIndexOf(item.get(), qvChanWorldMatrix);
        chanLocalMatrix = ChannelIndexOf(item.get(), qvChanLocalMatrix);
        chanParentMatrix = ChannelIndexOf(item.get(), qvChanParentMatrix);
        CQvUser_Locator locator;
        if (!locator.bind(item.get())) continue;
        CQvUser_Item translation, rotation, scale;
        locator->TransformItem(qvXfrmTranslation, translation.out());
        locator->TransformItem(qvXfrmRotation, rotation.out());
        locator->TransformItem(qvXfrmScale, scale.out());
        if (translation)
            LookupXyz(translation.get(), qvChanPosX, qvChanPosY, qvChanPosZ, chanX, chanY, chanZ);
        if (chanX == -1 && rotation)
            LookupXyz(rotation.get(), qvChanRotX, qvChanRotY, qvChanRotZ, chanX, chanY, chanZ);
        if (chanX == -1 && scale)
            LookupXyz(scale.get(), qvChanSclX, qvChanSclY, qvChanSclZ, chanX, chanY, chanZ);
    }
    uint32_t morphCount = 0;
    if (sceneWrap && QvFailed(sceneWrap->ItemCount(types.morphDeform, &morphCount))) morphCount = 0;
    for (uint32_t i = 0; i < morphCount && chanMorphEnable == -1; ++i) {
        CQvUser_Item item;
        if (QvSucceeded(sceneWrap->ItemByIndex(types.morphDeform, i, item.out())) && item)
            chanMorphEnable = ChannelIndexOf(item.get(), qvChanEnable);
    }
}

void GltfSaver::CollectRootItems() {
    // In the selection modes a selected mesh depends on masks and deform groups that need not
    // be selected themselves.
    if (geometry != 0 && (exportType == ExportScope::SelectedItems ||
                          exportType == ExportScope::SelectedHierarchies)) {
        if (materials != 0 && usedMaterialNames.empty()) {
            ScanStart("mask");
            while (ScanNext())
                ScanCurrentItem();
        }
        if (deformGroups.empty()) {
            ScanStart("deformGroup");
            while (ScanNext())
                ScanCurrentItem();
        }
    }
    switch (exportType) {
    case ExportScope::WholeScene:
        CollectWholeScene();
        break;
    case ExportScope::SelectedItems:
        CollectSelectedItems();
        break;
    case ExportScope::SelectedHierarchies:
        CollectSelectedHierarchies();
        break;
    default:
        break; // any other value exports nothing
    }
}

void GltfSaver::ScanCurrentItem() {
    CQvUser_Item item;
    GetItem(item);
    ScanItem(item.get());
}

void GltfSaver::CollectWholeScene() {
    ScanStart(nullptr);
    while (ScanNext()) {
        CQvUser_Item item;
        GetItem(item);
        ScanItem(item.get());
        CQvUser_Item parent;
        if (!ItemParentOf(item.get(), parent) && ItemIsA(item.get(), types.locator)) {
            rootItems.push_back(item.get());
            log.LogInfo("Root item:%s\n", ItemNameOrEmpty(item.get()));
        }
    }
}

void GltfSaver::CollectSelectedItems() {
    CQvUser_SelectionService selection;
    CQvUser_ItemPacketTranslation translation;
    uint32_t itemType = 0;
    if (!CQvGlobals::LookupService(selection) ||
        QvFailed(selection->SelectionTypeLookup(qvSelectionItem, &itemType)) ||
        QvFailed(selection->PacketTranslation(qvSelectionItem, translation.out())) || !translation)
        return;
    for (const void* packet = selection->SelectionNext(nullptr, itemType); packet;
         packet = selection->SelectionNext(packet, itemType)) {
        CQvUser_Item item;
        if (QvFailed(translation->PacketItem(packet, item.out())) || !item ||
            ItemIsA(item.get(), types.scene))
            continue;
        log.LogInfo("   %s", ItemNameOrEmpty(item.get()));
        ScanItem(item.get());
        rootItems.push_back(item.get());
    }
}

void GltfSaver::CollectSelectedHierarchies() {
    std::vector<CQvUser_Item> selected = CQvItemSelection::Items();
    for (CQvUser_Item& item : selected) {
        if (ItemIsA(item.get(), types.scene)) continue;
        ScanItem(item.get());
        CQvUser_Item parent;
        if (ItemParentOf(item.get(), parent)) {
            // Identity strings are compared by address, as the host keeps them stable.
            const char* parentIdent = ItemIdentOf(parent.get());
            bool parentSelected = std::any_of(selected.begin(), selected.end(), [&](auto& other) {
                return ItemIdentOf(other.get()) == parentIdent;
            });
            // The test is on the parent only: a parent that became a root earlier in this loop
            // keeps its child out, and an item already among the roots is appended again
            // (deliberate: such an item is logged, counted and built twice).
            if (!parentSelected && !Contains(rootItems, parent.get()))
                rootItems.push_back(item.get());
        } else {
            rootItems.push_back(item.get());
        }
        if (geometry != 0) AddSkeletonRoots(item.get());
    }
}

// A selected skinned mesh brings in its skeleton, from the top joint's parent down.
void GltfSaver::AddSkeletonRoots(IQvItem* item) {
    int32_t meshChannel = ChannelIndexOf(item, qvChanMesh);
    CQvUser_<IQvUnknown> meshObject;
    if (meshChannel < 0 || !setupChannels || !deformerService ||
        QvFailed(setupChannels->ReadObject(item, uint32_t(meshChannel), meshObject.out())))
        return;
    CQvUser_GroupDeformer groupDeformer = FindGroupDeformerOfMesh(item);
    if (!groupDeformer) return;

    std::vector<ItemRef> joints; // insertion order keeps the roots' order stable run to run
    uint32_t count = 0;
    if (QvFailed(groupDeformer->JointCount(&count))) count = 0;
    for (uint32_t i = 0; i < count; ++i) {
        CQvUser_Item deformer, locator;
        if (QvFailed(groupDeformer->JointItem(i, deformer.out())) || !deformer) continue;
        if (deformerService->DeformerLocator(deformer.get(), locator.out()) == qvOk && locator &&
            !Contains(joints, locator.get()))
            joints.push_back(locator.get());
    }
    for (ItemRef joint : joints) {
        CQvUser_Item parent;
        if (ItemParentOf(joint, parent)) {
            if (!Contains(joints, parent.get()) && !Contains(rootItems, parent.get()))
                rootItems.push_back(parent.get());
        } else if (!Contains(rootItems, joint)) {
            rootItems.push_back(joint);
        }
    }
}

// The group deformer of the last deform group that holds this mesh.
CQvUser_GroupDeformer GltfSaver::FindGroupDeformerOfMesh(IQvItem* mesh) {
    CQvUser_GroupDeformer found;
    const char* ident = ItemIdentOf(mesh);
    for (ItemRef group : deformGroups) {
        uint32_t meshCount = 0;
        if (QvFailed(deformerService->GroupMeshCount(group, &meshCount))) continue;
        for (uint32_t m = 0; m < meshCount; ++m) {
            CQvUser_Item member;
            if (QvFailed(deformerService->GroupMeshByIndex(group, m, member.out())) || !member ||
                ItemIdentOf(member.get()) != ident)
                continue;
            deformerService->GroupDeformerOf(group, baseChannels.get(), found.out());
            break;
        }
    }
    return found;
}
