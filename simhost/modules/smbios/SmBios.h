// The firmware's table of a host, as a description says it.
#pragma once

#include <string>

namespace simhost {

struct SmBios {
    std::string deviceFile;  // its content; empty: there is none
};

}  // namespace simhost
