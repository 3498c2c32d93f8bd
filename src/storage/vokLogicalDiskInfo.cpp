#include "storage/vokLogicalDiskInfo.h"

namespace {

// Of either record of a volume, with its own form of the member disks.
template <typename Volume>
Json::Value variableDataOf(const Volume& volume, Json::Value drives) {
    Json::Value event;
    event["Type"] = "Volume";
    event["EventInfo"] = volume.getEventInfoString();
    Json::Value& data = event["Data"];
    data["DurableName"] = volume.getDurableName();
    data["VolumeType"] = volume.getRAIDLevel();
    data["CapacityBytes"] = Json::UInt64(volume.getCapacityBytes());
    data["Drives"] = std::move(drives);
    data["Oem"] = volume.vokLogicalDiskOEMInfo::getVariableData();
    return event;
}

}  // namespace

Json::Value vokLogicalDiskOEMInfo::getVariableData() const {
    Json::Value oem;
    oem["DeviceName"] = getDeviceName();
    oem["HostControllerPhysicalLocation"] = getHostControllerPhysicalLocation();
    return oem;
}

Json::Value vokLogicalDiskOEMInfo::getInventoryData() const {
    return {};
}

Json::Value vokLogicalDiskInfo::getVariableData() const {
    Json::Value drives(Json::arrayValue);
    for (const std::string& serialNumber : physicalDisks_.items()) drives.append(serialNumber);
    return variableDataOf(*this, std::move(drives));
}

Json::Value vokLogicalDiskInfo::getInventoryData() const {
    return {};
}

void vokLogicalDiskInfo::cloneConsistencyCheckState(const vokLogicalDiskInfo& source) {
    currentCCState_ = source.currentCCState_;
    previousCCState_ = source.previousCCState_;
}

void vokLogicalDiskInfo::cleanExistingObjReferences() {
    currentCCState_.reset();
    previousCCState_.reset();
}

vokLogicalDiskExtInfo::vokLogicalDiskExtInfo(const vokLogicalDiskInfo& volume)
    : vokLogicalDiskOEMInfo(volume),
      DurableName_(volume.getDurableName()),
      RAIDLevel_(volume.getRAIDLevel()),
      CapacityBytes_(volume.getCapacityBytes()),
      Description_(volume.getDescription()),
      LogicalDiskID_(volume.getLogicalDiskID()),
      EventInfoString_(volume.getEventInfoString()) {}

Json::Value vokLogicalDiskExtInfo::getVariableData() const {
    Json::Value drives(Json::arrayValue);
    for (const vokDiskInfo& disk : physicalDisks_.items()) drives.append(disk.driveData());
    return variableDataOf(*this, std::move(drives));
}

Json::Value vokLogicalDiskExtInfo::getInventoryData() const {
    return {};
}
