#include "storage/scsi/vokScsiQuestion.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/base/vokLog.h"
#include "storage/scsi/vokScsiResult.h"
#include "storage/scsi/vokScsiSense.h"

namespace {

thread_local vokScsiOutcome lastOutcome;

constexpr unsigned driverSense = 0x08;     // DRIVER_SENSE
constexpr unsigned checkCondition = 0x02;  // SAM-5

// The two formats count only with the response codes 70h and 72h: a deferred error (71h, 73h) and a set VALID
// bit (F0h) have none of the distinguished keys.
int codeOfSense(const vokScsiReply& reply) {
    const unsigned char responseCode = reply.sense[0];
    const auto sense = vokReadScsiSense(reply.sense, reply.senseSize);
    if (!sense || !sense->key || (responseCode != 0x70 && responseCode != 0x72))
        return VOK_SCSI_COMMAND_FAILED;
    if (*sense->key == vokSenseKeyIllegalRequest) return VOK_SCSI_ILLEGAL_REQUEST;
    if (*sense->key == vokSenseKeyAbortedCommand) return VOK_SCSI_ABORTED_COMMAND;
    return VOK_SCSI_COMMAND_FAILED;
}

}  // namespace

const vokScsiOutcome& vokLastScsiOutcome() {
    return lastOutcome;
}

void vokClearScsiOutcome() {
    lastOutcome = {};
}

int vokJudgeScsiReply(const vokScsiReply& reply, std::size_t& received, const char* function) {
    received = 0;
    if (reply.isGood()) {
        received = reply.received;
        return 0;
    }
    const std::string sense = reply.senseSize > 0 ? "\n    Sense data:" + reply.senseText() : std::string();
    VOK_LOG_DEBUG("SCSI_INFO",
                  "%s: sgiob: info=[0x%x]; masked_status=[0x%x]; host_status=[0x%x]; driver_status=[0x%x]; "
                  "status=[0x%x]; sb_len_wr=[%d]; dxfer_len=[%u]; resid=[%d]%s",
                  function, reply.info, reply.maskedStatus, reply.hostStatus, reply.driverStatus,
                  reply.status, static_cast<int>(reply.senseSize), static_cast<unsigned>(reply.dataSize),
                  static_cast<int>(reply.residual), sense.c_str());
    const bool hasSense = (reply.driverStatus & driverSense) != 0 || (reply.status & checkCondition) != 0;
    const int code = hasSense ? codeOfSense(reply) : VOK_SCSI_COMMAND_FAILED;
    if (code == VOK_SCSI_COMMAND_FAILED) received = reply.received;
    return code;
}

bool vokIsScsiReplyLongEnough(const vokScsiQuestion& question, std::size_t received, std::size_t minimum) {
    if (received >= minimum) return true;
    lastOutcome.code = VOK_SCSI_REPLY_TOO_SHORT;
    lastOutcome.needed = minimum;
    if (minimum == 1)
        VOK_LOG_DEBUG("SCSI_INFO", "IOCTL for %s returned no data.", question.name);
    else
        VOK_LOG_DEBUG("SCSI_INFO", "IOCTL for %s returned %zu bytes. (Min expected: %zu)", question.name,
                      received, minimum);
    return false;
}

vokScsiAnswer vokAskDisk(int descriptor, const vokScsiQuestion& question, unsigned char* data) {
    vokScsiRequest request(question.command);
    request.data = data;
    request.dataSize = question.transfer;
    request.timeoutMilliseconds = question.timeoutMilliseconds;
    const vokScsiReply reply = vokSendScsi(descriptor, request);

    vokScsiAnswer answer;
    answer.status = reply.status;
    lastOutcome = {0, 0, reply};
    if (!reply.wasSent()) {
        lastOutcome.code = answer.code = VOK_SCSI_IOCTL_FAILED;
        if (question.requestText)
            VOK_LOG_DEBUG("SCSI_INFO", "%s failed. (%d, %d)", question.requestText, reply.result,
                          reply.error);
        else
            VOK_LOG_DEBUG("SCSI_INFO", "IOCTL for %s failed. (%d, %d)", question.name, reply.result,
                          reply.error);
        return answer;
    }
    lastOutcome.code = answer.code = vokJudgeScsiReply(reply, answer.received, question.function);
    if (answer.code < 0) {
        if (question.commandText)
            VOK_LOG_DEBUG("SCSI_INFO", "%s failed.", question.commandText);
        else
            VOK_LOG_DEBUG("SCSI_INFO", "%s command failed.", question.name);
        return answer;
    }
    // The driver may have left more in the buffer than it counts as received.
    if (data && answer.received < question.transfer)
        std::memset(data + answer.received, 0, question.transfer - answer.received);
    if (!vokIsScsiReplyLongEnough(question, answer.received, question.minimum))
        answer.code = VOK_SCSI_REPLY_TOO_SHORT;
    return answer;
}

void* vokScsiCopy(const void* bytes, std::size_t size, std::size_t room) {
    void* const copy = std::calloc(1, std::max<std::size_t>({size, room, 1}));
    if (copy && size > 0) std::memcpy(copy, bytes, size);
    return copy;
}

char* vokScsiText(const unsigned char* characters, std::size_t size) {
    return static_cast<char*>(vokScsiCopy(characters, size, size + 1));
}
