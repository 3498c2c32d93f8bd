#include "system/SimulatedSystem.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

std::string readAll(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

// Of the running test, in the build's folder.
std::filesystem::path documentsFolder() {
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test.test_suite_name()) + "." + test.name();
    std::replace(name.begin(), name.end(), '/', '.');
    const auto folder = std::filesystem::path(VOK_BUILD_DIRECTORY) / "documents" / name;
    std::filesystem::create_directories(folder);
    return folder;
}

}  // namespace

void keepPrintedInventory(const std::string& printed) {
    static int number = 0;
    if (printed.compare(0, 2, "{\"") != 0) return;  // a refusal
    std::ofstream kept(documentsFolder() / ("inventory-printed-" + std::to_string(++number) + ".json"));
    EXPECT_TRUE(kept << printed << std::flush);
}

SimulatedSystem::~SimulatedSystem() {
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(out(), failure)) {
        const std::string name = entry.path().filename();
        const bool isKept =
            name == "events.jsonl" ? keepsEvents : keepsInventories && name.compare(0, 10, "inventory-") == 0;
        if (!isKept) continue;
        std::filesystem::copy_file(entry.path(), documentsFolder() / name,
                                   std::filesystem::copy_options::overwrite_existing, failure);
        EXPECT_FALSE(failure) << name << ": " << failure.message();
    }
}

bool waitUntil(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

int occurrences(const std::string& content, const std::string& text) {
    int count = 0;
    for (auto at = content.find(text); at != std::string::npos; at = content.find(text, at + text.size()))
        ++count;
    return count;
}

Json::Value SimulatedSystem::usualSettings() {
    Json::Value settings;
    settings["EnableResources"].append("HostOSInfo");
    settings["LoggingLevel"] = "Info";
    settings["EnableDebugLog"] = "true";
    settings["CliMode"] = "test";
    settings["CacheRefreshInSeconds"]["Global"] = "36000";
    settings["PushInventoryFrequencyInMinutes"] = "14400";
    settings["VOKLogLocation"] = "/scratch/log/mev/vok/vok.log";
    settings["DebugLogLocation"] = "/scratch/log/mev/vok/vok-debug.log";
    settings["IPMIDoorBellMonitorInterval"] = "1";
    settings["InventoryQueryIntervalInSeconds"] = "1";
    return settings;
}

Json::Value SimulatedSystem::settingsWithoutPolls() {
    Json::Value settings = usualSettings();
    settings["IPMIDoorBellMonitorInterval"] = "1000";
    return settings;
}

void SimulatedSystem::startHostAlone(const Json::Value& settings, int speed, std::vector<std::string> options,
                                     const std::string& host) {
    directory.writeFile("settings.json", settings.toStyledString());
    options.insert(options.end(),
                   {"--config", directory.path() + "/settings.json", "--speed", std::to_string(speed)});
    startHost(options, host);
}

void SimulatedSystem::startAll(const Json::Value& settings, int speed) {
    startHostAlone(settings, speed);
    startController();
}

std::vector<std::string> SimulatedSystem::agentCommand() const {
    return {VOKD_PROGRAM, "--host-root", root()};
}

void SimulatedSystem::startAgent() {
    agent = RunningProgram(directory.path(), "vokd", agentCommand(), "");
}

void SimulatedSystem::startAgentAndWaitForItsPush() {
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    // The gate opens after the push.
    ASSERT_TRUE(waitForLog("JSON_AGGR: Success in delivering inventory string to RMC!"));
}

Ran SimulatedSystem::runClient(std::vector<std::string> words) const {
    words.insert(words.begin(), {VOKCLI_PROGRAM, "--host-root", root()});
    return runProgram(words);
}

Ran SimulatedSystem::runAgent(const std::vector<std::string>& options) {
    std::vector<std::string> command{VOKD_PROGRAM, "--host-root", root()};
    command.insert(command.end(), options.begin(), options.end());
    Ran ran = runProgram(command);
    keepPrintedInventory(ran.output);
    return ran;
}

std::string SimulatedSystem::hostFile(const std::string& path) const {
    return readAll(root() + path);
}

bool SimulatedSystem::hostHas(const std::string& path) const {
    return std::filesystem::exists(root() + path);
}

void SimulatedSystem::writeHostFile(const std::string& path, const std::string& content) const {
    std::ofstream(root() + path, std::ios::binary) << content;
}

std::vector<std::string> SimulatedSystem::hostDirectory(const std::string& path) const {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(root() + path, ignored))
        names.push_back(entry.path().filename().string());
    return names;
}

int SimulatedSystem::timesLogged(const std::string& text) const {
    return occurrences(agentLog(), text) + occurrences(debugLog(), text);
}

bool SimulatedSystem::waitForLog(const std::string& text, int times) const {
    return waitUntil([&] { return timesLogged(text) >= times; });
}

std::map<std::string, long> SimulatedSystem::startupRecord() const {
    std::map<std::string, long> values;
    std::istringstream lines(hostFile("/var/tmp/mevVOKStartup.txt"));
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) continue;
        const auto blank = line.find(' ');
        const std::string number = blank == std::string::npos ? "" : line.substr(blank + 1);
        const bool good = !number.empty() && number.find_first_not_of("0123456789") == std::string::npos;
        values[line.substr(0, blank)] = good ? std::stol(number) : -1;
    }
    return values;
}

std::string SimulatedSystem::inventoryText(int number) const {
    char name[40];
    std::snprintf(name, sizeof(name), "/inventory-%04d.json", number);
    return readAll(out() + name);
}

std::vector<std::string> SimulatedSystem::eventTexts() const {
    std::vector<std::string> lines;
    std::istringstream stream(readAll(out() + "/events.jsonl"));
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::vector<Json::Value> SimulatedSystem::eventObjects() const {
    std::vector<Json::Value> objects;
    for (const std::string& line : eventTexts()) std::istringstream(line) >> objects.emplace_back();
    return objects;
}

std::vector<int> SimulatedSystem::events() const {
    std::vector<int> ids;
    for (const Json::Value& event : eventObjects()) ids.push_back(event["ID"].asInt());
    return ids;
}
