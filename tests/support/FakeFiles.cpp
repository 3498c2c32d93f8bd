#include "support/FakeFiles.h"

#include <fcntl.h>

std::string FakeFiles::path(const std::string& absolute) const {
    return root.path() + (absolute.empty() || absolute.front() != '/' ? "/" : "") + absolute;
}

std::vector<FakeFiles::Opened> FakeFiles::openedNodes() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return openedNodes_;
}

int FakeFiles::openNode(const std::string& hostPath, int flags) {
    {
        const std::lock_guard<std::mutex> lock(guard_);
        openedNodes_.push_back({hostPath.substr(root.path().size()), flags});
    }
    return ::open(hostPath.c_str(), flags | O_CLOEXEC);
}
