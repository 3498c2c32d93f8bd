#include "library/LibraryMessage.h"

#include "common/ByteCodec.h"

namespace simhost {

namespace {

constexpr std::size_t headSize = 9;

}  // namespace

std::string LibraryMessage::encode() const {
    return ByteWriter().number(static_cast<std::uint8_t>(type)).number(id).number(code).bytes() + bytes;
}

std::optional<LibraryMessage> LibraryMessage::decode(const std::string& packet) {
    ByteReader reader(packet.data(), packet.size());
    LibraryMessage message;
    const auto type = reader.number<std::uint8_t>();
    message.type = static_cast<LibraryMessageType>(type);
    message.id = reader.number<std::uint32_t>();
    message.code = reader.number<std::uint32_t>();
    const bool known = type >= static_cast<std::uint8_t>(LibraryMessageType::request) &&
                       type <= static_cast<std::uint8_t>(LibraryMessageType::event);
    if (!reader.good() || !known) return std::nullopt;
    message.bytes = packet.substr(headSize);
    return message;
}

}  // namespace simhost
