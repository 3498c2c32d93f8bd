#include "rmc/ipmi/vokRmcStatus.h"

#include <cstdio>

#include "core/base/vokDecisionTable.h"

namespace {

struct TransferFailure {
    unsigned char status;
    const char* meaning;

    constexpr unsigned char key() const { return status; }
};

// The statuses with a specific meaning; all others share one general line.
constexpr TransferFailure transferFailures[] = {
    {1, "Input data is not complete"},
    {3, "Error in index"},
    {4, "Cli entries full"},
    {5, "Provided command not supported"},
    {6, "Memory could not be allocated"},
    {8, "Request command length exceeded"},
};
static_assert(vokKeysAscend(transferFailures));
constexpr unsigned char lengthExceeded = 8;  // its line also has the length

struct ExchangeFailure {
    unsigned char status;
    const char* text;

    constexpr unsigned char key() const { return status; }
};

constexpr ExchangeFailure exchangeFailures[] = {
    {7, "Request ioctl failure"},
    {8, "Response ioctl failure"},
    {0xAA, "The pointer to the stdout or stderr is NULL."},
    {0xDD, "Command time out."},
    {0xEE, "The size of stdout or stderr is not enough."},
};
static_assert(vokKeysAscend(exchangeFailures));

}  // namespace

const char* vokTransferStatusMeaning(unsigned char transferStatus) {
    if (transferStatus == 0) return "Chunk taken";
    const TransferFailure* const failure = vokFindRow(transferFailures, transferStatus);
    return failure ? failure->meaning : "Command execution failed";
}

std::string vokTransferFailureText(unsigned char transferStatus, unsigned char exitStatus,
                                   std::size_t argumentLength) {
    const TransferFailure* const failure = vokFindRow(transferFailures, transferStatus);
    if (!failure) return "RMC Cli Command Execution failed";
    char text[160];
    std::snprintf(text, sizeof(text), "Transfer Status is 0x%x[%s] and Cmd Exit Status is 0x%x",
                  transferStatus, failure->meaning, exitStatus);
    if (transferStatus != lengthExceeded) return text;
    return std::string(text) + ". Payload size:" + std::to_string(argumentLength);
}

std::string vokExchangeFailureText(unsigned char transferStatus) {
    const ExchangeFailure* const failure = vokFindRow(exchangeFailures, transferStatus);
    return failure ? failure->text : "Error occurred while executing RMC_CLI_Exec";
}
