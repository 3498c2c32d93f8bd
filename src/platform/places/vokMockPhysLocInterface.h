// Physical locations if the platform is unknown or its library can't be used: all are unknown.
#pragma once

#include <mutex>

#include "platform/places/vokPhysLocInterface.h"

class vokMockPhysLocInterface : public vokPhysLocInterface {
public:
    // The one instance, for the life of the process.
    static vokMockPhysLocInterface* getInstance();

    bool Initialize() override;
    void UnInitialize() override;
    std::string getPCIeSlotForIOSlot(std::string pciAddress) override;
    std::string getPhysLocForIOSlot(std::string pciAddress) override;
    std::string getPhysLocForNetworkAdapter(std::string pciAddress) override;
    std::string getPhysLocForChassisDriveSlot(std::string pciAddress, int bay) override;
    std::string getPhysLocForExternalDrive(std::string pciAddress) override;
    std::string getPhysLocForChassisStorageBackplane(std::string pciAddress, int box) override;
    int checkPCIDevicesLocatedInSameChassis(std::string a, std::string b) override;
    int checkIfPCICardIsOnBoard(std::string pciAddress) override;
    int getChassisLocationForIOSlot(std::string pciAddress, std::string& location) override;
    std::string getPhysLocLibraryName() override;

private:
    vokMockPhysLocInterface() = default;

    static std::mutex interfaceLock;
};

vokMockPhysLocInterface* __vokMockPhysLocInterface__getInstance();
