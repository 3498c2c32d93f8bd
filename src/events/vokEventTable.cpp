#include "events/vokEventTable.h"

#include <algorithm>
#include <iterator>

#include "events/vokEventHandler.h"

const vokEventNumber* vokFindEventNumber(int id) {
    const auto* const found = std::find_if(std::begin(vokEventTable), std::end(vokEventTable),
                                           [id](const vokEventNumber& row) { return row.id == id; });
    return found == std::end(vokEventTable) ? nullptr : found;
}

const vokEventOwner* vokFindEventOwner(int type) {
    const auto* const found = std::find_if(std::begin(vokEventOwners), std::end(vokEventOwners),
                                           [type](const vokEventOwner& row) { return row.type == type; });
    return found == std::end(vokEventOwners) ? nullptr : found;
}

int getEventType(int id) {
    const vokEventNumber* const number = vokFindEventNumber(id);
    return number ? number->type : vokNoEvent;
}
