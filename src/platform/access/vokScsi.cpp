#include "platform/access/vokScsi.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLongOperation.h"

// The record and the request number of the product's ABI; on others the record holds wider pointers.
static_assert(SG_IO == 0x2285);
static_assert(sizeof(void*) != 4 || sizeof(sg_io_hdr_t) == 64);
static_assert(offsetof(sg_io_hdr_t, interface_id) == 0 && offsetof(sg_io_hdr_t, dxfer_direction) == 4);
static_assert(offsetof(sg_io_hdr_t, cmd_len) == 8 && offsetof(sg_io_hdr_t, mx_sb_len) == 9);
static_assert(offsetof(sg_io_hdr_t, iovec_count) == 10 && offsetof(sg_io_hdr_t, dxfer_len) == 12);
static_assert(offsetof(sg_io_hdr_t, dxferp) == 16);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, cmdp) == 20);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, sbp) == 24);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, timeout) == 28);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, flags) == 32);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, pack_id) == 36);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, usr_ptr) == 40);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, status) == 44);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, masked_status) == 45);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, msg_status) == 46);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, sb_len_wr) == 47);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, host_status) == 48);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, driver_status) == 50);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, resid) == 52);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, duration) == 56);
static_assert(sizeof(void*) != 4 || offsetof(sg_io_hdr_t, info) == 60);

namespace {

int directionOf(const vokScsiRequest& request) {
    switch (request.direction) {
        case vokScsiDirection::fromDevice:
            return SG_DXFER_FROM_DEV;
        case vokScsiDirection::toDevice:
            return SG_DXFER_TO_DEV;
        case vokScsiDirection::none:
            break;
    }
    return SG_DXFER_NONE;
}

// In bytes; the driver counts them in 32 bits.
unsigned transferLengthOf(const vokScsiRequest& request) {
    if (request.direction == vokScsiDirection::none || !request.data) return 0;
    return static_cast<unsigned>(std::min<std::size_t>(request.dataSize, std::numeric_limits<int>::max()));
}

vokScsiReply failedWith(int result, int error) {
    vokScsiReply reply;
    reply.result = result;
    reply.error = error;
    return reply;
}

}  // namespace

std::string vokScsiReply::senseText() const {
    std::string text;
    for (std::size_t i = 0; i < senseSize; ++i) {
        char byte[4];
        std::snprintf(byte, sizeof(byte), " %02x", sense[i]);
        text += byte;
    }
    return text;
}

bool vokIsScsiRefused() {
    return vokHostAccess().stopPhase() != vokStopPhase::none;
}

vokScsiReply vokSendScsi(int descriptor, const vokScsiRequest& request) {
    unsigned char command[vokScsiCommand::longest];
    std::memcpy(command, request.command.bytes(), sizeof(command));
    unsigned char sense[vokScsiReply::senseRoom] = {};
    sg_io_hdr_t header{};
    header.interface_id = 'S';
    header.dxfer_direction = directionOf(request);
    header.cmd_len = static_cast<unsigned char>(request.command.size());
    header.cmdp = command;
    header.mx_sb_len = sizeof(sense);
    header.sbp = sense;
    header.dxfer_len = transferLengthOf(request);
    header.dxferp = header.dxfer_len > 0 ? request.data : nullptr;
    header.timeout = request.timeoutMilliseconds;
    if (request.direction == vokScsiDirection::fromDevice && header.dxferp)
        std::memset(header.dxferp, 0, header.dxfer_len);

    if (vokIsScsiRefused()) return failedWith(-1, ECANCELED);
    const vokLongOperation operation({vokOperationKind::scsiCommand, nullptr, command[0], descriptor});
    errno = 0;
    const int result = vokHostAccess().ioctlDevice(descriptor, SG_IO, &header);
    if (result < 0) return failedWith(result, errno);
    // The requested lengths count, even if the driver has changed these fields.
    header.dxfer_len = transferLengthOf(request);
    header.mx_sb_len = sizeof(sense);
    header.sbp = sense;
    vokScsiReply reply = vokReadScsiCompletion(header);
    reply.result = result;
    return reply;
}

vokScsiReply vokReadScsiCompletion(const sg_io_hdr_t& header) {
    vokScsiReply reply;
    reply.info = header.info;
    reply.status = header.status;
    reply.maskedStatus = header.masked_status;
    reply.hostStatus = header.host_status;
    reply.driverStatus = header.driver_status;
    if (header.sbp) {
        reply.senseSize =
            std::min<std::size_t>({header.sb_len_wr, header.mx_sb_len, vokScsiReply::senseRoom});
        std::memcpy(reply.sense, header.sbp, reply.senseSize);
    }
    reply.dataSize = header.dxfer_len;
    reply.residual =
        std::min<std::size_t>(static_cast<std::size_t>(std::max(0, header.resid)), reply.dataSize);
    reply.received = reply.dataSize - reply.residual;
    return reply;
}
