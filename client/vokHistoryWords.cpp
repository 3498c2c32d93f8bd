#include "vokHistoryWords.h"

#include "core/status/vokStatusSnapshot.h"
#include "events/vokDelivery.h"
#include "events/vokEventTable.h"
#include "vokClientText.h"
#include "vokStatusVerdict.h"

namespace {

std::string answerOf(const vokHistoryEntry& entry) {
    const std::string outcome = vokOutcomeName(entry);
    return entry.answer.empty() || entry.answer == outcome ? outcome : outcome + ": " + entry.answer;
}

std::string headOf(const vokHistoryEntry& entry) {
    switch (entry.kind) {
        case vokHistoryKind::event: {
            const vokEventNumber* const known = vokFindEventNumber(entry.event);
            return "event " + std::to_string(entry.event) + ": " +
                   (known ? known->meaning : "an event of a client");
        }
        case vokHistoryKind::push:
            return "push of " + vokCountOf(entry.bytes, "byte", "bytes") + " in " +
                   vokCountOf(entry.chunks, "chunk", "chunks") + ", " + vokDurationWords(entry.duration);
        case vokHistoryKind::start:
            return "the agent started";
        case vokHistoryKind::stop:
            return "the agent was stopped";
    }
    return "an entry of a later version";
}

}  // namespace

const char* vokHistoryKindName(vokHistoryKind kind) {
    switch (kind) {
        case vokHistoryKind::event:
            return "event";
        case vokHistoryKind::push:
            return "push";
        case vokHistoryKind::start:
            return "start";
        case vokHistoryKind::stop:
            return "stop";
    }
    return "unknown";
}

const char* vokOutcomeName(const vokHistoryEntry& entry) {
    switch (static_cast<vokDeliveryKind>(entry.outcome)) {
        case vokDeliveryKind::accepted:
        case vokDeliveryKind::unconfirmed:
        case vokDeliveryKind::refused:
        case vokDeliveryKind::noAnswer:
        case vokDeliveryKind::notSent:
            return vokPushAnswerName(static_cast<vokPushAnswer>(entry.outcome));
        case vokDeliveryKind::dropped:
            return "dropped";
        case vokDeliveryKind::invalid:
            return "invalid";
        case vokDeliveryKind::unknown:
            break;
    }
    return "unknown";
}

std::string vokHistoryWords(const std::vector<vokHistoryEntry>& entries) {
    std::string text;
    for (const vokHistoryEntry& entry : entries) {
        const std::string time = vokLocalTimeWords(entry.time) + "  ";
        const std::string indent(time.size(), ' ');
        text += vokWrapped(time, headOf(entry));
        if (!entry.subject.empty()) text += vokWrapped(indent, entry.subject);
        if (entry.kind == vokHistoryKind::event || entry.kind == vokHistoryKind::push)
            text += vokWrapped(indent, answerOf(entry));
    }
    return text;
}
