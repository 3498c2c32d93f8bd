// The root of a simulated host while one vok-simhost owns it.
#pragma once

#include <string>

#include "common/FileDescriptor.h"

namespace simhost {

class ClaimedRoot {
public:
    // Below the root: the file that marks it.
    static constexpr char markFile[] = "/.vok-simhost";

    // Locks `root` and marks it. A directory that is missing, empty or was such a root before is accepted;
    // any other is refused, so that no file that vok-simhost did not make is overwritten. Throws
    // std::runtime_error.
    explicit ClaimedRoot(const std::string& root);
    // Unless keep() was called: removes what is in a root that was missing or empty before.
    ~ClaimedRoot();
    ClaimedRoot(const ClaimedRoot&) = delete;
    ClaimedRoot& operator=(const ClaimedRoot&) = delete;

    // Absolute.
    const std::string& path() const { return path_; }
    // The host has started: its files stay.
    void keep() { isNew_ = false; }

private:
    void claim();
    void remove();

    std::string given_;      // absolute
    std::string firstMade_;  // the topmost directory that was missing; empty: all existed
    std::string path_;       // without links
    bool isNew_ = false;
    FileDescriptor lock_;
};

}  // namespace simhost
