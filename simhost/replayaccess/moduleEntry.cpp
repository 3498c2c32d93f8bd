#include <cstdio>

#include "common/HostPaths.h"
#include "replayaccess/ReplayHostAccess.h"

extern "C" __attribute__((visibility("default"))) IvokHostAccess* vokCreateHostAccess(const char* root) {
    const simhost::HostPaths paths(root);
    if (!simhost::hostIsLocked(paths.lock())) {
        std::fprintf(stderr, "vok-hostaccess: no vok-simhost serves %s\n", root);
        return nullptr;
    }
    std::string error;
    simhost::HostState state = simhost::HostState::open(paths.state(), error);
    if (!state) {
        std::fprintf(stderr, "vok-hostaccess: %s\n", error.c_str());
        return nullptr;
    }
    return new simhost::ReplayHostAccess(root, std::move(state));
}
