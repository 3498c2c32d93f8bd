// What a stand-in of a vendor's library and vok-simhost say to each other. A connection is a SOCK_SEQPACKET
// socket at HostPaths::librarySocket(); a packet (PacketSocket.h) holds one message, little-endian:
//
//   offset 0    8 bits: the type
//   offset 1   32 bits: the request's number, which its reply repeats; 0 in an event
//   offset 5   32 bits: of a request and an event, its kind; of a reply, its status, signed
//   offset 9   the bytes of the request, the reply or the event, whose form is the kind's
//
// A connection is either for requests, which are answered one after another, or for events: then it starts
// with a subscription, which has the kinds as its bytes, 32 bits each (none: all), and is answered by a
// reply.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace simhost {

inline constexpr std::size_t longestLibraryPacket = 64u << 20;

enum class LibraryMessageType : std::uint8_t { request = 1, reply = 2, subscription = 3, event = 4 };

// Statuses of a reply that no module makes; those of modules are 0 and above.
inline constexpr std::int32_t libraryKindUnknown = -1;  // no module serves this kind
inline constexpr std::int32_t libraryHostGone = -2;     // made by the client: no reply, no host

struct LibraryMessage {
    LibraryMessageType type = LibraryMessageType::request;
    std::uint32_t id = 0;
    std::uint32_t code = 0;  // a kind, or a status
    std::string bytes;

    std::string encode() const;
    static std::optional<LibraryMessage> decode(const std::string& packet);
};

}  // namespace simhost
