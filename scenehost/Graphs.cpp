#include "Graphs.h"

#include "Item.h"

namespace scenehost {

namespace {

QvResult CountOf(const std::vector<Item*>* links, uint32_t* count) {
    if (!links || !count) return qvFailed;
    *count = static_cast<uint32_t>(links->size());
    return qvOk;
}

QvResult LinkAt(const std::vector<Item*>* links, uint32_t index, IQvItem** linked) {
    if (!links || !linked) return qvFailed;
    if (index >= links->size()) return qvOutOfRange;
    return AnswerWith<IQvItem>((*links)[index], reinterpret_cast<void**>(linked));
}

} // namespace

ItemGraph::ItemGraph(Observation& observation, std::string name)
    : Owned(observation), name_(std::move(name)) {}

QvResult ItemGraph::LinkCount(IQvItem* item, uint32_t* count) {
    Item* from = ImplFrom<Item>(item);
    return CountOf(from ? &from->Links(name_) : nullptr, count);
}

QvResult ItemGraph::LinkByIndex(IQvItem* item, uint32_t index, IQvItem** linked) {
    Item* from = ImplFrom<Item>(item);
    return LinkAt(from ? &from->Links(name_) : nullptr, index, linked);
}

QvResult ItemGraph::RevLinkCount(IQvItem* item, uint32_t* count) {
    Item* to = ImplFrom<Item>(item);
    return CountOf(to ? &to->ReverseLinks(name_) : nullptr, count);
}

QvResult ItemGraph::RevLinkByIndex(IQvItem* item, uint32_t index, IQvItem** linked) {
    Item* to = ImplFrom<Item>(item);
    return LinkAt(to ? &to->ReverseLinks(name_) : nullptr, index, linked);
}

ChannelGraph::ChannelGraph(Observation& observation) : Owned(observation) {}

QvResult ChannelGraph::DriverCount(IQvItem* iitem, uint32_t channel, uint32_t* count) {
    Item* item = ImplFrom<Item>(iitem);
    if (!item || !count) return qvFailed;
    if (channel >= item->Type().channels.size()) return qvOutOfRange;
    *count = static_cast<uint32_t>(item->Drivers(channel).size());
    return qvOk;
}

QvResult ChannelGraph::DriverByIndex(IQvItem* iitem, uint32_t channel, uint32_t index,
                                     IQvItem** driver, uint32_t* driverChannel) {
    Item* item = ImplFrom<Item>(iitem);
    if (!item || !driver || !driverChannel) return qvFailed;
    if (channel >= item->Type().channels.size()) return qvOutOfRange;
    const std::vector<ChannelDriver>& drivers = item->Drivers(channel);
    if (index >= drivers.size()) return qvOutOfRange;
    *driverChannel = drivers[index].channel;
    return AnswerWith<IQvItem>(drivers[index].item, reinterpret_cast<void**>(driver));
}

} // namespace scenehost
