#include "support/FakeIpmi.h"

#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <algorithm>
#include <cstring>

namespace {

constexpr unsigned char remoteCommand = 0x80;

FakeIpmiReply acceptChunk(const FakeIpmiRequest& request) {
    if (request.netfn != 0x3A || request.command != remoteCommand || request.data.size() != 60) return {{0}};
    const unsigned index = request.data[0] + 256u * request.data[1] + 1;
    return {{0, 0, static_cast<unsigned char>(index), static_cast<unsigned char>(index >> 8), 0}};
}

FakeIpmiRequest received(const ipmi_req& sent) {
    FakeIpmiRequest request;
    request.netfn = sent.msg.netfn;
    request.command = sent.msg.cmd;
    request.messageId = sent.msgid;
    request.addressLength = sent.addr_len;
    request.dataPointerIsNull = sent.msg.data == nullptr;
    if (sent.msg.data) request.data.assign(sent.msg.data, sent.msg.data + sent.msg.data_len);
    if (sent.addr_len >= sizeof(ipmi_system_interface_addr)) {
        ipmi_system_interface_addr address{};
        std::memcpy(&address, sent.addr, sizeof(address));
        request.addressType = address.addr_type;
        request.channel = address.channel;
        request.lun = address.lun;
    }
    return request;
}

std::string describe(const FakeIpmiRequest& request) {
    return "netfn " + std::to_string(request.netfn) + " command " + std::to_string(request.command) +
           " data " + testing::PrintToString(request.data);
}

}  // namespace

FakeIpmi::FakeIpmi(const std::string& path) : FakeDevice(path), onRequest(acceptChunk) {}

void FakeIpmi::answer(const FakeIpmiReply& reply) {
    onRequest = [reply](const FakeIpmiRequest&) { return reply; };
}

std::vector<FakeIpmiRequest> FakeIpmi::requests() const {
    const std::lock_guard<std::mutex> lock(guard);
    return requests_;
}

void FakeIpmi::clearRequests() {
    const std::lock_guard<std::mutex> lock(guard);
    requests_.clear();
}

std::vector<std::string> FakeIpmi::remoteCommandPayloads() const {
    std::vector<std::string> payloads;
    std::size_t expected = 0;
    const std::lock_guard<std::mutex> lock(guard);
    for (const auto& request : requests_) {
        if (request.command != remoteCommand) continue;
        const auto& data = request.data;
        if (data[2] == 0x14) {
            payloads.emplace_back();
            expected = data[23] | data[24] << 8 | data[25] << 16 | static_cast<std::size_t>(data[26]) << 24;
            payloads.back().assign(data.begin() + 27, data.end());
        } else if (!payloads.empty()) {
            payloads.back().append(data.begin() + 3, data.end());
        }
        if (!payloads.empty() && payloads.back().size() >= expected) payloads.back().resize(expected - 1);
    }
    return payloads;
}

unsigned int FakeIpmi::addressRoom() const {
    const std::lock_guard<std::mutex> lock(guard);
    return addressRoom_;
}

unsigned int FakeIpmi::dataRoom() const {
    const std::lock_guard<std::mutex> lock(guard);
    return dataRoom_;
}

int FakeIpmi::control(unsigned long request, void* argument) {
    if (request == static_cast<unsigned long>(IPMICTL_SEND_COMMAND)) return send(argument);
    if (request == static_cast<unsigned long>(IPMICTL_RECEIVE_MSG_TRUNC)) return receive(argument);
    errno = ENOTTY;
    return -1;
}

int FakeIpmi::wait() {
    const std::lock_guard<std::mutex> lock(guard);
    if (reply_.waitResult < 0) errno = EINTR;
    return reply_.waitResult;
}

FakeIpmiReply FakeIpmi::replyTo(const FakeIpmiRequest& request) {
    if (!expected_.isExpecting()) return onRequest(request);
    const auto row = expected_.take(describe(request), [&request](const ExpectedIpmiRequest& expected) {
        return expected.netfn == request.netfn && expected.command == request.command &&
               expected.data == request.data;
    });
    return row ? row->reply : FakeIpmiReply::sendFails();
}

int FakeIpmi::send(const void* argument) {
    const FakeIpmiRequest request = received(*static_cast<const ipmi_req*>(argument));
    const FakeIpmiReply reply = replyTo(request);
    const std::lock_guard<std::mutex> lock(guard);
    requests_.push_back(request);
    reply_ = reply;
    lastMessageId_ = request.messageId;
    if (reply_.sendResult != 0) errno = EIO;
    return reply_.sendResult;
}

int FakeIpmi::receive(void* argument) {
    auto& message = *static_cast<ipmi_recv*>(argument);
    const std::lock_guard<std::mutex> lock(guard);
    addressRoom_ = message.addr_len;
    dataRoom_ = message.msg.data_len;
    message.recv_type = IPMI_RESPONSE_RECV_TYPE;
    message.msgid = lastMessageId_;
    const std::size_t count = std::min<std::size_t>(message.msg.data_len, reply_.bytes.size());
    std::copy_n(reply_.bytes.begin(), count, message.msg.data);
    message.msg.data_len = static_cast<unsigned short>(count);
    if (reply_.receiveResult < 0) errno = EMSGSIZE;
    return reply_.receiveResult;
}
