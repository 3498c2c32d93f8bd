// The operations that depend on the host's operating system.
#pragma once

#include <map>
#include <string>
#include <vector>

// The order of the virtual operations is part of the interface; there is no virtual destructor, since
// instances are never deleted.
class vokOSInterface {
public:
    // Stores the host's PCI list for the id look-ups. Returns 0, or -1 if the command can't be started.
    virtual int populateHardwarePCIDetails() = 0;
    virtual void Initialize() = 0;
    // Removes the stored PCI list.
    virtual void UnInitialize() = 0;
    virtual void populateNvmeInstances(std::vector<std::string>& instances) = 0;
    virtual void populateNvmeMaps() = 0;
    virtual int getNvmePCIAddress(std::string instance, std::string& address) = 0;
    virtual int getNvmeSubSystemVendorID(std::string instance, std::string& vendor) = 0;
    virtual std::map<std::string, std::string> getPciIdInfo(std::string address) = 0;

protected:
    ~vokOSInterface() = default;
};
