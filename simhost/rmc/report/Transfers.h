// How well commands came through the interface: counts, times, refusals and violations of the protocol.
#pragma once

#include <cstdint>
#include <string>

#include "rmc/report/ReceivedFolder.h"

namespace simhost {

struct TransferCounts {
    std::size_t complete = 0;
    std::size_t refused = 0;
    std::size_t abandoned = 0;
    std::uint64_t faults = 0;
    std::uint64_t chunks = 0;  // of the complete ones, like the next two
    double seconds = 0;
    double bytes = 0;
    double median = 0;   // seconds
    double longest = 0;  // seconds
};

TransferCounts countTransfers(const ReceivedFolder& folder);
std::string transfersHtml(const ReceivedFolder& folder);
inline constexpr std::size_t mostTransfersShown = 200;

}  // namespace simhost
