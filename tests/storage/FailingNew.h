// operator new of this program and of the library under test, which a test can make fail. A sanitizer has one
// of its own, which can't be made to fail.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_FAILING_NEW 0
#else
#define HAS_FAILING_NEW 1

// Each allocation of this thread for an object of this size throws std::bad_alloc while it exists.
struct FailingNew {
    explicit FailingNew(std::size_t size);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};
#endif
