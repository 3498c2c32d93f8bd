// The OS interface of an ESXi host. The host's list of PCI functions is stored once, at the start, in a file
// that the id look-ups of vokUtils read; the other operations do nothing on this system.
#pragma once

#include "platform/utils/vokOSInterface.h"

class vokVmwareOSInterface : public vokOSInterface {
public:
    // The stored output of "localcli hardware pci list".
    static constexpr char hardwareList[] = "/opt/mev/vok/data/vok_hwlist.txt";

    static vokVmwareOSInterface* getInstance();

    // Stores the list, in a directory that is made if it is missing. Returns 0, or -1 if the command can't be
    // started; its exit status is only reported.
    int populateHardwarePCIDetails() override;
    void Initialize() override;
    // Removes the stored list if there is one.
    void UnInitialize() override;
    void populateNvmeInstances(std::vector<std::string>& instances) override;
    void populateNvmeMaps() override;
    // Return 0 and leave the text unchanged.
    int getNvmePCIAddress(std::string instance, std::string& address) override;
    int getNvmeSubSystemVendorID(std::string instance, std::string& vendor) override;
    std::map<std::string, std::string> getPciIdInfo(std::string address) override;

private:
    vokVmwareOSInterface() = default;
};
