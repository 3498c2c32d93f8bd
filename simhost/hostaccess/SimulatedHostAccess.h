// The way from the agent to a simulated host: files under the host's root, device nodes that are sockets of
// vok-simhost, and the host's own clock, name, uptime and addresses.
#pragma once

#include <string>

#include "common/HostState.h"
#include "hostaccess/ClockWaiters.h"
#include "hostaccess/OpenDevice.h"
#include "platform/access/vokRootedHostAccess.h"

namespace simhost {

// A host whose device nodes may be sockets of vok-simhost. All else is what the kernel tells: alone it is the
// access to the machine itself, whose SCSI generic nodes are those of the host, whenever a disk comes or
// goes.
class LiveHostAccess : public vokRootedHostAccess {
public:
    explicit LiveHostAccess(const std::string& root);

    std::string path(const std::string& absolute) const override;
    int openDevice(const std::string& hostPath, int flags) override;
    int ioctlDevice(int descriptor, unsigned long request, void* argument) override;
    int closeDevice(int descriptor) override;

private:
    std::string machineDevices_;  // a link to the machine's /dev; empty on a described host
    OpenDevices devices_;
};

class SimulatedHostAccess : public LiveHostAccess {
public:
    SimulatedHostAccess(const std::string& root, HostState state);

    int systemName(struct utsname* name) override;
    int systemInformation(struct sysinfo* information) override;
    int interfaceAddresses(struct ifaddrs** addresses) override;
    void freeInterfaceAddresses(struct ifaddrs* addresses) override;

    int wallClock(struct timespec* now) override;
    int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                  const struct timespec* deadline) override;
    void pause(unsigned long microseconds) override;
    int waitForSignal(const sigset_t* signals, long seconds) override;

protected:
    const HostState& state() const { return state_; }

private:
    HostState state_;
    ClockWaiters waiters_;
};

}  // namespace simhost
