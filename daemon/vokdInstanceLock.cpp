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

vokdInstanceLock::Result vokdInstanceLock::take(std::string& detail) {
    const std::string hostPath = vokHostAccess().path(lockFile);
    file_.reset(::open(hostPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        detail = hostPath + ": " + (file_ ? "not a regular file" : std::strerror(errno));
        return Result::unavailable;
    }
    if (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            detail = hostPath + ": " + std::strerror(errno);
            return Result::unavailable;
        }
        char pid[16] = {};
        const ssize_t count = ::read(file_.get(), pid, sizeof(pid) - 1);
        detail.assign(pid, count > 0 ? ::strcspn(pid, "\n") : 0);
        return Result::heldByAnother;
    }
    const std::string pid = std::to_string(::getpid()) + "\n";
    // The number is only informative; the lock holds without it.
    if (::ftruncate(file_.get(), 0) == 0) {
        [[maybe_unused]] const ssize_t written = ::pwrite(file_.get(), pid.data(), pid.size(), 0);
    }
    return Result::taken;
}
