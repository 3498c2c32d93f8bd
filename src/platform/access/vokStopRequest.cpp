#include "platform/access/vokStopRequest.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <ctime>
#include <utility>

namespace {

// Of an object: clang's is_always_lock_free goes by the alignment of a plain long long, which on the 32-bit
// ABI is less than that of an atomic one.
[[maybe_unused]] const std::atomic<long long> sample{0};
static_assert(__atomic_always_lock_free(sizeof(sample), &sample), "a signal handler makes the request");

// Mostly above the descriptors of devices: select(2) goes by number, and so registers with the request only
// if the device is not ready. Not above 31, so that its sets are one word on each ABI.
constexpr int leastDescriptor = 31;

long long monotonicMilliseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

}  // namespace

vokStopRequest::vokStopRequest() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return;
    writeEnd_.reset(ends[1]);
    vokOwnedDescriptor low(ends[0]);
    const int high = ::fcntl(low.get(), F_DUPFD_CLOEXEC, leastDescriptor);
    readEnd_ = high >= 0 ? vokOwnedDescriptor(high) : std::move(low);
}

void vokStopRequest::make() {
    const int reason = errno;
    long long expected = notMade;
    if (madeAt_.compare_exchange_strong(expected, monotonicMilliseconds()) && writeEnd_) {
        [[maybe_unused]] const ssize_t written = ::write(writeEnd_.get(), "", 1);
    }
    errno = reason;
}

int vokStopRequest::timeLeft(int milliseconds) const {
    const long long madeAt = madeAt_.load();
    if (madeAt == notMade) return -1;
    return static_cast<int>(std::max(0LL, madeAt + milliseconds - monotonicMilliseconds()));
}
