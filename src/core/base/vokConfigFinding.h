// A finding on the configuration file: a value that is refused, or not used as it is written, or misleading.
// The report of the settings and the warnings at the start are made of these.
#pragma once

#include <string>

struct vokConfigFinding {
    std::string key;      // "LoggingLevel", "CacheRefreshInSeconds.HostOSInfo"; empty for the whole file
    std::string written;  // the value as written in the file, cut to a readable length; may be empty
    std::string reason;   // a phrase without a full stop
    std::string used;     // what is used instead
};

// The finding as one line without a full stop, such as
// `LoggingLevel = "debug": not one of Info, Error, Warning; used instead: Warning`.
std::string vokConfigFindingText(const vokConfigFinding& finding);
