// Answers the stand-ins in the host's bin, keeps a log of every command, and spoils commands on request:
// so the agent's dealing with a tool that fails, hangs or prints nonsense can be tried.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "common/EventLoop.h"
#include "common/RequestServer.h"
#include "host/StandIns.h"

namespace simhost {

// How the next runs of a command go.
struct CommandFault {
    enum class Kind { fail, hang, garbage };
    Kind kind = Kind::fail;
    int status = 1;      // of a failing command
    double seconds = 0;  // of the host's time, for which a hanging one stands before it answers as ever
    long long left = 0;  // how many runs; 0 means all
};

class CommandService {
public:
    struct Surroundings {
        std::string socket;
        std::string log;
        std::function<CommandContext(const std::vector<std::string>& command)> context;
        std::function<EventLoop::Clock::duration(double seconds)> toMachineTime;
        std::function<void(const std::string& name)> ran;  // called after each command
    };
    CommandService(EventLoop& loop, Surroundings surroundings);

    void spoil(const std::string& name, const CommandFault& fault) { faults_[name] = fault; }
    void mend(const std::string& name) { faults_.erase(name); }
    const std::map<std::string, CommandFault>& faults() const { return faults_; }
    const std::map<std::string, unsigned long>& runs() const { return runs_; }

private:
    void serve(const std::vector<std::string>& words, const RequestServer::Reply& reply);
    void applyFault(const std::string& name, CommandResult& result);
    void log(std::int64_t wall, const std::vector<std::string>& command, const CommandResult& result);
    bool logFails_ = false;

    EventLoop& loop_;
    Surroundings surroundings_;
    std::map<std::string, CommandFault> faults_;
    std::map<std::string, unsigned long> runs_;
    RequestServer server_;
};

}  // namespace simhost
