// The OS interface of an ESXi host. What the host tells of its PCI functions is stored once, at the start,
// in a file that the id look-ups of vokUtils read; the other questions have no answer on this system.
#pragma once

#include "platform/utils/vokOSInterface.h"

class vokVmwareOSInterface : public vokOSInterface {
public:
    // The stored output of "localcli hardware pci list".
    static constexpr char hardwareList[] = "/opt/mev/vok/data/vok_hwlist.txt";

    static vokVmwareOSInterface* getInstance();

    // Stores the list. Its directory belongs to the product's package and is not made here. 0, or -1 when
    // the command can't be started; what became of the command is not looked at.
    int populateHardwarePCIDetails() override;
    void Initialize() override;
    // Removes the stored list if there is one.
    void UnInitialize() override;
    void populateNvmeInstances(std::vector<std::string>& instances) override;
    void populateNvmeMaps() override;
    // 0, and the text stays as it was.
    int getNvmePCIAddress(std::string instance, std::string& address) override;
    int getNvmeSubSystemVendorID(std::string instance, std::string& vendor) override;
    std::map<std::string, std::string> getPciIdInfo(std::string address) override;

private:
    vokVmwareOSInterface() = default;
};
