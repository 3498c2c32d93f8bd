#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "common/FileDescriptor.h"
#include "common/HostPaths.h"
#include "modules/physloc/library/StandIn.h"

namespace physloc {

namespace {

// "ROOT/lib/NAME", as it was opened.
std::string ownPlace() {
    Dl_info information{};
    const bool found = ::dladdr(static_cast<const void*>(&platform), &information) != 0;
    return found && information.dli_fname ? information.dli_fname : "";
}

}  // namespace

void reportViolation(const std::string& text) {
    const std::string place = ownPlace();
    const auto name = place.rfind('/');
    const auto lib = name == std::string::npos || name == 0 ? name : place.rfind('/', name - 1);
    if (name == std::string::npos || lib == std::string::npos) return;
    const std::string log = simhost::HostPaths(place.substr(0, lib)).locationViolations();
    const simhost::FileDescriptor file(
        ::open(log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600));
    if (!file) return;
    // One write, so that lines of several threads stay whole.
    const std::string line = place.substr(name + 1) + ": " + text + "\n";
    [[maybe_unused]] const ssize_t written = ::write(file.get(), line.data(), line.size());
}

}  // namespace physloc
