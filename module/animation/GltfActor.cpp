// The actor: the items it moves, its enabled clips and the number of its channels, collected
// once during the scan, before any clip is activated.
#include "saver/GltfSaver.h"

#include "host/QvItemQuery.h"

#include <unordered_set>

namespace {

// Items in the order they were first met; the order is that of the host's group members, so the
// actor's item list is the same from save to save.
class ItemSet {
public:
    void Insert(ItemRef item) {
        if (item && seen.insert(item).second) order.push_back(item);
    }
    const std::vector<ItemRef>& Items() const { return order; }

private:
    std::unordered_set<ItemRef> seen;
    std::vector<ItemRef> order;
};

// Over the group's items: clips that are enabled become the actor's actions, everything else
// one of its items. A disabled clip exists for nothing from here on.
class GroupItemVisitor final : public CQvImpl_AbstractVisitor {
public:
    GroupItemVisitor(IQvGroupEnumerator* members, QvTypeCode clipType, ItemSet& items,
                     std::vector<ItemRef>& actions)
        : members(members), clipType(clipType), items(items), actions(actions) {}
    QvResult Evaluate() override {
        CQvUser_Item item;
        if (QvFailed(members->Item(item.out())) || !item) return qvOk;
        if (!ItemIsA(item.get(), clipType)) {
            items.Insert(item.get());
            return qvOk;
        }
        CQvUser_ActionClip clip;
        int32_t enabled = 0;
        if (clip.bind(item.get()) && QvSucceeded(clip->Enabled(&enabled)) && enabled != 0)
            actions.push_back(item.get());
        return qvOk;
    }

private:
    IQvGroupEnumerator* members;
    QvTypeCode clipType;
    ItemSet& items;
    std::vector<ItemRef>& actions;
};

// Over the group's channels: a channel on a translation, rotation or scale item brings in the
// locator that owns that item. Every channel counts.
class GroupChanVisitor final : public CQvImpl_AbstractVisitor {
public:
    GroupChanVisitor(IQvGroupEnumerator* members, const ItemTypeCodes& types, ItemSet& items)
        : members(members), types(types), items(items) {}
    QvResult Evaluate() override {
        CQvUser_Item item;
        uint32_t channel = 0;
        if (QvSucceeded(members->Channel(item.out(), &channel)) && item && IsTransform(item.get()))
            InsertOwner(item.get());
        ++channelCount;
        return qvOk;
    }
    uint32_t channelCount = 0;

private:
    bool IsTransform(IQvItem* item) const {
        return ItemIsA(item, types.translation) || ItemIsA(item, types.rotation) ||
               ItemIsA(item, types.scale);
    }
    void InsertOwner(IQvItem* transform) {
        if (!graphBound) {
            graphBound = true;
            if (QvSucceeded(transform->Context(scene.out())) && scene)
                scene->GraphLookup(qvGraphXfrmCore, IQvItemGraph::iid, xfrmCore.outVoid());
        }
        uint32_t links = 0;
        CQvUser_Item owner;
        if (xfrmCore && QvSucceeded(xfrmCore->LinkCount(transform, &links)) && links > 0 &&
            QvSucceeded(xfrmCore->LinkByIndex(transform, 0, owner.out())))
            items.Insert(owner.get());
    }

    IQvGroupEnumerator* members;
    const ItemTypeCodes& types;
    ItemSet& items;
    bool graphBound = false;
    CQvUser_Scene scene;
    CQvUser_ItemGraph xfrmCore;
};

} // namespace

void GltfSaver::CollectActor(IQvItem* group) {
    actorItems.clear();
    actorActions.clear();
    CQvUser_GroupItem groupFace;
    CQvUser_GroupEnumerator members;
    if (!groupFace.bind(group) || QvFailed(groupFace->Enumerator(members.out())) || !members)
        return;
    ItemSet items;
    GroupItemVisitor itemVisitor(members.get(), types.actionclip, items, actorActions);
    members->Enumerate(&itemVisitor, qvGroupItems);
    GroupChanVisitor channelVisitor(members.get(), types, items);
    members->Enumerate(&channelVisitor, qvGroupChannels);
    actorItems = items.Items();
    actorChannelCount = channelVisitor.channelCount;
}
