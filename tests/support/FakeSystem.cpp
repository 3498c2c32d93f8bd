#include "support/FakeSystem.h"

#include <cerrno>
#include <cstring>

int FakeSystem::name(utsname* name) const {
    if (nameFails) {
        errno = EFAULT;
        return -1;
    }
    std::memset(name, 0, sizeof(*name));
    std::strcpy(name->sysname, "VMkernel");
    nodeName.copy(name->nodename, sizeof(name->nodename) - 1);
    std::strcpy(name->release, "7.0.3");
    std::strcpy(name->version, "#1 SMP Release build-20036589");
    std::strcpy(name->machine, "x86_64");
    return 0;
}

int FakeSystem::information(struct sysinfo* information) const {
    if (informationFails) {
        errno = EFAULT;
        return -1;
    }
    std::memset(information, 0, sizeof(*information));
    information->uptime = uptimeSeconds;
    return 0;
}
