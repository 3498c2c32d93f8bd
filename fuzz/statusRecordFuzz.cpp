// The files of the status record and of the history, whatever they hold: what is read is within its limits,
// and an entry that is read is written the same again.
#include <algorithm>
#include <cstring>

#include "FuzzInput.h"
#include "core/status/vokHistoryRing.h"
#include "core/status/vokStatusLayout.h"
#include "core/status/vokStatusReader.h"
#include "vokFuzzHost.h"

namespace {

namespace layout = vokStatusLayout;
namespace ring = vokHistoryRing;

bool isPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// The record is the input after a right head, repeated up to its size. Each copy of it starts one byte later
// in the input than the one before, so that groups are torn.
std::optional<vokStatusSnapshot> readStatus(const std::string& content) {
    std::size_t copies = 0;
    const auto read = [&](void* bytes, std::size_t size) {
        auto* const target = static_cast<char*>(bytes);
        std::memset(target, 0, size);
        for (std::size_t i = 0, part = 0; i < size && !content.empty(); i += part) {
            const std::size_t from = (i + copies / 6) % content.size();
            part = std::min(size - i, content.size() - from);
            std::memcpy(target + i, content.data() + from, part);
        }
        ++copies;
        const std::uint64_t head[] = {layout::magic, layout::version, sizeof(layout::Copy)};
        std::memcpy(target, head, sizeof(head));
        return true;
    };
    std::string reason;
    return vokAssembleStatus(read, reason);
}

void requireWithinLimits(const vokStatusSnapshot& status) {
    require(status.classes.size() <= layout::classes && status.events.size() <= layout::events);
    require(status.hanging.size() <= layout::operations);
    require(status.leftOut.size() <= layout::leftOut);
    for (const vokLibraryLeftOut& each : status.leftOut)
        require(each.crashes > 0 && isPrintable(each.name) && isPrintable(each.lastEnd) &&
                isPrintable(each.lastCall));
    require(isPrintable(status.version) && isPrintable(status.push.answerText));
    require(status.push.answer <= vokPushAnswer::notSent);
    for (const vokClassStatus& each : status.classes) {
        require(each.sections.size() <= layout::sections);
        for (const vokSectionStatus& section : each.sections) require(isPrintable(section.name));
    }
    for (const vokHangingOperation& each : status.hanging)
        require(isPrintable(each.description) && each.classId >= -1 &&
                each.classId < static_cast<int>(layout::classes));
}

// The input as a whole file.
void requireRefusedOrRead(const std::string& content) {
    const auto read = [&content](void* bytes, std::size_t size) {
        if (size > content.size()) return false;
        std::memcpy(bytes, content.data(), size);
        return true;
    };
    std::string reason;
    const auto status = vokAssembleStatus(read, reason);
    require(status.has_value() == reason.empty());
    if (status) requireWithinLimits(*status);
}

void requireHistory(const std::string& content) {
    std::uint64_t last = 0;
    for (const vokHistoryEntry& entry : ring::entriesOf(content)) {
        require(entry.number > last);
        last = entry.number;
        require(isPrintable(entry.subject) && entry.subject.size() <= ring::textSize);
        require(isPrintable(entry.answer) && entry.answer.size() <= ring::textSize);
        const ring::SlotBytes slot = ring::slotOf(entry);
        const ring::SlotBytes head = ring::head();
        std::string file(head.begin(), head.end());
        file.resize(ring::offsetOf(entry.number));
        const std::vector<vokHistoryEntry> again = ring::entriesOf(file.append(slot.begin(), slot.end()));
        require(again.size() == 1 && again[0].number == entry.number && again[0].subject == entry.subject &&
                again[0].answer == entry.answer && again[0].event == entry.event);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::installQuiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string content = textOf(data, size);
    if (const auto status = readStatus(content)) requireWithinLimits(*status);
    requireRefusedOrRead(content);
    requireHistory(content);
    const ring::SlotBytes head = ring::head();
    requireHistory(std::string(head.begin(), head.end()) + content);
    return 0;
}
