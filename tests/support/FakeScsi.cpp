#include "support/FakeScsi.h"

#include <scsi/sg.h>
#include <algorithm>

namespace {

constexpr unsigned char checkConditionStatus = 0x02;

bool movesData(int direction) {
    return direction == SG_DXFER_FROM_DEV || direction == SG_DXFER_TO_DEV ||
           direction == SG_DXFER_TO_FROM_DEV;
}

FakeScsiRequest received(const sg_io_hdr_t& header) {
    FakeScsiRequest request{FakeScsiBytes(header.cmdp, header.cmdp + header.cmd_len), header.dxfer_direction,
                            header.dxfer_len, header.timeout, header.mx_sb_len};
    if (header.dxfer_direction == SG_DXFER_TO_DEV && header.dxfer_len > 0) {
        const auto* bytes = static_cast<const unsigned char*>(header.dxferp);
        request.sent.assign(bytes, bytes + header.dxfer_len);
    }
    return request;
}

void complete(sg_io_hdr_t& header, const FakeScsiReply& reply) {
    std::size_t moved = 0;
    if (header.dxfer_direction == SG_DXFER_TO_DEV) {
        moved = header.dxfer_len;
    } else if (movesData(header.dxfer_direction)) {
        moved = std::min<std::size_t>(header.dxfer_len, reply.data.size());
        std::copy_n(reply.data.begin(), moved, static_cast<unsigned char*>(header.dxferp));
    }
    const std::size_t sense = std::min<std::size_t>(header.mx_sb_len, reply.sense.size());
    if (sense > 0) std::copy_n(reply.sense.begin(), sense, header.sbp);
    header.status = reply.status;
    header.masked_status = static_cast<unsigned char>(reply.status >> 1 & 0x1F);
    header.msg_status = 0;
    header.sb_len_wr = static_cast<unsigned char>(sense);
    header.host_status = reply.hostStatus;
    header.driver_status = reply.driverStatus;
    header.resid = reply.residual.value_or(static_cast<int>(header.dxfer_len - moved));
    header.duration = 0;
    const bool good = reply.status == 0 && reply.hostStatus == 0 && reply.driverStatus == 0;
    header.info = good ? SG_INFO_OK : SG_INFO_CHECK;
}

}  // namespace

FakeScsiReply FakeScsiReply::checkCondition(unsigned char key, unsigned char code, unsigned char qualifier) {
    FakeScsiReply reply;
    reply.status = checkConditionStatus;
    reply.sense = {0x70, 0, key, 0, 0, 0, 0, 10, 0, 0, 0, 0, code, qualifier, 0, 0, 0, 0};
    return reply;
}

void FakeScsi::answer(const FakeScsiBytes& cdb, const FakeScsiReply& reply) {
    const std::lock_guard<std::mutex> lock(guard);
    replies_[cdb] = reply;
}

std::vector<FakeScsiRequest> FakeScsi::requests() const {
    const std::lock_guard<std::mutex> lock(guard);
    return requests_;
}

FakeScsiReply FakeScsi::replyTo(const FakeScsiBytes& cdb) {
    const FakeScsiReply notSupported = FakeScsiReply::checkCondition(0x05, 0x20, 0x00);
    if (expected_.isExpecting()) {
        const auto row =
            expected_.take(testing::PrintToString(cdb),
                           [&cdb](const ExpectedScsiCommand& expected) { return expected.cdb == cdb; });
        return row ? row->reply : notSupported;
    }
    const std::lock_guard<std::mutex> lock(guard);
    const auto found = replies_.find(cdb);
    return found == replies_.end() ? notSupported : found->second;
}

int FakeScsi::control(unsigned long request, void* argument) {
    if (request != SG_IO) {
        errno = ENOTTY;
        return -1;
    }
    auto& header = *static_cast<sg_io_hdr_t*>(argument);
    if (header.interface_id != 'S') {
        errno = ENOSYS;
        return -1;
    }
    if (header.cmd_len < 6) {
        errno = EMSGSIZE;
        return -1;
    }
    if (!header.cmdp || (movesData(header.dxfer_direction) && header.dxfer_len > 0 && !header.dxferp)) {
        errno = EFAULT;
        return -1;
    }
    const FakeScsiRequest seen = received(header);
    {
        const std::lock_guard<std::mutex> lock(guard);
        requests_.push_back(seen);
    }
    if (onCommand) onCommand();
    const FakeScsiReply reply = replyTo(seen.cdb);
    if (reply.error != 0) {
        errno = reply.error;
        return -1;
    }
    complete(header, reply);
    return 0;
}
