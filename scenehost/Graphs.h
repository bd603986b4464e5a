// The item graphs and the channel graph as a plug-in sees them. The links themselves live on the
// items (Item::Links, Item::Drivers); a graph object is the named view of one kind of link.
#pragma once

#include "ComBase.h"

#include "qv/scene.h"

#include <string>

namespace scenehost {

class Item;

class ItemGraph final : public Owned<IQvItemGraph> {
public:
    ItemGraph(Observation& observation, std::string name);
    const std::string& Name() const { return name_; }

    QvResult LinkCount(IQvItem* item, uint32_t* count) override;
    QvResult LinkByIndex(IQvItem* item, uint32_t index, IQvItem** linked) override;
    QvResult RevLinkCount(IQvItem* item, uint32_t* count) override;
    QvResult RevLinkByIndex(IQvItem* item, uint32_t index, IQvItem** linked) override;

private:
    std::string name_;
};

class ChannelGraph final : public Owned<IQvChannelGraph> {
public:
    explicit ChannelGraph(Observation& observation);

    QvResult DriverCount(IQvItem* item, uint32_t channel, uint32_t* count) override;
    QvResult DriverByIndex(IQvItem* item, uint32_t channel, uint32_t index, IQvItem** driver,
                           uint32_t* driverChannel) override;
};

} // namespace scenehost
