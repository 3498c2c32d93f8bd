// The chipset's SATA RAID function. Each of its SATA ports is a SCSI host with at most one disk, so the bay
// of a disk follows from the number of its ATA device, and the model of the server decides how many ports
// there are.
#pragma once

#include <string>

#include "storage/vokStorageController.h"

class vokLewisburgSATARAIDController : public vokStorageController {
public:
    using vokStorageController::vokStorageController;

    int discoverInventory(vokStorageControllerInfo& info) override;
    // That of the chipset's RAID firmware; null if mdadm does not report it.
    vokMallocPtr<char> discoverFirmwareVersion() override;
    int discoverPhysicalDiskSlotNumber(vokDiskInfo& disk) override;
    // At its first call in a discovery, sorts the ports by host number and drops those that the server has no
    // bays for.
    void computeControllerStatus() override;
    std::string formatControllerEventInfoString(STORAGE_EVENT_INFO_TYPE type) override;
    // A disk is also found again by its SCSI link, and a change of its attributes is pushed.
    void synchronizePhysicalDrivesInventory() override;

    // The ports of this model of server; 0 for an unknown model. Hides that of the base class on purpose,
    // which goes on counting the ports that are present.
    unsigned int getMaxSupportedControllerPorts();
    // From 1 in the order of the ATA devices; -1 if the disk is on none of the ports, or for an unknown
    // model.
    int getDiskSlotNumberFromATADeviceNumber(vokDiskInfo& disk);

    // See vokStorageControllerClass.h.
    static bool claimDevice(unsigned int chipsetID, unsigned int boardID, std::string& pciLocation,
                            bool firstDiscoveryPass, vokStorageController** device);
    static void refreshVendorInterfaceCache();  // there is nothing to refresh

protected:
    ~vokLewisburgSATARAIDController() override = default;

private:
    void sortPorts();

    bool portsSorted = false;
};
