// The blocks that go to the vendor's RAID library and come back from it: the commands, the offsets of the
// fields that are read, and the one reader of them. All numbers are little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The library's status words that are told apart; 0 is success.
enum vokStoreLibStatus : std::uint32_t {
    vokStoreLibSuccess = 0,
    vokStoreLibInitNotDone = 0x8001,
    vokStoreLibFailed = 0x8002,
    vokStoreLibWmiInitFailed = 0x8003,
    vokStoreLibWmiRegistrationFailed = 0x8004,
    vokStoreLibComInitFailed = 0x8006,
    vokStoreLibInvalidEventMask = 0x8007,
    vokStoreLibCommandTimeout = 0x8009,
    vokStoreLibInvalidController = 0x800A,
    vokStoreLibMemoryAllocationFailed = 0x8015,
    vokStoreLibSysfsNotPresent = 0x801E,
    vokStoreLibAccessLevelIncorrect = 0x802B,
    vokStoreLibNotPresent = 0x802C,
    vokStoreLibDataOverrun = 0x4044,
    vokStoreLibDataUnderrun = 0x4045,
};

// --- the command ---

// The block of every command, zeroed before use. The layout on 32-bit x86 is the vendor's; on other ABIs a
// pointer has its natural size and alignment.
struct _SL_LIB_CMD_PARAM_T {
    std::uint8_t commandType;
    std::uint8_t command;
    std::uint8_t flag;  // 1 for the initialisation of the library only
    std::uint8_t reserved3;
    std::uint32_t controllerId;  // the whole entry of the controller list
    std::uint16_t deviceId;
    std::uint8_t targetId;
    std::uint8_t reserved11[5];
    union {
        void* input;             // of a registration for events
        std::uint32_t uniqueId;  // of the registration that ends
    };
    std::uint8_t reserved20[8];
    std::uint32_t dataSize;
    void* data;
};
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, controllerId) == 4);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, deviceId) == 8);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, targetId) == 10);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, input) == 16);
static_assert(sizeof(void*) != 4 || offsetof(_SL_LIB_CMD_PARAM_T, dataSize) == 28);
static_assert(sizeof(void*) != 4 || offsetof(_SL_LIB_CMD_PARAM_T, data) == 32);
static_assert(sizeof(void*) != 4 || sizeof(_SL_LIB_CMD_PARAM_T) == 36);

// A command of the controller's firmware. The pointer as in _SL_LIB_CMD_PARAM_T.
struct _MR_DCMD_FRAME {
    std::uint32_t transferLength;
    std::uint32_t operation;
    std::uint32_t reserved8;
    std::uint32_t flags;  // always 2
    std::uint8_t mailbox[12];
    void* data;
};
static_assert(offsetof(_MR_DCMD_FRAME, operation) == 4);
static_assert(offsetof(_MR_DCMD_FRAME, flags) == 12);
static_assert(offsetof(_MR_DCMD_FRAME, mailbox) == 16);
static_assert(sizeof(void*) != 4 || offsetof(_MR_DCMD_FRAME, data) == 28);
static_assert(sizeof(void*) != 4 || sizeof(_MR_DCMD_FRAME) == 32);

// What precedes the data of a SCSI command to a disk.
struct vokScsiPassThroughHeader {
    std::uint16_t deviceId;
    std::uint8_t always1;
    std::uint8_t always0;
    std::uint8_t always2;
    std::uint8_t reserved5[3];
    std::uint16_t timeoutSeconds;
    std::uint8_t scsiStatus;  // set by the library
    std::uint8_t cdbLength;
    std::uint8_t cdb[16];
    std::uint8_t reserved28[32];
    std::uint32_t dataLength;  // requested, and then returned
};
static_assert(offsetof(vokScsiPassThroughHeader, timeoutSeconds) == 8);
static_assert(offsetof(vokScsiPassThroughHeader, scsiStatus) == 10);
static_assert(offsetof(vokScsiPassThroughHeader, cdb) == 12);
static_assert(offsetof(vokScsiPassThroughHeader, dataLength) == 60);
static_assert(sizeof(vokScsiPassThroughHeader) == 64);

// One command of the library and the size of its data block in bytes.
struct vokStoreLibCommand {
    std::uint8_t type;
    std::uint8_t command;
    std::uint32_t dataSize;
    const char* name;  // in the notice of a call that takes long
};

