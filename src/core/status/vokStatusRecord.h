// The agent's side of the status record: what each thread notes of its work. A note is a few atomic stores:
// no lock, no allocation, no system call, and no thread waits for another one or for a reader. Two notes at a
// time on the same group of values are one too many: the later one is left out, as what it says is no newer.
//
// Before vokOpenStatus() has created the file, and if it fails, notes go to private memory and are lost: a
// report of vokd and a unit test leave no record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "core/status/vokStatusSnapshot.h"

struct vokStatusClass {
    int id = 0;  // of vokModules.h
    bool isEnabled = false;
};

struct vokStatusStart {
    std::string version;
    std::uint32_t process = 0;
    time_t start = 0;
    std::uint64_t refreshSeconds = 0, pushSeconds = 0, doorBellSeconds = 0;
    std::vector<vokStatusClass> classes;  // those that this build has
    std::vector<vokLibraryLeftOut> leftOut;
};

struct vokBuildResult {
    time_t end = 0;
    std::uint64_t milliseconds = 0;
};

struct vokPushResult {
    time_t end = 0;
    std::uint64_t milliseconds = 0;
    std::size_t bytes = 0;
    std::size_t chunks = 0;
    vokPushAnswer answer = vokPushAnswer::none;
    const char* answerText = "";
};

// What became of a raised event.
enum class vokEventFate { delivered, refused, failed, dropped };

// Replaces the record of an earlier run by a new one, which this process holds until it ends. Called once,
// before the threads run whose notes are to be read. False, with a line in the log, if there is no record:
// its name belongs to something other than a regular file of this user, or the file can't be made.
bool vokOpenStatus(const vokStatusStart& start);
void vokNoteStop(time_t now);

void vokNoteBuildBegin(int classId, time_t now);
void vokNoteBuildEnd(int classId, const vokBuildResult& result);
void vokNoteBuildCutShort(int classId);
// The current inventory is another one. One thread at a time calls it for a class.
void vokNoteInventory(int classId, std::size_t records, const std::vector<vokSectionStatus>& sections);
void vokNoteNextBuild(int classId, time_t next);  // 0: none is planned
void vokNoteFailedCommand(int classId);           // -1: of no class, and left out

void vokNotePushBegin(time_t now);
void vokNotePushEnd(const vokPushResult& result);
void vokNoteNextPush(time_t next);

void vokNoteDoorBell(time_t now, bool isAnswered, bool isRequest);
void vokNoteNextPoll(time_t next);

void vokNoteEventRaised(int number, time_t now);
void vokNoteEventFate(int number, vokEventFate fate);

// `slot` is that of the watch; one thread at a time has it.
void vokNoteHanging(std::size_t slot, const char* description, time_t begin, int classId);
void vokNoteHangingEnd(std::size_t slot);
