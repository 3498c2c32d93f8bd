// One SCSI command to a disk through the SCSI generic driver (Linux SG_IO, version 3 of its interface): the
// request, the reply, and the one function that sends it. The caller interprets the bytes.
#pragma once

#include <scsi/sg.h>
#include <cstddef>
#include <string>

// The bytes of a command block: six to sixteen, as in vokScsiCommand({0x12, 0x01, 0x80, 0x00, 0xFC, 0x00}).
class vokScsiCommand {
public:
    static constexpr std::size_t longest = 16;  // accepted by the driver

    template <std::size_t count>
    constexpr explicit vokScsiCommand(const unsigned char (&bytes)[count]) : size_(count) {
        static_assert(count >= 6 && count <= longest, "no command block has this length");
        for (std::size_t i = 0; i < count; ++i) bytes_[i] = bytes[i];
    }

    constexpr const unsigned char* bytes() const { return bytes_; }
    constexpr std::size_t size() const { return size_; }

private:
    unsigned char bytes_[longest] = {};
    std::size_t size_;
};

enum class vokScsiDirection { none, fromDevice, toDevice };

struct vokScsiRequest {
    explicit vokScsiRequest(const vokScsiCommand& sent) : command(sent) {}

    vokScsiCommand command;
    vokScsiDirection direction = vokScsiDirection::fromDevice;
    void* data = nullptr;      // the caller's; cleared before a command that reads
    std::size_t dataSize = 0;  // in bytes; not used without a direction
    unsigned timeoutMilliseconds = 60000;
};

struct vokScsiReply {
    static constexpr std::size_t senseRoom = 32;

    int result = 0;  // of the ioctl: negative if it failed; all fields after `error` are then zero
    int error = 0;   // errno of an ioctl that failed

    unsigned info = 0;  // SG_INFO_...
    unsigned char status = 0;
    unsigned char maskedStatus = 0;
    unsigned hostStatus = 0;
    unsigned driverStatus = 0;
    unsigned char sense[senseRoom] = {};
    std::size_t senseSize = 0;  // at most senseRoom
    std::size_t dataSize = 0;   // requested
    std::size_t residual = 0;   // not transferred, at most dataSize
    std::size_t received = 0;   // transferred: dataSize - residual

    bool wasSent() const { return result >= 0; }
    // True if neither the disk, the adapter nor the driver reported anything.
    bool isGood() const { return wasSent() && (info & SG_INFO_OK_MASK) == SG_INFO_OK; }
    std::string senseText() const;  // each byte as " %02x"
};

// True once the stop of the agent is requested: a command that runs is waited for, and no further one is
// sent.
bool vokIsScsiRefused();

// Sends `request` with one ioctl on the open `descriptor`. Nothing is repeated and nothing is logged. Fails
// with ECANCELED, without the ioctl, if commands are refused.
vokScsiReply vokSendScsi(int descriptor, const vokScsiRequest& request);

// The reply that a completed `header` describes. Impossible lengths are clamped here and nowhere else: sense
// bytes beyond the buffer, a residual below 0 or above the length of the data.
vokScsiReply vokReadScsiCompletion(const sg_io_hdr_t& header);
