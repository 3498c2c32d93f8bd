#include "simhost/SimulatedMachine.h"

#include <fcntl.h>
#include <cerrno>
#include <sstream>

#include "platform/access/vokRootedHostAccess.h"
#include "simhost/Chunks.h"

DeviceUser::DeviceUser(IvokHostAccess& host)
    : host_(host), descriptor_(host.openDevice(host.path("/dev/ipmi0"), O_RDWR)) {}

DeviceUser::~DeviceUser() {
    if (descriptor_ >= 0) host_.closeDevice(descriptor_);
}

int DeviceUser::send(unsigned netfn, unsigned command, const std::vector<unsigned char>& data,
                     long messageId) {
    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    std::vector<unsigned char> bytes = data;
    ipmi_req request{};
    request.addr = reinterpret_cast<unsigned char*>(&address);
    request.addr_len = sizeof(address);
    request.msgid = messageId;
    request.msg.netfn = static_cast<unsigned char>(netfn);
    request.msg.cmd = static_cast<unsigned char>(command);
    request.msg.data = bytes.empty() ? nullptr : bytes.data();
    request.msg.data_len = static_cast<unsigned short>(bytes.size());
    return host_.ioctlDevice(descriptor_, IPMICTL_SEND_COMMAND, &request);
}

DeviceReply DeviceUser::receiveNow(unsigned short room, bool truncate) {
    ipmi_addr address{};
    std::vector<unsigned char> data(room + 1u, 0xEE);
    ipmi_recv received{};
    received.addr = reinterpret_cast<unsigned char*>(&address);
    received.addr_len = sizeof(address);
    received.msg.data = data.data();
    received.msg.data_len = room;
    DeviceReply reply;
    errno = 0;
    reply.result =
        host_.ioctlDevice(descriptor_, truncate ? IPMICTL_RECEIVE_MSG_TRUNC : IPMICTL_RECEIVE_MSG, &received);
    reply.error = errno;
    reply.type = received.recv_type;
    reply.messageId = received.msgid;
    reply.netfn = received.msg.netfn;
    reply.command = received.msg.cmd;
    reply.addressType = address.addr_type;
    reply.channel = address.channel;
    reply.addressLength = received.addr_len;
    EXPECT_EQ(data[room], 0xEE);
    data.resize(received.msg.data_len);
    reply.data = data;
    return reply;
}

DeviceReply DeviceUser::receive() {
    EXPECT_GT(host_.waitForDevice(descriptor_), 0);
    return receiveNow();
}

DeviceReply DeviceUser::exchange(unsigned netfn, unsigned command, const std::vector<unsigned char>& data) {
    EXPECT_EQ(send(netfn, command, data), 0);
    return receive();
}

int DeviceUser::remoteCommand(const std::string& name, const std::string& text, std::size_t mostChunks) {
    unsigned index = 0;
    std::size_t at = 33;
    for (std::size_t chunk = 1; chunk <= mostChunks; ++chunk) {
        const bool first = chunk == 1;
        const DeviceReply reply =
            exchange(0x3A, 0x80, first ? firstChunk(name, text) : laterChunk(text, at, index));
        if (reply.result != 0) return -1;
        if (reply.data.size() == 5) {  // otherwise the index stays what it was
            if (reply.data[1] > 2) return reply.data[1];
            index = reply.data[2] | static_cast<unsigned>(reply.data[3]) << 8;
        }
        if (!first) at += 57;
        if (at >= text.size() + 1 || text.size() + 1 <= 57) break;
    }
    return 0;
}

void SimulatedMachine::startHost(const std::vector<std::string>& options, const std::string& description) {
    std::vector<std::string> command{VOK_SIMHOST_PROGRAM, "run", "--host", description, "--root", root()};
    command.insert(command.end(), options.begin(), options.end());
    hostProgram = RunningProgram(directory.path(), "simhost", command, "ready");
}

void SimulatedMachine::startController(const std::vector<std::string>& options) {
    std::vector<std::string> command{VOK_RMC_PROGRAM, "run", "--root", root(), "--out", out()};
    command.insert(command.end(), options.begin(), options.end());
    controllerProgram = RunningProgram(directory.path(), "rmc", command, "ready");
    ASSERT_EQ(waitFor("attached", 1), 0);
}

std::unique_ptr<IvokHostAccess> SimulatedMachine::access() {
    std::string error;
    auto opened = vokOpenHostRoot(root(), error);
    EXPECT_NE(opened, nullptr) << error;
    return opened;
}

std::string SimulatedMachine::hostControl(const std::vector<std::string>& words) {
    std::vector<std::string> command{VOK_SIMHOST_PROGRAM, "control", "--root", root()};
    command.insert(command.end(), words.begin(), words.end());
    const Ran ran = runProgram(command);
    EXPECT_EQ(ran.status, 0) << ran.output;
    return ran.output;
}

std::string SimulatedMachine::controllerControl(const std::vector<std::string>& words) {
    std::vector<std::string> command{VOK_RMC_PROGRAM, "control", "--out", out()};
    command.insert(command.end(), words.begin(), words.end());
    const Ran ran = runProgram(command);
    EXPECT_EQ(ran.status, 0) << ran.output;
    return ran.output;
}

namespace {

Json::Value parsed(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return value;
}

}  // namespace

Json::Value SimulatedMachine::hostState() {
    return parsed(hostControl({"show"}));
}

Json::Value SimulatedMachine::controllerState() {
    return parsed(controllerControl({"status"}));
}
