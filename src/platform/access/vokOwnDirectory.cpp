#include "platform/access/vokOwnDirectory.h"

#include <sys/stat.h>
#include <cerrno>

namespace {

bool isDirectory(const std::string& hostPath) {
    struct stat status {};
    if (::stat(hostPath.c_str(), &status) != 0) return false;
    if (S_ISDIR(status.st_mode)) return true;
    errno = ENOTDIR;
    return false;
}

}  // namespace

bool vokMakeOwnDirectory(const std::string& hostPath) {
    if (isDirectory(hostPath)) return true;
    for (auto slash = hostPath.find('/', 1);; slash = hostPath.find('/', slash + 1)) {
        if (::mkdir(hostPath.substr(0, slash).c_str(), 0700) != 0 && errno != EEXIST) return false;
        if (slash == std::string::npos) return isDirectory(hostPath);
    }
}
