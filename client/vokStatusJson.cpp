#include "vokStatusJson.h"

#include <json/writer.h>
#include <sstream>

#include "events/vokEventTable.h"
#include "vokClientText.h"
#include "vokHistoryWords.h"

namespace {

// A time is two members: the text in UTC and the seconds since the Epoch. Both are null for never.
void setTime(Json::Value& object, const std::string& key, std::int64_t seconds) {
    object[key] = seconds == 0 ? Json::Value() : Json::Value(vokIsoTime(seconds));
    object[key + "Seconds"] = seconds == 0 ? Json::Value() : Json::Value(Json::Int64{seconds});
}

void setCount(Json::Value& object, const char* key, std::uint64_t count) {
    object[key] = Json::UInt64{count};
}

void setDuration(Json::Value& object, const char* key, std::uint64_t milliseconds) {
    object[key] = static_cast<double>(milliseconds) / 1000;
}

Json::Value sectionOf(const vokSectionStatus& section) {
    Json::Value object(Json::objectValue);
    object["name"] = section.name;
    setCount(object, "ok", section.ok);
    setCount(object, "warning", section.warning);
    setCount(object, "critical", section.critical);
    setCount(object, "unknown", section.unknown);
    setCount(object, "linkDown", section.linkDown);
    return object;
}

Json::Value classOf(const vokClassStatus& each) {
    Json::Value object(Json::objectValue);
    object["name"] = each.name;
    object["enabled"] = each.enabled;
    object["ready"] = each.ready;
    object["building"] = each.isBuilding;
    setCount(object, "records", each.records);
    setCount(object, "builds", each.builds);
    setCount(object, "failedCommands", each.failedCommands);
    setTime(object, "lastBuildEnd", each.lastBuildEnd);
    setDuration(object, "lastBuildDurationSeconds", each.lastBuildDuration);
    setTime(object, "buildBegin", each.isBuilding ? each.buildBegin : 0);
    setTime(object, "nextBuild", each.nextBuild);
    object["sections"] = Json::Value(Json::arrayValue);
    for (const vokSectionStatus& section : each.sections) object["sections"].append(sectionOf(section));
    return object;
}

Json::Value pushOf(const vokPushStatus& push) {
    Json::Value object(Json::objectValue);
    object["running"] = push.isRunning;
    object["answer"] = vokPushAnswerName(push.answer);
    object["answerText"] = push.answerText;
    setCount(object, "bytes", push.bytes);
    setCount(object, "chunks", push.chunks);
    setCount(object, "pushes", push.pushes);
    setCount(object, "failed", push.failed);
    setDuration(object, "durationSeconds", push.duration);
    setTime(object, "begin", push.begin);
    setTime(object, "lastAccepted", push.lastAccepted);
    setTime(object, "next", push.next);
    return object;
}

Json::Value doorBellOf(const vokDoorBellStatus& bell) {
    Json::Value object(Json::objectValue);
    setCount(object, "polls", bell.polls);
    setCount(object, "answered", bell.answered);
    setCount(object, "requests", bell.requests);
    setTime(object, "lastPoll", bell.lastPoll);
    setTime(object, "lastAnswer", bell.lastAnswer);
    setTime(object, "next", bell.next);
    return object;
}

Json::Value meaningOf(int number) {
    const vokEventNumber* const known = vokFindEventNumber(number);
    return known ? Json::Value(known->meaning) : Json::Value();
}

Json::Value eventOf(const vokEventCount& event) {
    Json::Value object(Json::objectValue);
    object["number"] = event.number;
    object["meaning"] = meaningOf(event.number);
    setCount(object, "raised", event.raised);
    setCount(object, "delivered", event.delivered);
    setCount(object, "refused", event.refused);
    setCount(object, "failed", event.failed);
    setCount(object, "dropped", event.dropped);
    setTime(object, "lastRaised", event.lastRaised);
    return object;
}

Json::Value hangingOf(const vokHangingOperation& operation, const vokStatusSnapshot& status) {
    Json::Value object(Json::objectValue);
    object["description"] = operation.description;
    object["class"] = Json::Value();
    for (const vokClassStatus& each : status.classes)
        if (each.id == operation.classId) object["class"] = each.name;
    setTime(object, "begin", operation.begin);
    return object;
}

Json::Value leftOutOf(const vokLibraryLeftOut& library) {
    Json::Value object(Json::objectValue);
    object["name"] = library.name;
    object["crashes"] = library.crashes;
    object["lastEnd"] = library.lastEnd;
    object["lastCall"] = library.lastCall;
    return object;
}

void setAgent(Json::Value& object, const vokStatusSnapshot& status) {
    object["version"] = status.version;
    object["process"] = status.isRunning ? Json::Value(status.process) : Json::Value();
    setTime(object, "start", status.start);
    setTime(object, "stop", status.stop);
    setCount(object, "refreshIntervalSeconds", status.refreshSeconds);
    setCount(object, "pushIntervalSeconds", status.pushSeconds);
    setCount(object, "doorBellIntervalSeconds", status.doorBellSeconds);
    object["push"] = pushOf(status.push);
    object["doorBell"] = doorBellOf(status.doorBell);
    for (const char* list : {"classes", "events", "hanging", "librariesLeftOut"})
        object[list] = Json::Value(Json::arrayValue);
    for (const vokClassStatus& each : status.classes) object["classes"].append(classOf(each));
    for (const vokEventCount& event : status.events) object["events"].append(eventOf(event));
    for (const vokHangingOperation& each : status.hanging) object["hanging"].append(hangingOf(each, status));
    for (const vokLibraryLeftOut& each : status.leftOut) object["librariesLeftOut"].append(leftOutOf(each));
}

}  // namespace

Json::Value vokStatusJson(const vokStatusSnapshot* status, const vokVerdict& verdict, std::int64_t now) {
    Json::Value object(Json::objectValue);
    object["verdict"] = vokHealthName(verdict.health);
    object["exitStatus"] = static_cast<int>(verdict.health);
    object["reasons"] = Json::Value(Json::arrayValue);
    for (const vokFinding& finding : verdict.findings) object["reasons"].append(finding.text);
    object["running"] = status && status->isRunning;
    setTime(object, "time", now);
    if (status) setAgent(object, *status);
    return object;
}

Json::Value vokHistoryJson(const std::vector<vokHistoryEntry>& entries) {
    Json::Value list(Json::arrayValue);
    for (const vokHistoryEntry& entry : entries) {
        Json::Value object(Json::objectValue);
        setCount(object, "number", entry.number);
        object["kind"] = vokHistoryKindName(entry.kind);
        setTime(object, "time", entry.time);
        if (entry.kind == vokHistoryKind::event) {
            object["event"] = entry.event;
            object["meaning"] = meaningOf(entry.event);
            object["subject"] = entry.subject;
        }
        if (entry.kind == vokHistoryKind::push) {
            setCount(object, "bytes", entry.bytes);
            setCount(object, "chunks", entry.chunks);
        }
        if (entry.kind == vokHistoryKind::event || entry.kind == vokHistoryKind::push) {
            object["outcome"] = vokOutcomeName(entry);
            object["answer"] = entry.answer;
            setDuration(object, "durationSeconds", entry.duration);
        }
        list.append(object);
    }
    return list;
}

std::string vokStyledJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["enableYAMLCompatibility"] = true;  // no blank before a colon
    builder["precision"] = 6;
    builder["precisionType"] = "decimal";
    return Json::writeString(builder, value);
}
