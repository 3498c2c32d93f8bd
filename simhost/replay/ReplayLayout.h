// Lays out the root of a replayed host from its recording.
#pragma once

#include <optional>
#include <string>

#include "replay/RecordedFiles.h"

namespace simhost {

// On the host: the agent's configuration file.
inline constexpr char agentConfiguration[] = "/etc/config/mev/vok/vok.conf";

struct ReplaySources {
    std::string module;                        // the host-access module of replayed hosts
    std::optional<std::string> configuration;  // the agent's configuration; none: the recorded one
};

// Removes what is in a claimed root, except vok-simhost's own files, and fills it: recorded files with their
// content, lists with an empty placeholder for each name that the agent never asked for, links. Throws
// std::runtime_error or std::filesystem::filesystem_error.
void layOutReplay(const std::string& root, const RecordedFiles& files, const ReplaySources& sources);

// True for the places of vok-simhost itself, which neither a recording nor a command that it holds may fill.
bool isReserved(const RecordedFiles& files, const std::string& location);

}  // namespace simhost
