// ScanItem: classifies one item met by the scan and fills the saver's lists. Never fails.
#include "saver/GltfSaver.h"

#include "host/QvItemQuery.h"

namespace {
const Matrix4 identityMatrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
} // namespace

void GltfSaver::ScanItem(IQvItem* item) {
    if (!item) return;
    if (ItemIsA(item, types.ikFullBody)) {
        // Deliberate: names the saver's current item, which in the selection modes is not this one.
        const char* current = ItemName();
        log.LogInfo("IKSolver:%s", current ? current : "");
        CQvUser_Item parent;
        ItemParentOf(item, parent);
        ikRoots.push_back(parent.get()); // deliberately also null, for a solver without parent
        log.LogInfo("IK root:%s", ItemNameOrEmpty(parent.get()));
    }
    if (ItemIsA(item, types.replicator)) log.LogInfo("Replicator:%s", ItemNameOrEmpty(item));
    if (ItemIsA(item, types.deformGroup)) {
        ScanDeformGroup(item);
    } else if (ItemIsA(item, types.mask)) {
        ScanMask(item);
    } else if (!ItemIsA(item, types.locator)) {
        if (ItemIsA(item, types.actionclip)) {
            int32_t active = 0, enabled = 0;
            CQvUser_ActionClip clip;
            if (clip.bind(item) &&
                (QvFailed(clip->Active(&active)) || QvFailed(clip->Enabled(&enabled))))
                active = enabled = 0;
            log.LogInfo("Action:%s active:%d enabled:%d", ItemNameOrEmpty(item), active, enabled);
        }
    } else {
        EnterLocatorWorld(item);
    }
}

// An enabled mask is found later by the polygon tag it applies to.
void GltfSaver::ScanMask(IQvItem* item) {
    int32_t enableChannel = ChannelIndexOf(item, qvChanEnable);
    int32_t enabled = 0;
    if (enableChannel < 0 || !setupChannels ||
        QvFailed(setupChannels->ReadInteger(item, uint32_t(enableChannel), &enabled)) ||
        enabled == 0)
        return;
    int32_t tagChannel = ChannelIndexOf(item, qvChanPtag);
    const char* tag = nullptr;
    if (tagChannel < 0 || QvFailed(setupChannels->ReadString(item, uint32_t(tagChannel), &tag)) ||
        !tag)
        return;
    enabledMasks.emplace(tag, item); // a second mask of the same tag is ignored
}

void GltfSaver::EnterLocatorWorld(IQvItem* item) {
    CQvUser_Locator locator;
    if (!locator.bind(item)) return;
    Matrix4 world = identityMatrix;
    if (baseChannels) locator->WorldTransform(baseChannels.get(), world.data());
    locatorWorldByName.emplace(ItemNameOrEmpty(item), world);
}

// Each joint of the group enters its driving locator's world matrix under the locator's name.
void GltfSaver::ScanDeformGroup(IQvItem* item) {
    CQvUser_GroupDeformer groupDeformer;
    uint32_t count = 0;
    if (deformerService &&
        QvSucceeded(
            deformerService->GroupDeformerOf(item, baseChannels.get(), groupDeformer.out())) &&
        groupDeformer && QvFailed(groupDeformer->JointCount(&count)))
        count = 0;
    for (uint32_t i = 0; i < count; ++i) {
        CQvUser_Item deformer, driver;
        if (QvFailed(groupDeformer->JointItem(i, deformer.out())) || !deformer) continue;
        IQvItem* target = deformer.get();
        if (QvSucceeded(deformerService->DeformerLocator(deformer.get(), driver.out())) && driver)
            target = driver.get();
        const char* name = ItemNameOrEmpty(target);
        Matrix4 world = identityMatrix;
        CQvUser_Locator locator;
        if (locator.bind(target) && baseChannels)
            locator->WorldTransform(baseChannels.get(), world.data());
        else if (!locator)
            log.LogError("Failed to obtain locator for item:%s", name);
        locatorWorldByName.emplace(name, world);
    }
    // Deliberately no check: in a selection mode a selected group lands here twice.
    deformGroups.push_back(item);
}

// Deliberate: the whole-scene scan logged each root already, so there each stands twice.
void GltfSaver::LogRootItems() {
    log.LogInfo("Scanning finished, rootItems:%d", int(rootItems.size()));
    for (ItemRef root : rootItems)
        log.LogInfo("Root item:%s\n", ItemNameOrEmpty(root));
    FindActor();
    WalkIkRoots();
}

// The first group of the scene's current groups whose GTYP tag says "actor".
void GltfSaver::FindActor() {
    CQvUser_ItemGraph groups;
    if (!sceneWrap || !sceneItem ||
        QvFailed(
            sceneWrap->GraphLookup(qvGraphCurrentGroups, IQvItemGraph::iid, groups.outVoid())) ||
        !groups)
        return;
    uint32_t count = 0;
    if (QvFailed(groups->LinkCount(sceneItem.get(), &count))) return;
    for (uint32_t i = 0; i < count; ++i) {
        CQvUser_Item linked;
        CQvUser_StringTag tags;
        const char* groupType = nullptr;
        if (QvFailed(groups->LinkByIndex(sceneItem.get(), i, linked.out())) ||
            !ItemIsA(linked.get(), types.group) || !tags.bind(linked.get()) ||
            QvFailed(tags->GetTag(qvItemTagGroupType, &groupType)) || !groupType ||
            std::string(groupType) != "actor")
            continue;
        actorGroup = linked;
        CollectActor(linked.get());
        log.LogInfo("---   Actor:%s actions:%d items:%d chans:%d", ItemNameOrEmpty(linked.get()),
                    int(actorActions.size()), int(actorItems.size()), int(actorChannelCount));
        return;
    }
}

// Every descendant of an IK root lands in ikItems; joints are named in the log.
void GltfSaver::WalkIkRoots() {
    for (ItemRef root : ikRoots) {
        log.LogInfo("Processing IK root:%s", ItemNameOrEmpty(root));
        ikItems.insert(root);
        std::vector<ItemRef> stack{root};
        while (!stack.empty()) {
            ItemRef item = stack.back();
            stack.pop_back();
            uint32_t children = ItemChildCount(item);
            for (uint32_t i = 0; i < children; ++i) {
                CQvUser_Item child;
                if (QvFailed(item->SubByIndex(i, child.out())) || !child) continue;
                if (ItemIsA(child.get(), types.locator) && child->PackageTest("ik.joint") == qvOk)
                    log.LogInfo("   IK joint:%s", ItemNameOrEmpty(child.get()));
                ikItems.insert(child.get());
                stack.push_back(child.get());
            }
        }
    }
}
