#include "hostaccess/BlockIoctl.h"

#include <linux/ioctl.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "devices/BlockMessage.h"

namespace simhost {

namespace {

constexpr std::size_t csmiHeader = 20;
constexpr std::size_t csmiLengthAt = 4;
constexpr std::size_t longestCsmi = 1 << 20;

// Sends the block and stores what comes back in `changed`, which has room for `size` bytes and may be null:
// the ioctl's result, or -1 with errno.
int exchangeBlock(OpenDevice& device, const BlockRequest& request, void* changed, std::size_t size) {
    const auto content = device.exchange(DeviceKind::block, request.encode());
    if (!content) return -1;
    const auto reply = BlockReply::decode(*content);
    if (!reply) return failIoctl(EIO);
    if (changed) std::memcpy(changed, reply->block.data(), std::min(size, reply->block.size()));
    return reply->result;
}

}  // namespace

int runCsmiRequest(OpenDevice& device, std::uint32_t request, void* argument) {
    if (!argument) return failIoctl(EFAULT);
    std::uint32_t length = 0;
    std::memcpy(&length, static_cast<const char*>(argument) + csmiLengthAt, sizeof(length));
    if (length < csmiHeader || length > longestCsmi) return failIoctl(EINVAL);
    const std::string block(static_cast<const char*>(argument), length);
    return exchangeBlock(device, {request, block}, argument, length);
}

int runSizedRequest(OpenDevice& device, std::uint32_t request, void* argument) {
    if (!argument) return failIoctl(EFAULT);
    const std::size_t size = _IOC_SIZE(request);
    const bool deviceReads = (_IOC_DIR(request) & _IOC_WRITE) != 0;
    const bool deviceChanges = (_IOC_DIR(request) & _IOC_READ) != 0;
    const std::string block =
        deviceReads ? std::string(static_cast<const char*>(argument), size) : std::string(size, '\0');
    return exchangeBlock(device, {request, block}, deviceChanges ? argument : nullptr, size);
}

}  // namespace simhost
