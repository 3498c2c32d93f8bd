// A file descriptor that is closed with its owner.
#pragma once

#include <unistd.h>
#include <cerrno>
#include <utility>

class vokOwnedDescriptor {
public:
    vokOwnedDescriptor() = default;
    explicit vokOwnedDescriptor(int descriptor) : descriptor_(descriptor) {}
    vokOwnedDescriptor(vokOwnedDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    vokOwnedDescriptor& operator=(vokOwnedDescriptor&& other) noexcept {
        reset(std::exchange(other.descriptor_, -1));
        return *this;
    }
    ~vokOwnedDescriptor() { reset(); }

    explicit operator bool() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }  // -1 when there is none
    int release() { return std::exchange(descriptor_, -1); }

    // Closes the current descriptor and takes ownership of `descriptor`. Preserves errno.
    void reset(int descriptor = -1) {
        const int reason = errno;
        if (descriptor_ >= 0) ::close(descriptor_);
        errno = reason;
        descriptor_ = descriptor;
    }

private:
    int descriptor_ = -1;
};
