#include "core/status/vokStatusReader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "core/base/vokModules.h"
#include "core/status/vokOwnFile.h"
#include "core/status/vokStatusFile.h"
#include "core/status/vokStatusLayout.h"
#include "platform/access/vokHostAccess.h"

namespace {

namespace layout = vokStatusLayout;
using Word = std::uint64_t;

constexpr int mostAttempts = 20;
constexpr unsigned long pauseMicroseconds = 1000;

// --- from the file to a copy in which each group is whole ---

// The bytes of a group in the record; the first word is its sequence.
struct GroupPlace {
    std::size_t offset;
    std::size_t size;
    bool isWhole = false;
};

std::vector<GroupPlace> groupPlaces() {
    std::vector<GroupPlace> places{{offsetof(layout::Copy, push), sizeof(layout::Push<Word>)}};
    for (std::size_t i = 0; i < layout::classes; ++i) {
        const std::size_t offset = offsetof(layout::Copy, classes) + i * sizeof(layout::Class<Word>);
        places.push_back({offset + offsetof(layout::Class<Word>, build), sizeof(layout::Build<Word>)});
        places.push_back(
            {offset + offsetof(layout::Class<Word>, inventory), sizeof(layout::Inventory<Word>)});
    }
    for (std::size_t i = 0; i < layout::operations; ++i)
        places.push_back({offsetof(layout::Copy, operations) + i * sizeof(layout::Operation<Word>),
                          sizeof(layout::Operation<Word>)});
    return places;
}

// Three copies, made one after the other: a group is whole in the second one if its sequence is even and the
// same in the first and in the third. One copy is not enough, as its bytes may be copied in any order.
class Attempt {
public:
    bool read(const vokReadRecord& read) {
        return std::all_of(std::begin(copies_), std::end(copies_),
                           [&read](layout::Copy& copy) { return read(&copy, sizeof(copy)); });
    }
    bool isWhole(const GroupPlace& place) const {
        const Word before = sequenceIn(copies_[0], place);
        return before % 2 == 0 && before == sequenceIn(copies_[2], place);
    }
    const layout::Copy& result() const { return copies_[1]; }

private:
    static Word sequenceIn(const layout::Copy& copy, const GroupPlace& place) {
        Word sequence = 0;
        std::memcpy(&sequence, reinterpret_cast<const char*>(&copy) + place.offset, sizeof(sequence));
        return sequence;
    }

