#include "rmc/Report.h"

#include <unistd.h>
#include <system_error>
#include <utility>

#include "common/Files.h"
#include "common/Text.h"
#include "rmc/EventMeanings.h"
#include "rmc/JsonMembers.h"
#include "rmc/Keeper.h"

namespace simhost {

namespace {

constexpr Json::ArrayIndex rowsShown = 4;
constexpr std::size_t longestText = 160;
constexpr unsigned membersShown = 4;
constexpr char bold[] = "1";
constexpr char red[] = "1;31";
constexpr char yellow[] = "33";

std::string shown(const Json::Value& value) {
    std::string text = printable(textOf(value));
    if (text.size() > longestText) text = text.substr(0, longestText) + "...";
    return text;
}

std::string hostLine(const Json::Value& oem) {
    const auto text = [&oem](std::initializer_list<const char*> path) { return shown(member(oem, path)); };
    std::string line = text({"HostOSInfo", "HostName"}) + ", " + text({"HostOSInfo", "OSName"}) + " " +
                       text({"HostOSInfo", "OSVersion"}) + " (type " + text({"HostOSInfo", "OSType"}) +
                       "), agent " + text({"HostOSInfo", "OSSoftwareSummary", "VokSwVersion"});
    line += "\n                       memory " +
            text({"HostOSInfo", "OSMemorySummary", "TotalSystemMemoryGiB"}) + " GiB, free " +
            text({"HostOSInfo", "OSMemorySummary", "TotalFreeSystemMemoryGiB"}) + " GiB; addresses";
    const Json::Value& addresses = member(oem, {"HostOSInfo", "IPv4Addresses"});
    for (Json::ArrayIndex i = 0; addresses.isArray() && i < addresses.size(); ++i)
        line += " " + shown(member(addresses[i], {"Address"}));
    return line + "; collected " + text({"CollectionInfo", "LastCollection"});
}

// What tells an item from others of its kind.
std::string itemWords(const Json::Value& item) {
    std::string line;
    for (const char* key : {"Model", "VolumeType", "SerialNumber", "MACAddress", "WWPN"}) {
        const std::string text = shown(member(item, {key}));
        if (!text.empty()) line += (line.empty() ? "" : "  ") + text;
    }
    const std::string device = shown(member(item, {"Oem", "DeviceName"}));
    return device.empty() ? line : line + "  " + device;
}

// The first members of an item of a kind that is not known here.
std::string firstMembers(const Json::Value& item) {
    std::string line;
    unsigned count = 0;
    for (const auto& key : item.isObject() ? item.getMemberNames() : std::vector<std::string>()) {
        const std::string text = shown(item[key]);
        if (text.empty()) continue;
        line += (count == 0 ? "" : "  ") + printable(key) + " " + text;
        if (++count == membersShown) break;
    }
    return line;
}

std::string itemLine(const Json::Value& item) {
    std::string line = itemWords(item);
    if (line.empty()) line = firstMembers(item);
    if (!member(item, {"Status"}).isObject()) return line;
    return line + "  " + shown(member(item, {"Status", "State"})) + "/" +
           shown(member(item, {"Status", "Health"}));
}

}  // namespace

std::string inventoryTable(const Json::Value& document) {
    const Json::Value& collection = member(document, {"HostDataCollection"});
    std::string table;
    if (!collection.isObject()) return table;
    for (const auto& key : collection.getMemberNames()) {
        const Json::Value& section = collection[key];
        table += formatText("   %-20s ", printable(key).substr(0, 40).c_str());
        if (!section.isArray()) {
            table += hostLine(section) + "\n";
            continue;
        }
        table += std::to_string(section.size()) + "\n";
        for (Json::ArrayIndex i = 0; i < section.size() && i < rowsShown; ++i)
            table += "                       " + itemLine(section[i]) + "\n";
        if (section.size() > rowsShown) table += "                       ...\n";
    }
    return table;
}

std::string eventAccount(const Json::Value& event) {
    const Json::Value& id = member(event, {"ID"});
    std::string account = shown(id) + " " + (id.isInt64() ? eventMeaning(id.asInt64()) : "without a number");
    account += "\n   at " + shown(member(event, {"EventTime"})) + " on " +
               shown(member(event, {"HostName"})) + " (" + shown(member(event, {"OSVersion"})) + "), from " +
               shown(member(event, {"Source"}));
    const std::string place = shown(member(event, {"PhysicalLocation"}));
    if (!place.empty()) account += "\n   place " + place;
    const std::string type = shown(member(event, {"VariableData", "Type"}));
    const std::string text = shown(member(event, {"VariableData", "EventInfo"}));
    if (!type.empty() || !text.empty()) account += "\n   " + type + (text.empty() ? "" : ": " + text);
    const Json::Value& data = member(event, {"VariableData", "Data"});
    const std::string item = data.isObject() ? itemWords(data) : "";
    if (!item.empty()) account += "\n   " + item;
    const std::string description = shown(member(data, {"Oem", "Description"}));
    if (!description.empty()) account += "\n   " + description;
    return account + "\n";
}

Report::Report(bool quiet) : quiet_(quiet), colours_(::isatty(STDOUT_FILENO) && ::isatty(STDERR_FILENO)) {}

std::string Report::paint(const char* colour, const std::string& text) const {
    return colours_ ? std::string("\033[") + colour + "m" + text + "\033[0m" : text;
}

// The controller goes on without its output; once is enough to say so.
void Report::line(const std::string& text) {
    if (quiet_) return;
    try {
        printOut(text);
    } catch (const std::system_error& error) {
        if (std::exchange(allPrinted_, false)) problem(error.what());
    }
}

void Report::problem(const std::string& text) {
    const std::string whole = "vok-rmc: " + printable(text) + "\n";
    std::fwrite(whole.data(), 1, whole.size(), stderr);
    std::fflush(stderr);
}

void Report::inventory(const Arrival& arrival, const Json::Value& document) {
    const std::string head =
        formatText("inventory %lu: %zu bytes in %zu chunks, %.2f s, process %u -> %s", arrival.number,
                   arrival.size, arrival.chunks, arrival.seconds, arrival.process, arrival.file.c_str());
    line(paint(bold, head) + "\n" + inventoryTable(document));
}

void Report::event(const Arrival& arrival, const Json::Value& event) {
    const std::string head = formatText("event %lu: ", arrival.number);
    const std::string account = eventAccount(event);
    const auto first = account.find('\n');
    line(paint(bold, head + account.substr(0, first)) + account.substr(first));
}

void Report::shortPayload(const Arrival& arrival, const std::string& text) {
    line(paint(bold, formatText("short payload of %zu bytes, its command's name covered: ", arrival.size)) +
         printable(text) + "\n");
}

void Report::notice(const std::string& text) {
    line(paint(yellow, "note: " + printable(text)) + "\n");
}

void Report::violation(const std::string& text) {
    const std::string whole = paint(red, "VIOLATION: " + printable(text)) + "\n";
    std::fwrite(whole.data(), 1, whole.size(), stderr);
    std::fflush(stderr);
}

}  // namespace simhost
