#include "platform/access/vokSharedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

#include "platform/access/vokOwnedDescriptor.h"

namespace {

constexpr std::size_t maxContentSize = 1 << 20;

bool isOurs(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
           (status.st_uid == 0 || status.st_uid == ::geteuid());
}

}  // namespace

bool vokReadSharedFile(const std::string& hostPath, std::string& content) {
    content.clear();
    const vokOwnedDescriptor file(::open(hostPath.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file) return false;
    bool readable = isOurs(file.get());
    if (!readable) errno = EPERM;
    char buffer[4096];
    while (readable && content.size() < maxContentSize) {
        const ssize_t count = ::read(file.get(), buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) readable = false;
        if (count <= 0) break;
        content.append(buffer, static_cast<std::size_t>(count));
    }
    return readable;  // the descriptor's owner preserves errno
}
