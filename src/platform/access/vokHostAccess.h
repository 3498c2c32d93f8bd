// The one seam between the agent and the operating system below it.
//
// Every use of the system goes through IvokHostAccess: device nodes, commands, shared libraries, system
// facts, the clock and pauses, threads; and every absolute path is mapped by path() before it is used. The
// kernel's own implementation is the default, and with it each operation is exactly the system call or
// library call it is named after; only commands get more than popen(3) and system(3) give them
// (vokCommands.h). Another implementation substitutes a simulated or a recorded host; nothing else in the
// agent changes.
#pragma once

#include <ifaddrs.h>
#include <pthread.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "platform/access/vokCommands.h"
#include "platform/access/vokDeviceWaits.h"
#include "platform/access/vokStopRequest.h"

// How far the stop of the agent has come, for the operations of the host.
enum class vokStopPhase {
    none,
    requested,        // commands have some seconds left
    withoutCommands,  // those that ran have been ended, and no further one is started
};

class IvokHostAccess {
public:
    virtual ~IvokHostAccess() = default;

    // Maps an absolute path on the host to the path that system calls take: the host path.
    virtual std::string path(const std::string& absolute) const = 0;
    // The same as one word of a POSIX shell command, quoted if necessary.
    virtual std::string commandPath(const std::string& absolute) const = 0;

    // open(2) of a device node; path() returned `hostPath`. Returns the descriptor, or -1 with errno.
    virtual int openDevice(const std::string& hostPath, int flags) = 0;
    // ioctl(2), one call. Returns its result, with errno on failure.
    virtual int ioctlDevice(int descriptor, unsigned long request, void* argument) = 0;
    // select(2) on the one descriptor for reading, without a time-out. Returns more than 0 if it is readable,
    // otherwise 0 or less, with errno on failure. A signal ends the wait with EINTR. After requestStop() the
    // wait ends with ECANCELED eight seconds after the request at the latest, or one second after its own
    // start if that is later; once a wait has ended so, further ones don't wait.
    virtual int waitForDevice(int descriptor) = 0;
    // close(2).
    virtual int closeDevice(int descriptor) = 0;

    // popen(3) for reading, and pclose(3). Prefer vokCommandStream, which owns the stream. The stream has no
    // descriptor.
    virtual FILE* openCommand(const std::string& command) = 0;
    virtual int closeCommand(FILE* stream) = 0;
    // system(3): the wait status of the shell, or -1 with errno. Prefer vokRunCommand().
    virtual int runCommand(const std::string& command) = 0;

    // Bounds what could otherwise delay the stop of the agent for ever: commands, which are ended three
    // seconds after the request and then refused with ECANCELED, and waits for devices. SCSI commands are
    // refused from the request on (vokScsi.h). Async-signal-safe; only the first call counts.
    virtual void requestStop() = 0;
    virtual vokStopPhase stopPhase() const = 0;

    // dlopen(3), dlsym(3), dlclose(3). `name` is a bare library name or a path that path() returned.
    virtual void* openLibrary(const std::string& name, int flags) = 0;
    virtual void* librarySymbol(void* library, const char* symbol) = 0;
    virtual int closeLibrary(void* library) = 0;
    // dlerror(3): why the last of the three calls above failed on this thread. Empty if none has failed since
    // the last call of libraryError(), which also clears the reason.
    virtual std::string libraryError() = 0;
    // dlinfo(3), RTLD_DI_LINKMAP: the path of the file that openLibrary() has loaded; empty if it is not
    // known.
    virtual std::string libraryFile(void* /*library*/) { return ""; }

    // uname(2), sysinfo(2), getifaddrs(3), freeifaddrs(3): 0, or -1 with errno.
    virtual int systemName(struct utsname* name) = 0;
    virtual int systemInformation(struct sysinfo* information) = 0;
    virtual int interfaceAddresses(struct ifaddrs** addresses) = 0;
    virtual void freeInterfaceAddresses(struct ifaddrs* addresses) = 0;

