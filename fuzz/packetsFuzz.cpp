// The packets of the simulated device and of its controller: what is taken is written again byte for byte,
// and only what is too short, too long or of no known kind is refused.
#include "FuzzInput.h"
#include "common/Packets.h"

using simhost::ControllerPacket;
using simhost::DeviceMessage;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t deviceHead = 8 + 3;
    constexpr std::size_t controllerHead = 1 + 4 * 4 + 3;
    const std::string packet = textOf(data, size);

    const auto message = DeviceMessage::decode(data, size);
    require(message.has_value() == (size >= deviceHead && size <= deviceHead + simhost::longestMessage));
    if (message) require(message->encode() == packet);

    const auto request = ControllerPacket::decode(data, size);
    const bool isKnown = size > 0 && data[0] >= 1 && data[0] <= 6;
    require(request.has_value() ==
            (isKnown && size >= controllerHead && size <= controllerHead + simhost::longestMessage));
    if (request) require(request->encode() == packet && packet.size() <= simhost::largestPacket);
    return 0;
}
