#include "hostaccess/IpmiIoctl.h"

#include <sys/socket.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/Packets.h"

namespace simhost {

namespace {

constexpr std::uint8_t applicationNetfn = 0x06;
// The driver keeps these for itself.
constexpr std::uint8_t driverCommands[] = {0x33, 0x34, 0x35};  // Get Message, Send Message, Read Event Buffer

int fail(int reason) {
    errno = reason;
    return -1;
}

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

int sendIpmiCommand(int descriptor, const ipmi_req* request) {
    if (!request) return fail(EFAULT);
    ipmi_system_interface_addr address{};
    if (const int reason = refusalOfAddress(*request, address)) return fail(reason);
    if (const int reason = refusalOfMessage(request->msg)) return fail(reason);

    DeviceMessage message;
    message.messageId = request->msgid;
    message.netfn = request->msg.netfn & 0x3F;
    message.command = request->msg.cmd;
    message.lun = address.lun;
    if (request->msg.data) message.data.assign(request->msg.data, request->msg.data + request->msg.data_len);
    const std::string packet = message.encode();
    for (;;) {
        if (::send(descriptor, packet.data(), packet.size(), MSG_NOSIGNAL) >= 0) return 0;
        if (errno == EINTR) continue;
        return fail(errno == EPIPE || errno == ECONNRESET ? ENODEV : errno);
    }
}

int receiveIpmiMessage(int descriptor, ipmi_recv* received, bool truncate) {
    if (!received) return fail(EFAULT);
    char packet[largestPacket];
    ssize_t size = 0;
    do {
        size = ::recv(descriptor, packet, sizeof(packet), MSG_DONTWAIT | MSG_PEEK);
    } while (size < 0 && errno == EINTR);
    if (size < 0) return fail(errno == ECONNRESET ? ENODEV : errno);
    if (size == 0) return fail(ENODEV);
    const auto message = DeviceMessage::decode(packet, static_cast<std::size_t>(size));
    if (!message) return fail(EIO);

    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    address.lun = message->lun;
    if (received->addr_len < sizeof(address)) return fail(EINVAL);
    const bool tooLong = received->msg.data_len < message->data.size();
    if (tooLong && !truncate) return fail(EMSGSIZE);
    const std::size_t count = std::min<std::size_t>(received->msg.data_len, message->data.size());
    if (!received->addr || (count > 0 && !received->msg.data)) return fail(EFAULT);

    std::memcpy(received->addr, &address, sizeof(address));
    received->addr_len = sizeof(address);
    received->recv_type = IPMI_RESPONSE_RECV_TYPE;
    received->msgid = static_cast<long>(message->messageId);
    received->msg.netfn = message->netfn;
    received->msg.cmd = message->command;
    if (count > 0) std::memcpy(received->msg.data, message->data.data(), count);
    received->msg.data_len = static_cast<unsigned short>(count);
    ::recv(descriptor, packet, sizeof(packet), MSG_DONTWAIT);  // used up
    return tooLong ? fail(EMSGSIZE) : 0;
}

}  // namespace simhost
