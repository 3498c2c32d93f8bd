#include "vokStatusWords.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "events/vokEventTable.h"
#include "vokClientText.h"

namespace {

// Names and times, the widest columns, begin at the left; numbers end at the right.
constexpr std::size_t leftWidth = 19;
using Widths = std::array<std::size_t, 6>;
constexpr Widths classWidths = {leftWidth, 7, leftWidth, 6, 7, 9};
constexpr Widths sectionWidths = {leftWidth, 8, 8, 8, 8, 9};

// A number of a damaged record may be too wide for its column.
std::string fitted(const std::string& text, std::size_t width, bool isLeft) {
    if (text.size() > width) return isLeft ? text.substr(0, width) : std::string(width, '*');
    const std::string padding(width - text.size(), ' ');
    return isLeft ? text + padding : padding + text;
}

std::string row(const Widths& widths, const std::array<std::string, 6>& texts) {
    std::string line;
    for (std::size_t column = 0; column < widths.size(); ++column) {
        const bool isLeft = widths[column] == leftWidth;
        line += (column == 0 ? "" : "  ") + fitted(texts[column], widths[column], isLeft);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

// A line of "NAME  text", in which the texts of all names begin in one column.
std::string fact(const std::string& name, const std::string& text) {
    std::string label = name;
    label.resize(21, ' ');
    return vokWrapped(label, text);
}

std::string agentFacts(const vokStatusSnapshot& status, std::int64_t now) {
    std::string text = fact("Version", status.version);
    text += fact("Process", status.isRunning ? std::to_string(status.process)
                                             : "none; what follows is the last that is known");
    text += fact("Started", vokTimeAndAge(status.start, now));
    if (status.stop != 0) text += fact("Stopped", vokTimeAndAge(status.stop, now));
    return text;
}

std::string nextBuild(const vokClassStatus& each, std::int64_t now) {
    if (each.nextBuild == 0) return "-";
    return each.nextBuild < now ? "due" : "in " + vokSpanWords(each.nextBuild - now);
}

std::string classRow(const vokClassStatus& each, std::int64_t now) {
    if (!each.enabled) return row(classWidths, {each.name, "-", "disabled", "-", "-", "-"});
    if (each.lastBuildEnd == 0) return row(classWidths, {each.name, "-", "not ready", "-", "-", "-"});
    return row(classWidths, {each.name, std::to_string(each.records), vokLocalTimeWords(each.lastBuildEnd),
                             vokSpanWords(now - each.lastBuildEnd), vokDurationWords(each.lastBuildDuration),
                             nextBuild(each, now)});
}

std::string classNotes(const vokClassStatus& each, std::int64_t now) {
    std::string text;
    if (each.enabled && each.lastBuildEnd != 0 && !each.ready) text += "  not ready\n";
    if (each.isBuilding) text += "  builds since " + vokTimeAndAge(each.buildBegin, now) + "\n";
    if (each.failedCommands != 0)
        text += "  " + vokCountOf(each.failedCommands, "command", "commands") +
                " failed since the start of the agent\n";
    return text;
}

std::string classTable(const vokStatusSnapshot& status, std::int64_t now) {
    std::string text = row(classWidths, {"CLASS", "RECORDS", "LAST BUILD", "AGO", "TOOK", "NEXT"});
    for (const vokClassStatus& each : status.classes) text += classRow(each, now) + classNotes(each, now);
    return text;
}

// Empty if no class has records with a health.
std::string sectionTable(const vokStatusSnapshot& status) {
    std::string text;
    for (const vokClassStatus& each : status.classes)
        for (const vokSectionStatus& section : each.sections)
            text += row(sectionWidths, {section.name, std::to_string(section.ok),
                                        std::to_string(section.warning), std::to_string(section.critical),
                                        std::to_string(section.unknown), std::to_string(section.linkDown)});
    if (text.empty()) return text;
    return row(sectionWidths, {"HEALTH", "OK", "WARNING", "CRITICAL", "UNKNOWN", "LINK DOWN"}) + text;
}

std::string lastPush(const vokPushStatus& push) {
    if (push.answer == vokPushAnswer::none) return "";
    const std::string size = vokCountOf(push.bytes, "byte", "bytes") + " in " +
                             vokCountOf(push.chunks, "chunk", "chunks") + ", " +
                             vokDurationWords(push.duration);
    return fact("", size) +
           fact("", push.answerText.empty() ? vokPushAnswerName(push.answer) : push.answerText);
}

std::string pushFacts(const vokPushStatus& push, std::int64_t now) {
    const std::string count = std::to_string(push.pushes) +
                              (push.failed == 0 ? "" : ", not accepted " + std::to_string(push.failed));
    std::string text = fact("Pushes", count);
    text += fact("Last push", push.isRunning ? "runs since " + vokTimeAndAge(push.begin, now)
                                             : vokTimeAndAge(push.begin, now));
    if (!push.isRunning) text += lastPush(push);
    text += fact("Last accepted", vokTimeAndAge(push.lastAccepted, now));
    text += fact("Next push", push.next == 0 ? "not planned" : vokTimeAndAge(push.next, now));
    return text;
}

std::string doorBellFacts(const vokDoorBellStatus& bell, std::int64_t now) {
    std::string text =
        fact("Door-bell", vokCountOf(bell.polls, "poll", "polls") + ", " + std::to_string(bell.answered) +
                              " answered, " + vokCountOf(bell.requests, "request", "requests") +
                              " for an inventory");
    text += fact("Last answer", vokTimeAndAge(bell.lastAnswer, now));
    text += fact("Next poll", bell.next == 0 ? "not planned" : vokTimeAndAge(bell.next, now));
    return text;
}

std::string outcomesOf(const vokEventCount& event) {
    std::string text = "delivered " + std::to_string(event.delivered);
    if (event.refused != 0) text += ", refused " + std::to_string(event.refused);
    if (event.failed != 0) text += ", failed " + std::to_string(event.failed);
    if (event.dropped != 0) text += ", dropped before the first push " + std::to_string(event.dropped);
    return text;
}

std::string eventFacts(const vokStatusSnapshot& status, std::int64_t now) {
    if (status.events.empty()) return fact("Events", "none raised");
    std::string text = "EVENTS\n";
    for (const vokEventCount& event : status.events) {
        const vokEventNumber* const known = vokFindEventNumber(event.number);
        char number[16];
        std::snprintf(number, sizeof(number), "%5d  ", event.number);
        text += vokWrapped(number, known ? known->meaning : "an event of a client");
        std::string raised = "raised " + std::to_string(event.raised);
        if (event.lastRaised != 0) raised += ", last " + vokTimeAndAge(event.lastRaised, now);
        text += vokWrapped("       ", raised);
        text += vokWrapped("       ", outcomesOf(event));
    }
    return text;
}

std::string hangingFacts(const vokStatusSnapshot& status, std::int64_t now) {
    if (status.hanging.empty()) return fact("Hanging", "nothing");
    std::string text = "HANGING\n";
    for (const vokHangingOperation& operation : status.hanging) {
        std::string owner;
        for (const vokClassStatus& each : status.classes)
            if (each.id == operation.classId) owner = " (" + each.name + ")";
        text += vokWrapped("  ", operation.description + owner);
        text += vokWrapped("    ", "since " + vokTimeAndAge(operation.begin, now));
    }
    return text;
}

// What an agent that does not run had planned comes to nothing.
vokStatusSnapshot withoutPlans(vokStatusSnapshot status) {
    for (vokClassStatus& each : status.classes) each.nextBuild = 0;
    status.push.next = 0;
    status.doorBell.next = 0;
    return status;
}

// Empty if no library is left out.
std::string leftOutFacts(const vokStatusSnapshot& status) {
    if (status.leftOut.empty()) return "";
    std::string text = "LIBRARIES LEFT OUT\n";
    for (const vokLibraryLeftOut& library : status.leftOut) {
        text += vokWrapped("  ", library.name);
        text += vokWrapped("    ",
                           vokCountOf(static_cast<std::uint64_t>(library.crashes), "crash", "crashes") +
                               ", the last in the call " + library.lastCall + " (" + library.lastEnd + ")");
    }
    return text;
}

}  // namespace

std::string vokVerdictWords(const vokVerdict& verdict) {
    std::string text;
    for (const vokFinding& finding : verdict.findings)
        text += vokWrapped(std::string(vokHealthName(finding.health)) + ": ", finding.text);
    return text;
}

std::string vokStatusWords(const vokStatusSnapshot& known, std::int64_t now) {
    const vokStatusSnapshot status = known.isRunning ? known : withoutPlans(known);
    const std::string parts[] = {agentFacts(status, now),
                                 classTable(status, now),
                                 sectionTable(status),
                                 pushFacts(status.push, now),
                                 doorBellFacts(status.doorBell, now),
                                 eventFacts(status, now),
                                 hangingFacts(status, now),
                                 leftOutFacts(status)};
    std::string text;
    for (const std::string& part : parts)
        if (!part.empty()) text += (text.empty() ? "" : "\n") + part;
    return text;
}
