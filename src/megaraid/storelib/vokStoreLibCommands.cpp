#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "platform/access/vokLibraryCall.h"
#include "platform/access/vokMallocPtr.h"

namespace {

constexpr char tag[] = "LSI_INTERF";
constexpr std::uint32_t familyMask = 0xFF000000;  // 0 is MegaRAID
constexpr std::uint16_t scsiTimeout = 60;         // seconds
constexpr std::size_t longestInquiry = 65535;
constexpr std::size_t logPageSize = 512;
constexpr std::uint32_t defaultBlockSize = 512;

// All commands, for their names.
constexpr const vokStoreLibCommand* commands[] = {
    &vokInitLibraryCommand,     &vokRegisterAenCommand,     &vokUnregisterAenCommand,
    &vokControllerListCommand,  &vokExitLibraryCommand,     &vokControllerRecordCommand,
    &vokDiskListCommand,        &vokPciLocationCommand,     &vokVolumeListCommand,
    &vokDiskRecordCommand,      &vokVolumeRecordCommand,    &vokVolumeDisksCommand,
    &vokScsiPassThroughCommand, &vokDcmdPassThroughCommand, &vokEventSequenceCommand,
};

const char* nameOf(const _SL_LIB_CMD_PARAM_T& block) {
    for (const vokStoreLibCommand* const each : commands)
        if (each->type == block.commandType && each->command == block.command) return each->name;
    return "ProcessLibCommand";
}

vokScsiPassThroughHeader scsiHeader(std::uint16_t deviceId, std::uint8_t cdbLength, std::size_t length) {
    vokScsiPassThroughHeader header{};
    header.deviceId = deviceId;
    header.always1 = 1;
    header.always2 = 2;
    header.timeoutSeconds = scsiTimeout;
    header.cdbLength = cdbLength;
    header.dataLength = static_cast<std::uint32_t>(length);
    return header;
}

}  // namespace

std::atomic<vokStoreLibInterface::ProcessLibCommand> vokStoreLibInterface::pfnProcessLibCommand{nullptr};

// --- calls ---

std::uint32_t vokStoreLibInterface::call(ProcessLibCommand function, _SL_LIB_CMD_PARAM_T* command) {
    vokLibrary::Hold hold;  // against the end of the library during the call
    const vokLibraryIdentity* library = nullptr;
    {
        const std::lock_guard<std::mutex> lock(libraryLock);
        if (libMRPresent) {
            hold = dllInstanceMR.hold();
            library = dllInstanceMR.identity();
        } else {
            function = nullptr;
        }
    }
    if (!function || !command) {
        VOK_LOG_DEBUG(tag, "There is no library that takes commands.");
        return vokStoreLibInitNotDone;
    }
    const vokLibraryCall running(library, nameOf(*command));
    return function(command);
}

std::uint32_t vokStoreLibInterface::callLibraryMR(_SL_LIB_CMD_PARAM_T* command) {
    return call(pfnProcessLibCommandMR, command);
}

std::uint32_t vokStoreLibInterface::ProcessLibCommandCall(_SL_LIB_CMD_PARAM_T* command) {
    const std::optional<std::uint32_t> entry = currentEntry();
    if (entry && (*entry & familyMask) == 0) pfnProcessLibCommand = pfnProcessLibCommandMR.load();
    return call(pfnProcessLibCommand, command);
}

std::optional<std::uint32_t> vokStoreLibInterface::currentEntry() const {
    const std::lock_guard<std::mutex> lock(libraryLock);
    const std::uint32_t index = currentController;
    if (index >= gTotalControllers) return std::nullopt;
    return gCtrlList.controllers[index];
}

std::uint32_t vokStoreLibInterface::sendToController(_SL_LIB_CMD_PARAM_T block) {
    const std::optional<std::uint32_t> entry = currentEntry();
    if (!entry) return vokStoreLibInvalidController;
    block.controllerId = *entry;
    return ProcessLibCommandCall(&block);
}

// --- records ---

std::uint32_t vokStoreLibInterface::sendToFirmware(std::uint32_t operation, void* data,
                                                   std::uint32_t length) {
    _MR_DCMD_FRAME frame{};
    frame.transferLength = length;
    frame.operation = operation;
    frame.flags = 2;
    frame.data = data;
    return sendToController(vokCommandBlock(vokDcmdPassThroughCommand, &frame));
}

std::uint32_t vokStoreLibInterface::PDInfo(std::uint16_t deviceId, DiskRecord& record) {
    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokDiskRecordCommand, record.data());
    block.deviceId = deviceId;
    return sendToController(block);
}

std::uint32_t vokStoreLibInterface::FireLDInfo(std::uint8_t target, VolumeRecord& record) {
    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokVolumeRecordCommand, record.data());
    block.targetId = target;
    return sendToController(block);
}

