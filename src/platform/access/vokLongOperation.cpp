#include "platform/access/vokLongOperation.h"

#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <string>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokWorkScope.h"

// One operation in progress. Its fields belong to the thread that has moved the state away from `vacant`; to
// the watch while the state is `examined`.
struct alignas(64) vokOperationSlot {
    enum State : int { vacant, owned, running, examined };

    std::atomic<int> state{vacant};
    bool isReported = false;
    vokOperation operation;
    timespec begin{};
    int classId = -1;
};

namespace {

// Enough for two nested operations in each of the agent's threads.
vokOperationSlot slots[vokLongOperationNotice::slots];

std::mutex watchMutex;
std::condition_variable watchWakes;
bool watchEnds = false;  // guarded by the mutex
// True while the watch sleeps without a time-out, or is about to. An operation that begins then wakes it.
std::atomic<bool> watchIsIdle{false};

vokLongOperationReport boundReport = nullptr;
vokLongOperationListener boundListener = nullptr;

bool take(vokOperationSlot& slot, int from, int to) {
    return slot.state == from && slot.state.compare_exchange_strong(from, to);
}

timespec steadyNow() {
    timespec now{};
    vokHostAccess().steadyClock(&now);
    return now;
}

timespec limitOf(const timespec& begin) {
    return {begin.tv_sec + vokLongOperationWatch::limitSeconds, begin.tv_nsec};
}

// The clock is read in ticks of at most ten milliseconds: the watch that wakes then finds the limit reached.
timespec wakeUpFor(timespec limit) {
    constexpr long twoTicks = 20000000;
    constexpr long second = 1000000000;
    limit.tv_nsec += twoTicks;
    if (limit.tv_nsec < second) return limit;
    return {limit.tv_sec + 1, limit.tv_nsec - second};
}

bool isBefore(const timespec& a, const timespec& b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

long secondsBetween(const timespec& begin, const timespec& end) {
    return static_cast<long>(end.tv_sec - begin.tv_sec - (end.tv_nsec < begin.tv_nsec ? 1 : 0));
}

std::string hexadecimal(unsigned long number) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%lx", number);
    return text;
}

// The path that is open at a descriptor of this process.
std::string openPath(int descriptor) {
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    char path[512];
    const ssize_t length = ::readlink(link.c_str(), path, sizeof(path));
    return length > 0 ? std::string(path, static_cast<std::size_t>(length))
                      : "at descriptor " + std::to_string(descriptor);
}

std::string describe(const vokOperation& operation) {
    std::string name = operation.name ? operation.name : openPath(operation.descriptor);
    switch (operation.kind) {
        case vokOperationKind::command:
            return "command \"" + name + "\"";
        case vokOperationKind::libraryCall:
            return "library call " + name;
        case vokOperationKind::deviceRequest:
            return "device " + name + ", request " + hexadecimal(operation.request);
        case vokOperationKind::scsiCommand:
            return "device " + name + ", SCSI command " + hexadecimal(operation.request);
    }
    return name;
}

void report(const vokOperationSlot& slot, const timespec& now, bool hasEnded) {
    const std::string description = describe(slot.operation);
    const long seconds = secondsBetween(slot.begin, now);
    if (boundListener) {
        vokLongOperationNotice notice;
        notice.slot = static_cast<std::size_t>(&slot - slots);
        notice.description = description.c_str();
        notice.seconds = seconds;
        notice.hasEnded = hasEnded;
        notice.classId = slot.classId;
        boundListener(notice);
    }
    if (boundReport) boundReport(description.c_str(), seconds, hasEnded);
}

// Reports the operations that have reached the limit. Returns true if others are in progress, with the time
// at which the first of them reaches it.
bool examineAll(timespec& earliest) {
    bool isAnyBelowTheLimit = false;
    const timespec now = steadyNow();
    for (vokOperationSlot& slot : slots) {
        if (!take(slot, vokOperationSlot::running, vokOperationSlot::examined)) continue;
        const timespec limit = limitOf(slot.begin);
        if (!slot.isReported && !isBefore(now, limit)) {
            slot.isReported = true;
            report(slot, now, false);
        }
        if (!slot.isReported && (!isAnyBelowTheLimit || isBefore(limit, earliest))) {
            isAnyBelowTheLimit = true;
            earliest = limit;
        }
        slot.state.store(vokOperationSlot::running, std::memory_order_release);
    }
    return isAnyBelowTheLimit;
}

void wakeWatch() {
    const std::lock_guard<std::mutex> lock(watchMutex);
    watchIsIdle = false;
    watchWakes.notify_one();
}

}  // namespace

vokLongOperation::vokLongOperation(const vokOperation& operation) noexcept : slot_(nullptr) {
    for (vokOperationSlot& slot : slots) {
        if (!take(slot, vokOperationSlot::vacant, vokOperationSlot::owned)) continue;
        slot.operation = operation;
        slot.isReported = false;
        slot.begin = steadyNow();
        slot.classId = vokWorkScope::current();
        // In this order, which is that of the watch reversed, so that one of the two sees the other.
        slot.state = vokOperationSlot::running;
        if (watchIsIdle) wakeWatch();
        slot_ = &slot;
        return;
    }
}

vokLongOperation::~vokLongOperation() {
    if (!slot_) return;
    while (!take(*slot_, vokOperationSlot::running, vokOperationSlot::owned)) {
        const std::lock_guard<std::mutex> lock(watchMutex);  // held by the watch that examines the slot
    }
    if (slot_->isReported) {
        const int reason = errno;
        report(*slot_, steadyNow(), true);
        errno = reason;
    }
    slot_->state.store(vokOperationSlot::vacant, std::memory_order_release);
}

vokLongOperationWatch::vokLongOperationWatch() {
    watchEnds = false;
    const auto body = [](void* watch) -> void* {
        static_cast<vokLongOperationWatch*>(watch)->run();
        return nullptr;
    };
    running_ = vokHostAccess().startThread(&thread_, body, this) == 0;
}

vokLongOperationWatch::~vokLongOperationWatch() {
    if (!running_) return;
    {
        const std::lock_guard<std::mutex> lock(watchMutex);
        watchEnds = true;
        watchWakes.notify_one();
    }
    vokHostAccess().joinThread(thread_);
}

void vokLongOperationWatch::run() {
    std::unique_lock<std::mutex> lock(watchMutex);
    while (!watchEnds) {
        timespec until{};
        if (!examineAll(until)) {
            watchIsIdle = true;
            if (!examineAll(until)) watchWakes.wait(lock, [] { return watchEnds || !watchIsIdle; });
            watchIsIdle = false;
            // The operation that woke it may have ended, and others may follow at any rate; none of those
            // reaches the limit before this time.
            if (!examineAll(until)) until = limitOf(steadyNow());
        }
        until = wakeUpFor(until);
        if (!watchEnds)
            vokHostAccess().steadyWait(watchWakes.native_handle(), watchMutex.native_handle(), &until);
    }
}

void vokBindLongOperationReport(vokLongOperationReport report) {
    boundReport = report;
}

void vokBindLongOperationListener(vokLongOperationListener listener) {
    boundListener = listener;
}
