// The memory of a host, as a description says it.
#pragma once

#include <cstdint>

namespace simhost {

struct Memory {
    std::uint64_t totalMBytes = 0;
    std::uint64_t freeMBytes = 0;
    bool linesEndInComma = true;  // of esxtop's batch output
};

}  // namespace simhost
