#include "storage/vokSysfsLink.h"

#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"

namespace {

std::string realPath(const std::string& hostPath) {
    const vokMallocPtr<char> resolved(::realpath(hostPath.c_str(), nullptr));
    return resolved ? resolved.get() : "";
}

bool holds(const std::string& text, const std::string& sought) {
    return text.find(sought) != std::string::npos;
}

}  // namespace

std::string vokLinkText(const std::string& path) {
    char text[PATH_MAX];
    const ssize_t length = ::readlink(vokHostAccess().path(path).c_str(), text, sizeof(text));
    return length < 0 ? std::string() : std::string(text, static_cast<std::size_t>(length));
}

std::string vokResolvedPath(const std::string& path) {
    const std::string resolved = realPath(vokHostAccess().path(path));
    // Without the directory in front of the paths of this host, whose name says nothing of a device.
    const std::string root = realPath(vokHostAccess().path("/"));
    if (root == "/" || resolved.empty()) return resolved;
    if (resolved.compare(0, root.size() + 1, root + "/") == 0) return resolved.substr(root.size());
    errno = EXDEV;
    return "";
}

std::string vokDeviceLink(const std::string& entry, const std::string& sought) {
    std::string text = vokLinkText(entry);
    const int reason = errno;
    if (holds(text, sought)) return text;
    for (const std::string& path : {entry, entry + "/device"}) {
        std::string resolved = vokResolvedPath(path);
        if (holds(resolved, sought)) return resolved;
    }
    errno = reason;
    return text;
}
