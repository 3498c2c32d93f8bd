// An open device node, closed through the seam.
#pragma once

#include <cerrno>
#include <string>
#include <utility>

#include "platform/access/vokHostAccess.h"

class vokDevice {
public:
    vokDevice() = default;
    // Opens `path`, an absolute path on the host. On failure the device is not open and errno is set.
    vokDevice(const std::string& path, int flags)
        : descriptor_(vokHostAccess().openDevice(vokHostAccess().path(path), flags)) {}
    vokDevice(vokDevice&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    vokDevice& operator=(vokDevice&& other) noexcept {
        const int descriptor = std::exchange(other.descriptor_, -1);
        close();
        descriptor_ = descriptor;
        return *this;
    }
    ~vokDevice() { close(); }

    explicit operator bool() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }  // -1 if not open

    // Like the operations of IvokHostAccess; -1 with EBADF if the device is not open.
    int ioctl(unsigned long request, void* argument) const {
        return descriptor_ < 0 ? notOpen() : vokHostAccess().ioctlDevice(descriptor_, request, argument);
    }
    int wait() const { return descriptor_ < 0 ? notOpen() : vokHostAccess().waitForDevice(descriptor_); }

    // Preserves errno.
    void close() {
        if (descriptor_ < 0) return;
        const int reason = errno;
        vokHostAccess().closeDevice(std::exchange(descriptor_, -1));
        errno = reason;
    }

private:
    static int notOpen() {
        errno = EBADF;
        return -1;
    }

    int descriptor_ = -1;
};
