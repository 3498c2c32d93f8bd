#include "platform/places/vokMockPhysLocInterface.h"

std::mutex vokMockPhysLocInterface::interfaceLock;

vokMockPhysLocInterface* vokMockPhysLocInterface::getInstance() {
    const std::lock_guard<std::mutex> lock(interfaceLock);
    static auto* const instance = new vokMockPhysLocInterface;
    return instance;
}

vokMockPhysLocInterface* __vokMockPhysLocInterface__getInstance() {
    return vokMockPhysLocInterface::getInstance();
}

bool vokMockPhysLocInterface::Initialize() {
    return true;
}

void vokMockPhysLocInterface::UnInitialize() {}

std::string vokMockPhysLocInterface::getPCIeSlotForIOSlot(std::string) {
    return "0";
}

std::string vokMockPhysLocInterface::getPhysLocForIOSlot(std::string) {
    return vokUnknownPhysLoc;
}

std::string vokMockPhysLocInterface::getPhysLocForNetworkAdapter(std::string) {
    return vokUnknownPhysLoc;
}

std::string vokMockPhysLocInterface::getPhysLocForChassisDriveSlot(std::string, int) {
    return vokUnknownPhysLoc;
}

std::string vokMockPhysLocInterface::getPhysLocForExternalDrive(std::string) {
    return vokUnknownPhysLoc;
}

std::string vokMockPhysLocInterface::getPhysLocForChassisStorageBackplane(std::string, int) {
    return vokUnknownPhysLoc;
}

int vokMockPhysLocInterface::checkPCIDevicesLocatedInSameChassis(std::string, std::string) {
    return -3;
}

int vokMockPhysLocInterface::checkIfPCICardIsOnBoard(std::string) {
    return -4;
}

int vokMockPhysLocInterface::getChassisLocationForIOSlot(std::string, std::string&) {
    return -4;
}

std::string vokMockPhysLocInterface::getPhysLocLibraryName() {
    return "Mock-PL library";
}
