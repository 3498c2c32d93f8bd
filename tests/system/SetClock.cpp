#include "system/SetClock.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cstdlib>
#include <stdexcept>

SetClock::SetClock(const std::string& directory) : file_(directory + "/clock-offsets") {
    const int file = ::open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ::ftruncate(file, sizeof(SharedClockOffsets)) != 0)
        throw std::runtime_error("no offsets in " + file_);
    void* const mapped =
        ::mmap(nullptr, sizeof(SharedClockOffsets), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    if (mapped == MAP_FAILED) throw std::runtime_error("offsets can't be mapped");
    offsets_ = static_cast<SharedClockOffsets*>(mapped);
}

SetClock::~SetClock() {
    ::munmap(offsets_, sizeof(SharedClockOffsets));
}

std::vector<std::string> SetClock::commandWithClocks(std::vector<std::string> command) const {
    // AddressSanitizer wants to be loaded before any other library, which matters for allocations only.
    const char* const sanitizer = std::getenv("ASAN_OPTIONS");
    command.insert(
        command.begin(),
        {"/usr/bin/env", "LD_PRELOAD=" VOK_SETCLOCK_LIBRARY, "VOK_SETCLOCK_FILE=" + file_,
         std::string("ASAN_OPTIONS=") + (sanitizer ? sanitizer : "") + ":verify_asan_link_order=0"});
    return command;
}

void SetClock::add(ClockOffsets seconds) {
    const ClockOffsets before = *offsets_;
    *offsets_ = {before.wallSeconds + seconds.wallSeconds, before.uptimeSeconds + seconds.uptimeSeconds};
}
