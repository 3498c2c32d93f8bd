// A storage controller whose disks appear as plain SCSI devices. A controller class derives from it and
// overrides what differs. Its members are implemented by theme:
//
//   vokStorageController.cpp            fields, ports, copies
//   vokStorageControllerRecord.cpp      the controller's own record and its ports
//   vokStorageControllerDisks.cpp       the walk that finds the disks
//   vokStorageControllerDiskStatus.cpp  the health of a disk
//   vokStorageControllerStatus.cpp      the rules of status and events, as tables
//   vokStorageControllerSync.cpp        what became of each disk and volume since the walk before
//   vokStorageControllerEvents.cpp      events, polling, arrival and removal
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/access/vokMallocPtr.h"
#include "storage/IvokStorageController.h"
#include "storage/vokDiskNode.h"

// Who raises the events of a controller. Events go out while `enabled` is set.
enum vokStorageEventFlag : std::uint32_t {
    vokControllerEventsBySubclass = 1,  // the base leaves events of the controller to the subclass
    vokDriveEventsBySubclass = 2,       // and likewise those of its drives
    vokEventsEnabled = 4,
};

struct vokDiskSyncRules;

using vokMutexLocker = std::lock_guard<std::recursive_mutex>;

class vokStorageController : public IvokStorageController {
public:
    vokStorageController(unsigned int chipsetID, unsigned int boardID, std::string pciLocation,
                         unsigned char familyFlags, bool foundOnFirstDiscoveryPass);

    int discoverInventory(vokStorageControllerInfo& info) override;
    int discoverPhysicalDiskInventory(std::vector<vokDiskInfo>& disks) override;
    int discoverLogicalDiskInventory(std::vector<vokLogicalDiskInfo>& volumes) override;
    int discoverStorageEnclosureInventory(std::vector<vokStorageEnclosureInfo>& enclosures) override;
    bool isMatchingController(unsigned int chipsetID, unsigned int boardID, const char* pciLocation,
                              const char* second) override;
    int enableEvents() override;
    bool isEventsEnabled() override;
    int disableEvents() override;
    void poll() override;
    void processDeviceRemoval() override;
    void processDeviceAddition(IvokStorageController* old) override;
    unsigned int getChipsetID() override;
    unsigned int getBoardID() override;
    std::string getPciLocation() override;
    std::vector<std::string> getPortVector() override;
    std::string getPort(unsigned int index) override;
    void setPort(unsigned int index, std::string path) override;
    void addPort(std::string& path) override;
    void clearPortList() override;
    unsigned int getPortListSize() override;
    void deletePort(unsigned int index) override;
    unsigned char getFamilyFlags() override;
    bool getNewDevice() override;
    void setNewDevice(bool isNew) override;
    bool getFoundOnFirstDiscoveryPass() override;
    void getInventory(vokStorageControllerInfo& info) override;
    vokStorageControllerInfo getInventory() override;
    void getPhysicalDrivesInventory(std::vector<vokDiskInfo>& disks) override;
    std::vector<vokDiskInfo> getPhysicalDrivesInventory() override;
    void getLogicalDiskInventory(std::vector<vokLogicalDiskInfo>& volumes) override;
    std::vector<vokLogicalDiskInfo> getLogicalDiskInventory() override;
    void getStorageEnclosureInventory(std::vector<vokStorageEnclosureInfo>& enclosures) override;
    std::vector<vokStorageEnclosureInfo> getStorageEnclosureInventory() override;

