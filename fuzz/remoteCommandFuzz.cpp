// The controller's end of the remote command protocol takes any sequence of chunks: what it puts together
// stays within its limit, and a refusal or an end leaves nothing of a command. The bytes of the input are
// also sent as a payload by a sender that keeps to the protocol, and arrive as they were. An input is a
// sequence of records: a byte that says what happens and on which descriptor, then, for a chunk, its bytes.
#include <algorithm>

#include "FuzzInput.h"
#include "rmc/RemoteCommandReceiver.h"
#include "simhost/Chunks.h"

namespace {

using simhost::ChunkOutcome;
using simhost::ControllerPacket;
using simhost::RemoteCommandReceiver;

constexpr std::size_t sizeLimit = 400;

std::uint16_t nextIndex(std::size_t chunk) {
    return static_cast<std::uint16_t>(chunk * 57 + 3);
}

void requireSound(const ChunkOutcome& outcome, const RemoteCommandReceiver& receiver) {
    for (const auto& texts : {outcome.violations, outcome.notices})
        for (const std::string& text : texts) require(!text.empty());
    if (outcome.completionCode != 0) {
        require(!outcome.completed && !outcome.violations.empty());
        return;
    }
    if (outcome.status != simhost::chunkTaken) require(!outcome.completed);
    if (outcome.status != simhost::chunkTaken)
        require(!outcome.violations.empty() || !outcome.notices.empty());
    if (!outcome.completed) return;
    require(!receiver.inProgress());
    require(outcome.completed->isShort == outcome.completed->name.empty());
    require(outcome.completed->payload.size() <= sizeLimit);
    require(outcome.completed->chunks == outcome.chunk);
    const std::size_t laterChunks = outcome.completed->chunks - 1;
    require(outcome.completed->payload.size() <= (laterChunks == 0 ? 57 : 33 + 57 * laterChunks));
}

void takeRecords(const std::uint8_t* data, std::size_t size) {
    RemoteCommandReceiver receiver(nextIndex, sizeLimit);
    ControllerPacket packet;
    while (size > 0) {
        const std::uint8_t control = *data++;
        --size;
        packet.descriptor = control & 3;
        const std::uint64_t abandoned = receiver.abandoned();
        const bool wasInProgress = receiver.inProgress();
        switch (control >> 4) {
            case 0:
                receiver.replyLost();
                break;
            case 1:
                receiver.refused();
                break;
            case 2:
                if (receiver.closed(packet.descriptor)) require(wasInProgress && !receiver.inProgress());
                break;
            case 3:
                require(receiver.hostGone().has_value() == wasInProgress && !receiver.inProgress());
                break;
            case 4:  // a chunk that is too short, or another request
                packet.data.assign(data, data + std::min<std::size_t>(size, control & 15));
                requireSound(receiver.take(packet), receiver);
                break;
            default: {
                const std::size_t length = std::min(size, simhost::chunkSize);
                packet.data.assign(simhost::chunkSize, 0);
                std::copy(data, data + length, packet.data.begin());
                data += length;
                size -= length;
                requireSound(receiver.take(packet), receiver);
                ++packet.ordinal;
            }
        }
        require(receiver.abandoned() - abandoned <= 1);
    }
}

// As much of the input as the receiver takes, without the NUL that would end it.
void sendFaultlessly(const std::uint8_t* data, std::size_t size) {
    std::string text = textOf(data, std::min(size, sizeLimit - 1));
    std::replace(text.begin(), text.end(), '\0', '0');
    RemoteCommandReceiver receiver(nextIndex, sizeLimit);
    ControllerPacket packet;
    packet.data = firstChunk("MPEventGen", text);
    ChunkOutcome outcome = receiver.take(packet);
    for (std::size_t at = 33; !outcome.completed; at += 57) {
        require(at <= text.size() && outcome.status == simhost::chunkTaken);
        packet.data = laterChunk(text, at, outcome.nextIndex);
        ++packet.ordinal;
        outcome = receiver.take(packet);
        require(outcome.violations.empty() && outcome.notices.empty());
    }
    require(outcome.violations.empty() && outcome.completed->payload == text && !receiver.inProgress());
    require(outcome.completed->name == (text.size() < 57 ? "" : "MPEventGen"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    takeRecords(data, size);
    sendFaultlessly(data, size);
    return 0;
}
