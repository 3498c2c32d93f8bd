#include "devices/OpenFault.h"

#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace simhost {

namespace {

constexpr char prefix[] = "simhost-open-error:";

}  // namespace

void makeOpenFault(const std::string& path, int error) {
    ::unlink(path.c_str());
    if (::symlink((prefix + std::to_string(error)).c_str(), path.c_str()) != 0)
        throw std::system_error(errno, std::generic_category(), path);
}

int openFaultAt(const std::string& path) {
    char target[sizeof(prefix) + 16] = {};
    const ssize_t size = ::readlink(path.c_str(), target, sizeof(target) - 1);
    const std::string text(target, size > 0 ? static_cast<std::size_t>(size) : 0);
    if (text.compare(0, sizeof(prefix) - 1, prefix) != 0) return 0;
    return std::atoi(text.c_str() + sizeof(prefix) - 1);
}

}  // namespace simhost
