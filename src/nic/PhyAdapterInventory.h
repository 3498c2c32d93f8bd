// The record of one Ethernet adapter as the inventory and the events show it. A value that could not be
// determined keeps its default.
#pragma once

#include <string>
#include <utility>

#include "core/base/vokModules.h"

struct PhysicalAdapterStruct {
    std::string NICModel = "Not Available";
    std::string SerialNumber = "Not Available";
    std::string PartNumber = "Not Available";
    std::string FirmVersion = "Not Available";
    std::string DeviceName = "Not Available";
    std::string MACAddress = "Not Available";
    int Speed = 0;  // megabits per second
    std::string PCIDescription = "Not Available";
    std::string PhyLocation = "FFFFFFFFFFFFFFFF";
    std::string State = "Unknown";
    std::string Health = "Unknown";
    std::string IntfName = "Not Available";
    std::string LinkStatus = "Not Available";
    std::string Manufacturer = "Not Available";
    // The values behind State and Health, which the rules compare.
    VOK_RESOURCE_STATE stateValue = VOK_STATE_UNKNOWN;
    VOK_RESOURCE_HEALTH healthValue = VOK_HEALTH_UNKNOWN;
};

class PhyAdapterInventory {
public:
    const std::string& getNICModel() const { return adapter_.NICModel; }
    const std::string& getSerialNumber() const { return adapter_.SerialNumber; }
    const std::string& getPartNumber() const { return adapter_.PartNumber; }
    const std::string& getFirmVersion() const { return adapter_.FirmVersion; }
    const std::string& getDeviceName() const { return adapter_.DeviceName; }
    const std::string& getMACAddress() const { return adapter_.MACAddress; }
    int getSpeed() const { return adapter_.Speed; }
    const std::string& getPCIDescription() const { return adapter_.PCIDescription; }
    const std::string& getPhyLocation() const { return adapter_.PhyLocation; }
    const std::string& getState() const { return adapter_.State; }
    const std::string& getHealth() const { return adapter_.Health; }
    VOK_RESOURCE_STATE getStateValue() const { return adapter_.stateValue; }
    VOK_RESOURCE_HEALTH getHealthValue() const { return adapter_.healthValue; }
    const std::string& getIntfName() const { return adapter_.IntfName; }
    const std::string& getLinkStatus() const { return adapter_.LinkStatus; }
    const std::string& getManufacturer() const { return adapter_.Manufacturer; }

    void setNICModel(std::string value) { adapter_.NICModel = std::move(value); }
    void setSerialNumber(std::string value) { adapter_.SerialNumber = std::move(value); }
    void setPartNumber(std::string value) { adapter_.PartNumber = std::move(value); }
    void setFirmVersion(std::string value) { adapter_.FirmVersion = std::move(value); }
    void setDeviceName(std::string value) { adapter_.DeviceName = std::move(value); }
    void setMACAddress(std::string value) { adapter_.MACAddress = std::move(value); }
    void setSpeed(int value) { adapter_.Speed = value; }
    void setPCIDescription(std::string value) { adapter_.PCIDescription = std::move(value); }
    void setPhyLocation(std::string value) { adapter_.PhyLocation = std::move(value); }
    // A text is kept as given; if it is not in the table, its value is unknown.
    void setState(std::string value);
    void setHealth(std::string value);
    void setState(VOK_RESOURCE_STATE value);
    void setHealth(VOK_RESOURCE_HEALTH value);
    void setIntfName(std::string value) { adapter_.IntfName = std::move(value); }
    void setLinkStatus(std::string value) { adapter_.LinkStatus = std::move(value); }
    void setManufacturer(std::string value) { adapter_.Manufacturer = std::move(value); }

private:
    PhysicalAdapterStruct adapter_;
};