    // clock_gettime(2) of CLOCK_REALTIME: 0, or -1 with errno.
    virtual int wallClock(struct timespec* now) = 0;
    // pthread_cond_timedwait(3): `deadline` is an instant of wallClock(). 0, ETIMEDOUT or an error number.
    virtual int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                          const struct timespec* deadline) = 0;
    // For durations, which no change of the wall clock falsifies: clock_gettime(2) of CLOCK_MONOTONIC_COARSE,
    // which is cheap and up to ten milliseconds behind, and pthread_cond_clockwait(3) on CLOCK_MONOTONIC.
    virtual int steadyClock(struct timespec* now) = 0;
    virtual int steadyWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           const struct timespec* deadline) = 0;
    // Sleeps for the whole time, even if signals arrive.
    virtual void pause(unsigned long microseconds) = 0;
    // sigtimedwait(2) for `seconds`: the number of the signal, or -1 with errno, EAGAIN if none came.
    virtual int waitForSignal(const sigset_t* signals, long seconds) = 0;

    // pthread_create(3) with default attributes, and pthread_join(3) without the thread's result: 0, or an
    // error number.
    virtual int startThread(pthread_t* thread, void* (*body)(void*), void* argument) = 0;
    virtual int joinThread(pthread_t thread) = 0;

    // One line to the system log as "vok": openlog(3), syslog(3), closelog(3). `priority` is one of LOG_ERR,
    // LOG_WARNING, LOG_INFO, LOG_DEBUG, alone or with a facility other than LOG_USER.
    virtual void systemLog(int priority, const std::string& text) = 0;
};

// The host that this process runs on, or the one set by vokSetHostAccess.
IvokHostAccess& vokHostAccess();

// Replaces the host for the rest of the process and deletes the previous one. Called before the agent's first
// use of the host, on the thread that starts the agent.
void vokSetHostAccess(std::unique_ptr<IvokHostAccess> access);

// The wall clock in whole seconds since the Epoch; 0 if the clock can't be read.
time_t vokWallClockSeconds();

// The kernel's own implementation. Not final: a host that differs in a few operations derives from it.
class vokKernelHostAccess : public IvokHostAccess {
public:
    vokKernelHostAccess();
    ~vokKernelHostAccess() override;
    vokKernelHostAccess(const vokKernelHostAccess&) = delete;
    vokKernelHostAccess& operator=(const vokKernelHostAccess&) = delete;

    std::string path(const std::string& absolute) const override;
    std::string commandPath(const std::string& absolute) const override;
    int openDevice(const std::string& hostPath, int flags) override;
    int ioctlDevice(int descriptor, unsigned long request, void* argument) override;
    int waitForDevice(int descriptor) override;
    int closeDevice(int descriptor) override;
    FILE* openCommand(const std::string& command) override;
    int closeCommand(FILE* stream) override;
    int runCommand(const std::string& command) override;
    void requestStop() override;
    vokStopPhase stopPhase() const override;
    void* openLibrary(const std::string& name, int flags) override;
    void* librarySymbol(void* library, const char* symbol) override;
    int closeLibrary(void* library) override;
    std::string libraryError() override;
    std::string libraryFile(void* library) override;
    int systemName(struct utsname* name) override;
    int systemInformation(struct sysinfo* information) override;
    int interfaceAddresses(struct ifaddrs** addresses) override;
    void freeInterfaceAddresses(struct ifaddrs* addresses) override;
    int wallClock(struct timespec* now) override;
    int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                  const struct timespec* deadline) override;
    int steadyClock(struct timespec* now) override;
    int steadyWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                   const struct timespec* deadline) override;
    void pause(unsigned long microseconds) override;
    int waitForSignal(const sigset_t* signals, long seconds) override;
    int startThread(pthread_t* thread, void* (*body)(void*), void* argument) override;
    int joinThread(pthread_t thread) override;
    void systemLog(int priority, const std::string& text) override;

protected:
    // The PATH of commands: the safe elements of this process's own.
    virtual std::string searchPath() const;

private:
    vokStopRequest stop_;
    vokCommands commands_;
    vokDeviceWaits deviceWaits_;
};
