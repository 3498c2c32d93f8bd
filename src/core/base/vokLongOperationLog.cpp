// The log lines of operations that take longer than expected.
#include "core/base/vokLog.h"
#include "platform/access/vokLongOperation.h"

namespace {

void logLongOperation(const char* description, long seconds, bool hasEnded) {
    if (hasEnded)
        VOK_LOG_WARNING("WATCH", "Ended after %ld s: %s", seconds, description);
    else
        VOK_LOG_WARNING("WATCH", "Still not ended after %ld s: %s", seconds, description);
}

[[maybe_unused]] const bool isBound = [] {
    vokBindLongOperationReport(logLongOperation);
    return true;
}();

}  // namespace
