#include "daemon/vokdInstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "platform/access/vokHostAccess.h"

namespace {

constexpr char lockFile[] = "/var/run/vokd.pid";

}  // namespace

vokdInstanceLock::~vokdInstanceLock() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

vokdInstanceLock::Result vokdInstanceLock::take(std::string& said) {
    const std::string place = vokHostAccess().path(lockFile);
    descriptor_ = ::open(place.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct stat status {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
        said = place + ": " + (descriptor_ < 0 ? std::strerror(errno) : "not a regular file");
        return Result::unavailable;
    }
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            said = place + ": " + std::strerror(errno);
            return Result::unavailable;
        }
        char pid[16] = {};
        const ssize_t count = ::read(descriptor_, pid, sizeof(pid) - 1);
        said.assign(pid, count > 0 ? ::strcspn(pid, "\n") : 0);
        return Result::heldByAnother;
    }
    const std::string pid = std::to_string(::getpid()) + "\n";
    // The number is for people; the lock holds without it.
    if (::ftruncate(descriptor_, 0) == 0) {
        [[maybe_unused]] const ssize_t written = ::pwrite(descriptor_, pid.data(), pid.size(), 0);
    }
    return Result::taken;
}
