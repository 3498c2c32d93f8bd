#include "devices/DeviceMessage.h"

#include "common/ByteCodec.h"

namespace simhost {

namespace {

constexpr std::size_t headSize = 9;

}  // namespace

std::string DeviceMessage::encode() const {
    return ByteWriter().number(id).number(static_cast<std::uint8_t>(kind)).number(error).bytes() + content;
}

std::optional<DeviceMessage> DeviceMessage::decode(const std::string& packet) {
    ByteReader reader(packet.data(), packet.size());
    DeviceMessage message;
    message.id = reader.number<std::uint32_t>();
    const auto kind = reader.number<std::uint8_t>();
    message.kind = static_cast<DeviceKind>(kind);
    message.error = reader.number<std::uint32_t>();
    const bool known = kind >= static_cast<std::uint8_t>(DeviceKind::ipmi) &&
                       kind <= static_cast<std::uint8_t>(DeviceKind::block);
    if (!reader.good() || !known) return std::nullopt;
    message.content = packet.substr(headSize);
    return message;
}

}  // namespace simhost
