// The record of one Fibre Channel adapter as the inventory and the events show it. A text that could not be
// determined keeps its default.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "core/base/vokModules.h"
#include "fc/hbaapi/hbaapi.h"
#include "platform/places/vokPhysLocInterface.h"

class vokFCDeviceStatusInfo {
public:
    VOK_RESOURCE_STATE getFCDeviceState() const { return static_cast<VOK_RESOURCE_STATE>(state_); }
    VOK_RESOURCE_HEALTH getFCDeviceHealth() const { return static_cast<VOK_RESOURCE_HEALTH>(health_); }

    void setFCDeviceState(VOK_RESOURCE_STATE value) { state_ = static_cast<std::uint8_t>(value); }
    void setFCDeviceHealth(VOK_RESOURCE_HEALTH value) { health_ = static_cast<std::uint8_t>(value); }

private:
    std::uint8_t state_ = VOK_STATE_UNKNOWN;
    std::uint8_t health_ = VOK_HEALTH_UNKNOWN;
};

class vokFCDevicePhyLoc {
public:
    const std::string& getFCPhysicalLocation() const { return location_; }
    void setFCPhysicalLocation(std::string value) { location_ = std::move(value); }

private:
    std::string location_ = vokUnknownPhysLoc;
};

class vokFCDeviceInfo {
public:
    vokFCDeviceInfo() = default;
    explicit vokFCDeviceInfo(int index) : index_(index) {}

    int getIndex() const { return index_; }           // in the list of the HBA layer
    HBA_HANDLE getHandle() const { return handle_; }  // of the last opening, or 0
    const std::string& getName() const { return name_; }
    int getNumberOfPorts() const { return ports_; }
    const std::string& getvokFCSlot() const { return slot_; }
    const std::string& getvokFCModel() const { return model_; }
    const std::string& getvokFCSerialNumber() const { return serialNumber_; }
    const std::string& getvokFCPartNumber() const { return partNumber_; }
    const std::string& getvokFCFirmwareVersion() const { return firmwareVersion_; }
    const std::string& getvokFCRomVersion() const { return romVersion_; }
    const std::string& getvokFCWWPN() const { return wwpn_; }
    const std::string& getvokFCWWNN() const { return wwnn_; }
    const std::string& getvokFCDescription() const { return description_; }
    const std::string& getvokFCManufacturer() const { return manufacturer_; }
    const vokFCDeviceStatusInfo& getvokFCStatus() const { return status_; }
    const vokFCDevicePhyLoc& getvokFCOemPhyLoc() const { return oemPhyLoc_; }

    void setIndex(int value) { index_ = value; }
    void setHandle(HBA_HANDLE value) { handle_ = value; }
    void setName(std::string value) { name_ = std::move(value); }
    void setNumberOfPorts(int value) { ports_ = value; }
    void setvokFCSlot(std::string value) { slot_ = std::move(value); }
    void setvokFCModel(std::string value) { model_ = std::move(value); }
    void setvokFCSerialNumber(std::string value) { serialNumber_ = std::move(value); }
    void setvokFCPartNumber(std::string value) { partNumber_ = std::move(value); }
    void setvokFCFirmwareVersion(std::string value) { firmwareVersion_ = std::move(value); }
    void setvokFCRomVersion(std::string value) { romVersion_ = std::move(value); }
    void setvokFCWWPN(std::string value) { wwpn_ = std::move(value); }
    void setvokFCWWNN(std::string value) { wwnn_ = std::move(value); }
    void setvokFCDescription(std::string value) { description_ = std::move(value); }
    void setvokFCManufacturer(std::string value) { manufacturer_ = std::move(value); }
    void setvokFCStatus(const vokFCDeviceStatusInfo& value) { status_ = value; }
    void setvokOemPhyLoc(vokFCDevicePhyLoc value) { oemPhyLoc_ = std::move(value); }

private:
    static constexpr char notAvailable[] = "Not Available";

    int index_ = 0;
    HBA_HANDLE handle_ = 0;
    std::string name_;
    int ports_ = 0;
    std::string slot_ = notAvailable;
    std::string model_ = notAvailable;
    std::string serialNumber_ = notAvailable;
    std::string partNumber_ = notAvailable;
    std::string firmwareVersion_ = notAvailable;
    std::string romVersion_ = notAvailable;
    std::string wwpn_ = notAvailable;
    std::string wwnn_ = notAvailable;
    std::string description_;
    std::string manufacturer_ = notAvailable;
    vokFCDeviceStatusInfo status_;
    vokFCDevicePhyLoc oemPhyLoc_;
};
