// The record of a physical disk and that of its place.
#pragma once

#include "storage/vokRecordField.h"
#include "storage/vokStatusInfo.h"

// A yes or no that may not be decided yet.
enum TRISTATE_BOOL : int {
    TRISTATE_UNDECIDED = -1,
    TRISTATE_FALSE = 0,
    TRISTATE_TRUE = 1,
};

class vokDiskPhyLoc : public virtual vokInventoryBase {
public:
    vokDiskPhyLoc() : Slot_("-1") {}

    Json::Value getVariableData() const override;   // {"Slot", "PhysicalLocation"}
    Json::Value getInventoryData() const override;  // null

    VOK_RECORD_TEXT(Slot);              // the drive bay in decimal; "-1" while unknown
    VOK_RECORD_TEXT(PhysicalLocation);  // sixteen hexadecimal digits
    // Of a SATA port: the N of the component ataN in the sysfs path of the device; -1 while unknown.
    VOK_RECORD_VALUE(int, ATADeviceNumber, -1);
};

class vokDiskInfo : public virtual vokInventoryBase, public vokDiskStatusInfo, public vokDiskPhyLoc {
public:
    Json::Value getVariableData() const override;   // {"Type": "Drive", "Data", "EventInfo"}
    Json::Value getInventoryData() const override;  // null

    // The disk as "Data" of its own event and as a member of a volume show it.
    Json::Value driveData() const;

    VOK_RECORD_TEXT(SerialNumber);
    VOK_RECORD_TEXT(PartNumber);  // from the table of disk models
    VOK_RECORD_TEXT(Model);
    VOK_RECORD_VALUE(unsigned long long, CapacityBytes, 0);
    VOK_RECORD_TEXT(Protocol);  // "SAS", "ATA", "SATA", or another of SCSI_Protocol_Identifiers
    VOK_RECORD_TEXT(Manufacturer);
    VOK_RECORD_TEXT(MediaType);     // "HDD" or "SSD"
    VOK_RECORD_TEXT(Revision);      // of the firmware
    VOK_RECORD_TEXT(OSDeviceName);  // "/dev/" and the SCSI generic name
    VOK_RECORD_TEXT(OSSCSILink);    // the entry in /sys/class/scsi_device
    // The open descriptor of OSDeviceName while a discovery pass runs; -1 at all other times and in all
    // copies that are kept or reported. The record does not own it.
    VOK_RECORD_VALUE(int, OSSGHandle, -1);
    VOK_RECORD_VALUE(int, ATAMajorRevision, 0);  // word 80 of IDENTIFY DEVICE (ACS-4)
    VOK_RECORD_TEXT(EventInfoString);            // the text of the next event
    // Cleared when the disk rejects the page, which is then not requested again.
    VOK_RECORD_VALUE(bool, IfTempPageSupported, true);
    VOK_RECORD_VALUE(bool, IfSSDWearPageSupported, true);
    VOK_RECORD_VALUE(bool, DeviceMissing, false);  // the disk has gone, and its record is kept
    // Used by RAID controllers only.
    VOK_RECORD_VALUE(TRISTATE_BOOL, PreferSCModelNumber, TRISTATE_UNDECIDED);
};
