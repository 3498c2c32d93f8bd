// Packets of any length over a local SOCK_SEQPACKET connection: a packet arrives whole or not at all, however
// long it is. A short one stands in the message itself; a long one is a sealed memory file whose descriptor
// goes with the message, so that neither end waits for the other in the middle of a packet.
//
//   offset 0   8 bits: 1, the body follows; 2, the body is the memory file
//   offset 1   the body, or 32 bits: the length of the file, little-endian
//
// Nothing that the other end sends is believed: a file must be sealed against every change, be of the length
// that is stated, and not exceed the receiver's limit.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace simhost {

inline constexpr std::size_t longestInMessage = 32 * 1024;

// Sends one; `flags` of send(2) are MSG_DONTWAIT or none. False with errno: EAGAIN when there is no room now.
bool sendPacket(int socket, const std::string& body, int flags = 0);

// Receives the next; `flags` are MSG_DONTWAIT and MSG_PEEK. Nothing with errno: EAGAIN when none has come,
// ENODEV when the other end is gone, EPROTO when it sent what is no packet, or one beyond `longest` bytes.
std::optional<std::string> receivePacket(int socket, std::size_t longest, int flags = 0);

}  // namespace simhost
