#include "rmc/report/Transfers.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/Text.h"
#include "rmc/JsonMembers.h"
#include "rmc/Keeper.h"
#include "rmc/report/Html.h"
#include "rmc/report/Picture.h"
#include "rmc/report/Tables.h"

namespace simhost {

namespace {

constexpr std::size_t mostBars = 60;
constexpr double barHeight = 90;

// A number that may be anything in a file that may be anybody's: 0 unless it is a sensible one.
double numberAt(const Json::Value& transfer, const char* key) {
    const Json::Value& value = member(transfer, {key});
    if (!value.isNumeric()) return 0;
    const double number = value.asDouble();
    return std::isfinite(number) && number >= 0 && number <= 1e15 ? number : 0;
}

std::string tile(const std::string& value, const std::string& label) {
    return "<div><dt>" + escaped(label) + "</dt><dd>" + escaped(value) + "</dd></div>";
}

std::string milliseconds(double seconds) {
    return fixed(seconds * 1000, 1) + " ms";
}

std::string tilesHtml(const TransferCounts& counts, std::size_t violations) {
    std::string tiles = tile(std::to_string(counts.complete), "complete") +
                        tile(std::to_string(counts.refused), "refused") +
                        tile(std::to_string(counts.abandoned), "abandoned") +
                        tile(std::to_string(counts.faults), "disturbed replies") +
                        tile(std::to_string(violations), "protocol violations");
    if (counts.complete > 0) {
        tiles += tile(std::to_string(counts.chunks), "chunks") +
                 tile(milliseconds(counts.median), "median time") +
                 tile(milliseconds(counts.longest), "longest time");
        if (counts.chunks > 0)
            tiles += tile(fixed(counts.seconds * 1e6 / static_cast<double>(counts.chunks), 0) + " \xC2\xB5s",
                          "per chunk");
        if (counts.seconds > 0)
            tiles += tile(capacityText(counts.bytes / counts.seconds) + "/s", "mean rate");
    }
    return element("dl", " class=\"tiles\"", tiles);
}

std::string barClass(const std::string& outcome) {
    return outcome == "complete" ? "ok" : outcome == "refused" ? "critical" : "warning";
}

// Milliseconds of the last transfers, on a logarithmic scale: an inventory takes a hundred times as long as
// an event.
std::string barsHtml(const std::vector<Json::Value>& transfers, double longest) {
    const std::size_t count = std::min(transfers.size(), mostBars);
    const double scale = std::log1p(std::max(longest, 1e-6) * 1e6);
    std::string bars;
    for (std::size_t i = 0; i < count; ++i) {
        const Json::Value& transfer = transfers[transfers.size() - count + i];
        const double share = std::log1p(numberAt(transfer, "seconds") * 1e6) / scale;
        const double height = std::max(2.0, barHeight * std::min(share, 1.0));
        bars += formatText("<rect x=\"%zu\" y=\"%.1f\" width=\"8\" height=\"%.1f\" class=\"bar %s\">", i * 11,
                           barHeight - height, height, barClass(textOf(transfer, {"outcome"})).c_str()) +
                element("title", "",
                        escaped(textOf(transfer, {"command"}) + ", " + textOf(transfer, {"outcome"}) + ", " +
                                milliseconds(numberAt(transfer, "seconds")))) +
                "</rect>";
    }
    return formatText(
               "<figure class=\"bars\"><svg role=\"img\" viewBox=\"0 0 %zu %.0f\" "
               "preserveAspectRatio=\"xMinYMax meet\" "
               "aria-labelledby=\"bars-caption\">",
               mostBars * 11, barHeight) +
           bars + "</svg><figcaption id=\"bars-caption\">Time of the last " +
           counted(count, "transfer", "transfers") + ", oldest first, logarithmic; the longest of all took " +
           milliseconds(longest) + "</figcaption></figure>\n";
}

std::string outcomeHtml(const Json::Value& transfer) {
    const std::string outcome = textOf(transfer, {"outcome"});
    const std::string condition = barClass(outcome);
    return "<span class=\"state " + condition + "\">" + symbolHtml(condition.c_str()) + escaped(outcome) +
           "</span>";
}

std::string numberCell(const Json::Value& transfer, const char* key) {
    return "<td class=\"number\">" + fixed(numberAt(transfer, key), 0) + "</td>";
}

std::string whatHtml(const Json::Value& transfer) {
    for (const char* key : {"file", "reason"}) {
        const std::string text = textOf(transfer, {key});
        if (!text.empty()) return escaped(text);
    }
    if (member(transfer, {"status"}).isNumeric()) return "status " + escaped(textOf(transfer, {"status"}));
    const std::string id = textOf(transfer, {"event", "ID"});
    return id.empty() ? "" : "event " + escaped(id);
}

std::string rowHtml(const Json::Value& transfer) {
    std::string command = textOf(transfer, {"command"});
    if (command.empty()) command = "short payload";
    const double seconds = numberAt(transfer, "seconds");
    const double chunks = numberAt(transfer, "chunks");
    const std::string at = textOf(transfer, {"at"});
    std::string cells =
        "<th scope=\"row\" class=\"code\">" + escaped(at.empty() ? "not recorded" : at) + "</th>";
    cells += cellOf(escaped(command)) + cellOf(outcomeHtml(transfer)) + cellOf(whatHtml(transfer));
    cells += numberCell(transfer, "bytes") + numberCell(transfer, "chunks") + numberCell(transfer, "faults");
    cells += "<td class=\"number\">" + fixed(seconds * 1000, 2) + "</td><td class=\"number\">" +
             (chunks > 0 ? fixed(seconds * 1e6 / chunks, 0) : "") + "</td>" + numberCell(transfer, "process");
    return element("tr", "", cells) + "\n";
}

std::string transferTable(const std::vector<Json::Value>& transfers) {
    std::string rows;
    const std::size_t shown = std::min(transfers.size(), mostTransfersShown);
    for (std::size_t i = 0; i < shown; ++i) rows += rowHtml(transfers[transfers.size() - 1 - i]);
    return tableHtml("table-transfers",
                     "The last " + counted(shown, "transfer", "transfers") + ", newest first",
                     {{"Arrived (UTC)", false},
                      {"Command", false},
                      {"Outcome", false},
                      {"What", false},
                      {"Bytes", true},
                      {"Chunks", true},
                      {"Disturbed replies", true},
                      {"Time, ms", true},
                      {"\xC2\xB5s per chunk", true},
                      {"Process", true}},
                     rows);
}

std::string violationsHtml(const std::vector<std::string>& violations) {
    if (violations.empty()) return "";
    std::string items;
    const std::size_t shown = std::min(violations.size(), mostTransfersShown);
    for (std::size_t i = violations.size() - shown; i < violations.size(); ++i)
        items += element("li", "", escaped(violations[i])) + "\n";
    return "<h3>Protocol violations</h3>\n<ol class=\"violations\">\n" + items + "</ol>\n";
}

}  // namespace

TransferCounts countTransfers(const ReceivedFolder& folder) {
    TransferCounts counts;
    std::vector<double> times;
    for (const Json::Value& transfer : folder.transfers) {
        const std::string outcome = textOf(transfer, {"outcome"});
        counts.faults += static_cast<std::uint64_t>(numberAt(transfer, "faults"));
        if (outcome == "refused") ++counts.refused;
        if (outcome == "abandoned") ++counts.abandoned;
        if (outcome != "complete") continue;
        ++counts.complete;
        counts.chunks += static_cast<std::uint64_t>(numberAt(transfer, "chunks"));
        counts.bytes += numberAt(transfer, "bytes");
        times.push_back(numberAt(transfer, "seconds"));
        counts.seconds += times.back();
    }
    if (times.empty()) return counts;
    std::sort(times.begin(), times.end());
    counts.median = times[times.size() / 2];
    counts.longest = times.back();
    return counts;
}

std::string transfersHtml(const ReceivedFolder& folder) {
    const TransferCounts counts = countTransfers(folder);
    std::string html = tilesHtml(counts, folder.violations.size()) + "\n" + violationsHtml(folder.violations);
    if (folder.transfers.empty())
        return html + "<p>No transfer is recorded in " + escaped(Keeper::transfersFile) + ".</p>\n";
    double longest = 0;
    for (const Json::Value& transfer : folder.transfers)
        longest = std::max(longest, numberAt(transfer, "seconds"));
    return html + barsHtml(folder.transfers, longest) + transferTable(folder.transfers);
}

}  // namespace simhost
