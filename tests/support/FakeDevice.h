// A device node of a fake host. A class derived from it answers the requests of one driver.
#pragma once

#include <cerrno>
#include <mutex>
#include <string>

class FakeDevice {
public:
    explicit FakeDevice(std::string path) : path_(std::move(path)) {}
    virtual ~FakeDevice() = default;

    const std::string& path() const { return path_; }

    // --- what a test sets ---
    // The next `count` attempts to open it fail with `error`.
    void failOpens(int count, int error = ENOENT);

    // --- what a test reads ---
    int opens() const;            // attempts, including those that failed
    int openDescriptors() const;  // opened and not closed yet
    // Fails the test if an expected request is missing.
    virtual void checkAllUsed() const {}

    // --- the operations of the seam, on any of its descriptors ---
    // True if it may be opened; otherwise errno says why not.
    bool open();
    void close();
    // Like ioctl(2).
    virtual int control(unsigned long request, void* argument) = 0;
    // Like select(2) on the one descriptor for reading.
    virtual int wait() { return 1; }

protected:
    mutable std::mutex guard;

private:
    std::string path_;
    int failingOpens_ = 0;
    int openError_ = 0;
    int opens_ = 0;
    int openDescriptors_ = 0;
};
