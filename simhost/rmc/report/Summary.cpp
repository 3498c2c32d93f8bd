#include "rmc/report/Summary.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "common/Text.h"
#include "rmc/JsonMembers.h"
#include "rmc/report/Faults.h"
#include "rmc/report/Html.h"
#include "rmc/report/Picture.h"
#include "rmc/report/Transfers.h"

namespace simhost {

namespace {

constexpr std::size_t mostPerCondition = 25;
constexpr std::size_t mostAddresses = 6;

const Json::Value& oemOf(const Findings& findings) {
    if (findings.inventory == nullptr) return Json::Value::nullSingleton();
    return member(findings.inventory->document, {"HostDataCollection", "Oem"});
}

std::string addressesOf(const Json::Value& oem) {
    std::vector<std::string> addresses;
    const Json::Value& list = member(oem, {"HostOSInfo", "IPv4Addresses"});
    for (Json::ArrayIndex i = 0; list.isArray() && i < list.size(); ++i)
        addresses.push_back(textOf(list[i], {"Address"}));
    if (addresses.size() <= mostAddresses) return listed(addresses);
    const std::size_t more = addresses.size() - mostAddresses;
    addresses.resize(mostAddresses);
    return listed(addresses) + " and " + std::to_string(more) + " more";
}

std::string memoryOf(const Json::Value& oem) {
    const std::string total = textOf(oem, {"HostOSInfo", "OSMemorySummary", "TotalSystemMemoryGiB"});
    const std::string free = textOf(oem, {"HostOSInfo", "OSMemorySummary", "TotalFreeSystemMemoryGiB"});
    return total.empty() ? "" : total + " GiB, " + free + " GiB free";
}

std::string platformOf(const std::vector<Device>& devices) {
    const auto placed = std::find_if(devices.begin(), devices.end(),
                                     [](const Device& device) { return device.place.has_value(); });
    if (placed == devices.end()) return "unknown: no unit has a GeoID or a location code";
    return familyInWords(placed->place->chassis);
}

std::string inventoryFact(const Findings& findings) {
    if (findings.inventory == nullptr) return "none that can be read";
    return textOf(oemOf(findings), {"CollectionInfo", "LastCollection"}) + " (" + findings.inventory->file +
           ", " + std::to_string(findings.inventory->bytes) + " bytes)";
}

std::string brief(const std::string& text) {
    return escaped(text, longestInSummary);
}

std::string fact(const std::string& label, const std::string& value) {
    if (value.empty()) return "";
    return "<div><dt>" + escaped(label) + "</dt><dd>" + brief(value) + "</dd></div>\n";
}

std::string finding(Condition condition, const std::string& html) {
    return std::string("<li class=\"") + nameOf(condition) + "\">" + symbolHtml(nameOf(condition)) +
           "<span>" + html + "</span></li>\n";
}

// A device of the last inventory, with its events.
struct KnownDevice {
    const Device* device = nullptr;
    const OpenFault* fault = nullptr;  // open, and no more urgent than the device's own condition
    const Entry* recovery = nullptr;   // since the inventory
};

bool isWrong(Condition condition) {
    return condition == Condition::critical || condition == Condition::warning;
}

class Verdict {
public:
    Verdict(const Findings& findings, const Faults& faults) : findings_(findings), faults_(faults) {
        const std::string host = findings.inventory ? hostNameIn(findings.inventory->document) : "";
        for (const Device& device : findings.devices) addDevice(keyOf(host, device), device);
    }

    // Units in this condition, then faults that no such unit shows.
    std::string html(Condition condition) const {
        std::vector<std::string> texts;
        for (const KnownDevice& known : devices_)
            if (known.device->condition == condition && !isOver(known)) texts.push_back(wordsOf(known));
        std::string html = findingsOf(condition, texts, "unit", "units");
        texts.clear();
        for (auto fault = faults_.open.rbegin(); fault != faults_.open.rend(); ++fault)
            if (conditionOf(*fault) == condition && shown_.count(&*fault) == 0)
                texts.push_back(wordsOf(*fault));
        return html + findingsOf(condition, texts, "fault", "faults");
    }

