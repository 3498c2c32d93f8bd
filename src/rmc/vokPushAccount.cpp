#include "rmc/vokPushAccount.h"

#include <string>

#include "core/status/vokHistory.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"
#include "rmc/ipmi/vokRmcOutcome.h"

namespace {

vokPushAnswer answerOf(ipmi::Verdict verdict) {
    switch (verdict) {
        case ipmi::Verdict::accepted:
            return vokPushAnswer::accepted;
        case ipmi::Verdict::unconfirmed:
            return vokPushAnswer::unconfirmed;
        case ipmi::Verdict::refused:
            return vokPushAnswer::refused;
        case ipmi::Verdict::noAnswer:
            return vokPushAnswer::noAnswer;
        case ipmi::Verdict::notSent:
            break;
    }
    return vokPushAnswer::notSent;
}

}  // namespace

vokPushAccount::vokPushAccount() : begin_(vokWallClockSeconds()) {
    vokNotePushBegin(begin_);
}

void vokPushAccount::end(std::size_t bytes, const ipmi::RemoteCommandOutcome& outcome) const {
    const std::string text = outcome.text();
    vokPushResult result;
    result.end = vokWallClockSeconds();
    result.milliseconds = stopwatch_.milliseconds();
    result.bytes = bytes;
    result.chunks = outcome.requests();
    result.answer = answerOf(outcome.verdict());
    result.answerText = text.c_str();
    vokNotePushEnd(result);

    vokHistoryEntry entry;
    entry.kind = vokHistoryKind::push;
    entry.time = begin_;
    entry.duration = result.milliseconds;
    entry.outcome = static_cast<std::uint32_t>(result.answer);
    entry.bytes = result.bytes;
    entry.chunks = result.chunks;
    entry.answer = text;
    vokAppendHistory(std::move(entry));
}
