#include "daemon/recording/RecordingHostAccess.h"

#include <cerrno>
#include <utility>

#include "recording/FormsSystem.h"

namespace {

constexpr long nanosecondsInSecond = 1000000000;

// `deadline` by a clock that shows `now` while the other shows `shown`.
timespec translated(const timespec& deadline, const timespec& shown, const timespec& now) {
    timespec result{};
    result.tv_sec = deadline.tv_sec - shown.tv_sec + now.tv_sec;
    result.tv_nsec = deadline.tv_nsec - shown.tv_nsec + now.tv_nsec;
    while (result.tv_nsec < 0) {
        result.tv_nsec += nanosecondsInSecond;
        --result.tv_sec;
    }
    while (result.tv_nsec >= nanosecondsInSecond) {
        result.tv_nsec -= nanosecondsInSecond;
        ++result.tv_sec;
    }
    return result;
}

}  // namespace

RecordingHostAccess::RecordingHostAccess(std::unique_ptr<IvokHostAccess> access)
    : RecordingHostAccess(*access) {
    owned_ = std::move(access);
}

RecordingHostAccess::RecordingHostAccess(IvokHostAccess& access, std::size_t mostBytes)
    : access_(access),
      log_(mostBytes),
      texts_(access),
      files_(access, log_),
      commands_(access, texts_, files_, log_),
      devices_(access, log_),
      libraries_(access, texts_, log_) {
    if (access_.wallClock(&instant_) != 0) clockError_ = errno;
    instant_.tv_nsec = 0;
}

RecordingHostAccess::~RecordingHostAccess() = default;

bool RecordingHostAccess::finish(recording::Recording& recording) {
    devices_.finish();
    files_.remarkChanges();
    recording.time = instant_.tv_sec;
    recording.files = files_.take();
    log_.moveTo(recording);
    return log_.isComplete();
}

// --- files ---

std::string RecordingHostAccess::path(const std::string& absolute) const {
    std::string hostPath = access_.path(absolute);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        absolutePaths_.try_emplace(hostPath, absolute);
    }
    const int reason = errno;
    files_.record(absolute);
    errno = reason;
    return hostPath;
}

std::string RecordingHostAccess::absoluteOf(const std::string& hostPath) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = absolutePaths_.find(hostPath);
    return found == absolutePaths_.end() ? texts_.ofHost(hostPath) : found->second;
}

// --- devices ---

int RecordingHostAccess::openDevice(const std::string& hostPath, int flags) {
    return devices_.open(absoluteOf(hostPath), hostPath, flags);
}

int RecordingHostAccess::ioctlDevice(int descriptor, unsigned long request, void* argument) {
    return devices_.ioctl(descriptor, request, argument);
}

int RecordingHostAccess::waitForDevice(int descriptor) {
    return devices_.wait(descriptor);
}

int RecordingHostAccess::closeDevice(int descriptor) {
    return devices_.close(descriptor);
}

// --- commands ---

std::string RecordingHostAccess::commandPath(const std::string& absolute) const {
    texts_.asked(absolute);
    return access_.commandPath(absolute);
}

FILE* RecordingHostAccess::openCommand(const std::string& command) {
    return commands_.open(command);
}

int RecordingHostAccess::closeCommand(FILE* stream) {
    return commands_.close(stream);
}

int RecordingHostAccess::runCommand(const std::string& command) {
    return commands_.run(command);
}

void RecordingHostAccess::requestStop() {
    access_.requestStop();
}

vokStopPhase RecordingHostAccess::stopPhase() const {
    return access_.stopPhase();
}

// --- libraries ---

void* RecordingHostAccess::openLibrary(const std::string& name, int flags) {
    const bool isPath = name.find('/') != std::string::npos;
    return libraries_.open(isPath ? absoluteOf(name) : name, name, flags);
}

void* RecordingHostAccess::librarySymbol(void* library, const char* symbol) {
    return libraries_.symbol(library, symbol);
}

int RecordingHostAccess::closeLibrary(void* library) {
    return libraries_.close(library);
}

std::string RecordingHostAccess::libraryError() {
    return libraries_.error();
}

// Asked for the record of crashes, which no inventory has a part of.
std::string RecordingHostAccess::libraryFile(void* library) {
    return access_.libraryFile(library);
}

// --- the system ---

int RecordingHostAccess::systemName(struct utsname* name) {
    const int result = access_.systemName(name);
    const int reason = errno;
    log_.add(recording::kinds::systemName, {}, recording::systemNameAnswer(*name, result == 0 ? 0 : reason));
    errno = reason;
    return result;
}

int RecordingHostAccess::systemInformation(struct sysinfo* information) {
    const int result = access_.systemInformation(information);
    const int reason = errno;
    log_.add(recording::kinds::systemInformation, {},
             recording::systemInformationAnswer(*information, result == 0 ? 0 : reason));
    errno = reason;
    return result;
}

int RecordingHostAccess::interfaceAddresses(struct ifaddrs** addresses) {
    const int result = access_.interfaceAddresses(addresses);
    const int reason = errno;
    log_.add(
        recording::kinds::interfaceAddresses, {},
        recording::interfaceAddressesAnswer(result == 0 ? *addresses : nullptr, result == 0 ? 0 : reason));
    errno = reason;
    return result;
}

void RecordingHostAccess::freeInterfaceAddresses(struct ifaddrs* addresses) {
    access_.freeInterfaceAddresses(addresses);
}

// --- time ---

int RecordingHostAccess::wallClock(struct timespec* now) {
    if (clockError_ != 0) {
        errno = clockError_;
        return -1;
    }
    *now = instant_;
    return 0;
}

int RecordingHostAccess::timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                   const struct timespec* deadline) {
    timespec now{};
    if (access_.wallClock(&now) != 0) return access_.timedWait(condition, mutex, deadline);
    const timespec real = translated(*deadline, instant_, now);
    return access_.timedWait(condition, mutex, &real);
}

int RecordingHostAccess::steadyClock(struct timespec* now) {
    return access_.steadyClock(now);
}

int RecordingHostAccess::steadyWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                    const struct timespec* deadline) {
    return access_.steadyWait(condition, mutex, deadline);
}

void RecordingHostAccess::pause(unsigned long microseconds) {
    access_.pause(microseconds);
}

int RecordingHostAccess::waitForSignal(const sigset_t* signals, long seconds) {
    return access_.waitForSignal(signals, seconds);
}

// --- threads, the log ---

int RecordingHostAccess::startThread(pthread_t* thread, void* (*body)(void*), void* argument) {
    return access_.startThread(thread, body, argument);
}

int RecordingHostAccess::joinThread(pthread_t thread) {
    return access_.joinThread(thread);
}

void RecordingHostAccess::systemLog(int priority, const std::string& text) {
    access_.systemLog(priority, text);
}
