#include "hostaccess/BlockIoctl.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "devices/BlockMessage.h"

namespace simhost {

namespace {

constexpr std::size_t csmiHeader = 20;
constexpr std::size_t csmiLengthAt = 4;
constexpr std::size_t longestCsmi = 1 << 20;

}  // namespace

int exchangeBlock(OpenDevice& device, std::uint32_t request, void* block, std::size_t size) {
    const BlockRequest asked{request, std::string(static_cast<const char*>(block), size)};
    const auto content = device.exchange(DeviceKind::block, asked.encode());
    if (!content) return -1;
    const auto reply = BlockReply::decode(*content);
    if (!reply) return failIoctl(EIO);
    std::memcpy(block, reply->block.data(), std::min(size, reply->block.size()));
    return reply->result;
}

int runCsmiRequest(OpenDevice& device, std::uint32_t request, void* argument) {
    if (!argument) return failIoctl(EFAULT);
    std::uint32_t length = 0;
    std::memcpy(&length, static_cast<const char*>(argument) + csmiLengthAt, sizeof(length));
    if (length < csmiHeader || length > longestCsmi) return failIoctl(EINVAL);
    return exchangeBlock(device, request, argument, length);
}

}  // namespace simhost
