// The commands that the agent runs: popen(3) and system(3) with a process group, an environment and a set of
// descriptors of their own.
//
// A command starts with all signals unblocked and their default actions, and with the descriptors 0, 1 and 2.
// Its output ends when its shell ends, even if a child that the shell has left in the background holds the
// pipe. After the request to stop, a command has three seconds left. Then its process group gets SIGTERM and
// after at most a second SIGKILL, its output ends, and no further command is started. A process that has left
// the group is not reached.
#pragma once

#include <sys/types.h>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/access/vokStopRequest.h"

class vokCommandProcess;

// In milliseconds.
struct vokCommandLimits {
    int afterStop = 3000;     // from the request to stop
    int untilKilled = 1000;   // from SIGTERM to SIGKILL
    int untilGivenUp = 1000;  // after SIGKILL, which does not end a process in an uninterruptible wait
};

// Returns a descriptor that is readable once the process has exited, or -1.
using vokOpenProcess = int (*)(pid_t process);

class vokCommands {
public:
    // Without a descriptor of the process a running command is polled.
    explicit vokCommands(const vokStopRequest& stop, vokCommandLimits limits = {},
                         vokOpenProcess openProcess = openPidFd);
    ~vokCommands();

    // Runs sh -c `command`. Its standard output as a stream, to be closed with close(); null with errno,
    // which is ECANCELED if the time for commands is over.
    FILE* open(const std::string& command, const std::string& searchPath);
    // Waits for the shell to end. Its wait status, or -1 with errno: ETIMEDOUT if SIGKILL did not end it.
    int close(FILE* stream);
    // The same with the standard output of this process.
    int run(const std::string& command, const std::string& searchPath);
    // True once commands are ended and refused.
    bool isTimeOver() const { return stop_.timeLeft(limits_.afterStop) == 0; }

private:
    // pidfd_open(2), which older kernels lack.
    static int openPidFd(pid_t process);

    const vokStopRequest& stop_;
    const vokCommandLimits limits_;
    const vokOpenProcess openProcess_;
    std::mutex mutex_;
    std::map<FILE*, std::unique_ptr<vokCommandProcess>> open_;
};
