// What the steps of a scenario act upon: the host and the controller through their control sockets, the agent
// as a child process, programs, and what has come so far.
#pragma once

#include <json/json.h>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "scenario/ChildProcess.h"
#include "scenario/Interruption.h"
#include "scenario/OutputTable.h"
#include "scenario/Values.h"
#include "scenario/Viewer.h"

namespace simhost {

// What a scenario wants did not happen; the sentence says what.
struct StepFailed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct StageSettings {
    std::string root;           // of the host
    std::string controller;     // the controller's files; none: ""
    std::string controllerLog;  // what the controller prints; none: ""
    std::string work;           // directory for the files of the play, and the agent's output in "vokd.log"
    std::string programs;       // directory of vokd and vokcli
    std::map<std::string, std::string> named;  // further programs that a scenario may run, by name
    std::optional<int> limit;                  // seconds after which the play is to end
    bool keep = false;
    bool rehearsal = false;  // only what changes the host is done
};

class Stage {
public:
    using Clock = std::chrono::steady_clock;

    // Throws StepFailed when the host or the controller does not answer.
    explicit Stage(StageSettings settings);
    // Ends the agent: in order, and after 5 s in any way.
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    const StageSettings& settings() const { return settings_; }
    Values& values() { return values_; }
    Viewer& viewer() { return viewer_; }
    Interruption& interruption() { return interruption_; }
    Clock::duration elapsed() const { return Clock::now() - began_; }

    // Control commands; a refusal is a StepFailed.
    std::string hostControl(const std::vector<std::string>& words) const;
    Json::Value hostState() const;
    std::string controllerControl(const std::vector<std::string>& words) const;
    Json::Value controllerStatus() const;

    // Notes the state from which "the next" inventory, event or command counts, and the time.
    void noteChange();
    std::uint64_t inventoriesAtChange() const { return inventoriesAtChange_; }
    // From the last change to the moment at which the controller wrote its last event.
    struct Delay {
        double real = 0;
        double ofTheHost = 0;
    };
    Delay delayOfLastEvent() const;

    // The events that the controller has received in this play, and how many of them were expected so far.
    std::vector<Json::Value> events() const;
    // Their number as the controller counts them: those that it counts it has also printed.
    std::size_t eventsCounted() const;
    std::size_t eventsExpected() const { return eventsExpected_; }
    void expectEvents(std::size_t more) { eventsExpected_ += more; }
    std::size_t eventsUnexpected() const { return events().size() - eventsExpected_; }
    // StepFailed when there is one that was not expected.
    void refuseFurtherEvents() const;
    std::string inventoryFile() const;  // the last one

    // The next command in the host's record after the last change, or after the one that was read last.
    std::optional<std::string> nextCommand();

    void startAgent();
    // SIGTERM; its exit status must be 0.
    void stopAgent();
    // SIGKILL for it and all that it has started.
    void killAgent();

    // Runs a program to its end. The agent's programs get the host root, commands of the host are run as the
    // agent runs them.
    struct Ran {
        int status = 0;
        std::string output;
    };
    Ran run(const std::vector<std::string>& words);
    // The same with its output for the viewer as it comes; returns its status.
    int perform(const std::vector<std::string>& words);
    std::string fileOfPlay(const std::string& name) const { return settings_.work + "/" + name; }

    // Real time passes. Throws Interrupted, and StepFailed when the agent has ended by itself.
    void pause(std::chrono::milliseconds length);
    // Until `isSo`, or so many seconds of the host's time and 15 of real time have passed: false.
    bool waitFor(double hostSeconds, const std::function<bool()>& isSo);

private:
    std::vector<std::string> commandLine(const std::vector<std::string>& words) const;
    int waitForEnd(ChildProcess& process);

    StageSettings settings_;
    Interruption interruption_;
    Viewer viewer_;
    Values values_;
    Clock::time_point began_ = Clock::now();
    ChildProcess agent_;

    std::size_t eventLinesBefore_ = 0;  // of an earlier play
    std::size_t eventsCountedBefore_ = 0;
    std::size_t eventsExpected_ = 0;
    std::uint64_t inventoriesAtChange_ = 0;
    std::chrono::system_clock::time_point changed_;
    std::int64_t hostTimeAtChange_ = 0;
    std::streamoff commandsRead_ = 0;
};

// On one line.
std::string compactJson(const Json::Value& value);

}  // namespace simhost
