#include "ItemFaces.h"

#include <algorithm>

#include "ChannelRead.h"
#include "HostPath.h"
#include "Item.h"
#include "Scene.h"

namespace scenehost {

template <class I>
ItemFace<I>::ItemFace(Item& item) : Owned<I>(item.Owner().Observed()), item_(item) {}

template <class I> QvResult ItemFace<I>::QueryInterface(const QvGuid& id, void** out) {
    if (out && id == I::iid) return AnswerWith<I>(this, out);
    return item_.QueryInterface(id, out);
}

template class ItemFace<IQvLocator>;
template class ItemFace<IQvActionClip>;
template class ItemFace<IQvGroupItem>;
template class ItemFace<IQvTexture>;

// ---- Locator --------------------------------------------------------------------------------

QvResult LocatorFace::TransformItem(uint32_t kind, IQvItem** transform) {
    if (!transform) return qvFailed;
    if (kind > qvXfrmTranslation) return qvOutOfRange;
    Item* own = item_.FindOwnTransform(static_cast<QvTransformKind>(kind));
    if (!own) return qvNotFound;
    return AnswerWith<IQvItem>(own, reinterpret_cast<void**>(transform));
}

QvResult LocatorFace::WorldTransform(IQvChannelRead* channels, double* matrix16) {
    ChannelRead* read = ImplFrom<ChannelRead>(channels);
    if (!read || !matrix16) return qvFailed;
    Matrix world = WorldMatrix(item_, *read);
    for (int i = 0; i < 16; ++i)
        matrix16[i] = world[i];
    return qvOk;
}

// ---- Action clip ----------------------------------------------------------------------------

namespace {
int32_t SetupInteger(const Item& item, const char* channel) {
    int32_t value = 0;
    item.SetupValue(item.ChannelIndex(channel)).AsInteger(&value);
    return value;
}
} // namespace

QvResult ActionClipFace::Active(int32_t* active) {
    if (!active) return qvFailed;
    *active = SetupInteger(item_, "active");
    return qvOk;
}

QvResult ActionClipFace::Enabled(int32_t* enabled) {
    if (!enabled) return qvFailed;
    *enabled = SetupInteger(item_, qvChanEnable);
    return qvOk;
}

// An actor plays one action at a time: making a clip active makes the other clips of every
// group it belongs to inactive. Making one inactive touches nothing else.
QvResult ActionClipFace::SetActive(int32_t active) {
    if (active) {
        for (Item* group : item_.Owner().Items()) {
            const std::vector<Item*>& members = group->Members();
            if (std::find(members.begin(), members.end(), &item_) == members.end()) continue;
            for (Item* other : members)
                if (other != &item_ && other->IsA("actionclip")) other->Set("active", 0);
        }
    }
    item_.Set("active", active ? 1 : 0);
    return qvOk;
}

// ---- Group ----------------------------------------------------------------------------------

QvResult GroupFace::Enumerator(IQvGroupEnumerator** out) {
    if (!out) return qvFailed;
    *out = new GroupEnumerator(item_);
    return qvOk;
}

GroupEnumerator::GroupEnumerator(scenehost::Item& group) : group_(group) {}

QvResult GroupEnumerator::Enumerate(IQvVisitor* visitor, uint32_t mode) {
    if (!visitor) return qvFailed;
    QvResult result = qvOk;
    if (mode & qvGroupItems) {
        for (scenehost::Item* member : group_.Members()) {
            current_ = member;
            result = visitor->Evaluate();
            if (QvFailed(result)) break;
        }
    }
    if (QvSucceeded(result) && (mode & qvGroupChannels)) {
        inChannel_ = true;
        for (const ChannelDriver& member : group_.ChannelMembers()) {
            current_ = member.item;
            currentChannel_ = member.channel;
            result = visitor->Evaluate();
            if (QvFailed(result)) break;
        }
    }
    current_ = nullptr;
    inChannel_ = false;
    return result;
}

QvResult GroupEnumerator::Item(IQvItem** item) {
    if (!item || !current_) return qvFailed;
    return AnswerWith<IQvItem>(current_, reinterpret_cast<void**>(item));
}

QvResult GroupEnumerator::Channel(IQvItem** item, uint32_t* channel) {
    if (!item || !channel || !current_ || !inChannel_) return qvFailed;
    *channel = currentChannel_;
    return AnswerWith<IQvItem>(current_, reinterpret_cast<void**>(item));
}

// ---- Texture --------------------------------------------------------------------------------

QvResult TextureFace::ImageFile(const char** path) {
    if (!path) return qvFailed;
    if (item_.Image().empty()) return qvNotFound;
    hostPath_ = ToHostPath(item_.Image());
    *path = hostPath_.c_str();
    return qvOk;
}

QvResult TextureFace::Locator(IQvItem** locator) {
    if (!locator) return qvFailed;
    // The host finds the locator through the graph, so a host without it finds none.
    if (!item_.Owner().HasGraph(qvGraphShadeLoc)) return qvNotFound;
    scenehost::Item* placed = item_.TextureLocator();
    if (!placed) return qvNotFound;
    return AnswerWith<IQvItem>(placed, reinterpret_cast<void**>(locator));
}

} // namespace scenehost
