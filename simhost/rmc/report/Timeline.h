// The events and pushes of a folder in the order of their arrival, and what follows from them.
#pragma once

#include <string>
#include <vector>

#include "rmc/report/EventKinds.h"
#include "rmc/report/ReceivedFolder.h"

namespace simhost {

struct Entry {
    EntryKind kind = EntryKind::notice;
    std::string time;     // of the host, "2026-11-22 10:23:51", or as the document has it
    std::string host;     // its name; empty of a command that did not come through
    std::string arrival;  // of the machine, as in transfers.jsonl; empty if it was not recorded
    std::string heading;
    std::string text;                       // of an event: its EventInfo
    std::string subject;                    // "vmnic3, MEV 2-port 10GbE adapter, copper"
    std::string code;                       // location code
    std::vector<std::string> changes;       // of a push: against the inventory of this host before it
    const Json::Value* document = nullptr;  // of an event
    const ReceivedInventory* inventory = nullptr;
    const Json::Value* transfer = nullptr;  // line of transfers.jsonl, or null
};

// From the first to the last. The entries point into `folder`. Where the order of arrival was not recorded,
// events and pushes are merged by the host's time.
std::vector<Entry> timelineOf(const ReceivedFolder& folder);

// The names of the hosts that the documents are from, sorted.
std::vector<std::string> hostsOf(const std::vector<Entry>& timeline);
// The name of the host that an inventory is from.
std::string hostNameIn(const Json::Value& document);

// What differs between two inventories, in words.
std::vector<std::string> changesBetween(const Json::Value& before, const Json::Value& after);

std::string timelineHtml(const std::vector<Entry>& timeline);
inline constexpr std::size_t mostEntriesShown = 500;

}  // namespace simhost
