#include "rmc/ipmi/vokRmcOutcome.h"

#include <cstdio>

#include "rmc/ipmi/vokRmcChunk.h"
#include "rmc/ipmi/vokRmcStatus.h"

namespace ipmi {
namespace {

constexpr std::size_t answerLength = 1 + sizeof(ChunkResponse);  // with the completion code

std::string requestName(std::size_t number) {
    return "request " + std::to_string(number);
}

}  // namespace

void RemoteCommandOutcome::add(const Exchange& exchange, unsigned char transferStatus,
                               unsigned char exitStatus) {
    ++requests_;
    last_ = exchange;
    transferStatus_ = transferStatus;
    exitStatus_ = exitStatus;
    if (isProper(exchange, answerLength)) return;
    if (improper_++ != 0) return;
    first_ = exchange;
    firstImproper_ = requests_;
}

Verdict RemoteCommandOutcome::verdict() const {
    if (requests_ == 0 || last_.failedStep == ExchangeStep::open) return Verdict::notSent;
    if (last_.failedStep != ExchangeStep::none) return Verdict::noAnswer;
    if (transferStatus_ > greatestAcceptedStatus) return Verdict::refused;
    const bool accepted = improper_ == 0 && transferStatus_ == 0 && exitStatus_ == 0;
    return accepted ? Verdict::accepted : Verdict::unconfirmed;
}

std::string RemoteCommandOutcome::text() const {
    if (requests_ == 0) return whyNotSent_;
    switch (verdict()) {
        case Verdict::accepted:
            return "the controller accepted it";
        case Verdict::refused:
            return "the controller refused " + requestName(requests_) + ": " + refusalText();
        case Verdict::noAnswer:
        case Verdict::notSent:
            return exchangeText(last_, requestName(requests_), answerLength);
        case Verdict::unconfirmed:
            break;
    }
    return improper_ == 0 ? "the last request was answered with " + refusalText() : improperText();
}

std::string RemoteCommandOutcome::improperText() const {
    if (improper_ == 0) return "";
    std::string text = exchangeText(first_, requestName(firstImproper_), answerLength);
    if (requests_ > 1)
        text += "; " + std::to_string(improper_) + " of " + std::to_string(requests_) +
                " requests without a proper answer";
    return text;
}

std::string RemoteCommandOutcome::refusalText() const {
    char text[160];
    std::snprintf(text, sizeof(text), "transfer status 0x%02X (%s), exit status 0x%02X", transferStatus_,
                  vokTransferStatusMeaning(transferStatus_), exitStatus_);
    return text;
}

}  // namespace ipmi
