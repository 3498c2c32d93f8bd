#include "rmc/ipmi/vokipmi.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>

#include "core/base/vokLog.h"
#include "platform/access/vokCommandStream.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLongOperation.h"
#include "platform/access/vokShell.h"
#include "rmc/ipmi/vokIpmiReport.h"

// The request numbers of the product's ABI; elsewhere the records hold wider pointers.
static_assert(sizeof(void*) != 4 || IPMICTL_SEND_COMMAND == 0x8014690D);
static_assert(sizeof(void*) != 4 || IPMICTL_RECEIVE_MSG_TRUNC == 0xC018690B);
static_assert(IPMI_SYSTEM_INTERFACE_ADDR_TYPE == 12 && IPMI_BMC_CHANNEL == 15);
static_assert(sizeof(ipmi_system_interface_addr) == 8);

namespace ipmi {
namespace {

constexpr unsigned long bringUpPause = 3000000;  // microseconds
constexpr int openAttempts = 2;

constexpr const char* driverModules[] = {"ipmi_msghandler", "ipmi_si", "ipmi_devintf", "ipmi_watchdog",
                                         "ipmi_ssif"};

void bringUpDriver() {
    IvokHostAccess& host = vokHostAccess();
    for (const char* module : driverModules)
        vokRunCommand(std::string("modprobe ") + module + " > /dev/null 2>&1");
    const int result = vokRunCommand("mknod -m 0600 " + host.commandPath(devicePath) + " c `cat " +
                                     vokBackquoted(host.commandPath("/proc/devices")) +
                                     " | grep ipmidev |cut -d \" \" -f 1` 0 > /dev/null 2>&1");
    if (result == -1 && errno == ECANCELED) return;  // the agent stops, and nothing was run that takes time
    host.pause(bringUpPause);
}

}  // namespace

std::mutex IPMIUtils::mlock;

IPMIUtils::IPMIUtils() {
    for (int attempt = 0; attempt < openAttempts && !device_; ++attempt) {
        device_ = vokDevice(devicePath, O_RDWR);
        openError_ = device_ ? 0 : errno;
        if (!device_) bringUpDriver();
    }
    reportOpen(openError_);
}

IPMIUtils::~IPMIUtils() = default;

bool IPMIUtils::fail(ExchangeStep step, bool hasReason) {
    lastExchange_.failedStep = step;
    lastExchange_.error = hasReason ? errno : 0;
    return false;
}

bool IPMIUtils::execute(unsigned char netfn, unsigned char cmd, unsigned char /*lun*/,
                        const unsigned char* data, const unsigned char& dataLen, unsigned char* resp,
                        unsigned char& respLen) {
    VOK_LOG_DEBUG("IPMI", "rs %d\n", respLen);
    lastExchange_ = {};
    if (!device_) {
        lastExchange_.failedStep = ExchangeStep::open;
        lastExchange_.error = openError_;
        return false;
    }

    static std::atomic<long> lastMessageId{0};
    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    ipmi_req request{};
    request.addr = reinterpret_cast<unsigned char*>(&address);
    request.addr_len = sizeof(address);
    request.msgid = ++lastMessageId;
    request.msg.netfn = netfn;
    request.msg.cmd = cmd;
    if (dataLen != 0) {
        request.msg.data_len = dataLen;
        request.msg.data = const_cast<unsigned char*>(data);  // the driver only reads it
    }
    const vokLongOperation exchange(vokOperationKind::deviceRequest, devicePath, netfn << 8 | cmd);
    const int sent = device_.ioctl(IPMICTL_SEND_COMMAND, &request);
    if (sent != 0) {
        fail(ExchangeStep::send, sent < 0);
        VOK_LOG_DEBUG("IPMI", "Request ioctl failure with error code : %d", sent);
        return false;
    }

    // Without a time-out: the driver ends each exchange, with the controller's answer or one of its own.
    const int ready = device_.wait();
    if (ready <= 0) return fail(ExchangeStep::wait, ready < 0);

    unsigned char from[40] = {};
    unsigned char received[272] = {};
    ipmi_recv receive{};
    receive.addr = from;
    receive.addr_len = sizeof(from);
    receive.msg.data = received;
    receive.msg.data_len = sizeof(received);
    if (device_.ioctl(IPMICTL_RECEIVE_MSG_TRUNC, &receive) < 0) {
        fail(ExchangeStep::receive, true);
        VOK_LOG_DEBUG("IPMI", "Response ioctl failure");
        return false;
    }

    const std::size_t length = std::min<std::size_t>(receive.msg.data_len, sizeof(received));
    lastExchange_.length = length;
    lastExchange_.completionCode = length > 0 ? received[0] : std::uint8_t{0};
    const auto count = static_cast<unsigned char>(std::min<std::size_t>(respLen, length));
    VOK_LOG_DEBUG("IPMI", "size %d, rs %d, dl %d\n", count, respLen, receive.msg.data_len);
    // The first byte is the completion code. Bytes that were not received leave `resp` unchanged.
    if (count != 0) std::memcpy(resp, received + 1, std::min<std::size_t>(count, length - 1));
    return true;
}

bool IPMIUtils::GetDeviceIdInfo(_GET_DEVICE_ID* info) {
    unsigned char capacity = sizeof(*info);
    const unsigned char none = 0;
    return info && execute(0x06, 0x01, 0, nullptr, none, reinterpret_cast<unsigned char*>(info), capacity);
}

bool IPMIUtils::GetCapabilities(_GET_BMC_CAPABILITIES* capabilities) {
    unsigned char capacity = sizeof(*capabilities);
    const unsigned char none = 0;
    return capabilities &&
           execute(0x06, 0x36, 0, nullptr, none, reinterpret_cast<unsigned char*>(capabilities), capacity);
}

bool IPMIUtils::GetPartitionId(unsigned char* response) {
    unsigned char capacity = 4;
    const unsigned char none = 0;
    return response && execute(0x34, 0x08, 0, nullptr, none, response, capacity) && (response[0] & 1) != 0;
}

}  // namespace ipmi
