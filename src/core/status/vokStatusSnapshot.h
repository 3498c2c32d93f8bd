// The state of the agent as a reader sees it, from the status record that the agent keeps in
// /var/run/vokStatus.bin. The agent need not answer, nor run: the record outlives it, up to the next boot.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/access/vokLibraryCrashes.h"

// All times are seconds since the Epoch by the host's wall clock, 0 for never; durations are milliseconds.

// The records of one section of the current inventory by what their Status says.
struct vokSectionStatus {
    std::string name;                                              // as the document has it: "Drives"
    std::uint64_t ok = 0, warning = 0, critical = 0, unknown = 0;  // by Health
    std::uint64_t linkDown = 0;  // State Linkdown, whatever the Health; counted there too
};

struct vokClassStatus {
    int id = 0;        // of vokModules.h
    std::string name;  // "EthernetDevices"
    bool enabled = false;
    bool ready = false;  // a first build has ended
    bool isBuilding = false;
    std::uint64_t records = 0;  // in the current inventory
    std::int64_t lastBuildEnd = 0;
    std::uint64_t lastBuildDuration = 0;
    std::int64_t buildBegin = 0;  // of the build in progress
    std::int64_t nextBuild = 0;   // 0: not planned
    std::uint64_t builds = 0;
    std::uint64_t failedCommands = 0;  // since the start of the agent
    std::vector<vokSectionStatus> sections;
};

enum class vokPushAnswer : std::uint32_t {  // as vokDeliveryKind
    none = 0,
    accepted,
    unconfirmed,
    refused,
    noAnswer,
    notSent,
};

struct vokPushStatus {
    std::int64_t begin = 0;  // of the last push
    bool isRunning = false;
    std::uint64_t bytes = 0;
    std::uint64_t chunks = 0;
    vokPushAnswer answer = vokPushAnswer::none;
    std::string answerText;  // a clause, as in the log
    std::uint64_t duration = 0;
    std::int64_t lastAccepted = 0;  // when the controller last accepted one
    std::int64_t next = 0;
    std::uint64_t pushes = 0;
    std::uint64_t failed = 0;  // not accepted
};

struct vokDoorBellStatus {
    std::uint64_t polls = 0;
    std::uint64_t answered = 0;
    std::uint64_t requests = 0;  // answers that requested an inventory
    std::int64_t lastPoll = 0;
    std::int64_t lastAnswer = 0;
    std::int64_t next = 0;
};

struct vokEventCount {
    int number = 0;
    std::uint64_t raised = 0, delivered = 0, refused = 0, failed = 0, dropped = 0;
    std::int64_t lastRaised = 0;
};

// An operation that has taken thirty seconds and has not ended.
struct vokHangingOperation {
    std::string description;
    std::int64_t begin = 0;
    int classId = -1;  // the class whose thread waits; -1: none
};

struct vokStatusSnapshot {
    std::string version;
    std::uint32_t process = 0;
    bool isRunning = false;  // the process that wrote it still holds the record
    std::int64_t start = 0;
    std::int64_t stop = 0;  // of a graceful stop; 0 otherwise
    // Elapsed since the agent last touched the record is not kept: an idle agent writes nothing.
    std::uint64_t refreshSeconds = 0, pushSeconds = 0, doorBellSeconds = 0;  // the configured intervals
    std::vector<vokClassStatus> classes;  // the classes that this build has
    vokPushStatus push;
    vokDoorBellStatus doorBell;
    std::vector<vokEventCount> events;  // numbers that were raised, ascending
    std::vector<vokHangingOperation> hanging;
    std::vector<vokLibraryLeftOut> leftOut;
};

// Reads the record of the host in use (vokHostAccess). Nothing with a clause in `reason` if there is none, it
// can't be read, or it is not one ("it is of another version").
std::optional<vokStatusSnapshot> vokReadStatus(std::string& reason);
