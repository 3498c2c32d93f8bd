// The way from the agent to a replayed host: the files that vok-simhost has laid out under the root, and for
// everything else the recorded answers. No command is run and no library is loaded. What was not recorded
// fails, and vok-simhost names it.
#pragma once

#include <cstdio>
#include <map>
#include <mutex>
#include <string>

#include "hostaccess/SimulatedHostAccess.h"
#include "replayaccess/ReplayDevices.h"
#include "replayaccess/ReplayLibraries.h"
#include "replayaccess/ReplayQuestions.h"

namespace simhost {

class ReplayHostAccess : public SimulatedHostAccess {
public:
    ReplayHostAccess(const std::string& root, HostState state);

    std::string path(const std::string& absolute) const override;
    std::string commandPath(const std::string& absolute) const override;

    int openDevice(const std::string& hostPath, int flags) override;
    int ioctlDevice(int descriptor, unsigned long request, void* argument) override;
    int waitForDevice(int descriptor) override;
    int closeDevice(int descriptor) override;

    FILE* openCommand(const std::string& command) override;
    int closeCommand(FILE* stream) override;
    int runCommand(const std::string& command) override;

    void* openLibrary(const std::string& name, int flags) override;
    void* librarySymbol(void* library, const char* symbol) override;
    int closeLibrary(void* library) override;
    std::string libraryError() override;
    // None: nothing is loaded, and a handle is none of the loader's.
    std::string libraryFile(void* /*library*/) override { return ""; }

    int systemName(struct utsname* name) override;
    int systemInformation(struct sysinfo* information) override;
    int interfaceAddresses(struct ifaddrs** addresses) override;
    void freeInterfaceAddresses(struct ifaddrs* addresses) override;

    // While the clock stands, a deadline after it never comes, and a pause is a millisecond at most.
    int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                  const struct timespec* deadline) override;
    void pause(unsigned long microseconds) override;

private:
    // The path on the recorded host of one that path() has returned.
    std::string absoluteOf(const std::string& hostPath) const;
    bool clockStands() const;
    // Puts the files in place that a command wrote.
    void writeFiles(const std::map<std::string, std::string>& files) const;

    mutable ReplayQuestions questions_;
    ReplayDevices devices_;
    ReplayLibraries libraries_;

    std::mutex mutex_;
    std::map<FILE*, std::pair<int, int>> commands_;  // wait status and errno of those that are open
};

}  // namespace simhost
