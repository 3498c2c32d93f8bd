#include "hostaccess/ScsiIoctl.h"

#include <scsi/sg.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "devices/ScsiMessage.h"

namespace simhost {

namespace {

// 0, or the error number with which the driver refuses the request.
int refusal(const sg_io_hdr_t& header) {
    if (header.interface_id != 'S') return ENOSYS;
    if (!header.cmdp || header.cmd_len < shortestScsiCommand || header.cmd_len > longestScsiCommand)
        return EMSGSIZE;
    if (header.iovec_count > 0) return EINVAL;  // no scatter and gather here
    if (header.dxfer_direction == SG_DXFER_NONE) return 0;
    if (header.dxfer_direction != SG_DXFER_TO_DEV && header.dxfer_direction != SG_DXFER_FROM_DEV &&
        header.dxfer_direction != SG_DXFER_TO_FROM_DEV)
        return EINVAL;
    if (header.dxfer_len > longestTransfer) return ENOMEM;
    return header.dxfer_len > 0 && !header.dxferp ? EFAULT : 0;
}

std::string bytesAt(const void* data, std::size_t size) {
    return std::string(static_cast<const char*>(data), size);
}

ScsiRequest requestOf(const sg_io_hdr_t& header) {
    ScsiRequest request;
    request.command = bytesAt(header.cmdp, header.cmd_len);
    request.timeout = header.timeout;
    request.senseRoom = header.sbp ? header.mx_sb_len : std::uint8_t{0};
    if (header.dxfer_direction == SG_DXFER_TO_DEV) {
        request.direction = ScsiDirection::toDevice;
        if (header.dxfer_len > 0) request.data = bytesAt(header.dxferp, header.dxfer_len);
    } else if (header.dxfer_direction != SG_DXFER_NONE) {
        request.direction = ScsiDirection::fromDevice;
        request.room = header.dxfer_len;
    }
    return request;
}

}  // namespace

int runScsiCommand(OpenDevice& device, std::uint32_t /*request*/, void* argument) {
    if (!argument) return failIoctl(EFAULT);
    auto& header = *static_cast<sg_io_hdr_t*>(argument);
    if (const int reason = refusal(header)) return failIoctl(reason);
    const ScsiRequest request = requestOf(header);
    const auto content = device.exchange(DeviceKind::scsi, request.encode());
    if (!content) return -1;
    const auto reply = ScsiReply::decode(*content);
    if (!reply) return failIoctl(EIO);

    const std::size_t received = std::min<std::size_t>(reply->data.size(), request.room);
    if (received > 0) std::memcpy(header.dxferp, reply->data.data(), received);
    const std::size_t sense = std::min<std::size_t>(reply->sense.size(), request.senseRoom);
    if (sense > 0) std::memcpy(header.sbp, reply->sense.data(), sense);
    header.sb_len_wr = static_cast<unsigned char>(sense);
    header.status = reply->status;
    header.masked_status = static_cast<unsigned char>(reply->status >> 1 & 0x1F);
    header.msg_status = 0;
    header.host_status = reply->hostStatus;
    header.driver_status = reply->driverStatus;
    header.resid = reply->residual;
    header.duration = reply->duration;
    const bool fine = header.masked_status == 0 && reply->hostStatus == 0 && reply->driverStatus == 0;
    header.info = fine ? SG_INFO_OK : SG_INFO_CHECK;
    return 0;
}

}  // namespace simhost
