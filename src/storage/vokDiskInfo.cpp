#include "storage/vokDiskInfo.h"

static_assert(sizeof(TRISTATE_BOOL) == sizeof(int));

Json::Value vokDiskPhyLoc::getVariableData() const {
    Json::Value place;
    place["Slot"] = getSlot();
    place["PhysicalLocation"] = getPhysicalLocation();
    return place;
}

Json::Value vokDiskPhyLoc::getInventoryData() const {
    return {};
}

Json::Value vokDiskInfo::driveData() const {
    Json::Value data;
    data["SerialNumber"] = getSerialNumber();
    data["PartNumber"] = getPartNumber();
    data["Model"] = getModel();
    data["CapacityBytes"] = Json::UInt64(getCapacityBytes());
    data["Protocol"] = getProtocol();
    data["MediaType"] = getMediaType();
    data["Revision"] = getRevision();
    data["Manufacturer"] = getManufacturer();
    data["Oem"] = vokDiskPhyLoc::getVariableData();
    return data;
}

Json::Value vokDiskInfo::getVariableData() const {
    Json::Value event;
    event["Type"] = "Drive";
    event["Data"] = driveData();
    event["EventInfo"] = getEventInfoString();
    return event;
}

Json::Value vokDiskInfo::getInventoryData() const {
    return {};
}
