// What the user has selected: the selection service with its two routes to the same list of
// items, packets (SelectionNext, turned into items by the "item" packet translation) and the
// item list (SelectedItemCount, SelectedItemByIndex). Both give the items in selection order.
#pragma once

#include "ComBase.h"

#include "qv/scene.h"

#include <memory>
#include <string>
#include <vector>

namespace scenehost {

class Item;

// Selection types by name. Only "item" packets exist in the scene host; the other types are
// known, and always empty.
constexpr uint32_t kSelectItem = QvFourCC('I', 'T', 'E', 'M');

class ItemPacketTranslation final : public Owned<IQvItemPacketTranslation> {
public:
    using Owned::Owned;
    QvResult PacketItem(const void* packet, IQvItem** item) override;
};

class SelectionService final : public Owned<IQvSelectionService> {
public:
    explicit SelectionService(Observation& observation);
    ~SelectionService() override;

    void Select(Item& item); // appends; an item already selected stays where it is
    void Deselect(Item& item);
    void Clear();
    std::vector<Item*> Selected() const;

    QvResult SelectionTypeLookup(const char* name, uint32_t* type) override;
    QvResult PacketTranslation(const char* name, IQvItemPacketTranslation** out) override;
    const void* SelectionNext(const void* previous, uint32_t type) override;
    QvResult SelectedItemCount(uint32_t* count) override;
    QvResult SelectedItemByIndex(uint32_t index, IQvItem** item) override;

    struct Packet {
        Item* item;
        size_t index;
    };

private:
    // Packets have stable addresses; a deselected item's packet is kept (emptied) so that a
    // packet a plug-in still holds never dangles.
    std::vector<std::unique_ptr<Packet>> packets_;
    std::vector<std::unique_ptr<Packet>> retired_;
    ItemPacketTranslation translation_;
};

} // namespace scenehost
