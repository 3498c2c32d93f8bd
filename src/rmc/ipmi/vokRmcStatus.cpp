#include "rmc/ipmi/vokRmcStatus.h"

#include <cstdio>

namespace {

struct TransferFailure {
    unsigned char status;
    const char* meaning;
};

// The statuses that have a meaning of their own; all others are told in one general line.
constexpr TransferFailure transferFailures[] = {
    {1, "Input data is not complete"},
    {3, "Error in index"},
    {4, "Cli entries full"},
    {5, "Provided command not supported"},
    {6, "Memory could not be allocated"},
    {8, "Request command length exceeded"},
};
constexpr unsigned char lengthExceeded = 8;  // its line also tells the length

struct ExchangeFailure {
    unsigned char status;
    const char* text;
};

constexpr ExchangeFailure exchangeFailures[] = {
    {7, "Request ioctl failure"},
    {8, "Response ioctl failure"},
    {0xAA, "The pointer to the stdout or stderr is NULL."},
    {0xDD, "Command time out."},
    {0xEE, "The size of stdout or stderr is not enough."},
};

}  // namespace

std::string vokTransferFailureText(unsigned char transferStatus, unsigned char exitStatus,
                                   std::size_t argumentLength) {
    for (const auto& failure : transferFailures) {
        if (failure.status != transferStatus) continue;
        char text[160];
        std::snprintf(text, sizeof(text), "Transfer Status is 0x%x[%s] and Cmd Exit Status is 0x%x",
                      transferStatus, failure.meaning, exitStatus);
        if (transferStatus != lengthExceeded) return text;
        return std::string(text) + ". Payload size:" + std::to_string(argumentLength);
    }
    return "RMC Cli Command Execution failed";
}

std::string vokExchangeFailureText(unsigned char transferStatus) {
    for (const auto& failure : exchangeFailures)
        if (failure.status == transferStatus) return failure.text;
    return "Error occurred while executing RMC_CLI_Exec";
}
