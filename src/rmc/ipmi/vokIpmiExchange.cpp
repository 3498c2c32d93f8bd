#include "rmc/ipmi/vokIpmiExchange.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/base/vokDecisionTable.h"

namespace ipmi {
namespace {

struct CompletionCode {
    unsigned char code;
    const char* meaning;

    constexpr unsigned char key() const { return code; }
};

// The generic codes. The driver itself answers with two of them (linux/ipmi_msgdefs.h).
constexpr CompletionCode completionCodes[] = {
    {0x00, "completed normally"},
    {0xC0, "node busy"},
    {0xC1, "invalid command"},
    {0xC2, "command invalid for this LUN"},
    {0xC3, "timeout; the driver's own answer if the controller is silent"},
    {0xC4, "out of space"},
    {0xC5, "reservation canceled or invalid"},
    {0xC6, "request data truncated"},
    {0xC7, "request data length invalid"},
    {0xC8, "request data field too long"},
    {0xC9, "parameter out of range"},
    {0xCA, "requested number of bytes not available"},
    {0xCB, "sensor, data or record not present"},
    {0xCC, "invalid data field in the request"},
    {0xCD, "command illegal for this sensor or record"},
    {0xCE, "response could not be provided"},
    {0xCF, "duplicated request not executed"},
    {0xD0, "no response: SDR repository in update mode"},
    {0xD1, "no response: device in firmware update mode"},
    {0xD2, "no response: controller is initializing"},
    {0xD3, "destination unavailable"},
    {0xD4, "insufficient privilege or blocked by a security restriction"},
    {0xD5, "not supported in the present state"},
    {0xD6, "sub-function disabled or unavailable"},
    {0xFF, "unspecified error; the driver's own answer if the interface fails"},
};
static_assert(vokKeysAscend(completionCodes));

struct OpenFailure {
    int error;
    const char* cause;

    constexpr int key() const { return error; }
};

constexpr OpenFailure openFailures[] = {
    {EPERM, "the agent has to run as root"},     {ENOENT, "no IPMI driver is loaded"},
    {ENXIO, "the driver has no controller"},     {EACCES, "the agent has to run as root"},
    {EBUSY, "another program holds the device"}, {ENODEV, "the driver has no controller"},
};
static_assert(vokKeysAscend(openFailures));

std::string reason(int error) {
    return error == 0 ? std::string() : std::string(": ") + std::strerror(error);
}

std::string completionCodeText(unsigned char code) {
    char digits[8];
    std::snprintf(digits, sizeof(digits), "0x%02X", code);
    return std::string("completion code ") + digits + " (" + completionCodeMeaning(code) + ")";
}

}  // namespace

const char* completionCodeMeaning(unsigned char code) {
    if (const CompletionCode* const row = vokFindRow(completionCodes, code)) return row->meaning;
    if (code >= 0x01 && code <= 0x7E) return "specific to the device";
    if (code >= 0x80 && code <= 0xBE) return "specific to the command";
    return "reserved";
}

bool isProper(const Exchange& exchange, std::size_t length) {
    return exchange.failedStep == ExchangeStep::none && exchange.length >= length && exchange.length > 0 &&
           exchange.completionCode == 0;
}

std::string exchangeText(const Exchange& exchange, const std::string& request, std::size_t length) {
    switch (exchange.failedStep) {
        case ExchangeStep::open:
            return "the device can't be opened: " + openFailureText(exchange.error);
        case ExchangeStep::send:
            return "no answer to " + request + ": sending it failed" + reason(exchange.error);
        case ExchangeStep::wait:
            return "no answer to " + request + ": waiting for it failed" + reason(exchange.error);
        case ExchangeStep::receive:
            return "no answer to " + request + ": reading it failed" + reason(exchange.error);
        case ExchangeStep::none:
            break;
    }
    if (exchange.length == 0) return "the answer to " + request + " is empty";
    if (exchange.completionCode != 0)
        return request + " was answered with " + completionCodeText(exchange.completionCode);
    return "the answer to " + request + " has " + std::to_string(exchange.length) + " bytes instead of " +
           std::to_string(length);
}

std::string openFailureText(int error) {
    const OpenFailure* const row = vokFindRow(openFailures, error);
    return std::strerror(error) + (row ? std::string("; ") + row->cause : std::string());
}

}  // namespace ipmi