    // Units that were wrong in the last inventory and have recovered since.
    std::string recoveredHtml() const {
        std::vector<std::string> texts;
        for (const KnownDevice& known : devices_)
            if (isWrong(known.device->condition) && isOver(known))
                texts.push_back(wordsOf(known) + " in the last inventory; since then event " +
                                brief(known.recovery->heading + ", " + known.recovery->time));
        return findingsOf(Condition::ok, texts, "unit", "units");
    }

private:
    void addDevice(const UnitKey& key, const Device& device) {
        KnownDevice known;
        known.device = &device;
        const auto recovery = faults_.recovered.find(key);
        if (recovery != faults_.recovered.end()) known.recovery = recovery->second;
        for (const OpenFault& fault : faults_.open)
            if (fault.key == key && isWrong(device.condition) && conditionOf(fault) <= device.condition) {
                known.fault = &fault;
                shown_.insert(&fault);
            }
        devices_.push_back(known);
    }

    static bool isOver(const KnownDevice& known) { return known.recovery != nullptr; }

    static Condition conditionOf(const OpenFault& fault) {
        return fault.inventory.empty() ? fault.condition : Condition::warning;
    }

    static std::string wordsOf(const KnownDevice& known) {
        const Device& device = *known.device;
        std::string html = "<a href=\"#" + device.anchor + "\">" + brief(device.name) + "</a> " +
                           brief(device.section->word + std::string(": ") + device.state);
        if (device.place) html += ", " + escaped(locationInWords(*device.place));
        if (known.fault)
            html += " <span class=\"fine\">event " +
                    brief(known.fault->event->heading + ", since " + known.fault->event->time) + "</span>";
        return html;
    }

    std::string wordsOf(const OpenFault& fault) const {
        const Entry& event = *fault.event;
        std::string html = "Event " + brief(event.heading);
        if (!event.subject.empty()) html += ": " + brief(event.subject);
        if (hostsOf(findings_.timeline).size() > 1) html += " on " + brief(event.host);
        std::string since = "since " + event.time + ", ";
        if (std::get<Matter>(fault.key) == Matter::battery)
            since += "no event reports its end";
        else if (fault.inventory.empty())
            since += "no recovery reported";
        else
            since += "no recovery reported, but in order in " + fault.inventory;
        return html + " <span class=\"fine\">" + brief(since) + "</span>";
    }

    // Of many, the first.
    static std::string findingsOf(Condition condition, const std::vector<std::string>& texts, const char* one,
                                  const char* many) {
        std::string html;
        const std::size_t shown = std::min(texts.size(), mostPerCondition);
        for (std::size_t i = 0; i < shown; ++i) html += finding(condition, texts[i]);
        if (shown < texts.size())
            html += finding(condition, "and " +
                                           counted(texts.size() - shown, std::string("more ") + one,
                                                   std::string("more ") + many) +
                                           " like these");
        return html;
    }

