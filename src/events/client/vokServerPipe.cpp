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

// Somebody who removes the pipe over and over gets no more than this many new ones at a time.
constexpr int openAttempts = 3;

}  // namespace

vokServerPipe::vokServerPipe(const char* path) : path_(path), place_(vokHostAccess().path(path)) {}

bool vokServerPipe::open() {
    for (int attempt = 0; attempt < openAttempts; ++attempt) {
        const bool opened = openOnce();
        watchPlace();
        // Between the opening and the watch the place may have changed unseen.
        if (opened ? isAtItsPlace() : !watch_ || somethingIsInItsPlace()) return opened;
    }
    return false;
}

bool vokServerPipe::openOnce() {
    pipe_.reset();
    vokCreatePipe(path_);
    // For writing too: so the pipe stays open when the last client leaves.
    vokOwnedDescriptor pipe(::open(place_.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!pipe) return refuse(errno == ELOOP ? "a symbolic link is in its place" : std::strerror(errno));
    struct stat status {};
    if (::fstat(pipe.get(), &status) != 0) return refuse(std::strerror(errno));
    if (!S_ISFIFO(status.st_mode)) return refuse("a file that is no pipe is in its place");
    if (status.st_uid != ::geteuid()) return refuse("a pipe of another user is in its place");
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

void vokServerPipe::watchPlace() {
    watch_.reset(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!watch_) return;
    // Without a pipe, wait for whatever is in its place to go.
    const std::string directory = place_.substr(0, place_.rfind('/') + 1);
    const int added =
        pipe_ ? ::inotify_add_watch(watch_.get(), place_.c_str(),
                                    IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_DONT_FOLLOW)
              : ::inotify_add_watch(watch_.get(), directory.c_str(), IN_DELETE | IN_MOVED_FROM | IN_ONLYDIR);
    if (added < 0) watch_.reset();
}

bool vokServerPipe::somethingIsInItsPlace() const {
    struct stat found {};
    return ::lstat(place_.c_str(), &found) == 0;
}

bool vokServerPipe::isAtItsPlace() const {
    struct stat opened {};
    struct stat found {};
    return pipe_ && ::fstat(pipe_.get(), &opened) == 0 && ::lstat(place_.c_str(), &found) == 0 &&
           opened.st_dev == found.st_dev && opened.st_ino == found.st_ino;
}

void vokServerPipe::placeChanged() {
    alignas(inotify_event) char events[4096];
    while (::read(watch_.get(), events, sizeof(events)) > 0) {
    }
    if (isAtItsPlace()) return;
    const bool wasOpen = static_cast<bool>(pipe_);
    if (!wasOpen && somethingIsInItsPlace()) return;  // something else in the directory went
    if (wasOpen) VOK_LOG_WARNING(module, "Pipe %s was removed. Making it anew.", path_);
    open();
}
