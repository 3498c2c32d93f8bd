#include "events/vokEventAccount.h"

#include <utility>

#include "core/status/vokHistory.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"

namespace {

vokEventFate fateOf(vokDeliveryKind kind) {
    switch (kind) {
        case vokDeliveryKind::accepted:
            return vokEventFate::delivered;
        case vokDeliveryKind::refused:
            return vokEventFate::refused;
        case vokDeliveryKind::dropped:
            return vokEventFate::dropped;
        default:
            return vokEventFate::failed;
    }
}

}  // namespace

vokEventAccount::vokEventAccount(int number, std::string subject)
    : number_(number), subject_(std::move(subject)), begin_(vokWallClockSeconds()) {
    vokNoteEventRaised(number_, begin_);
}

void vokEventAccount::end(const vokDelivery& delivery) const {
    vokNoteEventFate(number_, fateOf(delivery.kind));
    vokHistoryEntry entry;
    entry.kind = vokHistoryKind::event;
    entry.time = begin_;
    entry.duration = stopwatch_.milliseconds();
    entry.event = number_;
    entry.outcome = static_cast<std::uint32_t>(delivery.kind);
    entry.subject = subject_;
    entry.answer = delivery.text;
    vokAppendHistory(std::move(entry));
}
