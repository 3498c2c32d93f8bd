// States of an agent for the tests of what the client makes of them. The local time is UTC.
#pragma once

#include <cstdlib>
#include <string>

#include "core/status/vokHistory.h"
#include "core/status/vokStatusSnapshot.h"

// 2026-11-22 12:00:00 UTC: the time at which each status is read.
constexpr std::int64_t exampleNow = 1795348800;

inline void useUtc() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
}

inline vokClassStatus classWithoutBuild(int id, const std::string& name, bool enabled = true) {
    vokClassStatus each;
    each.id = id;
    each.name = name;
    each.enabled = enabled;
    return each;
}

inline vokClassStatus exampleClass(int id, const std::string& name) {
    vokClassStatus each = classWithoutBuild(id, name);
    each.ready = true;
    each.records = 4;
    each.builds = 2;
    each.lastBuildEnd = exampleNow - 180;
    each.lastBuildDuration = 842;
    each.nextBuild = exampleNow + 3420;
    return each;
}

// Runs for a day, has pushed twice, and lacks nothing.
inline vokStatusSnapshot healthyStatus() {
    vokStatusSnapshot status;
    status.version = "3.3.2.1";
    status.process = 17446;
    status.isRunning = true;
    status.start = exampleNow - 24 * 3600;
    status.refreshSeconds = 3600;
    status.pushSeconds = 86400;
    status.doorBellSeconds = 600;
    status.classes = {exampleClass(2, "StorageControllers"), exampleClass(3, "EthernetDevices")};
    status.push.begin = exampleNow - 7200;
    status.push.bytes = 10756;
    status.push.chunks = 190;
    status.push.answer = vokPushAnswer::accepted;
    status.push.answerText = "the controller accepted it";
    status.push.duration = 40;
    status.push.lastAccepted = exampleNow - 7200;
    status.push.next = exampleNow + 79200;
    status.push.pushes = 2;
    status.doorBell.polls = 144;
    status.doorBell.answered = 144;
    status.doorBell.requests = 1;
    status.doorBell.lastPoll = exampleNow - 30;
    status.doorBell.lastAnswer = exampleNow - 30;
    status.doorBell.next = exampleNow + 570;
    return status;
}

// With an example of everything else that a record may hold.
inline vokStatusSnapshot eventfulStatus() {
    vokStatusSnapshot status = healthyStatus();
    status.classes[0].sections = {{"Drives", 17, 1, 1, 0, 0}, {"Volumes", 4, 0, 0, 0, 0}};
    status.classes[1].sections = {{"EthernetDevices", 3, 0, 0, 1, 2}};
    status.classes[0].failedCommands = 1;
    status.classes[1].isBuilding = true;
    status.classes[1].buildBegin = exampleNow - 90;
    vokClassStatus fibre = exampleClass(0, "FibreChannelDevices");
    fibre.enabled = false;
    status.classes.insert(status.classes.begin(), fibre);
    vokEventCount failed;
    failed.number = 538;
    failed.raised = 5;
    failed.delivered = 1;
    failed.refused = 1;
    failed.failed = 2;
    failed.dropped = 1;
    failed.lastRaised = exampleNow - 7200;
    vokEventCount injected;
    injected.number = 4711;
    injected.raised = 1;
    injected.delivered = 1;
    status.events = {failed, injected};
    vokHangingOperation operation;
    operation.description = "localcli network nic list";
    operation.begin = exampleNow - 90;
    operation.classId = 3;
    status.hanging = {operation};
    status.leftOut = {{"libstorelib.so", 2, "SIGSEGV", "PCI location"}};
    return status;
}
