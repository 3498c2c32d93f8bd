#include "platform/access/vokWorkFile.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>

#include "platform/access/vokCommandStream.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnDirectory.h"
#include "platform/access/vokOwnedDescriptor.h"

vokWorkFile::vokWorkFile(const std::string& path, vokLeftOver leftOver)
    : hostPath_(vokHostAccess().path(path)), shellQuoted_(vokHostAccess().commandPath(path)) {
    if (leftOver != vokLeftOver::replaced) vokMakeOwnDirectory(hostPath_.substr(0, hostPath_.rfind('/')));
    if (leftOver == vokLeftOver::removed) std::remove(hostPath_.c_str());
    if (leftOver != vokLeftOver::replaced) return;
    ::unlink(hostPath_.c_str());  // can't remove a directory, which then counts as planted
    const vokOwnedDescriptor made(
        ::open(hostPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    planted_ = !made && errno == EEXIST;
}

vokWorkFile::~vokWorkFile() {
    if (!planted_) std::remove(hostPath_.c_str());
}

int vokWorkFile::appendOutputOf(const std::string& command) const {
    return vokRunCommand(command + " >> " + shellQuoted_);
}

bool vokWorkFile::read(std::string& content) const {
    constexpr std::size_t mostBytes = 16 * 1024 * 1024;
    content.clear();
    const vokFilePtr file = open();
    if (!file) return false;
    char buffer[4096];
    for (std::size_t count = 1; count > 0 && content.size() < mostBytes;) {
        count = std::fread(buffer, 1, sizeof(buffer), file.get());
        content.append(buffer, count);
    }
    // Of a line that is cut nothing is known.
    if (content.size() >= mostBytes) content.erase(content.rfind('\n') + 1);
    return true;
}

vokFilePtr vokWorkFile::open() const {
    return vokFilePtr(std::fopen(hostPath_.c_str(), "re"));
}
