// calloc() of this program and of the library under test. After each block lie bytes that are not zero, so
// that a read beyond the block shows in any build; and a test can make it fail. A sanitizer has a calloc() of
// its own, which detects such reads, and can't be made to fail.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_PADDED_CALLOC 0
#else
#define HAS_PADDED_CALLOC 1

// Each calloc() of this thread fails while it exists.
struct FailingCalloc {
    FailingCalloc();
    ~FailingCalloc();
    FailingCalloc(const FailingCalloc&) = delete;
    FailingCalloc& operator=(const FailingCalloc&) = delete;
};
#endif
