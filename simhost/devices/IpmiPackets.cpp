#include "devices/IpmiPackets.h"

namespace simhost {

std::string IpmiMessage::encode() const {
    ByteWriter writer;
    writer.number(messageId).number(netfn).number(command).number(lun);
    return writer.raw(data.data(), data.size()).bytes();
}

std::optional<IpmiMessage> IpmiMessage::decode(const void* packet, std::size_t size) {
    ByteReader reader(packet, size);
    IpmiMessage message;
    message.messageId = reader.number<std::int64_t>();
    message.netfn = reader.number<std::uint8_t>();
    message.command = reader.number<std::uint8_t>();
    message.lun = reader.number<std::uint8_t>();
    message.data = reader.rest();
    if (!reader.good() || message.data.size() > longestMessage) return std::nullopt;
    return message;
}

std::string ControllerPacket::encode() const {
    ByteWriter writer;
    writer.number(static_cast<std::uint8_t>(kind)).number(sequence).number(descriptor).number(process);
    writer.number(ordinal).number(netfn).number(command).number(lun);
    return writer.raw(data.data(), data.size()).bytes();
}

std::optional<ControllerPacket> ControllerPacket::decode(const void* bytes, std::size_t size) {
    ByteReader reader(bytes, size);
    ControllerPacket packet;
    const auto kind = reader.number<std::uint8_t>();
    packet.kind = static_cast<ControllerPacketKind>(kind);
    packet.sequence = reader.number<std::uint32_t>();
    packet.descriptor = reader.number<std::uint32_t>();
    packet.process = reader.number<std::uint32_t>();
    packet.ordinal = reader.number<std::uint32_t>();
    packet.netfn = reader.number<std::uint8_t>();
    packet.command = reader.number<std::uint8_t>();
    packet.lun = reader.number<std::uint8_t>();
    packet.data = reader.rest();
    const bool known = kind >= static_cast<std::uint8_t>(ControllerPacketKind::hello) &&
                       kind <= static_cast<std::uint8_t>(ControllerPacketKind::closed);
    if (!reader.good() || !known || packet.data.size() > longestMessage) return std::nullopt;
    return packet;
}

}  // namespace simhost
