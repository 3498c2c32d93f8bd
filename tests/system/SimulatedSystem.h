// The whole thing for a test: a simulated host with its clock speeded up, its controller, and the real vokd,
// in a directory of the test's own whose path holds blanks and quotes.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "simhost/SimulatedMachine.h"

class SimulatedSystem : public SimulatedMachine {
protected:
    // Simulated seconds in a real one: the first inventory of a start then comes within a second.
    static constexpr int usualSpeed = 100;

    // The settings that a test starts from, as a JSON object: the host alone, all intervals long, logs in
    // files.
    static Json::Value usualSettings();
    // The host, its controller, with these settings. Without a controller: startHostAlone.
    void startAll(const Json::Value& settings = usualSettings(), int speed = usualSpeed);
    void startHostAlone(const Json::Value& settings = usualSettings(), int speed = usualSpeed,
                        std::vector<std::string> options = {}, const std::string& host = "rack-node");

    void startAgent();
    // The first push opens the gate for events.
    void startAgentAndWaitForItsPush();
    // Runs vokcli with these words to its end.
    Ran runClient(std::vector<std::string> words) const;
    // Runs vokd with these options to its end.
    Ran runAgent(const std::vector<std::string>& options);
    // SIGTERM, and the exit status.
    int stopAgent() { return agent.end(SIGTERM); }

    // A file of the host's, by its absolute path there.
    std::string hostFile(const std::string& path) const;
    bool hostHas(const std::string& path) const;
    void writeHostFile(const std::string& path, const std::string& content) const;
    std::vector<std::string> hostDirectory(const std::string& path) const;
    std::string agentLog() const { return hostFile("/scratch/log/mev/vok/vok.log"); }
    std::string debugLog() const { return hostFile("/scratch/log/mev/vok/vok-debug.log"); }
    // How often the text stands in both logs.
    int timesLogged(const std::string& text) const;
    // Waits until the text stands so often in the logs; false after 20 s.
    bool waitForLog(const std::string& text, int times = 1) const;

    // The numbers in the startup record by key; -1 for a line whose value is no number.
    std::map<std::string, long> startupRecord() const;
    std::string inventoryText(int number) const;
    // The events that the controller has: as they came, read, and their numbers.
    std::vector<std::string> eventTexts() const;
    std::vector<Json::Value> eventObjects() const;
    std::vector<int> events() const;
    int controllerCount(const char* what) { return controllerState()[what].asInt(); }

    RunningProgram agent;
};

// Looks every few milliseconds whether it is so; false when it is not within 20 s.
bool waitUntil(const std::function<bool()>& isSo);
// How often `text` stands in `content`.
int occurrences(const std::string& content, const std::string& text);
