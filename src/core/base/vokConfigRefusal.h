// A refused value of the configuration file, for a caller that reports it.
#pragma once

#include <string>

struct vokConfigRefusal {
    std::string key;      // "LoggingLevel", "CacheRefreshInSeconds.HostOSInfo"; empty for the whole file
    std::string written;  // the value as written in the file, cut to a readable length
    std::string reason;   // a phrase without a full stop
    std::string used;     // what is used instead
};