inline constexpr vokStoreLibCommand vokInitLibraryCommand = {0, 0, 260, "initialise the library"};
inline constexpr vokStoreLibCommand vokRegisterAenCommand = {0, 1, 264, "register for events"};
inline constexpr vokStoreLibCommand vokUnregisterAenCommand = {0, 2, 0, "unregister from events"};
inline constexpr vokStoreLibCommand vokControllerListCommand = {0, 3, 260, "controller list"};
inline constexpr vokStoreLibCommand vokExitLibraryCommand = {0, 9, 0, "exit the library"};
inline constexpr vokStoreLibCommand vokControllerRecordCommand = {1, 0, 2464, "controller record"};
inline constexpr vokStoreLibCommand vokDiskListCommand = {1, 4, 6152, "physical disk list"};
inline constexpr vokStoreLibCommand vokPciLocationCommand = {1, 11, 112, "PCI location"};
inline constexpr vokStoreLibCommand vokVolumeListCommand = {1, 13, 4104, "logical drive list"};
inline constexpr vokStoreLibCommand vokDiskRecordCommand = {2, 0, 512, "disk record"};
inline constexpr vokStoreLibCommand vokVolumeRecordCommand = {3, 0, 384, "logical drive record"};
inline constexpr vokStoreLibCommand vokVolumeDisksCommand = {3, 11, 516, "disks of a logical drive"};
// The size is that of the header; the data follows it.
inline constexpr vokStoreLibCommand vokScsiPassThroughCommand = {6, 0, sizeof(vokScsiPassThroughHeader),
                                                                 "SCSI pass-through"};
// A command of the controller's firmware.
inline constexpr vokStoreLibCommand vokDcmdPassThroughCommand = {6, 3, sizeof(_MR_DCMD_FRAME),
                                                                 "controller command"};
inline constexpr vokStoreLibCommand vokEventSequenceCommand = {7, 0, 20, "event sequence numbers"};

// The data block of a command.
template <const vokStoreLibCommand& command>
struct alignas(8) vokStoreLibBlock {
    std::uint8_t* data() { return bytes.data(); }
    const std::uint8_t* data() const { return bytes.data(); }
    std::size_t size() const { return bytes.size(); }

    std::array<std::uint8_t, command.dataSize> bytes{};
};

// The zeroed block of a command with its data block.
_SL_LIB_CMD_PARAM_T vokCommandBlock(const vokStoreLibCommand& command, void* data);

// --- the records ---

// A number in a record.
struct vokRecordNumber {
    std::size_t offset;
    std::size_t width;  // 1, 2, 4 or 8 bytes
};

// A text or bytes in a record.
struct vokRecordBytes {
    std::size_t offset;
    std::size_t length;
};

// A list in a record: the number of its entries, and where those are.
struct vokRecordEntries {
    vokRecordNumber count;
    std::size_t first;   // the offset of entry 0
    std::size_t stride;  // from one entry to the next
    std::size_t most;    // entries that the block has room for
};

// Reads the fields of a record that the caller owns; nothing outside its bytes is ever read.
class vokRecordReader {
public:
    vokRecordReader(const void* data, std::size_t length)
        : data_(static_cast<const char*>(data)), length_(length) {}
    // A buffer such as a std::array or a std::vector of bytes.
    template <typename Buffer>
    explicit vokRecordReader(const Buffer& buffer) : vokRecordReader(buffer.data(), buffer.size()) {}

    // 0 if the field is not wholly within the record. `shift` is added to its offset.
    std::uint64_t number(vokRecordNumber field, std::size_t shift = 0) const;
    std::uint8_t byte(std::size_t offset) const { return static_cast<std::uint8_t>(number({offset, 1})); }
    // As much of the field as is within the record.
    std::string_view bytes(vokRecordBytes field) const;
    // The same up to the first NUL.
    std::string_view text(vokRecordBytes field) const;
    // The number of entries that the record reports, at most as many as its block holds. Logs a warning, with
    // `what` as the name of the list, if it reports more.
    std::size_t count(const vokRecordEntries& list, const char* what) const;
    // The number in each entry of the list; the offset of `field` is that within the entry.
    std::vector<std::uint64_t> entries(const vokRecordEntries& list, vokRecordNumber field,
                                       const char* what) const;

private:
    const char* data_;
    std::size_t length_;
};

