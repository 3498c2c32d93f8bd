// The record of a storage controller, with its place and its ports.
#pragma once

#include <vector>

#include "storage/vokRecordField.h"
#include "storage/vokRecordList.h"
#include "storage/vokStatusInfo.h"

// What the text of a controller's event says of its ports.
enum STORAGE_EVENT_INFO_TYPE {
    STORAGE_EVENT_INFO_ALL_PORTS_WELL = 1,
    STORAGE_EVENT_INFO_PARTIAL_PROBLEM = 2,  // without a text
    STORAGE_EVENT_INFO_SERIOUS_PROBLEM = 3,
};

class vokIOControllerPhyLoc : public virtual vokInventoryBase {
public:
    Json::Value getVariableData() const override;   // {"PhysicalLocation", "Description"}
    Json::Value getInventoryData() const override;  // null

    VOK_RECORD_TEXT(PhysicalLocation);  // sixteen hexadecimal digits
    VOK_RECORD_TEXT(Description);
};

class vokStorageControllerPortInfo : public virtual vokInventoryBase, public vokStatusInfo {
public:
    Json::Value getVariableData() const override;   // null
    Json::Value getInventoryData() const override;  // null

    VOK_RECORD_TEXT(OSInstanceName);  // "/sys/class/scsi_host/hostN"
    VOK_RECORD_TEXT(DriverName);
    // In seconds since the epoch; 0 while the port is not in recovery.
    VOK_RECORD_VALUE(long, LastRecoveryTimestamp, 0);
    VOK_RECORD_VALUE(int, ATADeviceNumber, -1);  // like that of vokDiskPhyLoc
};

class vokStorageControllerInfo : public virtual vokInventoryBase,
                                 public vokStatusInfo,
                                 public vokIOControllerPhyLoc {
public:
    Json::Value getVariableData() const override;   // {"Type": "Controller", "Data", "EventInfo"}
    Json::Value getInventoryData() const override;  // null

    VOK_RECORD_TEXT(Model);
    VOK_RECORD_TEXT(SerialNumber);
    VOK_RECORD_TEXT(PartNumber);
    VOK_RECORD_TEXT(FirmwareVersion);
    VOK_RECORD_TEXT(Manufacturer);
    VOK_RECORD_TEXT(Protocol);
    VOK_RECORD_VALUE(unsigned int, ChipsetID, 0);
    VOK_RECORD_VALUE(unsigned int, BoardID, 0);

public:
    // The ports, each copied in and out; an argument is not changed. A port that is not there reads as a
    // default one and can't be changed.
    virtual std::vector<vokStorageControllerPortInfo> getControllerPortVector() const {
        return ports_.items();
    }
    virtual vokStorageControllerPortInfo getControllerPort(unsigned int index) const {
        return ports_.at(index);
    }
    virtual void setControllerPort(unsigned int index, vokStorageControllerPortInfo& port) {
        ports_.set(index, port);
    }
    virtual void addControllerPort(vokStorageControllerPortInfo& port) { ports_.add(port); }
    virtual void clearControllerPortList() { ports_.clear(); }
    virtual unsigned int getControllerPortListSize() const { return ports_.size(); }
    virtual void deleteControllerPort(unsigned int index) { ports_.remove(index); }

private:
    vokRecordList<vokStorageControllerPortInfo> ports_;

    VOK_RECORD_TEXT(EventInfoString);  // the text of the next event
};