    const Findings& findings_;
    const Faults& faults_;
    std::vector<KnownDevice> devices_;
    std::set<const OpenFault*> shown_;
};

std::string hostsFinding(const Findings& findings) {
    const auto hosts = hostsOf(findings.timeline);
    if (hosts.size() < 2) return "";
    const std::string last = findings.inventory ? hostNameIn(findings.inventory->document) : "";
    return finding(Condition::warning,
                   brief("Documents of " + std::to_string(hosts.size()) + " hosts: " + listed(hosts) +
                         ". Picture and inventory are those of " + (last.empty() ? "the last one" : last)));
}

std::string violationFinding(const ReceivedFolder& folder) {
    const std::size_t violations = folder.violations.size();
    if (violations == 0) return "";
    return finding(
        Condition::critical,
        "<a href=\"#transfers\">" + counted(violations, "violation", "violations") + " of the protocol</a>");
}

std::string folderFindings(const ReceivedFolder& folder) {
    std::string html;
    const TransferCounts counts = countTransfers(folder);
    if (counts.refused + counts.abandoned > 0)
        html += finding(Condition::warning,
                        "<a href=\"#transfers\">" + counted(counts.refused, "transfer", "transfers") +
                            " refused, " + std::to_string(counts.abandoned) + " abandoned</a>");
    for (const auto& problem : folder.problems) html += finding(Condition::warning, brief(problem));
    return html;
}

std::string unknownFinding(const std::vector<Device>& devices) {
    const auto count = std::count_if(devices.begin(), devices.end(), [](const Device& device) {
        return device.condition == Condition::unknown;
    });
    if (count == 0) return "";
    return finding(Condition::unknown,
                   counted(static_cast<std::size_t>(count), "unit has", "units have") + " no known state");
}

std::string conditionCounts(const std::map<Condition, std::size_t>& counts) {
    std::string html;
    for (const Condition condition : conditions) {
        const auto found = counts.find(condition);
        if (found == counts.end()) continue;
        html += std::string("<span class=\"state ") + nameOf(condition) + "\">" +
                symbolHtml(nameOf(condition)) + std::to_string(found->second) + " " + nameOf(condition) +
                "</span> ";
    }
    return html;
}

}  // namespace

std::string hostNameOf(const Findings& findings) {
    std::string name = findings.inventory ? hostNameIn(findings.inventory->document) : "";
    if (!name.empty()) return name;
    for (auto event = findings.folder.events.rbegin(); event != findings.folder.events.rend(); ++event) {
        name = textOf(*event, {"HostName"});
        if (!name.empty()) return name;
    }
    return "Host without a name";
}

std::string hostFactsHtml(const Findings& findings) {
    const Json::Value& oem = oemOf(findings);
    const std::string system =
        textOf(oem, {"HostOSInfo", "OSName"}) + " " + textOf(oem, {"HostOSInfo", "OSVersion"});
    std::string facts = fact("Last inventory", inventoryFact(findings));
    facts += fact("Operating system", system == " " ? "" : system);
    facts += fact("Platform", platformOf(findings.devices));
    facts += fact("Addresses", addressesOf(oem)) + fact("Memory", memoryOf(oem));
    facts += fact("Agent", textOf(oem, {"HostOSInfo", "OSSoftwareSummary", "VokSwVersion"}));
    return element("dl", " class=\"facts\"", "\n" + facts);
}

std::string verdictHtml(const Findings& findings) {
    const Faults faults = faultsOf(findings.timeline);
    const Verdict verdict(findings, faults);
    const std::string urgent = verdict.html(Condition::critical) + violationFinding(findings.folder);
    std::string lesser =
        verdict.html(Condition::warning) + hostsFinding(findings) + folderFindings(findings.folder);
    if (findings.inventory == nullptr)
        lesser += finding(Condition::warning, "No inventory that can be read has arrived");
    const std::string notes =
        verdict.recoveredHtml() + verdict.html(Condition::down) + unknownFinding(findings.devices);
    const std::string wrong = urgent + lesser;
    const Condition worst = !urgent.empty()   ? Condition::critical
                            : !lesser.empty() ? Condition::warning
                                              : Condition::ok;
    std::string html =
        std::string("<p class=\"verdict ") + nameOf(worst) + "\">" + symbolHtml(nameOf(worst)) + "<strong>" +
        (wrong.empty() ? "Nothing is reported to be wrong." : "This needs attention:") + "</strong></p>\n";
    if (!wrong.empty()) html += "<ul class=\"findings\">\n" + wrong + "</ul>\n";
    if (!notes.empty())
        html += "<p class=\"fine\">For information:</p>\n<ul class=\"findings notes\">\n" + notes + "</ul>\n";
    return html;
}

std::string countsHtml(const std::vector<Device>& devices) {
    std::vector<std::string> order;
    std::map<std::string, std::map<Condition, std::size_t>> counts;
    for (const Device& device : devices) {
        if (counts.count(device.key) == 0) order.push_back(device.key);
        ++counts[device.key][device.condition];
    }
    std::string tiles;
    for (std::size_t i = 0; i < order.size(); ++i) {
        std::size_t sum = 0;
        for (const auto& each : counts[order[i]]) sum += each.second;
        tiles += "<div><dt><a href=\"#table-" + std::to_string(i + 1) + "\">" + escaped(headingOf(order[i])) +
                 "</a></dt><dd>" + std::to_string(sum) + "</dd><dd class=\"fine\">" +
                 conditionCounts(counts[order[i]]) + "</dd></div>\n";
    }
    return tiles.empty() ? "" : element("dl", " class=\"tiles\"", "\n" + tiles);
}

}  // namespace simhost
