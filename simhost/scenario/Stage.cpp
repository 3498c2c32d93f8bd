#include "scenario/Stage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "common/FileDescriptor.h"
#include "common/HostPaths.h"
#include "common/RequestServer.h"
#include "common/Text.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

constexpr std::chrono::milliseconds look{50};  // how often a wait looks
constexpr std::chrono::seconds gracefulEnd{5};
constexpr std::chrono::seconds longestStop{60};
constexpr double spareSeconds = 15;  // of real time, for a busy machine

std::string ask(const std::string& socket, const std::vector<std::string>& words, const std::string& who) {
    std::string error;
    const auto answer = askServer(socket, words, error);
    std::string command;
    for (const auto& word : words) command += " " + word;
    if (!answer) throw StepFailed(who + " does not answer (" + error + ")");
    if (answer->status != 0) throw StepFailed(who + " refused" + command + ": " + answer->error);
    return answer->output;
}

Json::Value parsed(const std::string& text, const std::string& what) {
    Json::Value value;
    std::istringstream stream(text);
    Json::CharReaderBuilder builder;
    std::string errors;
    if (!Json::parseFromStream(builder, stream, &value, &errors)) throw StepFailed(what + ": " + errors);
    return value;
}

std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

FileDescriptor openToAppend(const std::string& file) {
    FileDescriptor opened(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    if (!opened) throw StepFailed(file + ": " + std::strerror(errno));
    return opened;
}

std::chrono::system_clock::time_point lastWrite(const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) throw StepFailed(file + ": " + std::strerror(errno));
    return std::chrono::system_clock::time_point(std::chrono::seconds(status.st_mtim.tv_sec) +
                                                 std::chrono::nanoseconds(status.st_mtim.tv_nsec));
}

double seconds(std::chrono::system_clock::duration length) {
    return std::chrono::duration<double>(length).count();
}

}  // namespace

Stage::Stage(StageSettings settings) : settings_(std::move(settings)), viewer_(settings_.controllerLog) {
    values_.set("root", settings_.root);
    values_.set("controller", settings_.controller);
    values_.set("work", settings_.work);
    values_.set("programs", settings_.programs);
    values_.set("speed", formatText("%g", hostState()["speed"].asDouble()));
    if (!settings_.controller.empty()) {
        eventsCountedBefore_ = controllerStatus()["events"].asUInt();
        eventLinesBefore_ = linesOf(contentOf(settings_.controller + "/events.jsonl")).size();
    }
}

Stage::~Stage() {
    agent_.signal(SIGTERM);
    const auto limit = Clock::now() + gracefulEnd;
    while (agent_ && !agent_.ended() && Clock::now() < limit) std::this_thread::sleep_for(look);
}

std::string Stage::hostControl(const std::vector<std::string>& words) const {
    return ask(HostPaths(settings_.root).controlSocket(), words, "the simulated host");
}

Json::Value Stage::hostState() const {
    return parsed(hostControl({"show"}), "the host's state");
}

std::string Stage::controllerControl(const std::vector<std::string>& words) const {
    if (settings_.controller.empty()) throw StepFailed("this play has no simulated controller");
    return ask(settings_.controller + "/control.sock", words, "the controller");
}

Json::Value Stage::controllerStatus() const {
    return parsed(controllerControl({"status"}), "the controller's status");
}

void Stage::noteChange() {
    if (!settings_.controller.empty()) inventoriesAtChange_ = controllerStatus()["inventories"].asUInt64();
    std::error_code none;  // no command was run yet
    const auto size = fs::file_size(HostPaths(settings_.root).commandLog(), none);
    commandsRead_ = none ? 0 : static_cast<std::streamoff>(size);
    hostTimeAtChange_ = hostState()["epochNanoseconds"].asInt64();
    changed_ = std::chrono::system_clock::now();
}

Stage::Delay Stage::delayOfLastEvent() const {
    const auto arrived = lastWrite(settings_.controller + "/events.jsonl");
    const Json::Value host = hostState();
    const double hostSeconds =
        static_cast<double>(host["epochNanoseconds"].asInt64() - hostTimeAtChange_) / 1e9;
    const double since = seconds(std::chrono::system_clock::now() - arrived);
    return {seconds(arrived - changed_), hostSeconds - since * host["speed"].asDouble()};
}

std::vector<Json::Value> Stage::events() const {
    const auto lines = linesOf(contentOf(settings_.controller + "/events.jsonl"));
    std::vector<Json::Value> events;
    for (std::size_t i = eventLinesBefore_; i < lines.size(); ++i)
        events.push_back(parsed(lines[i], "an event"));
    return events;
}

