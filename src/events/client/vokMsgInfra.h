// Packets and named pipes between the agent and its local command-line client. A packet is always 4096
// bytes, which the kernel passes through a pipe in one piece, so packets of several clients never mix.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

struct __attribute__((packed)) _VOK_MESSAGE_HEADER {
    std::uint8_t kind;  // 9 in a response
    std::uint8_t unused[2];
    std::uint16_t messageCode;  // of a request; little-endian, as all numbers of a packet
    std::uint32_t size;         // 8 in a response
};

struct __attribute__((packed)) _VOK_MESSAGE_PACKET {
    _VOK_MESSAGE_HEADER header;
    std::int32_t clientPID;  // the process that asks, and whose pipe gets the response
    std::uint8_t unused[4];
    // Request: text with a NUL at its end. Response: a 32-bit status at the start.
    char payload[4079];
};

static_assert(sizeof(_VOK_MESSAGE_PACKET) == 4096 && sizeof(_VOK_MESSAGE_PACKET) <= PIPE_BUF);
static_assert(offsetof(_VOK_MESSAGE_PACKET, header) == 0);
static_assert(offsetof(_VOK_MESSAGE_HEADER, kind) == 0);
static_assert(offsetof(_VOK_MESSAGE_HEADER, messageCode) == 3);
static_assert(offsetof(_VOK_MESSAGE_HEADER, size) == 5);
static_assert(offsetof(_VOK_MESSAGE_PACKET, clientPID) == 9);
static_assert(offsetof(_VOK_MESSAGE_PACKET, payload) == 17);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

inline constexpr char vokServerPipePath[] = "/var/run/mevvok";
inline constexpr char vokClientPipePrefix[] = "/var/run/mevvokcli";  // the client's process id follows

// The message code of a test event. Any other code brings the text of an event.
inline constexpr std::uint16_t vokTestEventMessage = 0x0102;
inline constexpr std::uint8_t vokResponseKind = 9;
inline constexpr std::uint32_t vokResponseSize = 8;

// All paths below are the documented absolute ones; the host access tells where they lie.

// Makes a FIFO for its owner alone. False when it can't be made, or something is there already.
bool vokCreatePipe(const char* path);

// Opens the FIFO, waiting for a writer, reads one packet and closes. False when it can't be opened, is no
// FIFO, or nothing came. What a short packet does not hold is zero.
bool vokReadPipe(const char* path, _VOK_MESSAGE_PACKET* packet);

// Opens the FIFO, writes one packet and closes. Gives a reader that has not opened the pipe yet, or does
// not empty it, two seconds. False when there is no such FIFO or the packet was not taken.
bool vokWritePipe(const char* path, _VOK_MESSAGE_PACKET* packet);

// From true on, and until false, vokWritePipe gives up at once where it would wait. For the stop of the
// server, which must not depend on a client.
void vokAbandonPipeWaits(bool abandon);

// Tells a client the result of its request, in the pipe with its process id in its name. The id is taken as
// it comes: of one that no process has there is no pipe, which is a debug line.
void sendResponseToClient(int clientPID, int status);
