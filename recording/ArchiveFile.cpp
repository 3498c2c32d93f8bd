// Archives as files: saveArchive() and loadArchive().
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/access/vokOwnedDescriptor.h"
#include "recording/Archive.h"

namespace recording {
namespace {

std::string failed(const std::string& what, const std::string& path) {
    return path + " can't be " + what + ": " + std::strerror(errno) + ".";
}

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// At most one byte more than `most`, by which the caller sees that there are more.
std::optional<std::string> readAll(int descriptor, std::size_t most) {
    std::string bytes;
    std::array<char, 65536> buffer;
    while (bytes.size() <= most) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return bytes;
}

}  // namespace

bool saveArchive(const Recording& recording, const std::string& path, std::string& error) {
    const std::string bytes = writeArchive(recording);
    // What no reader accepts is of no use to anybody, and better noticed on the host that it is about.
    if (!readArchive(bytes, error)) return false;
    vokOwnedDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) {
        error = failed("created", path);
        return false;
    }
    // A umask may have taken more than the mode leaves.
    const bool written = ::fchmod(file.get(), 0600) == 0 && writeAll(file.get(), bytes) &&
                         ::fsync(file.get()) == 0 && ::close(file.release()) == 0;
    if (written) return true;
    error = failed("written", path);
    ::unlink(path.c_str());
    return false;
}

std::optional<Recording> loadArchive(const std::string& path, std::string& error) {
    const bool standardInput = path == "-";
    const vokOwnedDescriptor file(standardInput ? -1 : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const std::string name = standardInput ? "Standard input" : path;
    if (!standardInput && !file) {
        error = failed("opened", name);
        return std::nullopt;
    }
    try {
        const auto bytes = readAll(standardInput ? STDIN_FILENO : file.get(), ArchiveLimits().bytes);
        if (bytes) return readArchive(*bytes, error);
        error = failed("read", name);
    } catch (const std::bad_alloc&) {
        error = "There is not enough memory to read the archive.";
    }
    return std::nullopt;
}

}  // namespace recording
