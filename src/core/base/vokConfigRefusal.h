// A value in the configuration file that was not taken, for a caller that reports it to a person.
#pragma once

#include <string>

struct vokConfigRefusal {
    std::string key;      // "LoggingLevel", "CacheRefreshInSeconds.HostOSInfo"; empty for the whole file
    std::string written;  // the value as it stands in the file, cut to a readable length
    std::string reason;   // a sentence without a full stop
    std::string used;     // what is used instead
};
