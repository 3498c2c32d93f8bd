#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"
#include "rmc/ipmi/vokIpmiReport.h"
#include "rmc/ipmi/vokRmcChunk.h"
#include "rmc/ipmi/vokRmcStatus.h"
#include "rmc/ipmi/vokipmi.h"

namespace ipmi {
namespace {

constexpr unsigned long pauseAfterLastChunk = 500000;  // microseconds

void storeLittleEndian(unsigned char* field, std::size_t size, std::size_t value) {
    for (std::size_t i = 0; i < size; ++i, value >>= 8) field[i] = static_cast<unsigned char>(value);
}

// What the result of a command does not say; empty if there is nothing. A refusal has its own error line,
// which does not contain the completion codes of the answers.
std::string troubleOf(const RemoteCommandOutcome& outcome) {
    switch (outcome.verdict()) {
        case Verdict::accepted:
            return "";
        case Verdict::refused:
            return outcome.improperText();
        default:
            return outcome.text();
    }
}

}  // namespace

int IPMIUtils::RMC_CLI_Exec(std::string cmd, std::string args, unsigned char* transferStatus,
                            unsigned char* cmdExitStatus) {
    unsigned char request[chunkSize] = {};
    ChunkResponse response{};
    lastCommand_ = {};
    if (!transferStatus || !cmdExitStatus) {
        VOK_LOG_ERROR("IPMI", "Provided command / arguments is not valid");
        lastCommand_.notSent("the command is not valid");
        return 1;
    }
    const std::size_t payloadSize = args.size() + 1;  // with its NUL
    request[chunkNameSizeOffset] = chunkNameSize;
    cmd.copy(reinterpret_cast<char*>(request) + chunkNameOffset, chunkNameSize - 1);
    storeLittleEndian(request + chunkLengthOffset, 4, payloadSize);

    // The controller's command line holds the name field and one byte more than the text.
    constexpr int nameFieldAndLength = 21;
    const vokMallocPtr<unsigned char> work(
        static_cast<unsigned char*>(std::calloc(payloadSize + nameFieldAndLength, 1)));
    if (!work) {
        VOK_LOG_ERROR("IPMI", "Error while allocating memory for cmd buffer");
        lastCommand_.notSent("out of memory");
        return -1;
    }
    std::memcpy(work.get(), args.c_str(), payloadSize);

    const unsigned char* next = work.get();
    std::size_t remaining = payloadSize;                                        // bytes still to send
    long long left = static_cast<long long>(payloadSize) + nameFieldAndLength;  // ends the loop
    const unsigned char requestSize = chunkSize;
    unsigned char capacity = sizeof(response);
    for (bool first = true;; first = false) {
        std::memset(request + firstPayloadOffset, 0, firstPayloadSize);
        std::memcpy(request + chunkIndexOffset, response.nextIndex, sizeof(response.nextIndex));
        if (response.nextIndex[0] != 0 || response.nextIndex[1] != 0) request[chunkNameSizeOffset] = 0;
        if (remaining > laterPayloadSize) {
            const std::size_t size = first ? firstPayloadSize : laterPayloadSize;
            std::memcpy(request + (first ? firstPayloadOffset : laterPayloadOffset), next, size);
            next += size;
            remaining -= size;
            left -= static_cast<long long>(size);
        } else {
            // Also a whole payload of this length, which then overwrites the name.
            std::memcpy(request + laterPayloadOffset, next, remaining);
            left = 0;
        }
        const bool exchanged = execute(remoteCommandNetFn, remoteCommandChunk, 0, request, requestSize,
                                       reinterpret_cast<unsigned char*>(&response), capacity);
        lastCommand_.add(lastExchange_, response.transferStatus, response.exitStatus);
        if (!exchanged || response.transferStatus > greatestAcceptedStatus) {
            *transferStatus = response.transferStatus;
            *cmdExitStatus = response.exitStatus;
            return exchanged ? 1 : 0;
        }
        std::memset(request, 0, sizeof(request));
        if (left <= 0) break;
    }
    vokHostAccess().pause(pauseAfterLastChunk);
    return 1;
}

int IPMIUtils::RMC_CLI_Cmd_Execution(std::string cmd, std::string args) {
    const std::lock_guard<std::mutex> lock(mlock);
    IPMIUtils device;
    VOK_LOG_DEBUG("IPMI", "Command to be executed on RMC : %s %s", cmd.c_str(), args.c_str());
    unsigned char transferStatus = 0;
    unsigned char exitStatus = 0;
    const std::size_t length = args.size();
    const int result = device.RMC_CLI_Exec(cmd, std::move(args), &transferStatus, &exitStatus);
    lastCommand_ = device.lastCommand_;
    reportCommand(cmd, troubleOf(lastCommand_));
    if (result == 0) {
        VOK_LOG_ERROR("IPMI", "%s", vokExchangeFailureText(transferStatus).c_str());
        return 1;
    }
    if (transferStatus == 0) return 0;
    VOK_LOG_ERROR("IPMI", "%s", vokTransferFailureText(transferStatus, exitStatus, length).c_str());
    return 1;
}

}  // namespace ipmi
