#include "events/vokEventTable.h"

#include "events/vokEventHandler.h"

int getEventType(int id) {
    const vokEventNumber* const number = vokFindEventNumber(id);
    return number ? number->type : vokNoEvent;
}