std::uint32_t vokStoreLibInterface::listDisks(std::uint8_t target, std::vector<std::uint16_t>& deviceIds) {
    vokStoreLibBlock<vokVolumeDisksCommand> list;
    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokVolumeDisksCommand, list.data());
    block.targetId = target;
    const std::uint32_t status = sendToController(block);
    if (status != vokStoreLibSuccess) return status;
    for (const std::uint64_t id : vokRecordReader(list).entries(
             vokVolumeDisksFields::disks, vokVolumeDisksFields::deviceId, "list of a logical drive's disks"))
        deviceIds.push_back(static_cast<std::uint16_t>(id));
    return status;
}

std::uint32_t vokStoreLibInterface::GetUserDataBlockSizeOfPdInLD(std::uint8_t target) {
    std::vector<std::uint16_t> deviceIds;
    const std::uint32_t status = listDisks(target, deviceIds);
    if (status != vokStoreLibSuccess) return status;
    DiskRecord record;
    if (deviceIds.empty() || PDInfo(deviceIds.front(), record) != vokStoreLibSuccess) return defaultBlockSize;
    const auto size =
        static_cast<std::uint32_t>(vokRecordReader(record).number(vokDiskFields::userDataBlockSize));
    return size != 0 ? size : defaultBlockSize;
}

// --- SCSI commands ---

int vokStoreLibInterface::fireSCSIVPDInquiry(std::uint16_t deviceId, std::uint8_t page, std::uint8_t* buffer,
                                             std::size_t& length) {
    const std::size_t requested = std::min(length, longestInquiry);
    constexpr std::size_t headerSize = sizeof(vokScsiPassThroughHeader);
    const vokMallocPtr<std::uint8_t> data(static_cast<std::uint8_t*>(std::calloc(requested + headerSize, 1)));
    if (!data) {
        VOK_LOG_DEBUG(tag, "Out of memory for SCSI VPD inquiry!");
        return -1;
    }
    vokScsiPassThroughHeader header = scsiHeader(deviceId, 6, requested);
    const std::uint8_t cdb[] = {
        0x12, 1, page, static_cast<std::uint8_t>(requested >> 8), static_cast<std::uint8_t>(requested), 0};
    std::copy(std::begin(cdb), std::end(cdb), header.cdb);
    std::memcpy(data.get(), &header, headerSize);

    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokScsiPassThroughCommand, data.get());
    block.dataSize = static_cast<std::uint32_t>(headerSize + requested);
    const std::uint32_t status = sendToController(block);
    if (status != vokStoreLibSuccess) {
        VOK_LOG_DEBUG(tag, "ProcessLibCommandCall failed!! retVal 0x%X\n", status);
        return static_cast<int>(status);
    }
    std::memcpy(&header, data.get(), headerSize);
    if (header.scsiStatus != 0) {
        length = 0;
        VOK_LOG_DEBUG(tag, "ProcessLibCommandCall completed with SCSI status [0x%X].\n",
                      unsigned{header.scsiStatus});
        return header.scsiStatus;
    }
    length = std::min<std::size_t>(header.dataLength, requested);
    std::copy_n(data.get() + headerSize, length, buffer);
    return 0;
}

bool vokStoreLibInterface::FireATAReadLogExt(std::uint16_t deviceId, std::uint8_t page, std::uint8_t* buffer,
                                             std::size_t* length) {
    struct {
        vokScsiPassThroughHeader header;
        std::array<std::uint8_t, logPageSize> data;
    } request{scsiHeader(deviceId, 16, logPageSize), {}};
    static_assert(sizeof(request) == 576);
    std::uint8_t* const cdb = request.header.cdb;
    cdb[0] = 0x85;   // ATA PASS-THROUGH (16)
    cdb[1] = 0x08;   // protocol: PIO data-in
    cdb[2] = 0x0E;   // from the device, in blocks, their number in the sector count
    cdb[6] = 1;      // sector count
    cdb[8] = page;   // LBA low
    cdb[14] = 0x2F;  // READ LOG EXT

    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokScsiPassThroughCommand, &request);
    block.dataSize = sizeof(request);
    const std::uint32_t status = sendToController(block);
    // Deliberately "OVERRUN" also for success.
    VOK_LOG_DEBUG(tag, "ProcessLibCommandCall retVal 0x%x (%s)", status,
                  status == vokStoreLibDataUnderrun ? "SCSI DATA UNDERRUN" : "SCSI DATA OVERRUN");
    const bool isOtherLength = status == vokStoreLibDataOverrun || status == vokStoreLibDataUnderrun;
    if (status != vokStoreLibSuccess && !(isOtherLength && request.header.scsiStatus == 0)) {
        VOK_LOG_DEBUG(tag, "ProcessLibCommandCall failed!! retVal 0x%x", status);
        return false;
    }
    const std::size_t returned = std::min<std::size_t>(request.header.dataLength, logPageSize);
    if (returned <= 1 || request.data[1] != page) {
        VOK_LOG_DEBUG(tag, "SCSI command failed to retrieve log page D0");
        *length = 0;
        return false;
    }
    *length = std::min(*length, returned);
    std::copy_n(request.data.begin(), *length, buffer);
    return true;
}
