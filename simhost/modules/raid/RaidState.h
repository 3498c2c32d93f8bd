// The RAID controllers' library while the host runs: it answers its commands, or fails them as told, and
// sends the events of the controllers' firmware to those that are registered for them.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/HostModule.h"
#include "library/LibraryServer.h"
#include "modules/raid/RaidControllers.h"
#include "modules/raid/RaidEvents.h"

namespace simhost {

// Which commands are meant: a part that is missing stands for all.
struct RaidCommandChoice {
    std::optional<std::uint32_t> controller;  // id
    std::string name;                         // empty: all
    std::optional<std::uint16_t> device;
    std::optional<std::uint8_t> target;
};

// What becomes of them.
struct RaidFault {
    enum Kind { fail, slow, hang };
    RaidCommandChoice choice;
    Kind kind = fail;
    std::uint32_t status = 0;
    double seconds = 0;
    std::optional<long long> count;  // so many more; none: for good
};

class RaidState : public ModuleState {
public:
    explicit RaidState(SimulatedHost& host);

    void hostGoesDown() override { registrations_.clear(); }

    // Numbers the event, keeps it in the controller's log and delivers it.
    void send(RaidController& controller, const RaidEvent& event);
    void add(const RaidFault& fault) { faults_.push_back(fault); }
    // Cancels the faults that were set with this choice, or with none of an empty one's parts, and answers
    // what hangs because of them.
    void cancel(const RaidCommandChoice& choice);
    // Empty lists on a host without the library.
    void show(Json::Value& shown);

    // The names of commands, for the messages of control commands.
    static std::vector<std::string> commandNames();

private:
    struct Command;
    struct Answer {
        std::uint32_t status = 0;
        std::string bytes;
    };
    struct Interest {
        std::uint32_t controller;  // entry of the list
        std::uint16_t locale;
        std::int8_t eventClass;
        std::uint32_t sequence;
    };
    struct Registration {
        std::uint32_t uniqueId;
        std::uint64_t token;
        std::uint32_t process;
        std::vector<Interest> interests;
    };
    struct Logged {
        std::uint32_t sequence;
        RaidEvent event;
        std::string record;
    };
    struct Hanging {
        RaidCommandChoice choice;  // of the fault
        std::function<void()> answer;
    };

    void handle(const std::string& bytes, const LibraryServer::Reply& reply);
    void noteViolation(const std::string& text);
    RaidFault* faultFor(const Command& command);
    Answer answer(const Command& command);
    Answer answerLibrary(const Command& command);
    Answer answerController(const Command& command, const RaidController& controller);
    Answer passThrough(const Command& command, const RaidController& controller);
    Answer registerProcess(const Command& command);
    Answer unregister(const Command& command);
    void count(const Command& command);
    void showLibrary(Json::Value& library);
    // Processes that are gone have no registration any more.
    void forgetGoneProcesses();
    void deliver(const Registration& registration, const RaidController& controller, const Logged& logged);

    SimulatedHost& host_;
    std::vector<RaidFault> faults_;
    std::vector<Hanging> hanging_;
    std::uint32_t lastUniqueId_ = 0;
    std::vector<Registration> registrations_;
    std::map<std::uint32_t, std::deque<Logged>> logs_;                      // by controller id
    std::map<std::string, std::uint64_t> libraryCounts_;                    // by name
    std::map<std::uint32_t, std::map<std::string, std::uint64_t>> counts_;  // by controller id and name
    std::map<std::pair<std::uint32_t, std::uint16_t>, std::map<std::string, std::uint64_t>> diskCounts_;
    std::uint64_t violations_ = 0;
};

// The rows of the control commands.
Rows<ControlCommand> raidCommands();

}  // namespace simhost