    // The N of "/hostN" in the path of a port, and of "/ataN" in the target of that path; -1 if unknown.
    virtual int getHostNumberForControllerPort(unsigned int index);
    virtual int getATADeviceNumberForControllerPort(unsigned int index);
    // Null if the host does not tell.
    virtual vokMallocPtr<char> discoverFirmwareVersion();
    virtual vokMallocPtr<char> discoverSerialNumber();
    virtual void discoverManufacturer(std::string& manufacturer);
    virtual void discoverControllerPortStatus(vokStorageControllerPortInfo& port);
    // Sets the slot and returns 0, or returns -1.
    virtual int discoverPhysicalDiskSlotNumber(vokDiskInfo& disk);
    virtual void discoverPhysicalDiskManufacturer(vokDiskInfo disk, std::string& manufacturer);
    virtual void discoverPhysicalDiskStatus(vokDiskInfo& disk);
    virtual bool validatePhysicalDisk(vokDiskInfo& disk);  // false: not a disk of the inventory
    // State, health and event text of the controller from those of its ports.
    virtual void computeControllerStatus();
    virtual std::string formatControllerEventInfoString(STORAGE_EVENT_INFO_TYPE type);
    virtual void populateDeviceNameMap();
    virtual std::string getLogicalDeviceName(std::string durableName);
    virtual void synchronizePhysicalDrivesInventory();
    virtual void synchronizeLogicalDiskInventory();

    // Raise an event if the change since the last reported status asks for one. True if one went out.
    bool generateEventOnStatusChange();
    bool generateEventOnStatusChange(vokDiskInfo* current, vokDiskInfo* previous);
    // 0: as many as are present. Not virtual: a subclass hides it, and this class keeps calling its own.
    unsigned int getMaxSupportedControllerPorts();

    // The claim of the class that takes what no other class wants, see vokStorageControllerClass.h.
    static bool claimDevice(unsigned int chipsetID, unsigned int boardID, std::string& pciLocation,
                            bool firstDiscoveryPass, vokStorageController** device);

protected:
    ~vokStorageController() override;

    bool raisesControllerEvents() const {
        return (eventFlags & (vokEventsEnabled | vokControllerEventsBySubclass)) == vokEventsEnabled;
    }
    bool raisesDriveEvents() const {
        return (eventFlags & (vokEventsEnabled | vokDriveEventsBySubclass)) == vokEventsEnabled;
    }

    // Finds out, by their places, what became of the previous drives and which current drives are new. Raises
    // their events, keeps the record of those that have gone, and makes the current drives the previous ones.
    void synchronizeDrives(const vokDiskSyncRules& rules);

    // For a class that learns these only from its inventory.
    void setIdentity(unsigned int chipset, unsigned int board, std::string location);

    unsigned int chipsetID;
    unsigned int boardID;
    std::string pciLocation;
    std::vector<std::string> portList;
    const unsigned char familyFlags;
    bool newDevice = true;
    const bool foundOnFirstDiscoveryPass;
    vokStorageControllerInfo currentInfo;
    std::vector<vokDiskInfo> currentDrives;  // those that have gone included
    std::vector<vokLogicalDiskInfo> currentLogicalDisks;
    std::vector<vokStorageEnclosureInfo> currentEnclosures;
    std::map<std::string, std::string> deviceNameMap;  // from durable name to the name of the device
    std::uint32_t eventFlags = 0;                      // of vokStorageEventFlag
    // What was last reported, for comparison.
    vokStorageControllerInfo previousInfo;
    std::vector<vokDiskInfo> previousDrives;
    std::vector<vokLogicalDiskInfo> previousLogicalDisks;
    std::vector<vokStorageEnclosureInfo> previousEnclosures;
    // Guards all of the above. Of two controllers, that which takes over is locked first.
    mutable std::recursive_mutex lock;
    int lastControllerEvent = -1;      // 0 after a recovery, 1 after a failure
    vokDiskOpenFailures openFailures;  // also under the lock

private:
    // One record per path, with what the previous record of the same path knew.
    void discoverPorts();
    void pollPorts();
    void pollDrives();
    void raiseArrivalEvents();
    // One drive: of the same place in the previous cycle, gone from its place, or at a place that was empty.
    void synchronizePresentDrive(const vokDiskSyncRules& rules, vokDiskInfo& previous, vokDiskInfo& drive);
    void keepMissingDrive(const vokDiskSyncRules& rules, vokDiskInfo& previous);
    void synchronizeNewDrive(const vokDiskSyncRules& rules, vokDiskInfo& drive);
};