// --- the fields that are read ---

namespace vokControllerListFields {
inline constexpr vokRecordEntries controllers = {{0, 2}, 4, 4, 64};
inline constexpr vokRecordNumber controller = {0, 4};  // in the entry
}  // namespace vokControllerListFields

// _MR_CTRL_INFO
namespace vokControllerFields {
inline constexpr vokRecordNumber pciVendor = {0, 2};
inline constexpr vokRecordNumber pciDevice = {2, 2};
inline constexpr vokRecordNumber pciSubVendor = {4, 2};
inline constexpr vokRecordNumber pciSubDevice = {6, 2};
inline constexpr vokRecordBytes packageVersion = {1600, 864};
}  // namespace vokControllerFields

namespace vokPciLocationFields {
inline constexpr vokRecordNumber bus = {0, 4};
inline constexpr vokRecordNumber device = {4, 1};
inline constexpr vokRecordNumber function = {5, 1};
inline constexpr vokRecordNumber domain = {80, 4};
}  // namespace vokPciLocationFields

// _MR_MFC_MFG
namespace vokManufacturingFields {
inline constexpr vokRecordBytes serialNumber = {2, 30};
}  // namespace vokManufacturingFields

// _MR_PD_LIST
namespace vokDiskListFields {
inline constexpr vokRecordEntries disks = {{4, 4}, 8, 24, 256};
inline constexpr vokRecordNumber deviceId = {0, 2};
}  // namespace vokDiskListFields

// _MR_PD_INFO. The first four texts are of the disk's INQUIRY data, which starts at 4.
namespace vokDiskFields {
inline constexpr vokRecordBytes vendor = {12, 8};
inline constexpr vokRecordBytes product = {20, 16};
inline constexpr vokRecordBytes revision = {36, 4};
inline constexpr vokRecordBytes serialNumber = {40, 32};
inline constexpr vokRecordNumber scsiDeviceType = {165, 1};
inline constexpr vokRecordNumber firmwareState = {184, 2};
inline constexpr vokRecordNumber interfaceType = {189, 1};  // in the high nibble
inline constexpr vokRecordNumber coercedBlocks = {232, 8};
inline constexpr vokRecordNumber enclosureDeviceId = {256, 2};
inline constexpr vokRecordNumber slot = {259, 1};
inline constexpr vokRecordNumber mediaType = {370, 1};  // 0 is rotating
inline constexpr vokRecordNumber userDataBlockSize = {404, 2};
}  // namespace vokDiskFields

namespace vokVolumeListFields {
inline constexpr vokRecordEntries volumes = {{0, 4}, 8, 16, 256};
inline constexpr vokRecordNumber targetId = {0, 1};
}  // namespace vokVolumeListFields

// _MR_LD_INFO
namespace vokVolumeFields {
inline constexpr vokRecordNumber reference = {0, 4};
inline constexpr vokRecordNumber primaryLevel = {32, 1};
inline constexpr vokRecordNumber levelQualifier = {33, 1};
inline constexpr vokRecordNumber secondaryLevel = {34, 1};
inline constexpr vokRecordNumber spanDepth = {37, 1};
inline constexpr vokRecordNumber state = {38, 1};
inline constexpr vokRecordNumber blocks = {256, 8};
inline constexpr vokRecordBytes identity = {312, 16};
}  // namespace vokVolumeFields

namespace vokVolumeDisksFields {
inline constexpr vokRecordEntries disks = {{0, 4}, 4, 2, 256};
inline constexpr vokRecordNumber deviceId = {0, 2};
}  // namespace vokVolumeDisksFields

// The entries of a controller list of 260 bytes.
std::vector<std::uint32_t> vokControllersOf(const void* list);

// Text of a record without any white space.
std::string vokWithoutSpace(std::string_view text);

// The lists fit into the blocks that they come in.
constexpr bool vokFits(const vokRecordEntries& list, const vokStoreLibCommand& command) {
    return list.first + list.stride * list.most == command.dataSize;
}
static_assert(vokFits(vokControllerListFields::controllers, vokControllerListCommand));
static_assert(vokFits(vokDiskListFields::disks, vokDiskListCommand));
static_assert(vokFits(vokVolumeListFields::volumes, vokVolumeListCommand));
static_assert(vokFits(vokVolumeDisksFields::disks, vokVolumeDisksCommand));
