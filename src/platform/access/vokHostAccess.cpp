#include "platform/access/vokHostAccess.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <syslog.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace {

std::unique_ptr<IvokHostAccess>& currentAccess() {
    // Never destroyed: threads of a closed library may still use it while the process ends.
    static auto* access = new std::unique_ptr<IvokHostAccess>(std::make_unique<vokKernelHostAccess>());
    return *access;
}

// A command inherits the signal mask of the thread that starts it. A shell with SIGCHLD blocked never wakes
// up from waiting for its own children, so the signal is unblocked while a command is started.
class ChildSignalUnblocked {
public:
    ChildSignalUnblocked() {
        sigset_t childSignal;
        sigemptyset(&childSignal);
        sigaddset(&childSignal, SIGCHLD);
        ::pthread_sigmask(SIG_UNBLOCK, &childSignal, &previous_);
    }
    ~ChildSignalUnblocked() { ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    ChildSignalUnblocked(const ChildSignalUnblocked&) = delete;
    ChildSignalUnblocked& operator=(const ChildSignalUnblocked&) = delete;

private:
    sigset_t previous_{};
};

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
    if (descriptor < 0) {
        errno = EBADF;
        return -1;
    }
    if (descriptor >= FD_SETSIZE) {  // too large for an fd_set
        pollfd waited{descriptor, POLLIN, 0};
        return ::poll(&waited, 1, -1);
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(descriptor, &readable);
    const int ready = ::select(descriptor + 1, &readable, nullptr, nullptr, nullptr);
    return ready > 0 && !FD_ISSET(descriptor, &readable) ? 0 : ready;
}

int vokKernelHostAccess::closeDevice(int descriptor) {
    return ::close(descriptor);
}

FILE* vokKernelHostAccess::openCommand(const std::string& command) {
    const ChildSignalUnblocked unblocked;
    return ::popen(command.c_str(), "r");
}

int vokKernelHostAccess::closeCommand(FILE* stream) {
    return ::pclose(stream);
}

int vokKernelHostAccess::runCommand(const std::string& command) {
    const ChildSignalUnblocked unblocked;  // system() blocks it again while it waits
    return ::system(command.c_str());
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
