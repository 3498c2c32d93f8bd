// A RAID controller behind the vendor's library, with its disks and volumes. Its inventory comes from the
// caches of vokStoreLibInterface; its status changes and events come from the events of its firmware. Its
// members are implemented by theme:
//
//   vokMegaRAIDController.cpp           the controller's own record, events on and off, removal
//   vokMegaRAIDControllerDisks.cpp      its disks and their places
//   vokMegaRAIDControllerVolumes.cpp    its volumes
//   vokMegaRAIDControllerStatus.cpp     events on a change of status between two discoveries
//   vokMegaRAIDControllerEvents.cpp     what an event of the firmware means
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "megaraid/storelib/vokSASEventDetail.h"
#include "megaraid/storelib/vokStoreLibInventory.h"
#include "storage/vokStorageController.h"

struct vokFirmwareEventVerdict;

class vokMegaRAIDController : public vokStorageController {
public:
    explicit vokMegaRAIDController(std::uint32_t controllerId);

    // Both return 0, or -1 if the library can't be used.
    int discoverInventory(vokStorageControllerInfo& info) override;
    // Return 0. A 9560 that must not be monitored has no disks and no volumes.
    int discoverPhysicalDiskInventory(std::vector<vokDiskInfo>& disks) override;
    int discoverLogicalDiskInventory(std::vector<vokLogicalDiskInfo>& volumes) override;
    // Registers for the events of the firmware, once for all controllers. Returns 1.
    int enableEvents() override;
    bool isEventsEnabled() override;
    int disableEvents() override;  // does nothing and returns 0
    void poll() override;          // does nothing: the firmware reports by itself
    // Must not be called with a lock held that an event's callback needs, as it waits for callbacks if this
    // is the last controller.
    void processDeviceRemoval() override;
    void processDeviceAddition(IvokStorageController* old) override;  // does nothing
    void discoverPhysicalDiskStatus(vokDiskInfo& disk) override;      // does nothing

    virtual std::string getDeviceName();  // the controller's serial number
    virtual void setDeviceName(std::string name);
    virtual bool getDeviceDetected();  // in the factory's latest pass
    virtual void setDeviceDetected(bool detected);

    std::uint32_t getControllerId() const { return controllerId; }
    // Fills a disk from the record of the library's cache.
    void discoverPhysicalDiskAttributes(vokDiskInfo& disk, const PD_INFO& info);
    // Raise an event if the change asks for one. True if one went out.
    bool generateEventOnStatusChange(vokDiskInfo* current, vokDiskInfo* previous);
    bool generateEventOnStatusChange(vokLogicalDiskInfo* current, vokLogicalDiskInfo* previous);
    // The health of the library's scale (vokStoreLibHealth).
    static VOK_RESOURCE_HEALTH getHealthEnum(int health);

    // Judges an event of this controller's firmware: changes the status of what it is about, and may raise
    // an event.
    void analyzeAndGenerateEvent(VOK_SAS_EVENT_DETAIL* detail);
    // Appends the disks of this controller that are members of the volume, in the volume's order.
    void getPhyDiskListForLD(const vokLogicalDiskInfo& volume, std::vector<vokDiskInfo>& disks) const;
    // Raises an event on a volume with its member disks, and with `text` as its text.
    void raiseVolumeEvent(int id, vokLogicalDiskInfo& volume, const std::string& text) const;

    // Counted down by each removal, see processDeviceRemoval().
    static std::atomic<int> totalLSICtrls;

private:
    // The analysis of an event by its category; the lock is held.
    void analyzeVolumeEvent(const VOK_SAS_EVENT_DETAIL& detail);
    void analyzeDiskEvent(const VOK_SAS_EVENT_DETAIL& detail);
    void analyzeControllerEvent(const VOK_SAS_EVENT_DETAIL& detail);
    void analyzeBatteryEvent(const VOK_SAS_EVENT_DETAIL& detail);
    // True for the events of a 9560 that must not be monitored.
    bool isUnmonitored(const VOK_SAS_EVENT_DETAIL& detail) const;
    // Judges an event on one of its volumes. True if the event concerns no further volume.
    bool endsWithVolume(vokLogicalDiskInfo& volume, const VOK_SAS_EVENT_DETAIL& detail);
    void processInsertion(const VOK_SAS_EVENT_DETAIL& detail);
    void addInsertedDisk(const PD_INFO& info, const VOK_SAS_EVENT_DETAIL& detail);
    void carryOut(const vokFirmwareEventVerdict& verdict, const VOK_SAS_EVENT_DETAIL& detail);

protected:
    ~vokMegaRAIDController() override = default;

private:
    // The state of this name; Unknown without one.
    static VOK_RESOURCE_STATE getStateEnum(const std::string& name);
    // Gives a record the event status of the previous one, which may be null, and its own status where the
    // event status is still unknown.
    static void carryOverEventStatus(vokStatusInfo& record, const vokStatusInfo* previous);
    // True for a 9560 that must not be monitored: its disks or volumes (`items`: "PD" or "LD") are left out.
    // `chassis`: the word of the log for the chassis that the card is in.
    bool isBarredByLoadingRules(const char* items, const char* chassis);
    void setDiskAttributes(vokDiskInfo& disk, const PD_INFO& info, const std::string& controllerLocation);
    std::string diskLocation(const PD_INFO& info, const std::string& controllerLocation);
    // The number of the drive bay; -1 if unknown.
    int driveBay(const PD_INFO& info, const std::string& controllerLocation);

    static std::atomic<bool> isLSILibLoaded;
    static std::atomic<bool> isAENRegistered;

    const std::uint32_t controllerId;
    std::string deviceName;
    bool deviceDetected = false;
    bool locationWarningIssued = false;
    bool loadingWarningIssued = false;
};

// What the callback of the library's events calls: passes the event on to its controller.
void handleEvent(VOK_SAS_EVENT_DETAIL* detail);
