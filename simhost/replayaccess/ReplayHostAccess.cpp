#include "replayaccess/ReplayHostAccess.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <memory>
#include <thread>
#include <utility>

#include "common/Files.h"
#include "common/HostPaths.h"
#include "recording/FormsCommands.h"
#include "recording/FormsSystem.h"

namespace simhost {

namespace {

namespace kinds = recording::kinds;

// A file that can be opened, but not read.
constexpr char unreadableFile[] = "/proc/self/mem";
constexpr unsigned long longestPause = 1000;

int fail(int reason) {
    errno = reason;
    return -1;
}

bool beginsWith(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

// The output of a command while the agent reads it.
struct Output {
    std::string text;
    std::size_t at = 0;
};

ssize_t readOutput(void* cookie, char* buffer, std::size_t room) {
    auto& output = *static_cast<Output*>(cookie);
    const std::size_t count = output.text.copy(buffer, room, output.at);
    output.at += count;
    return static_cast<ssize_t>(count);
}

int closeOutput(void* cookie) {
    delete static_cast<Output*>(cookie);
    return 0;
}

// A stream without a descriptor; null with errno on failure.
FILE* streamOf(std::string text) {
    auto output = std::make_unique<Output>(Output{std::move(text)});
    cookie_io_functions_t functions{};
    functions.read = readOutput;
    functions.close = closeOutput;
    FILE* const stream = ::fopencookie(output.get(), "r", functions);
    if (stream) static_cast<void>(output.release());  // closeOutput() deletes it
    return stream;
}

}  // namespace

ReplayHostAccess::ReplayHostAccess(const std::string& root, HostState state)
    : SimulatedHostAccess(root, std::move(state)),
      questions_(this->root()),
      devices_(questions_),
      libraries_(questions_) {}

// --- paths ---

std::string ReplayHostAccess::path(const std::string& absolute) const {
    std::string hostPath = LiveHostAccess::path(absolute);
    const std::string recorded = hostPath.substr(root().size());
    if (recorded == "/") return hostPath;
    switch (questions_.path(recorded)) {
        case ReplayPath::known:
            return hostPath;
        case ReplayPath::notRead:
            return unreadableFile;
        case ReplayPath::notOpened:
        case ReplayPath::notRecorded:
            break;
    }
    return root() + replayNowhere + recorded;
}

std::string ReplayHostAccess::absoluteOf(const std::string& hostPath) const {
    for (const std::string& directory : {root() + replayNowhere, root()})
        if (beginsWith(hostPath, directory + "/")) return hostPath.substr(directory.size());
    return hostPath;
}

// A command is a question and never run, so its text is that of the recorded host.
std::string ReplayHostAccess::commandPath(const std::string& absolute) const {
    return absolute;
}

// --- device nodes ---

int ReplayHostAccess::openDevice(const std::string& hostPath, int flags) {
    const std::string device = absoluteOf(hostPath);
    const auto answer = questions_.ask(kinds::open, recording::openQuestion(device, flags));
    if (answer.status == ReplayAnswer::simulated) return SimulatedHostAccess::openDevice(hostPath, flags);
    return answer ? devices_.open(device, answer.fields) : fail(EIO);
}

int ReplayHostAccess::ioctlDevice(int descriptor, unsigned long request, void* argument) {
    return devices_.isOpen(descriptor) ? devices_.ioctl(descriptor, request, argument)
                                       : SimulatedHostAccess::ioctlDevice(descriptor, request, argument);
}

int ReplayHostAccess::waitForDevice(int descriptor) {
    return devices_.isOpen(descriptor) ? devices_.wait(descriptor)
                                       : SimulatedHostAccess::waitForDevice(descriptor);
}

int ReplayHostAccess::closeDevice(int descriptor) {
    devices_.closed(descriptor);
    return SimulatedHostAccess::closeDevice(descriptor);
}

// --- commands ---

void ReplayHostAccess::writeFiles(const std::map<std::string, std::string>& files) const {
    for (const auto& [absolute, content] : files) {
        try {
            writeFile(path(absolute), content);
        } catch (const std::exception& reason) {
            std::fprintf(stderr, "vok-hostaccess: a file of a recorded command: %s\n", reason.what());
        }
    }
}

FILE* ReplayHostAccess::openCommand(const std::string& command) {
    if (stopPhase() == vokStopPhase::withoutCommands) {
        errno = ECANCELED;
        return nullptr;
    }
    const auto asked = questions_.ask(kinds::commandRead, recording::commandQuestion(command));
    if (!asked) {
        errno = EIO;
        return nullptr;
    }
    const recording::CommandAnswer answer = recording::commandAnswer(asked.fields);
    if (!answer.opened) {
        errno = answer.error;
        return nullptr;
    }
    writeFiles(answer.files);
    FILE* const stream = streamOf(answer.output);
    if (!stream) return nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    commands_[stream] = {answer.status, answer.error};
    return stream;
}

int ReplayHostAccess::closeCommand(FILE* stream) {
    std::pair<int, int> ended{-1, ECHILD};
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = commands_.find(stream);
        if (found == commands_.end()) return fail(EINVAL);
        ended = found->second;
        commands_.erase(found);
    }
    std::fclose(stream);
    return ended.first == -1 ? fail(ended.second) : ended.first;
}

int ReplayHostAccess::runCommand(const std::string& command) {
    if (stopPhase() == vokStopPhase::withoutCommands) return fail(ECANCELED);
    const auto asked = questions_.ask(kinds::commandRun, recording::commandQuestion(command));
    if (!asked) return fail(EIO);
    const recording::CommandAnswer answer = recording::commandAnswer(asked.fields);
    writeFiles(answer.files);
    return answer.status == -1 ? fail(answer.error) : answer.status;
}

// --- libraries ---

void* ReplayHostAccess::openLibrary(const std::string& name, int /*flags*/) {
    return libraries_.open(name.find('/') == std::string::npos ? name : absoluteOf(name));
}

void* ReplayHostAccess::librarySymbol(void* library, const char* symbol) {
    return libraries_.symbol(library, symbol);
}

int ReplayHostAccess::closeLibrary(void* library) {
    return libraries_.close(library);
}

std::string ReplayHostAccess::libraryError() {
    return ReplayLibraries::error();
}

// --- the system ---

int ReplayHostAccess::systemName(struct utsname* name) {
    const auto answer = questions_.ask(kinds::systemName, {});
    return answer ? recording::playSystemName(answer.fields, *name) : fail(EIO);
}

int ReplayHostAccess::systemInformation(struct sysinfo* information) {
    const auto answer = questions_.ask(kinds::systemInformation, {});
    return answer ? recording::playSystemInformation(answer.fields, *information) : fail(EIO);
}

int ReplayHostAccess::interfaceAddresses(struct ifaddrs** addresses) {
    *addresses = nullptr;
    const auto answer = questions_.ask(kinds::interfaceAddresses, {});
    return answer ? recording::playInterfaceAddresses(answer.fields, *addresses) : fail(EIO);
}

void ReplayHostAccess::freeInterfaceAddresses(struct ifaddrs* addresses) {
    recording::freePlayedAddresses(addresses);
}

// --- the clock ---

bool ReplayHostAccess::clockStands() const {
    ClockState clock{};
    return !state().readClock(clock) || clock.speedThousandths == 0;
}

int ReplayHostAccess::timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                const struct timespec* deadline) {
    timespec now{};
    if (!clockStands() || wallClock(&now) != 0)
        return SimulatedHostAccess::timedWait(condition, mutex, deadline);
    const bool isPast =
        deadline->tv_sec < now.tv_sec || (deadline->tv_sec == now.tv_sec && deadline->tv_nsec <= now.tv_nsec);
    return isPast ? SimulatedHostAccess::timedWait(condition, mutex, deadline)
                  : ::pthread_cond_wait(condition, mutex);
}

void ReplayHostAccess::pause(unsigned long microseconds) {
    if (!clockStands()) return SimulatedHostAccess::pause(microseconds);
    std::this_thread::sleep_for(std::chrono::microseconds(std::min(microseconds, longestPause)));
}

}  // namespace simhost
