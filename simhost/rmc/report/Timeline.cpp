#include "rmc/report/Timeline.h"

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "common/Text.h"
#include "rmc/EventMeanings.h"
#include "rmc/JsonMembers.h"
#include "rmc/report/Device.h"

namespace simhost {

namespace {

// What an event tells a fault or a recovery of.
enum class Matter { none, fibreChannel, controller, drive, ethernet, volume, consistency };

struct EventKindRow {
    int id;
    EntryKind kind;
    Matter matter;
};

// Numbers without a row are notices.
constexpr EventKindRow eventKinds[] = {
    {360, EntryKind::fault, Matter::none},         {384, EntryKind::recovery, Matter::fibreChannel},
    {385, EntryKind::fault, Matter::fibreChannel}, {386, EntryKind::fault, Matter::fibreChannel},
    {388, EntryKind::fault, Matter::fibreChannel}, {397, EntryKind::recovery, Matter::controller},
    {398, EntryKind::fault, Matter::controller},   {538, EntryKind::fault, Matter::drive},
    {539, EntryKind::fault, Matter::drive},        {540, EntryKind::recovery, Matter::drive},
    {678, EntryKind::fault, Matter::ethernet},     {680, EntryKind::recovery, Matter::ethernet},
    {681, EntryKind::fault, Matter::volume},       {683, EntryKind::recovery, Matter::volume},
    {1179, EntryKind::fault, Matter::controller},  {1181, EntryKind::fault, Matter::controller},
    {1182, EntryKind::fault, Matter::controller},  {1183, EntryKind::fault, Matter::controller},
    {1384, EntryKind::fault, Matter::ethernet},    {1385, EntryKind::fault, Matter::consistency},
    {1387, EntryKind::fault, Matter::consistency}, {1388, EntryKind::recovery, Matter::consistency},
    {1390, EntryKind::recovery, Matter::ethernet}, {1391, EntryKind::recovery, Matter::fibreChannel},
};

EventKindRow rowOf(const Json::Value& id) {
    for (const EventKindRow& row : eventKinds)
        if (id.isInt() && id.asInt() == row.id) return row;
    return {0, EntryKind::notice, Matter::none};
}

constexpr std::size_t noSequence = static_cast<std::size_t>(-1);

// An entry before the lists are merged: its place among the transfers, if one is its own.
struct Pending {
    Entry entry;
    std::size_t sequence = noSequence;
};

void setTransfer(Pending& pending, const ReceivedFolder& folder, std::size_t sequence) {
    pending.sequence = sequence;
    pending.entry.transfer = &folder.transfers[sequence];
    pending.entry.arrival = textOf(folder.transfers[sequence], {"at"});
}

std::string eventKey(const std::string& id, const std::string& time) {
    return id + "\n" + time;
}

// Which transfer brought an event or an inventory.
struct TransferIndex {
    std::map<std::string, std::deque<std::size_t>> events;  // by number and time
    std::map<std::string, std::size_t> inventories;         // by file
};

TransferIndex indexOf(const std::vector<Json::Value>& transfers) {
    TransferIndex index;
    for (std::size_t i = 0; i < transfers.size(); ++i) {
        const std::string file = textOf(transfers[i], {"file"});
        if (!file.empty()) index.inventories[file] = i;
        const Json::Value& event = member(transfers[i], {"event"});
        if (event.isObject())
            index.events[eventKey(textOf(event, {"ID"}), textOf(event, {"EventTime"}))].push_back(i);
    }
    return index;
}

std::string subjectOf(const Json::Value& data) {
    if (!data.isObject()) return "";
    std::string subject = callNameOf(data);
    for (const char* key : {"Model", "SerialNumber"}) {
        const std::string text = meaningful(textOf(data, {key}));
        if (!text.empty() && subject.find(text) == std::string::npos) subject += ", " + text;
    }
    const std::string description = textOf(data, {"Oem", "Description"});
    return description.empty() ? subject : subject + ", " + description;
}

Entry entryOfEvent(const Json::Value& event) {
    Entry entry;
    const Json::Value& id = member(event, {"ID"});
    entry.kind = rowOf(id).kind;
    entry.time = textOf(event, {"EventTime"});
    entry.heading = textOf(id) + " " + (id.isInt64() ? eventMeaning(id.asInt64()) : "without a number");
    entry.text = textOf(event, {"VariableData", "EventInfo"});
    entry.subject = subjectOf(member(event, {"VariableData", "Data"}));
    entry.code = textOf(event, {"PhysicalLocation"});
    entry.document = &event;
    return entry;
}

std::deque<Pending> pendingEvents(const ReceivedFolder& folder, TransferIndex& index) {
    std::deque<Pending> list;
    for (const Json::Value& event : folder.events) {
        Pending pending;
        pending.entry = entryOfEvent(event);
        auto& arrivals = index.events[eventKey(textOf(event, {"ID"}), pending.entry.time)];
        if (!arrivals.empty()) {
            setTransfer(pending, folder, arrivals.front());
            arrivals.pop_front();
        }
        list.push_back(std::move(pending));
    }
    return list;
}

std::deque<Pending> pendingPushes(const ReceivedFolder& folder, const TransferIndex& index) {
    std::deque<Pending> list;
    const Json::Value* before = nullptr;
    for (const ReceivedInventory& inventory : folder.inventories) {
        Pending pending;
        pending.entry.kind = EntryKind::push;
        pending.entry.heading = "Inventory, " + inventory.file;
        pending.entry.time =
            textOf(inventory.document, {"HostDataCollection", "Oem", "CollectionInfo", "LastCollection"});
        const auto found = index.inventories.find(inventory.file);
        if (found != index.inventories.end()) setTransfer(pending, folder, found->second);
        if (inventory.document.isNull()) {
            pending.entry.kind = EntryKind::trouble;
            pending.entry.text = "The file can't be read as an inventory.";
        } else {
            if (before != nullptr) {
                pending.entry.changes = changesBetween(*before, inventory.document);
                if (pending.entry.changes.empty()) pending.entry.text = "Nothing has changed.";
            }
            before = &inventory.document;
        }
        list.push_back(std::move(pending));
    }
    return list;
}

std::deque<Pending> pendingTroubles(const ReceivedFolder& folder) {
    std::deque<Pending> list;
    for (std::size_t i = 0; i < folder.transfers.size(); ++i) {
        const Json::Value& transfer = folder.transfers[i];
        const std::string outcome = textOf(transfer, {"outcome"});
        if (outcome == "complete") continue;
        Pending pending;
        setTransfer(pending, folder, i);
        pending.entry.kind = EntryKind::trouble;
        pending.entry.heading = textOf(transfer, {"command"}) + " was " + outcome;
        pending.entry.text =
            outcome == "refused" ? "Status " + textOf(transfer, {"status"}) : textOf(transfer, {"reason"});
        list.push_back(std::move(pending));
    }
    return list;
}

// "11-22 10:23:51" of both forms, "2026-11-22 10:23:51" and "Nov 22 10:23:51"; empty for any other.
std::string timeOfYear(const std::string& time) {
    if (time.size() == 19) return time.substr(5);
    constexpr char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    if (time.size() != 15) return "";
    const auto month = std::string(months).find(time.substr(0, 3));
    if (month == std::string::npos || month % 3 != 0) return "";
    std::string day = time.substr(4, 2);
    if (day[0] == ' ') day[0] = '0';
    return formatText("%02zu-", month / 3 + 1) + day + time.substr(6);
}

// True if `left` came before `right`. Without a record of both, the host's time decides.
bool isEarlier(const Pending& left, const Pending& right) {
    if (left.sequence != noSequence && right.sequence != noSequence) return left.sequence < right.sequence;
    return timeOfYear(left.entry.time) < timeOfYear(right.entry.time);
}

std::deque<Pending> merged(std::deque<Pending> left, std::deque<Pending> right) {
    std::deque<Pending> result;
    while (!left.empty() || !right.empty()) {
        const bool takeLeft = right.empty() || (!left.empty() && !isEarlier(right.front(), left.front()));
        std::deque<Pending>& from = takeLeft ? left : right;
        result.push_back(std::move(from.front()));
        from.pop_front();
    }
    return result;
}

// The unit that an event is about. A drive in a bay is known by the bay: the event of its replacement is the
// recovery.
std::string subjectKey(const Entry& entry) {
    const Json::Value& data = member(*entry.document, {"VariableData", "Data"});
    const auto place = placeOfCode(entry.code);
    const bool isInBay = place && place->kind == Place::Kind::bay;
    const std::string identity = isInBay ? "" : identityOf(data);
    return identity.empty() ? entry.code + "\n" + textOf(data, {"Oem", "Description"}) : identity;
}

using UnitStates = std::map<std::string, std::pair<std::string, std::string>>;  // name and state by identity

UnitStates statesOf(const Json::Value& document) {
    UnitStates states;
    for (const Device& device : devicesOf(document)) {
        const std::string identity = identityOf(*device.item);
        if (!identity.empty())
            states[device.key + identity] = {device.section->word + std::string(" ") + device.name,
                                             device.state};
    }
    return states;
}

}  // namespace

const char* nameOf(EntryKind kind) {
    switch (kind) {
        case EntryKind::fault:
            return "fault";
        case EntryKind::recovery:
            return "recovery";
        case EntryKind::push:
            return "push";
        case EntryKind::trouble:
            return "trouble";
        case EntryKind::notice:
            break;
    }
    return "notice";
}

std::vector<std::string> changesBetween(const Json::Value& before, const Json::Value& after) {
    const UnitStates old = statesOf(before);
    const UnitStates now = statesOf(after);
    std::vector<std::string> changes;
    for (const auto& [identity, unit] : old) {
        const auto found = now.find(identity);
        if (found == now.end())
            changes.push_back(unit.first + " is gone");
        else if (found->second.second != unit.second)
            changes.push_back(unit.first + ": " + unit.second + ", now " + found->second.second);
    }
    for (const auto& [identity, unit] : now)
        if (old.count(identity) == 0) changes.push_back(unit.first + " is new: " + unit.second);
    return changes;
}

std::vector<Entry> timelineOf(const ReceivedFolder& folder) {
    TransferIndex index = indexOf(folder.transfers);
    std::deque<Pending> all = merged(pendingEvents(folder, index), pendingPushes(folder, index));
    all = merged(std::move(all), pendingTroubles(folder));
    std::vector<Entry> timeline;
    timeline.reserve(all.size());
    for (Pending& pending : all) timeline.push_back(std::move(pending.entry));
    return timeline;
}

std::vector<const Entry*> openFaults(const std::vector<Entry>& timeline) {
    std::vector<const Entry*> open;
    std::set<std::pair<Matter, std::string>> seen;
    for (auto entry = timeline.rbegin(); entry != timeline.rend(); ++entry) {
        if (entry->document == nullptr || textOf(*entry->document, {"Source"}) == "VOK-CLI") continue;
        const Matter matter = rowOf(member(*entry->document, {"ID"})).matter;
        if (matter == Matter::none || !seen.emplace(matter, subjectKey(*entry)).second) continue;
        if (entry->kind == EntryKind::fault) open.push_back(&*entry);
    }
    std::reverse(open.begin(), open.end());
    return open;
}

}  // namespace simhost
