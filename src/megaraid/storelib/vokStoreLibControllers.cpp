#include <array>
#include <cstdio>
#include <utility>

#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"

namespace {

constexpr char tag[] = "LSI_INTERF";
constexpr std::uint32_t controllerIdMask = 0x00FFFFFF;

// PCI device id << 16 | vendor id.
constexpr std::uint32_t chipsetSas = 0x005D1000;
constexpr std::uint32_t chipsetTriMode = 0x10E21000;
// The boards of chipsetTriMode with NVMe disks have this subsystem, or the same with this bit.
constexpr std::uint32_t subsystemNvme = 0x40001000;
constexpr std::uint32_t subsystemVariant = 0x00100000;

// Commands of the controllers' firmware.
constexpr std::uint32_t readSafeId = 0x01160300;
constexpr std::uint32_t readManufacturing = 0x010E0301;  // _MR_MFC_MFG

std::uint32_t pairOf(const vokRecordReader& record, vokRecordNumber vendor, vokRecordNumber device) {
    return static_cast<std::uint32_t>(record.number(device) << 16 | record.number(vendor));
}

}  // namespace

void vokStoreLibInterface::buildControllerInfo() {
    controllers_.begin();
    getCtrlList();
    std::vector<CTRL_INFO> controllers;
    for (const auto& [index, controllerId] : controllerIds_) {
        currentController = index;
        CTRL_INFO info;
        info.controllerId = controllerId;
        if (readController(info)) controllers.push_back(std::move(info));
    }
    controllers_.store(std::move(controllers));
}

void vokStoreLibInterface::getCtrlList() {
    controllerIds_.clear();
    vokStoreLibBlock<vokControllerListCommand> list;
    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokControllerListCommand, list.data());
    if (ProcessLibCommandCall(&block) == vokStoreLibSuccess) {
        const std::vector<std::uint32_t> controllers = vokControllersOf(list.data());
        setControllerList(controllers);
        for (const std::uint32_t entry : controllers)
            controllerIds_.emplace(controllerIds_.size(), entry & controllerIdMask);
    }
    VOK_LOG_DEBUG(tag, "Total controllers found: %zu", controllerIds_.size());
}

bool vokStoreLibInterface::readController(CTRL_INFO& info) {
    info.serialNumber = getControllerSerialNo();
    info.protocols = "SAS/SATA";
    vokStoreLibBlock<vokControllerRecordCommand> block;
    // Deliberately listed although its record can't be read.
    if (sendToController(vokCommandBlock(vokControllerRecordCommand, block.data())) != vokStoreLibSuccess)
        return true;
    const vokRecordReader record(block);
    info.firmwareVersion = record.text(vokControllerFields::packageVersion);
    info.chipsetId = pairOf(record, vokControllerFields::pciVendor, vokControllerFields::pciDevice);
    info.subsystemId = pairOf(record, vokControllerFields::pciSubVendor, vokControllerFields::pciSubDevice);
    if (info.chipsetId != chipsetSas && info.chipsetId != chipsetTriMode) {
        VOK_LOG_INFO(tag,
                     "Skipping the controller as chipset is not recognized. (vendorID= \t\t\t\t   0x%04X, "
                     "chipsetID= 0x%08X",
                     static_cast<unsigned>(record.number(vokControllerFields::pciVendor)), info.chipsetId);
        return false;
    }
    info.pciLocation = getCtrlPCILoc();
    if (info.chipsetId == chipsetTriMode && (info.subsystemId & ~subsystemVariant) == subsystemNvme)
        info.protocols = "SAS/SATA/NVMe";
    return true;
}

std::string vokStoreLibInterface::getControllerSerialNo() {
    const std::optional<std::uint32_t> entry = currentEntry();
    if (!entry || *entry > controllerIdMask) return "";
    alignas(8) std::array<std::uint8_t, 41> safeId{};
    if (sendToFirmware(readSafeId, safeId.data(), safeId.size()) != vokStoreLibSuccess) return "";
    alignas(8) std::array<std::uint8_t, 32> manufacturing{};
    const std::uint32_t status =
        sendToFirmware(readManufacturing, manufacturing.data(), manufacturing.size());
    if (status != vokStoreLibSuccess) return "";
    return std::string(vokRecordReader(manufacturing).text(vokManufacturingFields::serialNumber));
}

std::string vokStoreLibInterface::getCtrlPCILoc() {
    vokStoreLibBlock<vokPciLocationCommand> block;
    if (sendToController(vokCommandBlock(vokPciLocationCommand, block.data())) != vokStoreLibSuccess)
        return "";
    const vokRecordReader record(block);
    const auto number = [&](vokRecordNumber field) { return static_cast<unsigned>(record.number(field)); };
    char location[32];
    std::snprintf(location, sizeof(location), "%.4x:%.2x:%.2x.%.1x", number(vokPciLocationFields::domain),
                  number(vokPciLocationFields::bus), number(vokPciLocationFields::device),
                  number(vokPciLocationFields::function));
    return location;
}
