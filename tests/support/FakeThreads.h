// Starts and joins threads as the kernel does, unless the test makes that fail.
#pragma once

#include <pthread.h>
#include <cerrno>
#include <mutex>
#include <vector>

class FakeThreads {
public:
    virtual ~FakeThreads() = default;

    // --- what a test sets ---
    // After `succeeding` more starts all further ones fail with `error`.
    void failStarts(int succeeding = 0, int error = EAGAIN);
    // The next `count` starts fail with `error`, later ones succeed.
    void failNextStarts(int count, int error = EAGAIN);
    // Joins return `error` and don't join, as long as `error` is not 0.
    void failJoins(int error);

    // --- what a test reads ---
    int started() const;                    // the number of starts that succeeded
    std::vector<pthread_t> joined() const;  // in the order of the calls

    // --- the operations of the seam ---
    virtual int start(pthread_t* thread, void* (*body)(void*), void* argument);
    virtual int join(pthread_t thread);

private:
    // The error number of the next start, or 0.
    int nextFailure();

    mutable std::mutex guard_;
    int succeeding_ = -1;  // negative: all further ones
    int failing_ = 0;      // after those that succeed; negative: all further ones
    int startError_ = 0;
    int joinError_ = 0;
    int started_ = 0;
    std::vector<pthread_t> joined_;
};
