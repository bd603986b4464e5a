// What an item answers a plug-in: IQvItem and IQvStringTag.
#include "Item.h"
#include "Scene.h"

namespace scenehost {

QvResult Item::ItemType(QvTypeCode* code) {
    if (!code) return qvFailed;
    *code = type_->code;
    return qvOk;
}

QvResult Item::TestType(QvTypeCode code) {
    return scene_.Types().Derives(type_->code, code) ? qvOk : qvFalse;
}

QvResult Item::Ident(const char** ident) {
    if (!ident) return qvFailed;
    *ident = ident_.c_str(); // the member's buffer: one address for the item's life
    return qvOk;
}

QvResult Item::Name(const char** name) {
    if (!name) return qvFailed;
    *name = name_.c_str();
    return qvOk;
}

QvResult Item::Parent(IQvItem** parent) {
    if (!parent) return qvFailed;
    if (!parent_) return qvNotFound; // a root has none
    return AnswerWith<IQvItem>(parent_, reinterpret_cast<void**>(parent));
}

QvResult Item::SubCount(uint32_t* count) {
    if (!count) return qvFailed;
    *count = static_cast<uint32_t>(children_.size());
    return qvOk;
}

QvResult Item::SubByIndex(uint32_t index, IQvItem** child) {
    if (!child) return qvFailed;
    if (index >= children_.size()) return qvOutOfRange;
    return AnswerWith<IQvItem>(children_[index], reinterpret_cast<void**>(child));
}

QvResult Item::Context(IQvScene** scene) {
    if (!scene) return qvFailed;
    return AnswerWith<IQvScene>(&scene_, reinterpret_cast<void**>(scene));
}

QvResult Item::ChannelCount(uint32_t* count) {
    if (!count) return qvFailed;
    *count = static_cast<uint32_t>(type_->channels.size());
    return qvOk;
}

QvResult Item::ChannelLookup(const char* name, int32_t* index) {
    if (!name || !index) return qvFailed;
    observation_.Count("ChannelLookup:" + name_ + ":" + name);
    int32_t found = type_->Channel(name);
    if (found < 0) return qvNotFound;
    *index = found;
    return qvOk;
}

QvResult Item::ChannelName(uint32_t index, const char** name) {
    if (!name) return qvFailed;
    if (index >= type_->channels.size()) return qvOutOfRange;
    *name = type_->channels[index].name.c_str();
    return qvOk;
}

QvResult Item::PackageTest(const char* package) {
    if (!package) return qvFailed;
    for (const std::string& p : packages_)
        if (p == package) return qvOk;
    return qvFalse;
}

QvResult Item::GetTag(uint32_t type, const char** value) {
    if (!value) return qvFailed;
    auto it = tags_.find(type);
    if (it == tags_.end()) return qvNotFound;
    *value = it->second.c_str();
    return qvOk;
}

} // namespace scenehost
