#include "rmc/RemoteCommandReceiver.h"

#include <algorithm>

#include "common/Text.h"

namespace simhost {

namespace {

constexpr std::uint8_t nameMark = 0x14;
constexpr std::size_t nameOffset = 3;
constexpr std::size_t lengthOffset = 23;
constexpr std::size_t firstOffset = 27;
constexpr std::size_t longestShort = 57;
constexpr std::uint8_t wrongLength = 0xC7;

constexpr const char* supportedCommands[] = {"WriteInventory", "MPEventGen"};

bool isSupported(const std::string& name) {
    return std::any_of(std::begin(supportedCommands), std::end(supportedCommands),
                       [&name](const char* each) { return name == each; });
}

bool isNameCharacter(std::uint8_t byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '_' || byte == '-';
}

unsigned indexOf(const Bytes& chunk) {
    return chunk[0] | chunk[1] << 8;
}

std::uint32_t lengthOf(const Bytes& chunk) {
    return chunk[lengthOffset] | static_cast<std::uint32_t>(chunk[lengthOffset + 1]) << 8 |
           static_cast<std::uint32_t>(chunk[lengthOffset + 2]) << 16 |
           static_cast<std::uint32_t>(chunk[lengthOffset + 3]) << 24;
}

// The number of bytes from `offset` before the first NUL, at most `room`.
std::size_t textLength(const Bytes& chunk, std::size_t offset, std::size_t room) {
    const auto begin = chunk.begin() + static_cast<std::ptrdiff_t>(offset);
    return static_cast<std::size_t>(
        std::find(begin, begin + static_cast<std::ptrdiff_t>(room), std::uint8_t{0}) - begin);
}

// A violation for the first byte from `from` to `to` that is not zero.
void checkZero(const Bytes& chunk, std::size_t from, std::size_t to, const char* what,
               ChunkOutcome& outcome) {
    for (std::size_t i = from; i < to; ++i) {
        if (chunk[i] == 0) continue;
        outcome.violations.push_back(
            formatText("byte %zu is 0x%02x, and should be zero: %s", i, chunk[i], what));
        return;
    }
}

}  // namespace

RemoteCommandReceiver::RemoteCommandReceiver(std::function<std::uint16_t(std::size_t)> nextIndex,
                                             std::size_t sizeLimit)
    : nextIndex_(std::move(nextIndex)), sizeLimit_(sizeLimit) {}

void RemoteCommandReceiver::noteRequest(const ControllerPacket& request) {
    const auto [found, isNew] = descriptors_.try_emplace(request.descriptor);
    if (isNew) found->second.seenFromStart = request.ordinal == 0;
}

ChunkOutcome RemoteCommandReceiver::take(const ControllerPacket& request) {
    noteRequest(request);
    ChunkOutcome outcome;
    if (request.data.size() != chunkSize) {
        outcome.violations.push_back(
            formatText("a chunk of %zu bytes, not %zu", request.data.size(), chunkSize));
        outcome.completionCode = wrongLength;
        return outcome;
    }
    lastDescriptor_ = request.descriptor;
    if (request.data[2] == nameMark) {
        takeFirst(request, outcome);
    } else {
        if (request.data[2] != 0)
            outcome.violations.push_back(
                formatText("byte 2 is 0x%02x: a first chunk has 0x14 there, a later one 0", request.data[2]));
        takeLater(request, outcome);
    }
    return outcome;
}

void RemoteCommandReceiver::begin(const ControllerPacket& request, ChunkOutcome& outcome) {
    if (transfer_) {
        const bool same = transfer_->descriptor == request.descriptor;
        descriptors_[transfer_->descriptor].past = Past::superseded;
        const std::string account = abandon("a new command began");
        if (same)
            outcome.violations.push_back(account);
        else
            outcome.notices.push_back(account);
    }
    descriptors_[request.descriptor].past = Past::none;
    if (indexOf(request.data) != 0)
        outcome.violations.push_back(
            formatText("a first chunk with the index %u, not 0", indexOf(request.data)));
}

void RemoteCommandReceiver::takeFirst(const ControllerPacket& request, ChunkOutcome& outcome) {
    begin(request, outcome);
    outcome.chunk = 1;
    if (takeShort(request, outcome)) return;

    const Bytes& chunk = request.data;
    const std::size_t nameLength = textLength(chunk, nameOffset, nameSize);
    const std::string name(chunk.begin() + nameOffset,
                           chunk.begin() + static_cast<std::ptrdiff_t>(nameOffset + nameLength));
    const std::uint32_t length = lengthOf(chunk);
    outcome.name = name;
    if (nameLength == 0 || !std::all_of(name.begin(), name.end(),
                                        [](char c) { return isNameCharacter(static_cast<std::uint8_t>(c)); }))
        outcome.violations.push_back("the name field does not hold a command name");
    checkZero(chunk, nameOffset + nameLength, lengthOffset, "behind the command name", outcome);
    if (length <= longestShort) {
        outcome.violations.push_back(
            formatText("a first chunk of a command with a payload length of %u: so short a "
                       "payload stands at offset 3 with its NUL last",
                       length));
        outcome.status = dataIncomplete;
    } else if (!isSupported(name)) {
        outcome.notices.push_back("command \"" + name + "\" is not supported here");
        outcome.status = commandNotSupported;
    } else if (length > sizeLimit_) {
        outcome.notices.push_back(
            formatText("a payload of %u bytes is beyond the limit of %zu", length, sizeLimit_));
        outcome.status = lengthExceeded;
    }
    if (outcome.status != chunkTaken) {
        descriptors_[request.descriptor].past = Past::refused;
        outcome.nextIndex = nextIndex_(1);
        return;
    }
    transfer_ = PartialCommand();
    transfer_->name = name;
    transfer_->length = length;
    transfer_->descriptor = request.descriptor;
    transfer_->process = request.process;
    append(chunk, firstOffset, firstPayload, outcome);
    finishChunk(outcome);
}

// A payload that covers the name. Up to 20 bytes it leaves the length field alone, and behind its NUL the
// rest of the name still stands; a longer one reaches over the length field.
bool RemoteCommandReceiver::takeShort(const ControllerPacket& request, ChunkOutcome& outcome) {
    const Bytes& chunk = request.data;
    const std::size_t length = textLength(chunk, nameOffset, longestShort) + 1;
    if (length > longestShort) return false;
    if (length <= nameSize) {
        if (lengthOf(chunk) != length) return false;
        std::size_t rest = nameOffset + length;
        while (rest < lengthOffset && isNameCharacter(chunk[rest])) ++rest;
        checkZero(chunk, rest, lengthOffset, "behind the command name", outcome);
        checkZero(chunk, firstOffset, chunkSize, "behind a short payload", outcome);
    } else {
        checkZero(chunk, nameOffset + length, chunkSize, "behind a short payload", outcome);
    }
    ReceivedCommand command;
    command.payload.assign(chunk.begin() + nameOffset,
                           chunk.begin() + static_cast<std::ptrdiff_t>(nameOffset + length - 1));
    command.isShort = true;
    command.chunks = 1;
    command.process = request.process;
    outcome.completed = std::move(command);
    outcome.nextIndex = nextIndex_(1);
    descriptors_[request.descriptor].past = Past::completed;
    return true;
}

void RemoteCommandReceiver::takeLater(const ControllerPacket& request, ChunkOutcome& outcome) {
    if (!transfer_ || transfer_->descriptor != request.descriptor) return strayChunk(request, outcome);
    outcome.name = transfer_->name;
    outcome.chunk = transfer_->chunks + 1;
    const unsigned index = indexOf(request.data);
    if (index != transfer_->expectedIndex) {
        outcome.violations.push_back(formatText("chunk %zu of %s has the index %u, and %u was returned",
                                                outcome.chunk, transfer_->name.c_str(), index,
                                                transfer_->expectedIndex));
        outcome.status = errorInIndex;
        outcome.nextIndex = nextIndex_(outcome.chunk);
        refused();
        return;
    }
    append(request.data, nameOffset, laterPayload, outcome);
    finishChunk(outcome);
}

void RemoteCommandReceiver::append(const Bytes& chunk, std::size_t offset, std::size_t room,
                                   ChunkOutcome& outcome) {
    PartialCommand& transfer = *transfer_;
    ++transfer.chunks;
    const std::size_t count = std::min(room, transfer.length - transfer.payload.size());
    const std::size_t before = textLength(chunk, offset, count);
    const std::size_t nul = transfer.payload.size() + before;
    if (before < count && nul + 1 != transfer.length && !transfer.nulReported) {
        outcome.violations.push_back(
            formatText("a NUL inside the payload, at %zu of %zu bytes", nul, transfer.length));
        transfer.nulReported = true;
    }
    const auto begin = chunk.begin() + static_cast<std::ptrdiff_t>(offset);
    transfer.payload.append(begin, begin + static_cast<std::ptrdiff_t>(count));
    checkZero(chunk, offset + count, chunkSize, "behind the end of the payload", outcome);
}

void RemoteCommandReceiver::finishChunk(ChunkOutcome& outcome) {
    PartialCommand& transfer = *transfer_;
    outcome.nextIndex = nextIndex_(transfer.chunks);
    transfer.indexBefore = transfer.expectedIndex;
    transfer.expectedIndex = outcome.nextIndex;
    if (transfer.payload.size() < transfer.length) return;
    if (transfer.payload.back() != '\0')
        outcome.violations.push_back(formatText("the payload ends in 0x%02x, not in a NUL",
                                                static_cast<unsigned char>(transfer.payload.back())));
    else
        transfer.payload.pop_back();
    ReceivedCommand command;
    command.name = transfer.name;
    command.payload = std::move(transfer.payload);
    command.chunks = transfer.chunks;
    command.process = transfer.process;
    outcome.completed = std::move(command);
    descriptors_[transfer.descriptor].past = Past::completed;
    transfer_.reset();
}

void RemoteCommandReceiver::strayChunk(const ControllerPacket& request, ChunkOutcome& outcome) {
    const Descriptor& descriptor = descriptors_[request.descriptor];
    outcome.status = errorInIndex;
    outcome.nextIndex = nextIndex_(1);
    switch (descriptor.past) {
        case Past::refused:
            outcome.violations.push_back("a chunk of a command that was refused before");
            break;
        case Past::completed:
            outcome.violations.push_back("a chunk behind the end of a command");
            break;
        case Past::superseded:
            outcome.violations.push_back("a chunk of a command while another is on the wire");
            break;
        case Past::none:
            if (descriptor.seenFromStart)
                outcome.violations.push_back("a later chunk without a first one");
            else
                outcome.notices.push_back("a chunk of a command that began before this controller was there");
            break;
    }
}

void RemoteCommandReceiver::replyLost() {
    if (transfer_ && transfer_->descriptor == lastDescriptor_)
        transfer_->expectedIndex = transfer_->indexBefore;
}

void RemoteCommandReceiver::refused() {
    descriptors_[lastDescriptor_].past = Past::refused;
    if (transfer_ && transfer_->descriptor == lastDescriptor_) transfer_.reset();
}

std::string RemoteCommandReceiver::abandon(const std::string& why) {
    std::string account =
        formatText("abandoned transfer: %s from process %u broke off after %zu of %zu bytes; ",
                   transfer_->name.c_str(), transfer_->process, transfer_->payload.size(),
                   transfer_->length) +
        why;
    newlyAbandoned_.push_back({transfer_->name, transfer_->payload.size(), transfer_->length,
                               transfer_->chunks, transfer_->process, why});
    transfer_.reset();
    ++abandoned_;
    return account;
}

std::optional<std::string> RemoteCommandReceiver::closed(std::uint32_t descriptor) {
    descriptors_.erase(descriptor);
    if (!transfer_ || transfer_->descriptor != descriptor) return std::nullopt;
    return abandon("its descriptor was closed");
}

std::optional<std::string> RemoteCommandReceiver::hostGone() {
    descriptors_.clear();
    if (!transfer_) return std::nullopt;
    return abandon("the host is gone");
}

}  // namespace simhost
