#include "storage/vokStorageControllerInfo.h"

Json::Value vokIOControllerPhyLoc::getVariableData() const {
    Json::Value place;
    place["PhysicalLocation"] = getPhysicalLocation();
    place["Description"] = getDescription();
    return place;
}

Json::Value vokIOControllerPhyLoc::getInventoryData() const {
    return {};
}

Json::Value vokStorageControllerPortInfo::getVariableData() const {
    return {};
}

Json::Value vokStorageControllerPortInfo::getInventoryData() const {
    return {};
}

Json::Value vokStorageControllerInfo::getVariableData() const {
    Json::Value event;
    event["Type"] = "Controller";
    Json::Value& data = event["Data"];
    data["Model"] = getModel();
    data["SerialNumber"] = getSerialNumber();
    data["PartNumber"] = getPartNumber();
    data["FirmwareVersion"] = getFirmwareVersion();
    data["Protocol"] = getProtocol();
    data["Manufacturer"] = getManufacturer();
    data["Oem"] = vokIOControllerPhyLoc::getVariableData();
    event["EventInfo"] = getEventInfoString();
    return event;
}

Json::Value vokStorageControllerInfo::getInventoryData() const {
    return {};
}
