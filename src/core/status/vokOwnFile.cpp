#include "core/status/vokOwnFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

namespace {

bool isOurs(const struct stat& status) {
    return S_ISREG(status.st_mode) && (status.st_uid == 0 || status.st_uid == ::geteuid());
}

}  // namespace

bool vokIsForeign(const std::string& hostPath) {
    struct stat status {};
    return ::lstat(hostPath.c_str(), &status) == 0 && !isOurs(status);
}

vokOwnedDescriptor vokOpenOwnFile(const std::string& hostPath, std::string& reason) {
    vokOwnedDescriptor file(::open(hostPath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        reason = errno == ENOENT ? hostPath + " does not exist"
                                 : hostPath + " can't be opened: " + std::strerror(errno);
        return {};
    }
    struct stat status {};
    if (::fstat(file.get(), &status) == 0 && isOurs(status)) return file;
    reason = hostPath + " is not a regular file of this user";
    return {};
}

bool vokWriteAll(int descriptor, const void* data, std::size_t size, std::size_t offset) {
    ssize_t count = 0;
    do {
        count = ::pwrite(descriptor, data, size, static_cast<off_t>(offset));
    } while (count < 0 && errno == EINTR);
    if (count >= 0 && static_cast<std::size_t>(count) != size) errno = ENOSPC;
    return count == static_cast<ssize_t>(size);
}

bool vokReadAll(int descriptor, void* data, std::size_t size, std::size_t offset) {
    ssize_t count = 0;
    do {
        count = ::pread(descriptor, data, size, static_cast<off_t>(offset));
    } while (count < 0 && errno == EINTR);
    if (count >= 0 && static_cast<std::size_t>(count) != size) errno = ENODATA;
    return count == static_cast<ssize_t>(size);
}

std::string vokPrintable(const char* text, std::size_t size) {
    std::string printable(text, ::strnlen(text, size));
    for (char& c : printable)
        if (c < ' ' || c > '~') c = '?';
    return printable;
}
