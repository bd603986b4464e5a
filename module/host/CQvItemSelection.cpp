#include "host/CQvGlobals.h"
#include "host/QvItemQuery.h"

std::vector<CQvUser_Item> CQvItemSelection::Items() {
    std::vector<CQvUser_Item> items;
    CQvUser_SelectionService selection;
    uint32_t count = 0;
    if (!CQvGlobals::LookupService(selection) || QvFailed(selection->SelectedItemCount(&count)))
        return items;
    for (uint32_t i = 0; i < count; ++i) {
        CQvUser_Item item;
        if (QvSucceeded(selection->SelectedItemByIndex(i, item.out())) && item)
            items.push_back(item);
    }
    return items;
}
