// The faces that an item's type gives it: the locator's transforms, the action clip's state, the
// group's members and the texture layer's image. Each face belongs to its item; asking a face
// for any other interface asks the item, so a face and its item are one object to the caller.
#pragma once

#include "ComBase.h"

#include "qv/anim.h"
#include "qv/scene.h"
#include "qv/shade.h"

#include <string>

namespace scenehost {

class Item;

template <class I> class ItemFace : public Owned<I> {
public:
    explicit ItemFace(Item& item);
    QvResult QueryInterface(const QvGuid& id, void** out) override;

protected:
    Item& item_;
};

class LocatorFace final : public ItemFace<IQvLocator> {
public:
    using ItemFace::ItemFace;
    QvResult TransformItem(uint32_t kind, IQvItem** transform) override;
    QvResult WorldTransform(IQvChannelRead* channels, double* matrix16) override;
};

// The clip's state lives in its channels "active" and "enable" of the setup action, so a scene
// states it like any other value, and every evaluated reader made after SetActive applies the
// clip's values and keys (a reader keeps the clips that were active when it was made). An
// actor plays one clip at a time: SetActive(1) makes the other clips of its groups inactive.
class ActionClipFace final : public ItemFace<IQvActionClip> {
public:
    using ItemFace::ItemFace;
    QvResult Active(int32_t* active) override;
    QvResult Enabled(int32_t* enabled) override;
    QvResult SetActive(int32_t active) override;
};

class GroupFace final : public ItemFace<IQvGroupItem> {
public:
    using ItemFace::ItemFace;
    QvResult Enumerator(IQvGroupEnumerator** out) override;
};

class TextureFace final : public ItemFace<IQvTexture> {
public:
    using ItemFace::ItemFace;
    QvResult ImageFile(const char** path) override;
    QvResult Locator(IQvItem** locator) override;

private:
    std::string hostPath_; // the image in host form, kept for the pointer handed out
};

// Walks a group's item members, then its channel members, calling the visitor for each; while
// the visitor runs, Item and Channel answer for the current one.
class GroupEnumerator final : public Transient<IQvGroupEnumerator> {
public:
    explicit GroupEnumerator(scenehost::Item& group);
    QvResult Enumerate(IQvVisitor* visitor, uint32_t mode) override;
    QvResult Item(IQvItem** item) override;
    QvResult Channel(IQvItem** item, uint32_t* channel) override;

private:
    scenehost::Item& group_;
    scenehost::Item* current_ = nullptr;
    uint32_t currentChannel_ = 0;
    bool inChannel_ = false;
};

} // namespace scenehost
