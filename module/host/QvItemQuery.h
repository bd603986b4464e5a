// Short forms of the item questions that every step of a save asks. Each treats a failed host
// call as absence: no name, no parent, channel index -1, not of the type.
#pragma once

#include "host/CQvUser.h"

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

inline bool ItemParentOf(IQvItem* item, CQvUser_Item& parent) {
    parent.clear();
    return item && QvSucceeded(item->Parent(parent.out())) && parent.test();
}

inline uint32_t ItemChildCount(IQvItem* item) {
    uint32_t count = 0;
    if (!item || QvFailed(item->SubCount(&count))) return 0;
    return count;
}

// The selected items of type "item", in the host's order.
class CQvItemSelection {
public:
    static std::vector<CQvUser_Item> Items();
};
