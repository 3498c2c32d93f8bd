// The real daemon on a running simulated host, for tests of the whole.
#pragma once

#include <string>
#include <vector>

#include "simhost/SimulatedMachine.h"

// The values of the startup record; -1 for a key that is not there.
struct StartupValues {
    long currentStart = -1;
    long lastStart = -1;
    long lastStop = -1;
};

class RunningAgent : public SimulatedMachine {
protected:
    // A host whose clock runs so many times faster than the real one, and its controller.
    void startMachine(const std::string& speed, const std::string& config = quickConfig);
    void startAgent(const std::vector<std::string>& options = {});
    // SIGTERM, and the exit status.
    int stopAgent() { return agent.end(15); }
    // SIGKILL.
    void killAgent() { agent.end(9); }

    StartupValues startupValues() const;
    std::string agentLog() const;
    std::string hostFile(const std::string& path) const;
    // Looks every few milliseconds whether it is so, for at most 20 real seconds.
    template <typename Condition>
    static bool comesTrue(Condition condition) {
        return comesTrueWithin(20, condition);
    }
    long countOf(const std::string& what) { return static_cast<long>(controllerState()[what].asInt64()); }
    // The numbers of the events that the controller has kept, in the order of their coming.
    std::vector<int> eventNumbers() const;

    RunningProgram agent;

    // The managers are asked each second, the door-bell each minute; everything is logged.
    static const char* const quickConfig;

private:
    template <typename Condition>
    static bool comesTrueWithin(int seconds, Condition condition) {
        for (int i = 0; i < seconds * 200; ++i) {
            if (condition()) return true;
            waitAMoment();
        }
        return false;
    }
    static void waitAMoment();
};
