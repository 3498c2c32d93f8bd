// The files of a fake host: a temporary directory instead of "/". A device node without a FakeDevice is a
// file in it.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "support/TemporaryDirectory.h"

class FakeFiles {
public:
    struct Opened {
        std::string path;  // on the host
        int flags;
    };

    const TemporaryDirectory root;

    std::string path(const std::string& absolute) const;

    // The nodes that were opened as files, including failed attempts.
    std::vector<Opened> openedNodes() const;

    // open(2) of a path under the root.
    int openNode(const std::string& hostPath, int flags);

private:
    mutable std::mutex guard_;
    std::vector<Opened> openedNodes_;
};
