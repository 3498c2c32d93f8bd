// "vok-simhost run --replay": plays a recording back.
#pragma once

#include <optional>
#include <string>

#include "replay/ReplayedHost.h"

namespace simhost {

struct ReplayOptions {
    std::string archive;  // "-" for standard input
    std::string root;
    std::string module;                        // empty: the one of this program's ABI
    std::optional<std::string> configuration;  // a file
    ReplaySettings settings;
};

// Until SIGTERM or SIGINT comes. Throws std::runtime_error with a sentence if the archive is refused or the
// host can't be laid out.
void runReplay(const ReplayOptions& options);

}  // namespace simhost
