// The outcome of one IPMI exchange. The result of an exchange says no more than whether the driver returned a
// message, and the completion code does not count; this record is for messages to users.
#pragma once

#include <cstddef>
#include <string>

namespace ipmi {

inline constexpr char devicePath[] = "/dev/ipmi0";

enum class ExchangeStep { none, open, send, wait, receive };

struct Exchange {
    ExchangeStep failedStep = ExchangeStep::none;
    int error = 0;                     // errno of the failed step; 0 if the system reported none
    std::size_t length = 0;            // of the answer in bytes, with its completion code
    unsigned char completionCode = 0;  // of an answer of at least one byte
};

// True if the controller answered with completion code 0 and at least `length` bytes, completion code
// included.
bool isProper(const Exchange& exchange, std::size_t length);

// A clause that says what is wrong with an exchange that is not proper: "request 2 was answered with
// completion code 0xC1 (invalid command)". `request` names the request.
std::string exchangeText(const Exchange& exchange, const std::string& request, std::size_t length);

// Why the device could not be opened: the system's text for the error number and, if known, its usual cause.
std::string openFailureText(int error);

// The meaning of a completion code (IPMI 2.0, table 5-2).
const char* completionCodeMeaning(unsigned char code);

}  // namespace ipmi
