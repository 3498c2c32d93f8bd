// The packets between the programs of the simulated host: what is taken is written again byte for byte, and
// only what is too short, too long or of no known kind is refused.
#include "FuzzInput.h"
#include "devices/BlockMessage.h"
#include "devices/DeviceMessage.h"
#include "devices/IpmiPackets.h"
#include "devices/ScsiMessage.h"
#include "library/LibraryMessage.h"

namespace {

using namespace simhost;

// True for a kind from 1 to `last` at a byte that is there.
bool isKind(const std::string& packet, std::size_t at, int last) {
    return at < packet.size() && packet[at] >= 1 && packet[at] <= last;
}

void requireIpmi(const std::string& packet) {
    constexpr std::size_t head = 8 + 3;
    const auto message = IpmiMessage::decode(packet.data(), packet.size());
    require(message.has_value() == (packet.size() >= head && packet.size() <= head + longestMessage));
    if (message) require(message->encode() == packet);
}

void requireController(const std::string& packet) {
    constexpr std::size_t head = 1 + 4 * 4 + 3;
    const auto message = ControllerPacket::decode(packet.data(), packet.size());
    require(message.has_value() ==
            (isKind(packet, 0, 6) && packet.size() >= head && packet.size() <= head + longestMessage));
    if (message) require(message->encode() == packet && packet.size() <= largestPacket);
}

template <typename Message>
void requireHeaded(const std::string& packet, bool isWhole) {
    const auto message = Message::decode(packet);
    require(message.has_value() == isWhole);
    if (message) require(message->encode() == packet);
}

template <typename Message>
void requireFaithful(const std::string& packet) {
    if (const auto message = Message::decode(packet)) require(message->encode() == packet);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string packet = textOf(data, size);
    requireIpmi(packet);
    requireController(packet);
    requireHeaded<DeviceMessage>(packet, size >= 9 && isKind(packet, 4, 3));
    requireHeaded<LibraryMessage>(packet, size >= 9 && isKind(packet, 0, 4));
    requireHeaded<BlockRequest>(packet, size >= 4);
    requireHeaded<BlockReply>(packet, size >= 4);
    requireFaithful<ScsiRequest>(packet);
    requireFaithful<ScsiReply>(packet);
    return 0;
}
