#include "core/status/vokStatusRecord.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>

#include "core/base/vokLog.h"
#include "core/status/vokStatusFile.h"
#include "core/status/vokStatusLayout.h"
#include "platform/access/vokHostAccess.h"

namespace {

namespace layout = vokStatusLayout;
using layout::Word;

layout::Shared unread;  // takes the notes while there is no record
std::atomic<layout::Shared*> current{&unread};

layout::Shared& record() {
    return *current.load(std::memory_order_acquire);
}

// With release, as a value of a group may not be seen before the odd sequence.
void set(Word& word, std::uint64_t value) {
    word.store(value, std::memory_order_release);
}

void set(Word& word, time_t seconds) {
    set(word, static_cast<std::uint64_t>(static_cast<std::int64_t>(seconds)));
}

void increment(Word& word) {
    word.fetch_add(1, std::memory_order_relaxed);
}

template <std::size_t bytes>
void set(layout::Text<Word, bytes>& text, const char* source) {
    char copy[bytes] = {};
    std::memcpy(copy, source, ::strnlen(source, bytes));
    for (std::size_t i = 0; i < std::size(text.words); ++i) {
        std::uint64_t value = 0;
        std::memcpy(&value, copy + i * sizeof(value), sizeof(value));
        set(text.words[i], value);
    }
}

// Holds a group for a write. Tests false if another thread holds it.
class GroupWrite {
public:
    explicit GroupWrite(Word& sequence)
        : sequence_(sequence), before_(sequence.load(std::memory_order_relaxed)) {
        isHeld_ = before_ % 2 == 0 &&
                  sequence.compare_exchange_strong(before_, before_ + 1, std::memory_order_acq_rel);
    }
    ~GroupWrite() {
        if (isHeld_) sequence_.store(before_ + 2, std::memory_order_release);
    }
    GroupWrite(const GroupWrite&) = delete;
    GroupWrite& operator=(const GroupWrite&) = delete;

    explicit operator bool() const { return isHeld_; }

private:
    Word& sequence_;
    std::uint64_t before_;
    bool isHeld_ = false;
};

layout::Class<Word>* classOf(int id) {
    return id >= 0 && static_cast<std::size_t>(id) < layout::classes ? &record().classes[id] : nullptr;
}

// The entry of an event number, claimed at its first use; null if there are more numbers than entries.
layout::Event<Word>* eventOf(int number) {
    const auto wanted = static_cast<std::uint64_t>(static_cast<std::int64_t>(number));
    if (wanted == 0) return nullptr;
    for (layout::Event<Word>& event : record().events) {
        std::uint64_t found = event.number.load(std::memory_order_relaxed);
        if (found == 0 && event.number.compare_exchange_strong(found, wanted, std::memory_order_relaxed))
            return &event;
        if (found == wanted) return &event;
    }
    return nullptr;
}

void fillLeftOut(layout::Shared& target, const std::vector<vokLibraryLeftOut>& libraries) {
    for (std::size_t i = 0; i < std::min(libraries.size(), layout::leftOut); ++i) {
        layout::LeftOut<Word>& entry = target.leftOut[i];
        set(entry.name, libraries[i].name.c_str());
        set(entry.lastEnd, libraries[i].lastEnd.c_str());
        set(entry.lastCall, libraries[i].lastCall.c_str());
        set(entry.crashes, static_cast<std::uint64_t>(libraries[i].crashes));
    }
}

void fillStart(layout::Shared& target, const vokStatusStart& start) {
    set(target.magic, layout::magic);
    set(target.version, layout::version);
    set(target.size, std::uint64_t{sizeof(target)});
    set(target.process, std::uint64_t{start.process});
    set(target.start, start.start);
    set(target.refreshSeconds, start.refreshSeconds);
    set(target.pushSeconds, start.pushSeconds);
    set(target.doorBellSeconds, start.doorBellSeconds);
    set(target.agentVersion, start.version.c_str());
    for (const vokStatusClass& each : start.classes) {
        if (each.id < 0 || static_cast<std::size_t>(each.id) >= layout::classes) continue;
        set(target.classes[each.id].isPresent, std::uint64_t{1});
        set(target.classes[each.id].isEnabled, std::uint64_t{each.isEnabled});
    }
    fillLeftOut(target, start.leftOut);
}

}  // namespace

bool vokOpenStatus(const vokStatusStart& start) {
    static vokMappedStatus mapped;  // the lock is released when the process ends
    const auto initial = std::make_unique<layout::Shared>();
    fillStart(*initial, start);
    std::string reason;
    mapped = vokMakeStatusFile(*initial, reason);
    if (!mapped.record) {
        VOK_LOG_WARNING("STATUS", "There is no status record %s: %s",
                        vokHostAccess().path(layout::path).c_str(), reason.c_str());
        return false;
    }
    current.store(mapped.record, std::memory_order_release);
    return true;
}

void vokNoteStop(time_t now) {
    set(record().stop, now);
}

