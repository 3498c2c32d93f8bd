#include "rmc/report/Summary.h"

#include <algorithm>
#include <map>

#include "common/Text.h"
#include "rmc/JsonMembers.h"
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

std::string fact(const std::string& label, const std::string& value) {
    if (value.empty()) return "";
    return "<div><dt>" + escaped(label) + "</dt><dd>" + escaped(value) + "</dd></div>\n";
}

std::string finding(Condition condition, const std::string& html) {
    return std::string("<li class=\"") + nameOf(condition) + "\">" + symbolHtml(nameOf(condition)) +
           "<span>" + html + "</span></li>\n";
}

std::string deviceFinding(const Device& device) {
    return finding(device.condition, "<a href=\"#" + device.anchor + "\">" + escaped(device.name) + "</a> " +
                                         escaped(device.section->word + std::string(": ") + device.state) +
                                         (device.place ? ", " + escaped(nameOf(*device.place)) : ""));
}

// Units in this condition; of many, the first.
std::string deviceFindings(const std::vector<Device>& devices, Condition condition) {
    std::string html;
    std::size_t count = 0;
    for (const Device& device : devices)
        if (device.condition == condition && ++count <= mostPerCondition) html += deviceFinding(device);
    if (count > mostPerCondition)
        html += finding(
            condition, "and " + counted(count - mostPerCondition, "more unit", "more units") + " like these");
    return html;
}

std::string faultFindings(const std::vector<Entry>& timeline) {
    std::string html;
    const auto open = openFaults(timeline);
    const std::size_t shown = std::min(open.size(), mostPerCondition);
    for (std::size_t i = 0; i < shown; ++i) {
        const Entry& entry = *open[open.size() - 1 - i];
        html += finding(
            Condition::critical,
            "Event " + escaped(entry.heading) + (entry.subject.empty() ? "" : ": " + escaped(entry.subject)) +
                " <span class=\"fine\">since " + escaped(entry.time) + ", no recovery reported</span>");
    }
    if (shown < open.size())
        html +=
            finding(Condition::critical, "and " + counted(open.size() - shown, "more fault", "more faults") +
                                             " without a recovery, in the time line");
    return html;
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
    for (const auto& problem : folder.problems) html += finding(Condition::warning, escaped(problem));
    return html;
}

std::string unknownFinding(const std::vector<Device>& devices) {
    const auto count = std::count_if(devices.begin(), devices.end(), [](const Device& device) {
        return device.condition == Condition::unknown;
    });
    if (count == 0) return "";
    return finding(Condition::unknown, counted(static_cast<std::size_t>(count), "unit has", "units have") +
                                           " no known state: nothing asks them for it");
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
    std::string name = textOf(oemOf(findings), {"HostOSInfo", "HostName"});
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
    const std::string urgent = deviceFindings(findings.devices, Condition::critical) +
                               faultFindings(findings.timeline) + violationFinding(findings.folder);
    std::string lesser =
        deviceFindings(findings.devices, Condition::warning) + folderFindings(findings.folder);
    if (findings.inventory == nullptr)
        lesser += finding(Condition::warning, "No inventory that can be read has arrived");
    const std::string notes =
        deviceFindings(findings.devices, Condition::down) + unknownFinding(findings.devices);
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
        const std::string known = sectionOf(order[i]).heading;
        tiles += "<div><dt><a href=\"#table-" + std::to_string(i + 1) + "\">" +
                 escaped(known.empty() ? order[i] : known) + "</a></dt><dd>" + std::to_string(sum) +
                 "</dd><dd class=\"fine\">" + conditionCounts(counts[order[i]]) + "</dd></div>\n";
    }
    return tiles.empty() ? "" : element("dl", " class=\"tiles\"", "\n" + tiles);
}

}  // namespace simhost
