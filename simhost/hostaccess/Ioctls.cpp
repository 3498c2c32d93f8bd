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
constexpr std::uint32_t ipmiNumbers = IPMI_IOC_MAGIC << _IOC_TYPESHIFT;
constexpr std::uint32_t anyOfType = _IOC_TYPEMASK << _IOC_TYPESHIFT;

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
    // The rest of the driver's requests; the agent makes none of them.
    {ipmiNumbers, anyOfType, [](OpenDevice&, std::uint32_t, void*) { return failIoctl(ENOTTY); }},
};

}  // namespace

int deviceIoctl(OpenDevice& device, unsigned long request, void* argument) {
    const auto number = static_cast<std::uint32_t>(request);
    for (const auto& row : rows)
        if ((number & row.mask) == row.number) return row.run(device, number, argument);
    if (_IOC_DIR(number) != _IOC_NONE && _IOC_SIZE(number) > 0)
        return runSizedRequest(device, number, argument);
    return failIoctl(ENOTTY);
}

}  // namespace simhost
