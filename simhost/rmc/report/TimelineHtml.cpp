#include <algorithm>

#include "common/Text.h"
#include "rmc/JsonMembers.h"
#include "rmc/report/Html.h"
#include "rmc/report/Timeline.h"

namespace simhost {

namespace {

constexpr std::size_t mostChangesShown = 8;

std::string line(const char* style, const std::string& text) {
    return text.empty() ? "" : element("p", std::string(" class=\"") + style + "\"", escaped(text));
}

std::string changesHtml(const std::vector<std::string>& changes) {
    if (changes.empty()) return "";
    std::string items;
    const std::size_t shown = std::min(changes.size(), mostChangesShown);
    for (std::size_t i = 0; i < shown; ++i) items += element("li", "", escaped(changes[i]));
    if (shown < changes.size())
        items += element("li", "", std::to_string(changes.size() - shown) + " more changes");
    return element("ul", " class=\"changes\"", items);
}

// What a line of transfers.jsonl has of this: a line may lack anything.
std::string arrivalText(const Json::Value& transfer) {
    std::vector<std::string> parts;
    const auto add = [&](const char* key, const char* before, const char* after) {
        const std::string text = textOf(transfer, {key});
        if (!text.empty()) parts.push_back(before + text + after);
    };
    add("at", "arrived ", "");
    add("bytes", "", " bytes");
    add("chunks", "", " chunks");
    const Json::Value& seconds = member(transfer, {"seconds"});
    if (seconds.isNumeric()) parts.push_back(fixed(seconds.asDouble(), 3) + " s");
    add("process", "process ", "");
    return listed(parts);
}

std::string documentHtml(const Entry& entry) {
    if (entry.document == nullptr) return "";
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    return "<details><summary>The whole event<span class=\"hidden\"> " + escaped(entry.heading) +
           "</span></summary><pre>" + escapedLines(Json::writeString(builder, *entry.document)) +
           "</pre></details>";
}

// For those who see neither colour nor shape.
const char* wordOf(EntryKind kind) {
    switch (kind) {
        case EntryKind::fault:
            return "Fault";
        case EntryKind::recovery:
            return "Recovery";
        case EntryKind::push:
            return "Push";
        case EntryKind::trouble:
            return "Transfer";
        case EntryKind::notice:
            break;
    }
    return "Notice";
}

std::string entryHtml(const Entry& entry, bool withHost) {
    const std::string kind = nameOf(entry.kind);
    std::string html =
        "<li class=\"entry " + kind + "\" data-kind=\"" + kind +
        "\"><svg class=\"symbol\" width=\"20\" height=\"20\" aria-hidden=\"true\"><use href=\"#s-" + kind +
        "\"/></svg><div>";
    html += "<p class=\"when\"><span class=\"kind\">" + std::string(wordOf(entry.kind)) +
            "</span> <span class=\"time\">" + escaped(entry.time) + "</span></p>";
    html += "<div class=\"main\">" + element("h3", "", escaped(entry.heading)) + line("text", entry.text) +
            changesHtml(entry.changes) + documentHtml(entry) + "</div>";
    html += "<div class=\"side\">" +
            line("host", withHost && !entry.host.empty() ? "Host " + entry.host : "") +
            line("subject", entry.subject) +
            line("code", entry.code.empty() ? "" : "Location code " + entry.code) +
            line("fine", entry.transfer == nullptr ? "" : arrivalText(*entry.transfer)) + "</div>";
    return html + "</div></li>\n";
}

}  // namespace

std::string timelineHtml(const std::vector<Entry>& timeline) {
    if (timeline.empty()) return "<p>No event and no inventory has arrived.</p>\n";
    std::string items;
    const bool withHost = hostsOf(timeline).size() > 1;
    const std::size_t shown = std::min(timeline.size(), mostEntriesShown);
    for (std::size_t i = 0; i < shown; ++i) items += entryHtml(timeline[timeline.size() - 1 - i], withHost);
    std::string html = "<p class=\"fine\">Newest first. Times are those of the host.";
    if (shown < timeline.size())
        html +=
            " The last " + std::to_string(shown) + " of " + std::to_string(timeline.size()) + " are shown.";
    return html + "</p>\n<ol class=\"timeline\" reversed>\n" + items + "</ol>\n";
}

}  // namespace simhost
