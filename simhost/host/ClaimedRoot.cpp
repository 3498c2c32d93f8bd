#include "host/ClaimedRoot.h"

#include <filesystem>
#include <stdexcept>

#include "common/Files.h"
#include "common/HostPaths.h"
#include "common/HostState.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

std::string firstMissing(const std::string& directory) {
    std::string missing;
    for (fs::path each = directory; !fs::exists(each); each = each.parent_path()) missing = each.string();
    return missing;
}

}  // namespace

ClaimedRoot::ClaimedRoot(const std::string& root) {
    if (root.empty()) throw std::runtime_error("--root: the name of the directory is empty");
    given_ = fs::absolute(root).lexically_normal().string();
    if (given_.back() == '/' && given_.size() > 1) given_.pop_back();
    firstMade_ = firstMissing(given_);
    try {
        makeDirectories(given_);
        path_ = fs::canonical(given_).string();
        claim();
    } catch (...) {
        remove();
        throw;
    }
}

ClaimedRoot::~ClaimedRoot() {
    remove();
}

void ClaimedRoot::claim() {
    if (path_.find_first_of(":\n") != std::string::npos)
        throw std::runtime_error(path_ + ": a search path can't name a directory with a colon or a newline");
    const bool isEmpty = fs::is_empty(path_);
    if (!isEmpty && !fs::exists(path_ + markFile))
        throw std::runtime_error(path_ +
                                 ": holds something that vok-simhost did not make; give an empty one");
    isNew_ = isEmpty;
    writeFile(path_ + markFile, "The root of a simulated host, made by vok-simhost.\n");
    makeDirectories(HostPaths(path_).run());
    lock_ = lockHost(HostPaths(path_).lock());
    if (lock_) return;
    // The other one started at the same moment: the files are its own.
    isNew_ = false;
    firstMade_.clear();
    throw std::runtime_error(path_ + ": another vok-simhost serves it");
}

void ClaimedRoot::remove() {
    std::error_code ignored;
    if (isNew_)
        for (const auto& entry : fs::directory_iterator(path_, ignored))
            fs::remove_all(entry.path(), ignored);
    if (firstMade_.empty()) return;
    for (fs::path each = given_;; each = each.parent_path()) {
        fs::remove(each, ignored);  // an empty directory
        if (each == fs::path(firstMade_)) return;
    }
}

}  // namespace simhost
