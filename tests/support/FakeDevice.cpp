#include "support/FakeDevice.h"

void FakeDevice::failOpens(int count, int error) {
    const std::lock_guard<std::mutex> lock(guard);
    failingOpens_ = count;
    openError_ = error;
}

int FakeDevice::opens() const {
    const std::lock_guard<std::mutex> lock(guard);
    return opens_;
}

int FakeDevice::openDescriptors() const {
    const std::lock_guard<std::mutex> lock(guard);
    return openDescriptors_;
}

bool FakeDevice::open() {
    const std::lock_guard<std::mutex> lock(guard);
    ++opens_;
    if (failingOpens_ > 0) {
        --failingOpens_;
        errno = openError_;
        return false;
    }
    ++openDescriptors_;
    return true;
}

void FakeDevice::close() {
    const std::lock_guard<std::mutex> lock(guard);
    --openDescriptors_;
}
