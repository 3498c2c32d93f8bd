// A recorded host for a test, made by hand and played back by a running vok-simhost.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "recording/Archive.h"
#include "recording/Recording.h"
#include "simhost/SimulatedMachine.h"

using RecordedKind = recording::FileEntry::Kind;

inline recording::FileEntry recordedFile(const std::string& content, int error = 0) {
    recording::FileEntry entry;
    entry.kind = RecordedKind::file;
    entry.content = content;
    entry.error = error;
    entry.asked = true;
    return entry;
}

inline recording::FileEntry recordedLink(const std::string& target) {
    recording::FileEntry entry;
    entry.kind = RecordedKind::link;
    entry.target = target;
    return entry;
}

inline recording::FileEntry recordedList(std::map<std::string, RecordedKind> children, int error = 0) {
    recording::FileEntry entry;
    entry.kind = RecordedKind::directory;
    entry.children = std::move(children);
    entry.error = error;
    entry.asked = true;
    return entry;
}

// A directory on the way to a path that was asked for.
inline recording::FileEntry recordedWay() {
    recording::FileEntry entry;
    entry.kind = RecordedKind::directory;
    return entry;
}

inline recording::FileEntry recordedEntry(RecordedKind kind) {
    recording::FileEntry entry;
    entry.kind = kind;
    entry.asked = true;
    return entry;
}

inline recording::Recording emptyRecording() {
    recording::Recording made;
    made.agentVersion = "3.3.2.1";
    made.abi = "i386";
    made.time = 1794731902;
    made.document = "{}";
    return made;
}

class ReplayedMachine : public SimulatedMachine {
protected:
    std::string archive() const { return directory.path() + "/host.tar"; }
    void save() {
        std::string error;
        ASSERT_TRUE(recording::saveArchive(recorded, archive(), error)) << error;
    }
    // Plays `recorded`.
    void startReplay(const std::vector<std::string>& options = {}) {
        ASSERT_NO_FATAL_FAILURE(save());
        std::vector<std::string> command{VOK_SIMHOST_PROGRAM, "run", "--replay", archive(), "--root", root()};
        command.insert(command.end(), options.begin(), options.end());
        hostProgram = RunningProgram(directory.path(), "simhost", command, "ready");
    }
    void addExchange(const std::string& kind, recording::Fields question,
                     std::vector<recording::Fields> answers) {
        recorded.exchanges.push_back({kind, std::move(question), std::move(answers)});
    }
    // How often `name` was asked in vain; 0 if vok-simhost does not name it.
    int timesNotRecorded(const std::string& name) { return hostState()["notRecorded"][name].asInt(); }

    recording::Recording recorded = emptyRecording();
};
