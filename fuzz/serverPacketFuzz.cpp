// A packet from a client, of any length and content, does no harm.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "events/client/vokRequest.h"
#include "rmc/vokJsonAggregator.h"
#include "vokFuzzHost.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::install();
    // Opens the gate for events that are no boot events.
    vokJsonAggregator::getInstance()->createInventoryJsonString();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    _VOK_MESSAGE_PACKET packet{};
    std::memcpy(&packet, data, std::min(size, sizeof(packet)));
    const int status = vokServeRequest(packet);
    // This controller takes everything, so no request fails.
    if (status != 0) std::abort();
    return 0;
}
