#include "platform/access/vokHostAccess.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/ioctl.h>
#include <syslog.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>

#include "platform/access/vokCommandEnvironment.h"

namespace {

std::unique_ptr<IvokHostAccess>& currentAccess() {
    // Never destroyed: threads of a closed library may still use it while the process ends.
    static auto* access = new std::unique_ptr<IvokHostAccess>(std::make_unique<vokKernelHostAccess>());
    return *access;
}

}  // namespace

IvokHostAccess& vokHostAccess() {
    return *currentAccess();
}

void vokSetHostAccess(std::unique_ptr<IvokHostAccess> access) {
    currentAccess() = std::move(access);
}

time_t vokWallClockSeconds() {
    timespec now{};
    return vokHostAccess().wallClock(&now) == 0 ? now.tv_sec : 0;
}

vokKernelHostAccess::vokKernelHostAccess() : commands_(stop_), deviceWaits_(stop_) {}

vokKernelHostAccess::~vokKernelHostAccess() = default;

std::string vokKernelHostAccess::path(const std::string& absolute) const {
    return absolute;
}

std::string vokKernelHostAccess::commandPath(const std::string& absolute) const {
    return absolute;
}

int vokKernelHostAccess::openDevice(const std::string& hostPath, int flags) {
    return ::open(hostPath.c_str(), flags | O_CLOEXEC);
}

int vokKernelHostAccess::ioctlDevice(int descriptor, unsigned long request, void* argument) {
    return ::ioctl(descriptor, request, argument);
}

int vokKernelHostAccess::waitForDevice(int descriptor) {
    return deviceWaits_.wait(descriptor);
}

int vokKernelHostAccess::closeDevice(int descriptor) {
    return ::close(descriptor);
}

FILE* vokKernelHostAccess::openCommand(const std::string& command) {
    return commands_.open(command, searchPath());
}

int vokKernelHostAccess::closeCommand(FILE* stream) {
    return commands_.close(stream);
}

int vokKernelHostAccess::runCommand(const std::string& command) {
    return commands_.run(command, searchPath());
}

void vokKernelHostAccess::requestStop() {
    stop_.make();
}

vokStopPhase vokKernelHostAccess::stopPhase() const {
    if (!stop_.isMade()) return vokStopPhase::none;
    return commands_.isTimeOver() ? vokStopPhase::withoutCommands : vokStopPhase::requested;
}

std::string vokKernelHostAccess::searchPath() const {
    return vokSafeSearchPath(std::getenv("PATH"));
}

void* vokKernelHostAccess::openLibrary(const std::string& name, int flags) {
    return ::dlopen(name.c_str(), flags);
}

void* vokKernelHostAccess::librarySymbol(void* library, const char* symbol) {
    return ::dlsym(library, symbol);
}

int vokKernelHostAccess::closeLibrary(void* library) {
    return ::dlclose(library);
}

std::string vokKernelHostAccess::libraryError() {
    const char* const text = ::dlerror();
    return text ? text : "";
}

std::string vokKernelHostAccess::libraryFile(void* library) {
    struct link_map* map = nullptr;
    if (::dlinfo(library, RTLD_DI_LINKMAP, &map) != 0 || !map || !map->l_name) return "";
    return map->l_name;
}

int vokKernelHostAccess::systemName(struct utsname* name) {
    return ::uname(name);
}

int vokKernelHostAccess::systemInformation(struct sysinfo* information) {
    return ::sysinfo(information);
}

int vokKernelHostAccess::interfaceAddresses(struct ifaddrs** addresses) {
    return ::getifaddrs(addresses);
}

void vokKernelHostAccess::freeInterfaceAddresses(struct ifaddrs* addresses) {
    ::freeifaddrs(addresses);
}

int vokKernelHostAccess::wallClock(struct timespec* now) {
    return ::clock_gettime(CLOCK_REALTIME, now);
}

int vokKernelHostAccess::timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                   const struct timespec* deadline) {
    return ::pthread_cond_timedwait(condition, mutex, deadline);
}

int vokKernelHostAccess::steadyClock(struct timespec* now) {
    return ::clock_gettime(CLOCK_MONOTONIC_COARSE, now);
}

int vokKernelHostAccess::steadyWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                    const struct timespec* deadline) {
    return ::pthread_cond_clockwait(condition, mutex, CLOCK_MONOTONIC, deadline);
}

void vokKernelHostAccess::pause(unsigned long microseconds) {
    timespec left{static_cast<time_t>(microseconds / 1000000),
                  static_cast<long>(microseconds % 1000000 * 1000)};
    while (::clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

int vokKernelHostAccess::waitForSignal(const sigset_t* signals, long seconds) {
    const timespec limit{seconds, 0};
    return ::sigtimedwait(signals, nullptr, &limit);
}

int vokKernelHostAccess::startThread(pthread_t* thread, void* (*body)(void*), void* argument) {
    return ::pthread_create(thread, nullptr, body, argument);
}

int vokKernelHostAccess::joinThread(pthread_t thread) {
    return ::pthread_join(thread, nullptr);
}

void vokKernelHostAccess::systemLog(int priority, const std::string& text) {
    ::openlog("vok", 0, LOG_USER);
    ::syslog(priority, "%s", text.c_str());
    ::closelog();
}