    layout::Copy copies_[3] = {};
};

void copyGroup(layout::Copy& target, const layout::Copy& source, const GroupPlace& place) {
    std::memcpy(reinterpret_cast<char*>(&target) + place.offset,
                reinterpret_cast<const char*>(&source) + place.offset, place.size);
}

// Takes the groups that are whole for the first time. Returns true if all are.
bool takeWholeGroups(layout::Copy& settled, const Attempt& attempt, std::vector<GroupPlace>& places) {
    layout::Copy next = attempt.result();
    for (GroupPlace& place : places) {
        if (place.isWhole) copyGroup(next, settled, place);
        place.isWhole = place.isWhole || attempt.isWhole(place);
    }
    settled = next;
    return std::all_of(places.begin(), places.end(), [](const GroupPlace& place) { return place.isWhole; });
}

bool settle(const vokReadRecord& read, layout::Copy& settled) {
    std::vector<GroupPlace> places = groupPlaces();
    const auto attempt = std::make_unique<Attempt>();
    for (int i = 0; i < mostAttempts; ++i) {
        if (i > 0) vokHostAccess().pause(pauseMicroseconds);
        if (!attempt->read(read)) return false;
        if (takeWholeGroups(settled, *attempt, places)) break;
    }
    return true;
}

// --- from the copy to the snapshot ---

// The last second of the year 9999: a time or an interval beyond it is one of a damaged record.
constexpr Word latestTime = 253402300799;

std::int64_t timeOf(Word word) {
    return word <= latestTime ? static_cast<std::int64_t>(word) : 0;
}

std::uint64_t intervalOf(Word word) {
    return std::min(word, latestTime);
}

template <std::size_t bytes>
std::string textOf(const layout::Text<Word, bytes>& text) {
    return vokPrintable(reinterpret_cast<const char*>(text.words), bytes);
}

vokSectionStatus sectionOf(const layout::Section<Word>& section) {
    vokSectionStatus status;
    status.name = textOf(section.name);
    status.ok = section.ok;
    status.warning = section.warning;
    status.critical = section.critical;
    status.unknown = section.unknown;
    status.linkDown = section.linkDown;
    return status;
}

vokClassStatus classOf(int id, const layout::Class<Word>& source) {
    const layout::Build<Word>& build = source.build;
    const layout::Inventory<Word>& inventory = source.inventory;
    vokClassStatus status;
    status.id = id;
    status.name = vokFindModule(id)->name;
    status.enabled = source.isEnabled != 0;
    status.ready = build.isReady != 0;
    status.isBuilding = build.isBuilding != 0;
    status.records = inventory.records;
    status.lastBuildEnd = timeOf(build.lastEnd);
    status.lastBuildDuration = build.lastDuration;
    status.buildBegin = status.isBuilding ? timeOf(build.begin) : 0;
    status.nextBuild = timeOf(source.nextBuild);
    status.builds = build.builds;
    status.failedCommands = source.failedCommands;
    const auto sections = static_cast<std::size_t>(std::min<Word>(inventory.sectionCount, layout::sections));
    for (std::size_t i = 0; i < sections; ++i) status.sections.push_back(sectionOf(inventory.section[i]));
    return status;
}

vokPushAnswer answerOf(Word word) {
    return word <= static_cast<Word>(vokPushAnswer::notSent) ? static_cast<vokPushAnswer>(word)
                                                             : vokPushAnswer::none;
}

vokPushStatus pushOf(const layout::Copy& record) {
    const layout::Push<Word>& push = record.push;
    vokPushStatus status;
    status.begin = timeOf(push.begin);
    status.isRunning = push.isRunning != 0;
    status.bytes = push.bytes;
    status.chunks = push.chunks;
    status.answer = answerOf(push.answer);
    status.answerText = textOf(push.answerText);
    status.duration = push.duration;
    status.lastAccepted = timeOf(push.lastAccepted);
    status.next = timeOf(record.nextPush);
    status.pushes = push.pushes;
    status.failed = push.failed;
    return status;
}

vokDoorBellStatus doorBellOf(const layout::DoorBell<Word>& bell) {
    vokDoorBellStatus status;
    status.polls = bell.polls;
    status.answered = bell.answered;
    status.requests = bell.requests;
    status.lastPoll = timeOf(bell.lastPoll);
    status.lastAnswer = timeOf(bell.lastAnswer);
    status.next = timeOf(bell.next);
    return status;
}

std::vector<vokEventCount> eventsOf(const layout::Copy& record) {
    std::vector<vokEventCount> events;
    for (const layout::Event<Word>& event : record.events) {
        if (event.number == 0) continue;
        vokEventCount count;
        count.number = static_cast<int>(event.number);
        count.raised = event.raised;
        count.delivered = event.delivered;
        count.refused = event.refused;
        count.failed = event.failed;
        count.dropped = event.dropped;
        count.lastRaised = timeOf(event.lastRaised);
        events.push_back(count);
    }
    std::sort(events.begin(), events.end(),
              [](const vokEventCount& a, const vokEventCount& b) { return a.number < b.number; });
    return events;
}

std::vector<vokHangingOperation> hangingOf(const layout::Copy& record) {
    std::vector<vokHangingOperation> hanging;
    for (const layout::Operation<Word>& operation : record.operations) {
        if (operation.isHanging == 0) continue;
        vokHangingOperation found;
        found.description = textOf(operation.description);
        found.begin = timeOf(operation.begin);
        if (operation.classId <= layout::classes) found.classId = static_cast<int>(operation.classId) - 1;
        hanging.push_back(found);
    }
    std::stable_sort(hanging.begin(), hanging.end(),
                     [](const auto& a, const auto& b) { return a.begin < b.begin; });
    return hanging;
}

std::vector<vokLibraryLeftOut> leftOutOf(const layout::Copy& record) {
    std::vector<vokLibraryLeftOut> libraries;
    for (const layout::LeftOut<Word>& entry : record.leftOut) {
        if (entry.crashes == 0) continue;
        const auto crashes = std::min<Word>(entry.crashes, std::numeric_limits<int>::max());
        libraries.push_back(
            {textOf(entry.name), static_cast<int>(crashes), textOf(entry.lastEnd), textOf(entry.lastCall)});
    }
    return libraries;
}

vokStatusSnapshot snapshotOf(const layout::Copy& record) {
    vokStatusSnapshot status;
    status.version = textOf(record.agentVersion);
    status.process = static_cast<std::uint32_t>(record.process);
    status.start = timeOf(record.start);
    status.stop = timeOf(record.stop);
    status.refreshSeconds = intervalOf(record.refreshSeconds);
    status.pushSeconds = intervalOf(record.pushSeconds);
    status.doorBellSeconds = intervalOf(record.doorBellSeconds);
    for (std::size_t id = 0; id < layout::classes; ++id)
        if (record.classes[id].isPresent != 0)
            status.classes.push_back(classOf(static_cast<int>(id), record.classes[id]));
    status.push = pushOf(record);
    status.doorBell = doorBellOf(record.doorBell);
    status.events = eventsOf(record);
    status.hanging = hangingOf(record);
    status.leftOut = leftOutOf(record);
    return status;
}

}  // namespace

std::optional<vokStatusSnapshot> vokAssembleStatus(const vokReadRecord& read, std::string& reason) {
    Word head[3] = {};
    static_assert(offsetof(layout::Copy, size) == 2 * sizeof(Word));
    if (!read(head, sizeof(head)) || head[0] != layout::magic) {
        reason = "it is not a status record";
        return std::nullopt;
    }
    if (head[1] != layout::version || head[2] != sizeof(layout::Copy)) {
        reason = "it is of another version";
        return std::nullopt;
    }
    const auto record = std::make_unique<layout::Copy>();
    if (!settle(read, *record)) {
        reason = "it is cut short";
        return std::nullopt;
    }
    return snapshotOf(*record);
}

std::optional<vokStatusSnapshot> vokReadStatus(std::string& reason) {
    const vokOwnedDescriptor file = vokOpenStatusFile(reason);
    if (!file) return std::nullopt;
    const auto read = [&file](void* bytes, std::size_t size) {
        return vokReadAll(file.get(), bytes, size, 0);
    };
    std::optional<vokStatusSnapshot> status = vokAssembleStatus(read, reason);
    if (status)
        status->isRunning = vokIsStatusHeld(file.get());
    else
        reason = vokHostAccess().path(layout::path) + " can't be used: " + reason;
    return status;
}
