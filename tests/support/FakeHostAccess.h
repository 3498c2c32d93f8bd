// A host for unit tests. Files lie in a temporary directory, commands have scripted output, the one device
// under /dev answers from a script and a device node elsewhere is a file of the directory, the clock stands
// still until somebody waits or pauses, and nothing waits in real time. It records what it was asked in the
// order of asking.
//
// Not for tests of the seam itself, which use the kernel's own implementation, nor for tests of the whole
// daemon, which run on a simulated host.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/access/vokHostAccess.h"
#include "support/TemporaryDirectory.h"

// One request as the device got it.
struct FakeDeviceRequest {
    unsigned char netfn = 0;
    unsigned char command = 0;
    long messageId = 0;
    std::vector<unsigned char> data;
    // The address as it stood in the request.
    int addressType = 0;
    int channel = 0;
    unsigned char lun = 0;
    unsigned int addressLength = 0;
    bool dataPointerIsNull = false;
};

// What the device does with one request.
struct FakeDeviceReply {
    int sendResult = 0;                // of IPMICTL_SEND_COMMAND
    int waitResult = 1;                // of the wait for the reply
    int receiveResult = 0;             // of IPMICTL_RECEIVE_MSG_TRUNC
    std::vector<unsigned char> bytes;  // completion code first
};

class FakeHostAccess : public IvokHostAccess {
public:
    FakeHostAccess();

    // --- what the test sets ---
    TemporaryDirectory root;
    // Output of a command by its exact text; a command that is not here prints nothing and exits 127.
    std::map<std::string, std::string> commandOutput;
    // Called for each command instead of the map when set: gives the output, may set the exit status.
    std::function<std::string(const std::string& command, int& exitStatus)> onCommand;
    bool commandsFailToStart = false;  // openCommand gives null, runCommand -1
    // How many times openDevice fails with ENOENT before it succeeds.
    int failingDeviceOpens = 0;
    // Answers a request. The default takes every remote command chunk with the next index.
    std::function<FakeDeviceReply(const FakeDeviceRequest&)> onDeviceRequest;
    timespec now{1700000000, 0};
    int failingClockReads = 0;  // how many calls of wallClock fail with EINVAL before the next that works
    bool systemNameFails = false;
    bool systemInformationFails = false;
    bool interfaceAddressesFail = false;
    long uptimeSeconds = 1000;
    std::string nodeName = "testhost";
    // Name and address of each interface, in the order of getifaddrs: IPv4; IPv6 when there is a colon in
    // it; an entry without an address when it is empty.
    std::vector<std::pair<std::string, std::string>> interfaces{{"lo", "127.0.0.1"}, {"vmk0", "10.1.2.3"}};
    // Called in timedWait before the clock moves, with the waiter's mutex held; true means a signal came.
    // May wait on the condition itself to hold a thread.
    std::function<bool(const timespec& deadline)> onTimedWait;
    // A timed wait ends by a signal alone, however long that takes: for threads that are to stand still.
    bool timedWaitsHold = false;
    // Libraries by name, each with the addresses of its symbols; others are not there.
    std::map<std::string, std::map<std::string, void*>> libraries;
    // What libraryError() reports, once, after a call that found nothing; empty: the call leaves no reason.
    std::string libraryFailure;
    // Called in each pause before it is recorded.
    std::function<void(unsigned long)> onPause;
    // Called with each line for the system log before it is recorded; the logger's lock is held.
    std::function<void(const std::string& text)> onSystemLog;

    // --- what the test reads, under `guard` when threads run ---
    std::mutex guard;
    std::vector<std::string> commands;  // texts of openCommand and runCommand
    std::vector<std::string> openedDevices;
    std::vector<FakeDeviceRequest> deviceRequests;
    std::vector<unsigned long> pauses;                        // microseconds
    std::vector<long long> waitedSeconds;                     // deadline less now, of each timedWait
    std::vector<std::pair<int, std::string>> systemLogLines;  // priority and text
    int openDevices = 0;                                      // opened and not closed yet
    int openCommands = 0;                                     // of openCommand, not closed yet
    unsigned int addressRoom = 0;                             // of the last receive, in bytes
    unsigned int dataRoom = 0;

    std::vector<std::pair<std::string, int>> openedLibraries;  // names and flags, also of failed calls
    int openLibraries = 0;                                     // opened and not closed yet

    // The payload of the remote commands that the device got, put together from their chunks as a
    // controller would.
    std::vector<std::string> remoteCommandPayloads() const;

    // --- IvokHostAccess ---
    std::string path(const std::string& absolute) const override;
    std::string commandPath(const std::string& absolute) const override;
    int openDevice(const std::string& place, int flags) override;
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
    int systemName(struct utsname* name) override;
    int systemInformation(struct sysinfo* information) override;
    int interfaceAddresses(struct ifaddrs** addresses) override;
    void freeInterfaceAddresses(struct ifaddrs* addresses) override;
    int wallClock(struct timespec* now) override;
    int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                  const struct timespec* deadline) override;
    void pause(unsigned long microseconds) override;
    int startThread(pthread_t* thread, void* (*body)(void*), void* argument) override {
        return ::pthread_create(thread, nullptr, body, argument);
    }
    int joinThread(pthread_t thread) override { return ::pthread_join(thread, nullptr); }
    void systemLog(int priority, const std::string& text) override;

private:
    std::string runScripted(const std::string& command, int& exitStatus);

    std::map<FILE*, int> exitStatuses_;
    FakeDeviceReply reply_;
    long lastMessageId_ = 0;
    std::string lastLibraryError_;
};

// Puts a new fake host in place for the whole process and gives it.
FakeHostAccess& useFakeHost();
