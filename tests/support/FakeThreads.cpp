#include "support/FakeThreads.h"

void FakeThreads::failStarts(int succeeding, int error) {
    const std::lock_guard<std::mutex> lock(guard_);
    succeeding_ = succeeding;
    failing_ = -1;
    startError_ = error;
}

void FakeThreads::failNextStarts(int count, int error) {
    const std::lock_guard<std::mutex> lock(guard_);
    succeeding_ = 0;
    failing_ = count;
    startError_ = error;
}

void FakeThreads::failJoins(int error) {
    const std::lock_guard<std::mutex> lock(guard_);
    joinError_ = error;
}

int FakeThreads::started() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return started_;
}

std::vector<pthread_t> FakeThreads::joined() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return joined_;
}

int FakeThreads::nextFailure() {
    const std::lock_guard<std::mutex> lock(guard_);
    if (succeeding_ != 0) {
        if (succeeding_ > 0) --succeeding_;
        return 0;
    }
    if (failing_ == 0) return 0;
    if (failing_ > 0) --failing_;
    return startError_;
}

int FakeThreads::start(pthread_t* thread, void* (*body)(void*), void* argument) {
    if (const int error = nextFailure(); error != 0) return error;
    const int result = ::pthread_create(thread, nullptr, body, argument);
    const std::lock_guard<std::mutex> lock(guard_);
    if (result == 0) ++started_;
    return result;
}

int FakeThreads::join(pthread_t thread) {
    int error = 0;
    {
        const std::lock_guard<std::mutex> lock(guard_);
        joined_.push_back(thread);
        error = joinError_;
    }
    return error != 0 ? error : ::pthread_join(thread, nullptr);
}