void vokNoteBuildBegin(int classId, time_t now) {
    layout::Class<Word>* const noted = classOf(classId);
    if (!noted) return;
    if (const GroupWrite write(noted->build.sequence); write) {
        set(noted->build.isBuilding, std::uint64_t{1});
        set(noted->build.begin, now);
    }
}

void vokNoteBuildEnd(int classId, const vokBuildResult& result) {
    layout::Class<Word>* const noted = classOf(classId);
    if (!noted) return;
    layout::Build<Word>& build = noted->build;
    const GroupWrite write(build.sequence);
    if (!write) return;
    set(build.isReady, std::uint64_t{1});
    set(build.isBuilding, std::uint64_t{0});
    set(build.lastEnd, result.end);
    set(build.lastDuration, result.milliseconds);
    increment(build.builds);
}

void vokNoteInventory(int classId, std::size_t records, const std::vector<vokSectionStatus>& sections) {
    layout::Class<Word>* const noted = classOf(classId);
    if (!noted) return;
    layout::Inventory<Word>& inventory = noted->inventory;
    const GroupWrite write(inventory.sequence);
    if (!write) return;
    set(inventory.records, std::uint64_t{records});
    const std::size_t count = std::min(sections.size(), layout::sections);
    set(inventory.sectionCount, std::uint64_t{count});
    for (std::size_t i = 0; i < count; ++i) {
        layout::Section<Word>& section = inventory.section[i];
        set(section.name, sections[i].name.c_str());
        set(section.ok, sections[i].ok);
        set(section.warning, sections[i].warning);
        set(section.critical, sections[i].critical);
        set(section.unknown, sections[i].unknown);
        set(section.linkDown, sections[i].linkDown);
    }
}

void vokNoteBuildCutShort(int classId) {
    layout::Class<Word>* const noted = classOf(classId);
    if (!noted) return;
    if (const GroupWrite write(noted->build.sequence); write) set(noted->build.isBuilding, std::uint64_t{0});
}

void vokNoteNextBuild(int classId, time_t next) {
    if (layout::Class<Word>* const noted = classOf(classId)) set(noted->nextBuild, next);
}

void vokNoteFailedCommand(int classId) {
    if (layout::Class<Word>* const noted = classOf(classId)) increment(noted->failedCommands);
}

void vokNotePushBegin(time_t now) {
    layout::Push<Word>& push = record().push;
    if (const GroupWrite write(push.sequence); write) {
        set(push.isRunning, std::uint64_t{1});
        set(push.begin, now);
    }
}

void vokNotePushEnd(const vokPushResult& result) {
    layout::Push<Word>& push = record().push;
    const GroupWrite write(push.sequence);
    if (!write) return;
    set(push.isRunning, std::uint64_t{0});
    set(push.bytes, std::uint64_t{result.bytes});
    set(push.chunks, std::uint64_t{result.chunks});
    set(push.answer, static_cast<std::uint64_t>(result.answer));
    set(push.answerText, result.answerText);
    set(push.duration, result.milliseconds);
    increment(push.pushes);
    if (result.answer == vokPushAnswer::accepted)
        set(push.lastAccepted, result.end);
    else
        increment(push.failed);
}

void vokNoteNextPush(time_t next) {
    set(record().nextPush, next);
}

void vokNoteDoorBell(time_t now, bool isAnswered, bool isRequest) {
    layout::DoorBell<Word>& bell = record().doorBell;
    increment(bell.polls);
    set(bell.lastPoll, now);
    if (!isAnswered) return;
    increment(bell.answered);
    set(bell.lastAnswer, now);
    if (isRequest) increment(bell.requests);
}

void vokNoteNextPoll(time_t next) {
    set(record().doorBell.next, next);
}

void vokNoteEventRaised(int number, time_t now) {
    layout::Event<Word>* const event = eventOf(number);
    if (!event) return;
    set(event->lastRaised, now);
    increment(event->raised);
}

void vokNoteEventFate(int number, vokEventFate fate) {
    layout::Event<Word>* const event = eventOf(number);
    if (!event) return;
    switch (fate) {
        case vokEventFate::delivered:
            return increment(event->delivered);
        case vokEventFate::refused:
            return increment(event->refused);
        case vokEventFate::failed:
            return increment(event->failed);
        case vokEventFate::dropped:
            return increment(event->dropped);
    }
}

void vokNoteHanging(std::size_t slot, const char* description, time_t begin, int classId) {
    if (slot >= layout::operations) return;
    layout::Operation<Word>& operation = record().operations[slot];
    const GroupWrite write(operation.sequence);
    if (!write) return;
    set(operation.begin, begin);
    set(operation.classId, static_cast<std::uint64_t>(classId) + 1);
    set(operation.description, description);
    set(operation.isHanging, std::uint64_t{1});
}

void vokNoteHangingEnd(std::size_t slot) {
    if (slot >= layout::operations) return;
    layout::Operation<Word>& operation = record().operations[slot];
    if (const GroupWrite write(operation.sequence); write) set(operation.isHanging, std::uint64_t{0});
}
