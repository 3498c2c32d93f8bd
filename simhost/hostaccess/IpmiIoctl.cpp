#include "hostaccess/IpmiIoctl.h"

#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/PacketSocket.h"
#include "devices/IpmiPackets.h"

namespace simhost {

namespace {

constexpr std::uint8_t applicationNetfn = 0x06;
// The driver keeps these for itself.
constexpr std::uint8_t driverCommands[] = {0x33, 0x34, 0x35};  // Get Message, Send Message, Read Event Buffer

// 0, or the error number with which the driver refuses the address.
int refusalOfAddress(const ipmi_req& request, ipmi_system_interface_addr& address) {
    if (request.addr_len > sizeof(ipmi_addr)) return EINVAL;
    if (request.addr_len < sizeof(ipmi_system_interface_addr)) return EINVAL;
    if (!request.addr) return EFAULT;
    std::memcpy(&address, request.addr, sizeof(address));
    if (address.addr_type != IPMI_SYSTEM_INTERFACE_ADDR_TYPE || address.channel != IPMI_BMC_CHANNEL)
        return EINVAL;  // no other way leads to this controller
    return address.lun > 3 ? EINVAL : 0;
}

int refusalOfMessage(const ipmi_msg& message) {
    if (message.data && message.data_len > longestMessage) return EMSGSIZE;
    if (message.netfn & 1) return EINVAL;  // a response can't be sent here
    const bool driverCommand = std::find(std::begin(driverCommands), std::end(driverCommands), message.cmd) !=
                               std::end(driverCommands);
    if (message.netfn == applicationNetfn && driverCommand) return EINVAL;
    if (message.data && message.data_len + 2u > longestMessage) return EMSGSIZE;
    return 0;
}

}  // namespace

int sendIpmiCommand(OpenDevice& device, std::uint32_t /*request*/, void* argument) {
    const auto* const request = static_cast<const ipmi_req*>(argument);
    if (!request) return failIoctl(EFAULT);
    ipmi_system_interface_addr address{};
    if (const int reason = refusalOfAddress(*request, address)) return failIoctl(reason);
    if (const int reason = refusalOfMessage(request->msg)) return failIoctl(reason);

    IpmiMessage message;
    message.messageId = request->msgid;
    message.netfn = request->msg.netfn & 0x3F;
    message.command = request->msg.cmd;
    message.lun = address.lun;
    if (request->msg.data) message.data.assign(request->msg.data, request->msg.data + request->msg.data_len);
    const std::string packet = DeviceMessage{0, DeviceKind::ipmi, 0, message.encode()}.encode();
    if (sendPacket(device.descriptor(), packet)) return 0;
    return failIoctl(errno == EPIPE || errno == ECONNRESET ? ENODEV : errno);
}

int receiveIpmiMessage(OpenDevice& device, std::uint32_t request, void* argument) {
    auto* const received = static_cast<ipmi_recv*>(argument);
    const bool truncate = request == IPMICTL_RECEIVE_MSG_TRUNC;
    if (!received) return failIoctl(EFAULT);
    const auto packet = receivePacket(device.descriptor(), longestDevicePacket, MSG_DONTWAIT | MSG_PEEK);
    if (!packet) return failIoctl(errno);
    const auto wrapped = DeviceMessage::decode(*packet);
    const auto message = wrapped && wrapped->kind == DeviceKind::ipmi
                             ? IpmiMessage::decode(wrapped->content.data(), wrapped->content.size())
                             : std::nullopt;
    if (!message) return failIoctl(EIO);

    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    address.lun = message->lun;
    if (received->addr_len < sizeof(address)) return failIoctl(EINVAL);
    const bool tooLong = received->msg.data_len < message->data.size();
    if (tooLong && !truncate) return failIoctl(EMSGSIZE);
    const std::size_t count = std::min<std::size_t>(received->msg.data_len, message->data.size());
    if (!received->addr || (count > 0 && !received->msg.data)) return failIoctl(EFAULT);

    std::memcpy(received->addr, &address, sizeof(address));
    received->addr_len = sizeof(address);
    received->recv_type = IPMI_RESPONSE_RECV_TYPE;
    received->msgid = static_cast<long>(message->messageId);
    received->msg.netfn = message->netfn;
    received->msg.cmd = message->command;
    if (count > 0) std::memcpy(received->msg.data, message->data.data(), count);
    received->msg.data_len = static_cast<unsigned short>(count);
    receivePacket(device.descriptor(), longestDevicePacket, MSG_DONTWAIT);  // used up
    return tooLong ? failIoctl(EMSGSIZE) : 0;
}

}  // namespace simhost
