#include "storage/vokSysfsLink.h"

#include <unistd.h>
#include <algorithm>
#include <cctype>
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
    std::string resolved = realPath(vokHostAccess().path(path));
    if (resolved.empty()) return resolved;
    // As a path of this host: the directory in front of it says nothing of a device, and its /sys may itself
    // be a link, to that of the machine.
    const std::string sys = "/sys";
    const std::string top = realPath(vokHostAccess().path(sys));
    if (resolved.compare(0, top.size() + 1, top + "/") == 0) return sys + resolved.substr(top.size());
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

int vokNumberAfter(const std::string& path, const std::string& prefix) {
    const std::size_t at = path.find(prefix);
    if (at == std::string::npos) return -1;
    const char* const number = path.c_str() + at + prefix.size();
    if (!std::isdigit(static_cast<unsigned char>(*number))) return -1;
    return static_cast<int>(std::min<long>(std::strtol(number, nullptr, 10), INT_MAX));
}
