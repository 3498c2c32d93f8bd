#include "rmc/GuestWire.h"

#include <numeric>

#include "devices/IpmiPackets.h"

namespace simhost {

namespace {

constexpr std::uint8_t messageEnd = 0xA0;
constexpr std::uint8_t commandEnd = 0xA1;
constexpr std::uint8_t escape = 0xAA;
constexpr std::uint8_t escapedBit = 0x10;

constexpr std::size_t headAndChecksum = 4;  // sequence, NetFn with LUN, command; checksum
constexpr std::size_t longestFrame = longestMessage + headAndChecksum;

std::uint8_t sumOf(const Bytes& bytes) {
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0u));
}

std::string framed(const Bytes& bytes, std::uint8_t end) {
    std::string frame;
    for (const std::uint8_t byte : bytes) {
        const bool special = byte == messageEnd || byte == commandEnd || byte == escape;
        if (special) frame += static_cast<char>(escape);
        frame += static_cast<char>(special ? byte | escapedBit : byte);
    }
    return frame + static_cast<char>(end);
}

}  // namespace

std::string encodeGuestMessage(const GuestMessage& message) {
    Bytes bytes{message.sequence, static_cast<std::uint8_t>(message.netfn << 2 | (message.lun & 3)),
                message.command};
    bytes.insert(bytes.end(), message.data.begin(), message.data.end());
    bytes.push_back(static_cast<std::uint8_t>(-sumOf(bytes)));
    return framed(bytes, messageEnd);
}

std::string encodeGuestCommand(GuestCommand command, const Bytes& arguments) {
    Bytes bytes{command};
    bytes.insert(bytes.end(), arguments.begin(), arguments.end());
    return framed(bytes, commandEnd);
}

std::optional<GuestArrival> GuestDecoder::take(std::uint8_t byte) {
    if (byte == escape) {
        escaped_ = true;
        return std::nullopt;
    }
    if (byte != messageEnd && byte != commandEnd) {
        if (bytes_.size() == longestFrame)
            tooLong_ = true;
        else
            bytes_.push_back(static_cast<std::uint8_t>(escaped_ ? byte & ~escapedBit : byte));
        escaped_ = false;
        return std::nullopt;
    }
    GuestArrival arrival{};
    if (tooLong_)
        arrival.fault = "it is too long";
    else if (escaped_)
        arrival.fault = "it ends in an escape byte";
    else if (byte == messageEnd)
        arrival = messageArrived();
    else if (bytes_.empty())
        arrival.fault = "it is an empty command";
    else
        arrival.command = bytes_;
    bytes_.clear();
    escaped_ = tooLong_ = false;
    return arrival;
}

GuestArrival GuestDecoder::messageArrived() const {
    GuestArrival arrival{};
    if (bytes_.size() < headAndChecksum) {
        arrival.fault = "it is too short for a message";
    } else if (sumOf(bytes_) != 0) {
        arrival.fault = "its checksum is wrong";
    } else {
        GuestMessage& message = arrival.message.emplace();
        message.sequence = bytes_[0];
        message.netfn = bytes_[1] >> 2;
        message.lun = bytes_[1] & 3;
        message.command = bytes_[2];
        message.data.assign(bytes_.begin() + 3, bytes_.end() - 1);
    }
    return arrival;
}

}  // namespace simhost
