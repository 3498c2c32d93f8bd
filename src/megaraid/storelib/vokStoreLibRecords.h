// The blocks that go to the vendor's RAID library and come back from it: the commands, the offsets of the
// fields that are read, and the one reader of them. All numbers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

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
// A SCSI command to a disk: a header of 64 bytes, then the data.
inline constexpr vokStoreLibCommand vokScsiPassThroughCommand = {6, 0, 64, "SCSI pass-through"};
// A command of the controller's firmware.
inline constexpr vokStoreLibCommand vokDcmdPassThroughCommand = {6, 3, sizeof(_MR_DCMD_FRAME),
                                                                 "controller command"};
inline constexpr vokStoreLibCommand vokEventSequenceCommand = {7, 0, 20, "event sequence numbers"};

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
    // The number of entries that the record tells, at most as many as its block holds. Logs a warning, with
    // `what` as the name of the list, if it tells more.
    std::size_t count(const vokRecordEntries& list, const char* what) const;

private:
    const char* data_;
    std::size_t length_;
};
