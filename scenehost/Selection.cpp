#include "Selection.h"

#include "Item.h"

#include <cstring>

namespace scenehost {

namespace {

struct SelectionType {
    const char* name;
    uint32_t code;
};

constexpr SelectionType kSelectionTypes[] = {
    {qvSelectionItem, kSelectItem},
    {"vertex", QvFourCC('V', 'R', 'T', 'X')},
    {"edge", QvFourCC('E', 'D', 'G', 'E')},
    {"polygon", QvFourCC('P', 'O', 'L', 'Y')},
    {"channel", QvFourCC('C', 'H', 'A', 'N')},
};

} // namespace

QvResult ItemPacketTranslation::PacketItem(const void* packet, IQvItem** item) {
    if (!packet || !item) return qvFailed;
    const auto* p = static_cast<const SelectionService::Packet*>(packet);
    if (!p->item) return qvNotFound; // the item was deselected since
    return AnswerWith<IQvItem>(p->item, reinterpret_cast<void**>(item));
}

SelectionService::SelectionService(Observation& observation)
    : Owned(observation), translation_(observation) {}

SelectionService::~SelectionService() = default;

void SelectionService::Select(Item& item) {
    for (const auto& p : packets_)
        if (p->item == &item) return;
    packets_.push_back(std::make_unique<Packet>(Packet{&item, packets_.size()}));
}

void SelectionService::Deselect(Item& item) {
    for (size_t i = 0; i < packets_.size(); ++i) {
        if (packets_[i]->item != &item) continue;
        packets_[i]->item = nullptr;
        retired_.push_back(std::move(packets_[i]));
        packets_.erase(packets_.begin() + static_cast<std::ptrdiff_t>(i));
        break;
    }
    for (size_t i = 0; i < packets_.size(); ++i)
        packets_[i]->index = i;
}

void SelectionService::Clear() {
    for (auto& p : packets_) {
        p->item = nullptr;
        retired_.push_back(std::move(p));
    }
    packets_.clear();
}

std::vector<Item*> SelectionService::Selected() const {
    std::vector<Item*> items;
    for (const auto& p : packets_)
        items.push_back(p->item);
    return items;
}

QvResult SelectionService::SelectionTypeLookup(const char* name, uint32_t* type) {
    if (!name || !type) return qvFailed;
    for (const SelectionType& t : kSelectionTypes)
        if (std::strcmp(t.name, name) == 0) {
            *type = t.code;
            return qvOk;
        }
    return qvNotFound;
}

QvResult SelectionService::PacketTranslation(const char* name, IQvItemPacketTranslation** out) {
    if (!name || !out) return qvFailed;
    if (std::strcmp(name, qvSelectionItem) != 0) return qvNotFound;
    return AnswerWith<IQvItemPacketTranslation>(&translation_, reinterpret_cast<void**>(out));
}

const void* SelectionService::SelectionNext(const void* previous, uint32_t type) {
    if (type != kSelectItem) return nullptr;
    if (!previous) return packets_.empty() ? nullptr : packets_.front().get();
    const auto* p = static_cast<const Packet*>(previous);
    if (!p->item) return nullptr; // a retired packet ends the walk
    size_t next = p->index + 1;
    return next < packets_.size() ? packets_[next].get() : nullptr;
}

QvResult SelectionService::SelectedItemCount(uint32_t* count) {
    if (!count) return qvFailed;
    *count = static_cast<uint32_t>(packets_.size());
    return qvOk;
}

QvResult SelectionService::SelectedItemByIndex(uint32_t index, IQvItem** item) {
    if (!item) return qvFailed;
    if (index >= packets_.size()) return qvOutOfRange;
    return AnswerWith<IQvItem>(packets_[index]->item, reinterpret_cast<void**>(item));
}

} // namespace scenehost
