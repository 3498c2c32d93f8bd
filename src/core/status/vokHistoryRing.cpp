#include "core/status/vokHistoryRing.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>

#include "core/base/vokChecksum.h"
#include "core/status/vokOwnFile.h"

namespace vokHistoryRing {
namespace {

constexpr char magic[8] = {'V', 'O', 'K', 'H', 'I', 'S', 'T', '1'};
constexpr std::uint64_t greatestNumber = std::uint64_t{1} << 62;

struct Head {
    char magic[8];
    std::uint32_t slotSize;
    std::uint32_t slots;
    char reserved[304];
};
static_assert(sizeof(Head) == slotSize);

struct Slot {
    std::uint32_t checksum;  // of the bytes that follow
    std::uint32_t kind;
    std::uint64_t number;
    std::int64_t time;
    std::uint64_t duration;
    std::int32_t event;
    std::uint32_t outcome;
    std::uint64_t bytes;
    std::uint64_t chunks;
    char subject[textSize];
    char answer[textSize];
    char reserved[24];
};
static_assert(sizeof(Slot) == slotSize && offsetof(Slot, number) == 8 && offsetof(Slot, subject) == 56);

std::uint32_t checksumOf(const Slot& slot) {
    const auto* const bytes = reinterpret_cast<const char*>(&slot);
    return vokChecksum(bytes + sizeof(slot.checksum), sizeof(slot) - sizeof(slot.checksum));
}

template <typename Form>
SlotBytes bytesOf(const Form& form) {
    SlotBytes bytes;
    static_assert(sizeof(form) == sizeof(bytes));
    std::memcpy(bytes.data(), &form, sizeof(form));
    return bytes;
}

std::optional<vokHistoryEntry> entryIn(const Slot& slot, std::size_t position) {
    const bool isOne = slot.checksum == checksumOf(slot) && slot.number > 0 && slot.number < greatestNumber &&
                       slot.number % slots == position &&
                       slot.kind >= static_cast<std::uint32_t>(vokHistoryKind::event) &&
                       slot.kind <= static_cast<std::uint32_t>(vokHistoryKind::stop);
    if (!isOne) return std::nullopt;
    vokHistoryEntry entry;
    entry.number = slot.number;
    entry.kind = static_cast<vokHistoryKind>(slot.kind);
    entry.time = slot.time;
    entry.duration = slot.duration;
    entry.event = slot.event;
    entry.outcome = slot.outcome;
    entry.bytes = slot.bytes;
    entry.chunks = slot.chunks;
    entry.subject = vokPrintable(slot.subject, textSize);
    entry.answer = vokPrintable(slot.answer, textSize);
    return entry;
}

}  // namespace

SlotBytes head() {
    Head head{};
    std::memcpy(head.magic, magic, sizeof(magic));
    head.slotSize = slotSize;
    head.slots = slots;
    return bytesOf(head);
}

SlotBytes slotOf(const vokHistoryEntry& entry) {
    Slot slot{};
    slot.kind = static_cast<std::uint32_t>(entry.kind);
    slot.number = entry.number;
    slot.time = entry.time;
    slot.duration = entry.duration;
    slot.event = entry.event;
    slot.outcome = entry.outcome;
    slot.bytes = entry.bytes;
    slot.chunks = entry.chunks;
    entry.subject.copy(slot.subject, textSize);
    entry.answer.copy(slot.answer, textSize);
    slot.checksum = checksumOf(slot);
    return bytesOf(slot);
}

std::size_t offsetOf(std::uint64_t number) {
    return slotSize + static_cast<std::size_t>(number % slots) * slotSize;
}

bool hasHead(const std::string& content) {
    const SlotBytes expected = head();
    return content.size() >= slotSize && std::equal(expected.begin(), expected.end(), content.begin());
}

std::vector<vokHistoryEntry> entriesOf(const std::string& content) {
    std::vector<vokHistoryEntry> entries;
    if (!hasHead(content)) return entries;
    const std::size_t used = std::min(content.size() / slotSize - 1, slots);
    for (std::size_t position = 0; position < used; ++position) {
        Slot slot;
        std::memcpy(&slot, content.data() + offsetOf(position), sizeof(slot));
        if (std::optional<vokHistoryEntry> entry = entryIn(slot, position))
            entries.push_back(*std::move(entry));
    }
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.number < b.number; });
    return entries;
}

}  // namespace vokHistoryRing
