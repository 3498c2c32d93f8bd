// The OS interface of an ESXi host.
#pragma once

#include "platform/vokOSInterface.h"

class vokVmwareOSInterface : public vokOSInterface {
public:
    static vokVmwareOSInterface* getInstance();

    int populateHardwarePCIDetails() override;
    void Initialize() override;
    void UnInitialize() override;
    void populateNvmeInstances(std::vector<std::string>& instances) override;
    void populateNvmeMaps() override;
    int getNvmePCIAddress(std::string instance, std::string& address) override;
    int getNvmeSubSystemVendorID(std::string instance, std::string& vendor) override;
    std::map<std::string, std::string> getPciIdInfo(std::string address) override;

private:
    vokVmwareOSInterface() = default;
};
