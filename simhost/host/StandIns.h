// The commands that a simulated host has in its bin.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/RequestServer.h"
#include "host/HostDescription.h"

namespace simhost {

// What a command may know of the host at the moment at which it runs.
struct CommandContext {
    const HostDescription& host;
    std::int64_t wall = 0;  // nanoseconds since the Epoch
    std::string workingDirectory;
};

struct CommandResult {
    Answer answer;
    double seconds = 0;  // of the host's time that the command takes
};

struct StandIn {
    const char* name;
    CommandResult (*run)(const std::vector<std::string>& arguments, const CommandContext& context);
};

// The names, each a script in bin.
std::vector<const char*> standInNames();

// Runs a stand-in; `words` starts with its name, which must be one of standInNames().
CommandResult runStandIn(const std::vector<std::string>& words, const CommandContext& context);

// localcli, which the namespaces of all modules make up.
Answer runLocalcli(const std::vector<std::string>& arguments, const HostDescription& host);

}  // namespace simhost
