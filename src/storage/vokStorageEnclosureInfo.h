// The record of an enclosure of drives, with its place.
#pragma once

#include <cstdint>

#include "storage/vokRecordField.h"
#include "storage/vokStatusInfo.h"

// The source of the enclosures adds further types.
enum VOK_STORAGE_ENCLOSURE_TYPE : std::uint8_t {
    VOK_STORAGE_ENCLOSURE_UNKNOWN = 0,
    VOK_STORAGE_ENCLOSURE_CHASSIS_BACKPLANE = 1,  // a backplane inside the chassis
};

class vokStorageEnclosureOEMInfo : public virtual vokInventoryBase {
public:
    // {"Box", "PhysicalLocation"}; on purpose also "BayCount" and "SegmentCount" while the logger's debug
    // level is 1, so the form of the document depends on the log settings.
    Json::Value getVariableData() const override;
    Json::Value getInventoryData() const override;  // the same

    VOK_RECORD_VALUE(int, BayCount, 0);
    VOK_RECORD_VALUE(int, Box, -1);     // -1 while unknown
    VOK_RECORD_TEXT(PhysicalLocation);  // sixteen hexadecimal digits
    VOK_RECORD_TEXT(ControllerPCILocation);
    VOK_RECORD_VALUE(VOK_STORAGE_ENCLOSURE_TYPE, EnclosureType, VOK_STORAGE_ENCLOSURE_UNKNOWN);
    VOK_RECORD_VALUE(int, SegmentCount, 0);
};

class vokStorageEnclosureInfo : public virtual vokInventoryBase,
                                public vokStatusInfo,
                                public vokStorageEnclosureOEMInfo {
public:
    Json::Value getVariableData() const override;   // {"Type": "StorageEnclosure", "Data", "EventInfo": ""}
    Json::Value getInventoryData() const override;  // the members of "Data", and "Status"

    VOK_RECORD_TEXT(FirmwareVersion);
    VOK_RECORD_TEXT(Model);
    VOK_RECORD_TEXT(Type);
    VOK_RECORD_TEXT(PartNumber);
    VOK_RECORD_TEXT(SerialNumber);

private:
    Json::Value enclosureData() const;
};
