// The event text of a disk in whose place another disk has been found.
#pragma once

#include <string>

inline std::string vokSerialChangeText(const std::string& current, const std::string& lastKnown) {
    return "Detected change in disk serial number (Current serial number: " + current +
           "; Last known serial number: " + lastKnown + ").";
}
