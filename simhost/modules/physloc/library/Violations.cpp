#include <fcntl.h>
#include <unistd.h>

#include "common/FileDescriptor.h"
#include "common/HostPaths.h"
#include "library/OwnPlace.h"
#include "modules/physloc/library/StandIn.h"

namespace physloc {

void reportViolation(const std::string& text) {
    const std::string root = simhost::ownHostRoot();
    if (root.empty()) return;
    const std::string log = simhost::HostPaths(root).locationViolations();
    const simhost::FileDescriptor file(
        ::open(log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600));
    if (!file) return;
    // One write, so that lines of several threads stay whole.
    const std::string line = simhost::ownLibraryName() + ": " + text + "\n";
    [[maybe_unused]] const ssize_t written = ::write(file.get(), line.data(), line.size());
}

}  // namespace physloc
