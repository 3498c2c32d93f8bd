#include "storage/vokStorageController.h"

#include <cstddef>
#include <utility>

vokStorageController::vokStorageController(unsigned int chipset, unsigned int board, std::string location,
                                           unsigned char family, bool foundOnFirstPass)
    : chipsetID(chipset),
      boardID(board),
      pciLocation(std::move(location)),
      familyFlags(family),
      foundOnFirstDiscoveryPass(foundOnFirstPass) {}

vokStorageController::~vokStorageController() = default;

void vokStorageController::setIdentity(unsigned int chipset, unsigned int board, std::string location) {
    const vokMutexLocker locker(lock);
    chipsetID = chipset;
    boardID = board;
    pciLocation = std::move(location);
}

int vokStorageController::discoverLogicalDiskInventory(std::vector<vokLogicalDiskInfo>&) {
    return 1;
}
int vokStorageController::discoverStorageEnclosureInventory(std::vector<vokStorageEnclosureInfo>&) {
    return 1;
}
bool vokStorageController::isMatchingController(unsigned int chipset, unsigned int board,
                                                const char* location, const char*) {
    const vokMutexLocker locker(lock);
    return chipset == chipsetID && board == boardID && location && pciLocation == location;
}
unsigned int vokStorageController::getChipsetID() {
    const vokMutexLocker locker(lock);
    return chipsetID;
}
unsigned int vokStorageController::getBoardID() {
    const vokMutexLocker locker(lock);
    return boardID;
}
std::string vokStorageController::getPciLocation() {
    const vokMutexLocker locker(lock);
    return pciLocation;
}
std::vector<std::string> vokStorageController::getPortVector() {
    const vokMutexLocker locker(lock);
    return portList;
}
std::string vokStorageController::getPort(unsigned int index) {
    const vokMutexLocker locker(lock);
    return index < portList.size() ? portList[index] : "";
}
void vokStorageController::setPort(unsigned int index, std::string path) {
    const vokMutexLocker locker(lock);
    if (index < portList.size()) portList[index] = std::move(path);
}
void vokStorageController::addPort(std::string& path) {
    const vokMutexLocker locker(lock);
    portList.push_back(path);
}
void vokStorageController::clearPortList() {
    const vokMutexLocker locker(lock);
    portList.clear();
}
unsigned int vokStorageController::getPortListSize() {
    const vokMutexLocker locker(lock);
    return static_cast<unsigned int>(portList.size());
}
void vokStorageController::deletePort(unsigned int index) {
    const vokMutexLocker locker(lock);
    if (index < portList.size()) portList.erase(portList.begin() + static_cast<std::ptrdiff_t>(index));
}
unsigned char vokStorageController::getFamilyFlags() {
    return familyFlags;
}
bool vokStorageController::getNewDevice() {
    const vokMutexLocker locker(lock);
    return newDevice;
}
void vokStorageController::setNewDevice(bool isNew) {
    const vokMutexLocker locker(lock);
    newDevice = isNew;
}
bool vokStorageController::getFoundOnFirstDiscoveryPass() {
    return foundOnFirstDiscoveryPass;
}
void vokStorageController::getInventory(vokStorageControllerInfo& info) {
    const vokMutexLocker locker(lock);
    info = currentInfo;
}
vokStorageControllerInfo vokStorageController::getInventory() {
    const vokMutexLocker locker(lock);
    return currentInfo;
}
void vokStorageController::getPhysicalDrivesInventory(std::vector<vokDiskInfo>& disks) {
    const vokMutexLocker locker(lock);
    disks = currentDrives;
}
std::vector<vokDiskInfo> vokStorageController::getPhysicalDrivesInventory() {
    const vokMutexLocker locker(lock);
    return currentDrives;
}
void vokStorageController::getLogicalDiskInventory(std::vector<vokLogicalDiskInfo>& volumes) {
    const vokMutexLocker locker(lock);
    volumes = currentLogicalDisks;
}
std::vector<vokLogicalDiskInfo> vokStorageController::getLogicalDiskInventory() {
    const vokMutexLocker locker(lock);
    return currentLogicalDisks;
}
void vokStorageController::getStorageEnclosureInventory(std::vector<vokStorageEnclosureInfo>& enclosures) {
    const vokMutexLocker locker(lock);
    enclosures = currentEnclosures;
}
std::vector<vokStorageEnclosureInfo> vokStorageController::getStorageEnclosureInventory() {
    const vokMutexLocker locker(lock);
    return currentEnclosures;
}
void vokStorageController::populateDeviceNameMap() {}
std::string vokStorageController::getLogicalDeviceName(std::string durableName) {
    const vokMutexLocker locker(lock);
    const auto found = deviceNameMap.find(durableName);
    return found == deviceNameMap.end() ? "" : found->second;
}
unsigned int vokStorageController::getMaxSupportedControllerPorts() {
    return 0;
}
