// The whole system for a test: a simulated host with an accelerated clock, its controller, and the real vokd,
// in a temporary directory whose path holds blanks and quotes.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "simhost/SimulatedMachine.h"

class SimulatedSystem : public SimulatedMachine {
protected:
    // Keeps what the controller received in the build's folder "documents", where the last of all tests
    // checks every inventory and event against its schema.
    ~SimulatedSystem() override;

    // Simulated seconds per real second: the first inventory then arrives within a second of the start.
    static constexpr int usualSpeed = 100;
    // The usual ones, with the first door-bell poll ten minutes of real time after the start.
    static Json::Value settingsWithoutPolls();

    // The settings that a test starts from, as a JSON object: the host alone, all intervals long, logs in
    // files.
    static Json::Value usualSettings();
    // Starts the host with these settings and its controller; startHostAlone omits the controller.
    void startAll(const Json::Value& settings = usualSettings(), int speed = usualSpeed);
    void startHostAlone(const Json::Value& settings = usualSettings(), int speed = usualSpeed,
                        std::vector<std::string> options = {}, const std::string& host = "rack-node");

    virtual std::vector<std::string> agentCommand() const;
    void startAgent();
    // The first push opens the gate for events.
    void startAgentAndWaitForItsPush();
    // Runs vokcli with these words to its end.
    Ran runClient(std::vector<std::string> words) const;
    // Runs vokd with these options to its end.
    Ran runAgent(const std::vector<std::string>& options);
    // Sends SIGTERM and returns the exit status.
    int stopAgent() { return agent.end(SIGTERM); }

    // The content of a file of the host, by its absolute path there.
    std::string hostFile(const std::string& path) const;
    bool hostHas(const std::string& path) const;
    void writeHostFile(const std::string& path, const std::string& content) const;
    std::vector<std::string> hostDirectory(const std::string& path) const;
    std::string agentLog() const { return hostFile("/scratch/log/mev/vok/vok.log"); }
    std::string debugLog() const { return hostFile("/scratch/log/mev/vok/vok-debug.log"); }
    // The number of occurrences of the text in both logs.
    int timesLogged(const std::string& text) const;
    // Waits until the text occurs at least `times` in the logs; false after 20 s.
    bool waitForLog(const std::string& text, int times = 1) const;

    // The numbers in the startup record by key; -1 for a line whose value is no number.
    std::map<std::string, long> startupRecord() const;
    std::string inventoryText(int number) const;
    // The events that the controller received: as texts, as objects, and their numbers.
    std::vector<std::string> eventTexts() const;
    std::vector<Json::Value> eventObjects() const;
    std::vector<int> events() const;
    int controllerCount(const char* what) { return controllerState()[what].asInt(); }

    RunningProgram agent;
    // False in a test that sends the controller inventories or events of its own making.
    bool keepsInventories = true;
    bool keepsEvents = true;
};

// Keeps an inventory that the agent printed with the running test's documents.
void keepPrintedInventory(const std::string& printed);

// Checks the condition every few milliseconds; false if it does not hold within 20 s.
bool waitUntil(const std::function<bool()>& condition);
// The number of occurrences of `text` in `content`.
int occurrences(const std::string& content, const std::string& text);
