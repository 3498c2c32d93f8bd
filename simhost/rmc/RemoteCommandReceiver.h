// The receiving end of the remote command protocol: puts a command together from its 60-byte chunks and
// holds every byte of them against the protocol. It talks to nobody; what it finds is in the outcome.
//
// A chunk:                       first                     later
//   0  2  index, little-endian   0                         what the controller returned last
//   2  1                         0x14, size of the name    0
//   3     payload, or            20 bytes of name          57 bytes of payload
//  23                            4 bytes payload length
//  27                            33 bytes of payload
// The payload is a text with its NUL; the last chunk is filled with zeros. A payload of 57 bytes or less
// goes out in one chunk that has it at offset 3, over the name and whatever it reaches behind that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "devices/IpmiPackets.h"

namespace simhost {

inline constexpr std::size_t chunkSize = 60;
inline constexpr std::size_t nameSize = 20;
inline constexpr std::size_t firstPayload = 33;
inline constexpr std::size_t laterPayload = 57;

enum TransferStatus : std::uint8_t {
    chunkTaken = 0,
    dataIncomplete = 1,
    errorInIndex = 3,
    commandNotSupported = 5,
    lengthExceeded = 8,
};

struct ReceivedCommand {
    std::string name;     // empty for a short payload that covers it
    std::string payload;  // without its NUL
    bool isShort = false;
    std::size_t chunks = 0;
    std::uint32_t process = 0;
};

// What became of one chunk.
struct ChunkOutcome {
    std::uint8_t completionCode = 0;  // other than 0: the request was no chunk at all
    std::uint8_t status = chunkTaken;
    std::uint16_t nextIndex = 0;
    std::size_t chunk = 0;                // its number in the command, from 1; 0 when it belongs to none
    std::string name;                     // of the command that it belongs to
    std::vector<std::string> violations;  // of the protocol, by the sender
    std::vector<std::string> notices;     // worth knowing, nobody's fault on this wire
    std::optional<ReceivedCommand> completed;
};

// A command of which chunks are still to come.
struct PartialCommand {
    std::string name;
    std::string payload;
    std::size_t length = 0;  // with the NUL
    std::size_t chunks = 0;
    std::uint32_t descriptor = 0;
    std::uint32_t process = 0;
    std::uint16_t expectedIndex = 0;
    std::uint16_t indexBefore = 0;
    bool nulReported = false;
};

// A command that will not be completed.
struct AbandonedCommand {
    std::string name;
    std::size_t bytes = 0;   // that arrived
    std::size_t length = 0;  // announced
    std::size_t chunks = 0;
    std::uint32_t process = 0;
    std::string reason;
};

class RemoteCommandReceiver {
public:
    // `nextIndex` gives the index of each reply from the number of the chunk in its command, from 1.
    RemoteCommandReceiver(std::function<std::uint16_t(std::size_t chunk)> nextIndex, std::size_t sizeLimit);

    // Every request of a descriptor passes here, also those that are no chunks.
    void noteRequest(const ControllerPacket& request);
    ChunkOutcome take(const ControllerPacket& request);

    // What the controller then did with the reply to the last chunk: the sender did not get it, and will
    // repeat the index before; or it was told a status that ends the command.
    void replyLost();
    void refused();
    // The descriptor is closed. A notice when it leaves a command unfinished.
    std::optional<std::string> closed(std::uint32_t descriptor);
    // The host is gone, and every descriptor with it.
    std::optional<std::string> hostGone();

    bool inProgress() const { return transfer_.has_value(); }
    std::uint64_t abandoned() const { return abandoned_; }
    // Those abandoned since the last call.
    std::vector<AbandonedCommand> takeAbandoned() { return std::exchange(newlyAbandoned_, {}); }

private:
    enum class Past { none, completed, refused, superseded };
    struct Descriptor {
        bool seenFromStart = false;
        Past past = Past::none;
    };

    void takeFirst(const ControllerPacket& request, ChunkOutcome& outcome);
    void takeLater(const ControllerPacket& request, ChunkOutcome& outcome);
    bool takeShort(const ControllerPacket& request, ChunkOutcome& outcome);
    void begin(const ControllerPacket& request, ChunkOutcome& outcome);
    void append(const Bytes& chunk, std::size_t offset, std::size_t room, ChunkOutcome& outcome);
    void finishChunk(ChunkOutcome& outcome);
    void strayChunk(const ControllerPacket& request, ChunkOutcome& outcome);
    std::string abandon(const std::string& why);

    std::function<std::uint16_t(std::size_t)> nextIndex_;
    std::size_t sizeLimit_;
    std::optional<PartialCommand> transfer_;
    std::uint32_t lastDescriptor_ = 0;
    std::map<std::uint32_t, Descriptor> descriptors_;
    std::uint64_t abandoned_ = 0;
    std::vector<AbandonedCommand> newlyAbandoned_;
};

}  // namespace simhost
