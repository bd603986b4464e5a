// Short forms of the item questions that every step of a save asks. Each treats a failed host
// call as absence: no name, no parent, channel index -1, not of the type.
#pragma once

#include "host/CQvUser.h"

#include <array>
#include <string>
#include <vector>

// A type code by name; 0 when the host does not know the type or there is no service.
inline QvTypeCode LookupTypeCode(IQvSceneService* service, const char* name) {
    QvTypeCode code = 0;
    if (!service || QvFailed(service->ItemTypeLookup(name, &code))) return 0;
    return code;
}

// True when the item is of the type or of one derived from it; a type the host does not know
// (code 0) matches nothing.
inline bool ItemIsA(IQvItem* item, QvTypeCode type) {
    return item && type != 0 && item->TestType(type) == qvOk;
}

// The item's name, or null when it cannot be read.
inline const char* ItemNameOf(IQvItem* item) {
    const char* name = nullptr;
    if (!item || QvFailed(item->Name(&name))) return nullptr;
    return name;
}

// The item's name for a log line: empty when it cannot be read.
inline const char* ItemNameOrEmpty(IQvItem* item) {
    const char* name = ItemNameOf(item);
    return name ? name : "";
}

inline const char* ItemIdentOf(IQvItem* item) {
    const char* ident = nullptr;
    if (!item || QvFailed(item->Ident(&ident))) return nullptr;
    return ident;
}

// Channel index by name; -1 when the item has no such channel.
inline int32_t ChannelIndexOf(IQvItem* item, const char* channel) {
    int32_t index = -1;
    if (!item || QvFailed(item->ChannelLookup(channel, &index))) return -1;
    return index;
}

// A string channel through `channels`; empty when the item has no such channel or it cannot be
// read.
inline std::string ReadChannelString(IQvChannelRead* channels, IQvItem* item, const char* channel) {
    int32_t index = ChannelIndexOf(item, channel);
    const char* value = nullptr;
    if (index < 0 || !channels || QvFailed(channels->ReadString(item, uint32_t(index), &value)) ||
        !value)
        return std::string();
    return value;
}

// A number channel through `channels`; `fallback` when the item has no such channel or it cannot
// be read.
inline int32_t ReadChannelInt(IQvChannelRead* channels, IQvItem* item, const char* channel,
                              int32_t fallback) {
    const int32_t index = ChannelIndexOf(item, channel);
    int32_t value = fallback;
    if (index < 0 || !channels || QvFailed(channels->ReadInteger(item, uint32_t(index), &value)))
        return fallback;
    return value;
}
inline double ReadChannelDouble(IQvChannelRead* channels, IQvItem* item, const char* channel,
                                double fallback) {
    const int32_t index = ChannelIndexOf(item, channel);
    double value = fallback;
    if (index < 0 || !channels || QvFailed(channels->ReadDouble(item, uint32_t(index), &value)))
        return fallback;
    return value;
}

// Whether the channel has keys in the reader's action: the host answers qvOk for that.
inline bool ChannelIsAnimated(IQvChannelRead* channels, IQvItem* item, int32_t channel) {
    return channels && item && channel >= 0 &&
           channels->IsAnimated(item, uint32_t(channel)) == qvOk;
}

inline uint32_t ItemChannelCount(IQvItem* item) {
    uint32_t count = 0;
    if (!item || QvFailed(item->ChannelCount(&count))) return 0;
    return count;
}

inline bool ItemParentOf(IQvItem* item, CQvUser_Item& parent) {
    parent.clear();
    return item && QvSucceeded(item->Parent(parent.out())) && parent.test();
}

inline uint32_t ItemChildCount(IQvItem* item) {
    uint32_t count = 0;
    if (!item || QvFailed(item->SubCount(&count))) return 0;
    return count;
}

// A locator's own transform items, in the order translation, rotation, scale; unbound where the
// locator has none, all unbound for an item that is no locator.
inline std::array<CQvUser_Item, 3> OwnTransformItems(IQvItem* item) {
    std::array<CQvUser_Item, 3> transforms;
    CQvUser_Locator locator;
    if (!locator.bind(item)) return transforms;
    const QvTransformKind kinds[3] = {qvXfrmTranslation, qvXfrmRotation, qvXfrmScale};
    for (size_t i = 0; i < 3; ++i)
        if (QvFailed(locator->TransformItem(kinds[i], transforms[i].out()))) transforms[i].clear();
    return transforms;
}

// The selected items of type "item", in the host's order.
class CQvItemSelection {
public:
    static std::vector<CQvUser_Item> Items();
};
