#include "core/base/vokLogFiles.h"

#include <fcntl.h>
#include <libgen.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnedDescriptor.h"

namespace vokLogFiles {
namespace {

vokOwnedDescriptor openFile(const std::string& path, int flags) {
    return vokOwnedDescriptor(::open(path.c_str(), flags | O_CLOEXEC, 0600));
}

// A regular file, or a character device such as /dev/null.
bool isFileOrDevice(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return false;
    if (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode)) return true;
    errno = EINVAL;
    return false;
}

void warn(const std::string& text) {
    vokHostAccess().systemLog(LOG_WARNING, text);
}

}  // namespace

int createDirectoryPath(const std::string& path) {
    for (auto slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        if (::mkdir(path.substr(0, slash).c_str(), 0700) != 0 && errno != EEXIST) return -1;
    return 0;
}

void createSymbolicLink(const std::string& path, const std::string& directory) {
    if (::access(path.c_str(), R_OK) != 0) return;
    std::vector<char> copy(path.c_str(), path.c_str() + path.size() + 1);  // basename() may modify it
    const char* const name = ::basename(copy.data());
    if (!name) {
        warn("basename(" + path + ") returned NULL");
        return;
    }
    const std::string link = directory + "/" + name;
    if (link == path) {
        warn("Target path(" + path + ") matches symbolic link path(" + link +
             "). Hence, symbolic link will not be created.");
        return;
    }
    if (std::remove(link.c_str()) != 0 && errno != ENOENT) {
        warn("remove(" + link + ") completed with errno [" + std::to_string(errno) + "]");
        return;
    }
    if (::symlink(path.c_str(), link.c_str()) != 0 && errno != EEXIST)
        warn("symlink(" + path + ", " + link + ") completed with errno [" + std::to_string(errno) + "]");
}

vokOwnedDescriptor openForAppending(const std::string& path) {
    // Opening a pipe would block the agent without O_NONBLOCK, and a line to a busy terminal would be lost
    // with it.
    vokOwnedDescriptor log = openFile(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY);
    if (!log || !isFileOrDevice(log.get()) || ::fcntl(log.get(), F_SETFL, O_APPEND) != 0) log.reset();
    return log;
}

std::size_t writeAll(int descriptor, const char* data, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t written = ::write(descriptor, data + done, size - done);
        if (written < 0 && errno != EINTR) break;
        if (written > 0) done += static_cast<std::size_t>(written);
    }
    return done;
}

bool appendRest(const std::string& source, const std::string& target, long long& offset) {
    const vokOwnedDescriptor from = openFile(source, O_RDONLY);
    const vokOwnedDescriptor to = openFile(target, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW);
    if (!from || !to) return false;
    std::vector<char> buffer(1 << 16);
    for (;;) {
        const ssize_t count = ::pread(from.get(), buffer.data(), buffer.size(), offset);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) return ::fsync(to.get()) == 0;
        const auto size = static_cast<std::size_t>(count);
        if (writeAll(to.get(), buffer.data(), size) < size) return false;
        offset += count;
    }
}

}  // namespace vokLogFiles
