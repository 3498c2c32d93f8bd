#include "daemon/vokdInstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "platform/access/vokHostAccess.h"

namespace {

constexpr int mostTries = 100;
constexpr std::chrono::milliseconds betweenTries{10};

// The process id in the file, which may be that of an earlier run; 0 if there is none.
pid_t writtenProcess(int file) {
    char text[16] = {};
    const ssize_t count = ::pread(file, text, sizeof(text) - 1, 0);
    return count > 0 ? static_cast<pid_t>(std::strtol(text, nullptr, 10)) : 0;
}

bool isRunning(pid_t process) {
    return process > 0 && (::kill(process, 0) == 0 || errno == EPERM);
}

}  // namespace

vokdInstanceLock::Result vokdInstanceLock::take(std::string& detail) {
    const std::string hostPath = vokHostAccess().path(lockFile);
    file_.reset(::open(hostPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        detail = hostPath + ": " + (file_ ? "not a regular file" : std::strerror(errno));
        return Result::unavailable;
    }
    // A holder that starts at the same moment has not written its number yet: it is awaited for a second.
    for (int tries = 0; ::flock(file_.get(), LOCK_EX | LOCK_NB) != 0; ++tries) {
        if (errno != EWOULDBLOCK) {
            detail = hostPath + ": " + std::strerror(errno);
            return Result::unavailable;
        }
        const pid_t holder = writtenProcess(file_.get());
        if (isRunning(holder)) {
            detail = std::to_string(holder);
            return Result::heldByAnother;
        }
        if (tries == mostTries) {
            detail = "unknown";
            return Result::heldByAnother;
        }
        std::this_thread::sleep_for(betweenTries);
    }
    // The number is only informative; the lock holds without it.
    const std::string pid = std::to_string(::getpid()) + "\n";
    if (::pwrite(file_.get(), pid.data(), pid.size(), 0) == static_cast<ssize_t>(pid.size())) {
        [[maybe_unused]] const int cut = ::ftruncate(file_.get(), static_cast<off_t>(pid.size()));
    }
    return Result::taken;
}
