// Packets and named pipes between the agent and its local command-line client. A packet is always 4096
// bytes, which the kernel writes to a pipe in one piece, so packets of several clients never mix.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

struct vokDelivery;

struct __attribute__((packed)) _VOK_MESSAGE_HEADER {
    std::uint8_t kind;  // 9 in a response
    std::uint8_t unused[2];
    std::uint16_t messageCode;  // of a request; little-endian, as all numbers of a packet
    std::uint32_t size;         // 8 in a response
};

struct __attribute__((packed)) _VOK_MESSAGE_PACKET {
    _VOK_MESSAGE_HEADER header;
    std::int32_t clientPID;  // the requesting process, whose pipe gets the response
    std::uint32_t options;   // vokReportDelivery in a request whose response is to have a vokDeliveryDetail
    // Request: NUL-terminated text. Response: a 32-bit status at the start, then zeros or, on request, a
    // vokDeliveryDetail.
    char payload[4079];
};

// The outcome of the requested event. Only for a client that asks for it: the response to any other one is
// zero after the status.
struct __attribute__((packed)) vokDeliveryDetail {
    std::uint8_t kind;  // a vokDeliveryKind (events/vokDelivery.h)
    char text[500];     // NUL-terminated
};

static_assert(sizeof(_VOK_MESSAGE_PACKET) == 4096 && sizeof(_VOK_MESSAGE_PACKET) <= PIPE_BUF);
static_assert(offsetof(_VOK_MESSAGE_PACKET, header) == 0);
static_assert(offsetof(_VOK_MESSAGE_HEADER, kind) == 0);
static_assert(offsetof(_VOK_MESSAGE_HEADER, messageCode) == 3);
static_assert(offsetof(_VOK_MESSAGE_HEADER, size) == 5);
static_assert(offsetof(_VOK_MESSAGE_PACKET, clientPID) == 9);
static_assert(offsetof(_VOK_MESSAGE_PACKET, options) == 13);
static_assert(offsetof(_VOK_MESSAGE_PACKET, payload) == 17);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

inline constexpr char vokServerPipePath[] = "/var/run/mevvok";
inline constexpr char vokClientPipePrefix[] = "/var/run/mevvokcli";  // the client's process id follows

// The message code of a test event. Any other code carries the text of an event.
inline constexpr std::uint16_t vokTestEventMessage = 0x0102;
// Unlikely by chance: other clients leave any value in these four bytes.
inline constexpr std::uint32_t vokReportDelivery = 0x9C3E51D7;
inline constexpr std::size_t vokDeliveryDetailOffset = sizeof(std::int32_t);  // in the payload
inline constexpr std::uint8_t vokResponseKind = 9;
inline constexpr std::uint32_t vokResponseSize = 8;

// All paths below are the documented absolute ones; the host access maps them.

// Creates a FIFO with mode 0600. False if it can't be created or the path already exists.
bool vokCreatePipe(const char* path);

// Opens the FIFO, waiting for a writer, reads one packet and closes. False if it can't be opened, is not a
// FIFO, or nothing was read. The rest of a short packet is zero.
bool vokReadPipe(const char* path, _VOK_MESSAGE_PACKET* packet);

// Opens the FIFO, writes one packet and closes. Waits up to two seconds for a reader that has not opened
// the pipe yet or does not empty it. False if there is no such FIFO or the packet could not be written.
bool vokWritePipe(const char* path, _VOK_MESSAGE_PACKET* packet);

// While set, vokWritePipe fails at once where it would wait. For stopping the server, which must not depend
// on a client.
void vokAbandonPipeWaits(bool abandon);

// Sends a client the result of its request through the pipe that is named after its process id. The id is
// not checked: without such a pipe only a debug line is logged. `delivery` is the outcome of the event, for a
// client that asked for it, otherwise null; a long text is cut.
void sendResponseToClient(int clientPID, int status, const vokDelivery* delivery = nullptr);
