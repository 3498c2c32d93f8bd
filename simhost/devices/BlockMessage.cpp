#include "devices/BlockMessage.h"

#include "common/ByteCodec.h"

namespace simhost {

namespace {

constexpr std::size_t numberSize = 4;

}  // namespace

std::string BlockRequest::encode() const {
    return ByteWriter().number(number).bytes() + block;
}

std::optional<BlockRequest> BlockRequest::decode(const std::string& bytes) {
    if (bytes.size() < numberSize) return std::nullopt;
    return BlockRequest{ByteReader(bytes.data(), bytes.size()).number<std::uint32_t>(),
                        bytes.substr(numberSize)};
}

std::string BlockReply::encode() const {
    return ByteWriter().number(result).bytes() + block;
}

std::optional<BlockReply> BlockReply::decode(const std::string& bytes) {
    if (bytes.size() < numberSize) return std::nullopt;
    return BlockReply{ByteReader(bytes.data(), bytes.size()).number<std::int32_t>(),
                      bytes.substr(numberSize)};
}

}  // namespace simhost
