// The results of uname() and sysinfo() on a fake host.
#pragma once

#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <string>

class FakeSystem {
public:
    // --- what a test sets ---
    std::string nodeName = "testhost";
    long uptimeSeconds = 1000;
    bool nameFails = false;         // with EFAULT
    bool informationFails = false;  // with EFAULT

    // --- the operations of the seam ---
    int name(utsname* name) const;
    int information(struct sysinfo* information) const;
};
