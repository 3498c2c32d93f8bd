// CSMI requests to a driver: a buffer with a header, in which the driver leaves its reply.
#include <fcntl.h>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/access/vokDevice.h"
#include "platform/access/vokMallocPtr.h"
#include "storage/scsi/scsi_info.h"

namespace {

struct CsmiHeader {
    std::uint32_t controller;
    std::uint32_t length;  // of the payload in bytes
    std::uint32_t returnCode;
    std::uint32_t timeout;  // in seconds
    std::uint16_t direction;
    std::uint16_t reserved;
};
static_assert(sizeof(CsmiHeader) == 20 && offsetof(CsmiHeader, direction) == 16);
static_assert(offsetof(CsmiHeader, length) == 4 && offsetof(CsmiHeader, returnCode) == 8);
static_assert(offsetof(CsmiHeader, timeout) == 12);

struct CsmiCall {
    unsigned long request;
    std::size_t bufferSize;
    std::uint32_t length;
};
constexpr CsmiCall hbaConfig = {0xCC770002, 16384, 180};
constexpr CsmiCall scsiAddress = {0xCC770021, 16384, 20};
constexpr CsmiCall hbaConnector = {0xCC770024, 16384, 1152};
constexpr CsmiCall location = {0xCC770025, 24508, 24488};
static_assert(location.bufferSize == sizeof(CsmiHeader) + location.length);

constexpr int noController = -1;
constexpr std::uint32_t timeoutSeconds = 60;
constexpr unsigned char requestLocations = 0x60;

// The number of the first controller that one of the calls was given.
class FirstController {
public:
    // The number of `controller` in a CSMI header.
    std::uint32_t numberOf(int controller) {
        int first = noController;
        if (first_.compare_exchange_strong(first, controller)) first = controller;
        return static_cast<std::uint32_t>(controller) - static_cast<std::uint32_t>(first);
    }

private:
    std::atomic<int> first_{noController};
};

using CsmiBuffer = vokMallocPtr<unsigned char>;

// The buffer with the reply to a request with this payload; null on failure.
CsmiBuffer call(const CsmiCall& called, std::uint32_t controller, const char* path, const void* payload,
                std::size_t payloadSize) {
    const vokDevice node(path ? path : "", O_RDWR);
    CsmiBuffer buffer(node ? static_cast<unsigned char*>(std::calloc(1, called.bufferSize)) : nullptr);
    if (!buffer) return nullptr;
    CsmiHeader header{};
    header.controller = controller;
    header.length = called.length;
    header.timeout = timeoutSeconds;
    std::memcpy(buffer.get(), &header, sizeof(header));
    if (payloadSize > 0) std::memcpy(buffer.get() + sizeof(header), payload, payloadSize);
    if (node.ioctl(called.request, buffer.get()) < 0) return nullptr;
    return buffer;
}

}  // namespace

unsigned char* SasGetHbaConfig(int controller, const char* path) {
    static FirstController first;
    return call(hbaConfig, first.numberOf(controller), path, nullptr, 0).release();
}

unsigned char* SasGetScsiAddress(int controller, const char* path, const char* sasAddressText) {
    static FirstController first;
    unsigned char address[8] = {};
    std::sscanf(sasAddressText ? sasAddressText : "", "%2hhx%2hhx%2hhx%2hhx%2hhx%2hhx%2hhx%2hhx", &address[0],
                &address[1], &address[2], &address[3], &address[4], &address[5], &address[6], &address[7]);
    return call(scsiAddress, first.numberOf(controller), path, address, sizeof(address)).release();
}

unsigned char* SasGetHbaConnector(int controller, const char* path) {
    static FirstController first;
    return call(hbaConnector, first.numberOf(controller), path, nullptr, 0).release();
}

int SasGetLocation(int controller, const char* path, unsigned char phy, unsigned char port,
                   unsigned char pathId, unsigned char targetId) {
    static FirstController first;
    const unsigned char request[] = {phy, port, pathId, targetId, requestLocations};
    return call(location, first.numberOf(controller), path, request, sizeof(request)) ? 1 : 0;
}
