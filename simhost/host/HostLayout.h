// Lays out the root of a simulated host: the directories and files that a host has, and the stand-ins of its
// commands.
#pragma once

#include <string>

#include "host/HostDescription.h"

namespace simhost {

struct LayoutSources {
    std::string module;         // the host-access module
    std::string commandClient;  // vok-simcmd
    std::string configuration;  // a file to take as the agent's configuration; empty: the description's
    std::string sysDirectory;   // to be the host's /sys, by a link; empty: one is made from the description
    std::string ipmiDevice;     // to be the host's device node, by a link; empty: it is vok-simhost's
};

// Makes `root` the root of a simulated host, with nothing in it yet but the directory of its lock, and
// returns its absolute path. An empty directory and one that was such a root before will do; any other is
// refused, so that no files of anybody's are written over. Throws std::runtime_error with a sentence.
std::string claimRoot(const std::string& root);

// Fills a claimed root. What its host and the agent have written stays, what comes from the description is
// written anew. Throws std::runtime_error with a sentence.
void layOutHost(const std::string& root, const HostDescription& host, const LayoutSources& sources);

}  // namespace simhost
