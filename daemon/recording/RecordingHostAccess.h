// A host whose every question and answer is recorded: passes all operations on to the host below it.
//
// The wall clock is the exception. It shows the instant of the construction, in whole seconds, as long as
// this exists: an inventory of the recording then has the same bytes. Deadlines of waits are translated.
//
// What the agent writes, and its own threads, signals and log lines, are not recorded.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "daemon/recording/CommandRecorder.h"
#include "daemon/recording/DeviceRecorder.h"
#include "daemon/recording/ExchangeLog.h"
#include "daemon/recording/FileRecorder.h"
#include "daemon/recording/LibraryRecorder.h"
#include "platform/access/vokHostAccess.h"
#include "recording/Recording.h"

class RecordingHostAccess final : public IvokHostAccess {
public:
    explicit RecordingHostAccess(std::unique_ptr<IvokHostAccess> access);
    // `access` outlives this; `mostBytes`: of the recording.
    explicit RecordingHostAccess(IvokHostAccess& access, std::size_t mostBytes = ExchangeLog::mostBytes);
    ~RecordingHostAccess() override;

    // Paths at and below these are not recorded: the places that the agent itself writes to.
    void leaveOut(const std::vector<std::string>& paths) { files_.leaveOut(paths); }
    // Ends the recording and fills in time, files, exchanges and remarks. False if it is incomplete, because
    // it would be too large. The agent may use the host further on.
    bool finish(recording::Recording& recording);

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

private:
    // The absolute path that path() was asked for to get `hostPath`.
    std::string absoluteOf(const std::string& hostPath) const;

    std::unique_ptr<IvokHostAccess> owned_;  // null if it is another's
    IvokHostAccess& access_;
    mutable ExchangeLog log_;
    mutable recording::HostTexts texts_;
    mutable FileRecorder files_;
    CommandRecorder commands_;
    DeviceRecorder devices_;
    LibraryRecorder libraries_;
    timespec instant_{};                                        // of the wall clock
    int clockError_ = 0;                                        // why it can't be read
    mutable std::mutex mutex_;                                  // guards what follows
    mutable std::map<std::string, std::string> absolutePaths_;  // by host path
};
