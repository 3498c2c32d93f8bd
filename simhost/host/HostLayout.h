// Lays out the root of a simulated host: the directories and files that a host has, and the stand-ins of its
// commands.
#pragma once

#include <optional>
#include <string>

#include "host/HostDescription.h"

namespace simhost {

struct LayoutSources {
    std::string module;                        // the host-access module
    std::string commandClient;                 // vok-simcmd
    std::optional<std::string> configuration;  // the agent's configuration; none: the description's
    std::string sysDirectory;     // to be the host's /sys, by a link; empty: one is made from the description
    std::string deviceDirectory;  // with the disks' nodes of a live host; empty: all nodes are vok-simhost's
    std::string ipmiDevice;       // to be the host's device node, by a link; empty: it is vok-simhost's
};

// Fills a claimed root. What its host and the agent have written stays, what comes from the description is
// written anew. Throws std::runtime_error with a sentence.
void layOutHost(const std::string& root, const HostDescription& host, const LayoutSources& sources);

}  // namespace simhost
