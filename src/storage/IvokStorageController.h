// One storage controller of the host: a PCI function that is reached through one or more SCSI hosts, its
// ports. The order of the virtual operations is part of the interface.
//
// Operations with an integer result return 1 on success and 0 on failure. Inventory is handed out as copies.
#pragma once

#include <string>
#include <vector>

#include "storage/vokDiskInfo.h"
#include "storage/vokLogicalDiskInfo.h"
#include "storage/vokRemoveLock.h"
#include "storage/vokStorageControllerInfo.h"
#include "storage/vokStorageEnclosureInfo.h"

class IvokStorageController : public vokRemoveLock {
protected:
    ~IvokStorageController() override = default;

public:
    // --- discovery: asks the host, updates the controller's own inventory, and copies it out ---

    virtual int discoverInventory(vokStorageControllerInfo& info) = 0;
    // Without the disks that have gone. Fails, and changes nothing, if the stop of the agent is requested
    // before all disks have answered.
    virtual int discoverPhysicalDiskInventory(std::vector<vokDiskInfo>& disks) = 0;
    virtual int discoverLogicalDiskInventory(std::vector<vokLogicalDiskInfo>& volumes) = 0;
    virtual int discoverStorageEnclosureInventory(std::vector<vokStorageEnclosureInfo>& enclosures) = 0;

    // True if both ids and the PCI location are equal; `second` is not compared.
    virtual bool isMatchingController(unsigned int chipsetID, unsigned int boardID, const char* pciLocation,
                                      const char* second) = 0;

    // --- status and events ---

    virtual int enableEvents() = 0;  // fails once the controller is removed
    virtual bool isEventsEnabled() = 0;
    virtual int disableEvents() = 0;  // fails once the controller is removed
    // Asks the ports and the disks for their status and raises the events for what has changed.
    virtual void poll() = 0;
    // The device has left: marks the controller removed, reports it, and drops the caller's reference, with
    // which the object may be deleted.
    virtual void processDeviceRemoval() = 0;
    // The device is back: takes over what `old`, the removed controller of the same place, knew. Null does
    // nothing.
    virtual void processDeviceAddition(IvokStorageController* old) = 0;

    // --- identity and ports ---

    virtual unsigned int getChipsetID() = 0;  // PCI device id << 16 | vendor id
    virtual unsigned int getBoardID() = 0;    // the same of the subsystem
    virtual std::string getPciLocation() = 0;
    // Paths such as "/sys/class/scsi_host/host0". A port that is not there reads as an empty text and can't
    // be set or deleted.
    virtual std::vector<std::string> getPortVector() = 0;
    virtual std::string getPort(unsigned int index) = 0;
    virtual void setPort(unsigned int index, std::string path) = 0;
    virtual void addPort(std::string& path) = 0;
    virtual void clearPortList() = 0;
    virtual unsigned int getPortListSize() = 0;
    virtual void deletePort(unsigned int index) = 0;
    virtual unsigned char getFamilyFlags() = 0;
    // True from the construction until the factory's next walk.
    virtual bool getNewDevice() = 0;
    virtual void setNewDevice(bool isNew) = 0;
    // True if the controller was there when the agent started.
    virtual bool getFoundOnFirstDiscoveryPass() = 0;

    // --- the latest inventory; that of the disks includes those that have gone ---

    virtual void getInventory(vokStorageControllerInfo& info) = 0;
    virtual vokStorageControllerInfo getInventory() = 0;
    virtual void getPhysicalDrivesInventory(std::vector<vokDiskInfo>& disks) = 0;
    virtual std::vector<vokDiskInfo> getPhysicalDrivesInventory() = 0;
    virtual void getLogicalDiskInventory(std::vector<vokLogicalDiskInfo>& volumes) = 0;
    virtual std::vector<vokLogicalDiskInfo> getLogicalDiskInventory() = 0;
    virtual void getStorageEnclosureInventory(std::vector<vokStorageEnclosureInfo>& enclosures) = 0;
    virtual std::vector<vokStorageEnclosureInfo> getStorageEnclosureInventory() = 0;
};
