#include "hostaccess/Ioctls.h"

#include <linux/ipmi.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <cerrno>
#include <cstdint>

#include "hostaccess/BlockIoctl.h"
#include "hostaccess/IpmiIoctl.h"
#include "hostaccess/ScsiIoctl.h"

namespace simhost {

namespace {

constexpr std::uint32_t exactly = 0xFFFFFFFF;
constexpr std::uint32_t csmiNumbers =
    0xCC770000;  // CSMI SAS, revision 0.90: a header with the length of the whole

struct IoctlRow {
    std::uint32_t number;
    std::uint32_t mask;  // bits of the request that must be those of the number
    int (*run)(OpenDevice& device, std::uint32_t request, void* argument);
};

constexpr IoctlRow rows[] = {
    {IPMICTL_SEND_COMMAND, exactly, sendIpmiCommand},
    {IPMICTL_RECEIVE_MSG, exactly, receiveIpmiMessage},
    {IPMICTL_RECEIVE_MSG_TRUNC, exactly, receiveIpmiMessage},
    {SG_IO, exactly, runScsiCommand},
    {csmiNumbers, 0xFFFF0000, runCsmiRequest},
};

}  // namespace

int deviceIoctl(OpenDevice& device, unsigned long request, void* argument) {
    const auto number = static_cast<std::uint32_t>(request);
    for (const auto& row : rows)
        if ((number & row.mask) == row.number) return row.run(device, number, argument);
    return failIoctl(ENOTTY);
}

}  // namespace simhost
