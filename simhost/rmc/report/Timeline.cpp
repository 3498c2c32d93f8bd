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
    entry.kind = eventKindOf(id).kind;
    entry.time = textOf(event, {"EventTime"});
    entry.heading = textOf(id) + " " + (id.isInt64() ? eventMeaning(id.asInt64()) : "without a number");
    entry.text = textOf(event, {"VariableData", "EventInfo"});
    entry.subject = subjectOf(member(event, {"VariableData", "Data"}));
    entry.code = textOf(event, {"PhysicalLocation"});
    entry.host = textOf(event, {"HostName"});
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
    std::map<std::string, const Json::Value*> before;  // by host
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
            pending.entry.inventory = &inventory;
            pending.entry.host = hostNameIn(inventory.document);
            const Json::Value*& last = before[pending.entry.host];
            if (last != nullptr) {
                pending.entry.changes = changesBetween(*last, inventory.document);
                if (pending.entry.changes.empty()) pending.entry.text = "Nothing has changed.";
            }
            last = &inventory.document;
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

std::string hostNameIn(const Json::Value& document) {
    return textOf(document, {"HostDataCollection", "Oem", "HostOSInfo", "HostName"});
}

std::vector<std::string> hostsOf(const std::vector<Entry>& timeline) {
    std::set<std::string> hosts;
    for (const Entry& entry : timeline)
        if (!entry.host.empty()) hosts.insert(entry.host);
    return {hosts.begin(), hosts.end()};
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

}  // namespace simhost
