#include "vokReplacedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/access/vokOwnedDescriptor.h"

namespace {

bool writeAll(int descriptor, const std::string& content) {
    for (std::size_t written = 0; written < content.size();) {
        const ssize_t count = ::write(descriptor, content.data() + written, content.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        written += static_cast<std::size_t>(count);
    }
    return true;
}

// Closing is part of writing: some file systems report a full disk only then.
bool fill(vokOwnedDescriptor created, const std::string& content) {
    return writeAll(created.get(), content) && ::fchmod(created.get(), 0644) == 0 &&
           ::close(created.release()) == 0;
}

}  // namespace

bool vokReplaceFile(const std::string& file, const std::string& content) {
    // Readers of the directory ignore a file with such a suffix, and mkstemp(3) refuses an existing one.
    std::string temporary = file + ".XXXXXX";
    vokOwnedDescriptor created(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!created) return false;
    if (fill(std::move(created), content) && ::rename(temporary.c_str(), file.c_str()) == 0) return true;
    const int reason = errno;
    ::unlink(temporary.c_str());
    errno = reason;
    return false;
}
