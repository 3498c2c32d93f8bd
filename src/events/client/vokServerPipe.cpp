#include "events/client/vokServerPipe.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <cerrno>
#include <cstring>
#include <utility>

#include "core/base/vokLog.h"
#include "events/client/vokMsgInfra.h"
#include "platform/access/vokHostAccess.h"

namespace {

constexpr char module[] = "VOK_SERVER";

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

// Limits the attempts at a time if the pipe is removed again and again.
constexpr int openAttempts = 3;

}  // namespace

vokServerPipe::vokServerPipe(const char* path) : path_(path), hostPath_(vokHostAccess().path(path)) {}

bool vokServerPipe::open() {
    for (int attempt = 0; attempt < openAttempts; ++attempt) {
        const bool opened = openOnce();
        watchPath();
        // The path may have changed unnoticed between the opening and the watch.
        if (opened ? isAtItsPath() : !watch_ || isPathOccupied()) return opened;
    }
    return false;
}

bool vokServerPipe::openOnce() {
    pipe_.reset();
    vokCreatePipe(path_);
    // Also for writing, so that the pipe stays open when the last client closes it.
    vokOwnedDescriptor pipe(::open(hostPath_.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!pipe) return refuse(errno == ELOOP ? "the path is a symbolic link" : std::strerror(errno));
    struct stat status {};
    if (::fstat(pipe.get(), &status) != 0) return refuse(std::strerror(errno));
    if (!S_ISFIFO(status.st_mode)) return refuse("the path is not a pipe");
    if (status.st_uid != ::geteuid()) return refuse("the pipe belongs to another user");
    if ((status.st_mode & 07777) != ownerOnly && ::fchmod(pipe.get(), ownerOnly) != 0)
        return refuse(std::strerror(errno));
    pipe_ = std::move(pipe);
    refusal_.clear();
    return true;
}

bool vokServerPipe::refuse(const std::string& reason) {
    VOK_LOG_DEBUG(module, "Open of pipe %s failed.", path_);
    if (refusal_ != reason)
        VOK_LOG_ERROR(module, "Clients can't be served at %s: %s.", path_, reason.c_str());
    refusal_ = reason;
    return false;
}

void vokServerPipe::watchPath() {
    watch_.reset(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!watch_) return;
    // Without a pipe, watch for the removal of the file that occupies its path.
    const std::string directory = hostPath_.substr(0, hostPath_.rfind('/') + 1);
    const int added =
        pipe_ ? ::inotify_add_watch(watch_.get(), hostPath_.c_str(),
                                    IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_DONT_FOLLOW)
              : ::inotify_add_watch(watch_.get(), directory.c_str(), IN_DELETE | IN_MOVED_FROM | IN_ONLYDIR);
    if (added < 0) watch_.reset();
}

bool vokServerPipe::isPathOccupied() const {
    struct stat found {};
    return ::lstat(hostPath_.c_str(), &found) == 0;
}

bool vokServerPipe::isAtItsPath() const {
    struct stat opened {};
    struct stat found {};
    return pipe_ && ::fstat(pipe_.get(), &opened) == 0 && ::lstat(hostPath_.c_str(), &found) == 0 &&
           opened.st_dev == found.st_dev && opened.st_ino == found.st_ino;
}

void vokServerPipe::reopenIfReplaced() {
    alignas(inotify_event) char events[4096];
    while (::read(watch_.get(), events, sizeof(events)) > 0) {
    }
    if (isAtItsPath()) return;
    const bool wasOpen = static_cast<bool>(pipe_);
    if (!wasOpen && isPathOccupied()) return;  // another file of the directory was removed
    if (wasOpen) VOK_LOG_WARNING(module, "Pipe %s was removed. Creating it again.", path_);
    open();
}