std::size_t Stage::eventsCounted() const {
    return controllerStatus()["events"].asUInt() - eventsCountedBefore_;
}

void Stage::refuseFurtherEvents() const {
    if (settings_.controller.empty() || settings_.rehearsal) return;
    const auto came = events();
    if (came.size() > eventsExpected_)
        throw StepFailed("an event came that no step expected: " + compactJson(came[eventsExpected_]));
}

std::string Stage::inventoryFile() const {
    std::string last;  // the numbers have leading zeros
    for (const auto& entry : fs::directory_iterator(settings_.controller)) {
        const std::string name = entry.path().filename().string();
        if (name.compare(0, 10, "inventory-") == 0 && entry.path().extension() == ".json" && name > last)
            last = name;
    }
    if (last.empty()) throw StepFailed("the controller has no inventory");
    return settings_.controller + "/" + last;
}

std::optional<std::string> Stage::nextCommand() {
    std::ifstream stream(HostPaths(settings_.root).commandLog());
    stream.seekg(commandsRead_);
    std::string line;
    if (!std::getline(stream, line) || stream.eof()) return std::nullopt;
    commandsRead_ = stream.tellg();
    return line;
}

void Stage::startAgent() {
    if (agent_) throw StepFailed("the agent runs already");
    agent_ = ChildProcess(commandLine({"vokd"}), openToAppend(fileOfPlay("vokd.log")).get());
}

void Stage::stopAgent() {
    if (!agent_) throw StepFailed("the agent is not running");
    agent_.signal(SIGTERM);
    const auto limit = Clock::now() + longestStop;
    for (;;) {
        if (const auto status = agent_.ended()) {
            if (*status != 0) throw StepFailed("vokd ended with status " + std::to_string(*status));
            return;
        }
        if (Clock::now() > limit) throw StepFailed("vokd does not stop");
        interruption_.check();
        std::this_thread::sleep_for(look);
    }
}

void Stage::killAgent() {
    if (!agent_) throw StepFailed("the agent is not running");
    agent_ = ChildProcess();
}

std::vector<std::string> Stage::commandLine(const std::vector<std::string>& words) const {
    const std::string& name = words.at(0);
    std::vector<std::string> command = words;
    if (name == "vokd" || name == "vokcli") {
        command[0] = settings_.programs + "/" + name;
        command.insert(command.begin() + 1, {"--host-root", settings_.root});
        if (name == "vokcli") command.insert(command.begin() + 1, {"--timeout", "30"});
    } else if (const auto named = settings_.named.find(name); named != settings_.named.end()) {
        command[0] = named->second;
    } else if (const std::string ofTheHost = settings_.root + "/bin/" + name; fs::exists(ofTheHost)) {
        command[0] = ofTheHost;
    }
    return command;
}

Stage::Ran Stage::run(const std::vector<std::string>& words) {
    const std::string file = fileOfPlay("output.txt");
    fs::remove(file);
    ChildProcess process(commandLine(words), openToAppend(file).get());
    Ran ran;
    ran.status = waitForEnd(process);
    ran.output = contentOf(file);
    fs::remove(file);
    return ran;
}

int Stage::perform(const std::vector<std::string>& words) {
    ChildProcess process(commandLine(words), STDOUT_FILENO);
    try {
        return waitForEnd(process);
    } catch (...) {
        // It may have started others, which only it can end in order.
        process.signal(SIGTERM);
        const auto limit = Clock::now() + gracefulEnd;
        while (!process.ended() && Clock::now() < limit) std::this_thread::sleep_for(look);
        throw;
    }
}

int Stage::waitForEnd(ChildProcess& process) {
    for (;;) {
        if (const auto status = process.ended()) return *status;
        pause(std::chrono::milliseconds(5));
    }
}

void Stage::pause(std::chrono::milliseconds length) {
    const auto until = Clock::now() + length;
    for (;;) {
        interruption_.check();
        if (const auto status = agent_.ended())
            throw StepFailed("vokd ended by itself, with status " + std::to_string(*status));
        const auto left = until - Clock::now();
        if (left <= Clock::duration::zero()) return;
        std::this_thread::sleep_for(std::min<Clock::duration>(left, look));
    }
}

bool Stage::waitFor(double hostSeconds, const std::function<bool()>& isSo) {
    const double speed = hostState()["speed"].asDouble();
    const auto limit = Clock::now() + std::chrono::duration<double>(hostSeconds / speed + spareSeconds);
    while (!isSo()) {
        if (Clock::now() > limit) return false;
        pause(look);
    }
    return true;
}

std::string compactJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

}  // namespace simhost
