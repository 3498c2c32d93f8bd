#include "system/RunningAgent.h"

#include <ctime>
#include <fstream>
#include <sstream>

const char* const RunningAgent::quickConfig =
    R"({"EnableResources": ["All"], "LoggingLevel": "Info", "EnableDebugLog": "true",
        "VOKLogLocation": "/scratch/log/vok.log", "DebugLogLocation": "/scratch/log/vok-debug.log",
        "IPMIDoorBellMonitorInterval": "1", "InventoryQueryIntervalInSeconds": "1",
        "PushInventoryFrequencyInMinutes": "1440"})";

void RunningAgent::startMachine(const std::string& speed, const std::string& config) {
    directory.writeFile("vok.conf", config);
    startHost({"--speed", speed, "--config", directory.path() + "/vok.conf"});
    startController();
    ASSERT_EQ(waitFor("attached", 1), 0);
}

void RunningAgent::startAgent(const std::vector<std::string>& options) {
    std::vector<std::string> command{VOKD_PROGRAM, "--host-root", root()};
    command.insert(command.end(), options.begin(), options.end());
    agent = RunningProgram(directory.path(), "vokd", command, "");
}

std::string RunningAgent::hostFile(const std::string& path) const {
    std::ifstream file(root() + path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::string RunningAgent::agentLog() const {
    return hostFile("/scratch/log/vok.log");
}

StartupValues RunningAgent::startupValues() const {
    StartupValues values;
    std::istringstream record(hostFile("/var/tmp/mevVOKStartup.txt"));
    std::string key;
    for (long value = 0; record >> key >> value;) {
        if (key == "current_start") values.currentStart = value;
        if (key == "last_start") values.lastStart = value;
        if (key == "last_stop") values.lastStop = value;
    }
    return values;
}

std::vector<int> RunningAgent::eventNumbers() const {
    std::vector<int> numbers;
    std::ifstream events(out() + "/events.jsonl");
    for (std::string line; std::getline(events, line);) {
        std::istringstream text(line);
        Json::Value event;
        std::string errors;
        if (Json::parseFromStream(Json::CharReaderBuilder(), text, &event, &errors))
            numbers.push_back(event["ID"].asInt());
    }
    return numbers;
}

void RunningAgent::waitAMoment() {
    const timespec moment{0, 5000000};
    ::nanosleep(&moment, nullptr);
}
