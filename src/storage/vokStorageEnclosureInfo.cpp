#include "storage/vokStorageEnclosureInfo.h"

#include "core/base/Logger.h"

Json::Value vokStorageEnclosureOEMInfo::getVariableData() const {
    Json::Value place;
    place["Box"] = getBox();
    place["PhysicalLocation"] = getPhysicalLocation();
    if (Logging::Logger::getInstance()->getDebugLoglevel() == 1) {
        place["BayCount"] = getBayCount();
        place["SegmentCount"] = getSegmentCount();
    }
    return place;
}

Json::Value vokStorageEnclosureOEMInfo::getInventoryData() const {
    return vokStorageEnclosureOEMInfo::getVariableData();
}

Json::Value vokStorageEnclosureInfo::enclosureData() const {
    Json::Value data;
    data["FirmwareVersion"] = getFirmwareVersion();
    data["Model"] = getModel();
    data["Type"] = getType();
    data["PartNumber"] = getPartNumber();
    data["SerialNumber"] = getSerialNumber();
    data["Oem"] = vokStorageEnclosureOEMInfo::getVariableData();
    return data;
}

Json::Value vokStorageEnclosureInfo::getVariableData() const {
    Json::Value event;
    event["Type"] = "StorageEnclosure";
    event["Data"] = enclosureData();
    event["EventInfo"] = "";
    return event;
}

Json::Value vokStorageEnclosureInfo::getInventoryData() const {
    Json::Value enclosure = enclosureData();
    enclosure["Status"] = vokStatusInfo::getInventoryData();
    return enclosure;
}
