#include <fcntl.h>
#include <gmock/gmock.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>

#include "simhost/Chunks.h"
#include "simhost/SimulatedMachine.h"

namespace IpmiDeviceTest {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

using IpmiDevice = SimulatedMachine;

constexpr unsigned application = 0x06;
constexpr unsigned oem = 0x3A;

// An event of the size of a real one.
const std::string event =
    R"({"EventTime":"2026-11-15 08:38:22","HostName":"rack42-node07","ID":356,)"
    R"("IPv4Addresses":[{"Address":"10.42.7.11"}],"OSType":104,"OSVersion":"7.0.3","Source":"VOK"})";

std::string inventoryOf(std::size_t size) {
    const std::string begin = R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"HostName":")";
    const std::string end = R"("}}}})";
    return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

TEST_F(IpmiDevice, AReplyHasTheFieldsOfItsRequest) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser user(*host);
    ASSERT_GE(user.descriptor(), 0);
    ASSERT_EQ(user.send(application, 0x01, {}, 77), 0);
    const DeviceReply reply = user.receive();
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.type, IPMI_RESPONSE_RECV_TYPE);
    EXPECT_EQ(reply.messageId, 77);
    EXPECT_EQ(reply.netfn, 0x07);
    EXPECT_EQ(reply.command, 0x01);
    EXPECT_EQ(reply.addressType, 12);
    EXPECT_EQ(reply.channel, 15);
    EXPECT_EQ(reply.addressLength, 8u);
    EXPECT_EQ(reply.data.size(), 16u);
    EXPECT_EQ(reply.data[0], 0);
    EXPECT_EQ(user.exchange(application, 0x36, {}).data.size(), 6u);
    EXPECT_EQ(user.exchange(0x34, 0x08, {}).data.size(), 5u);
    EXPECT_THAT(user.exchange(application, 0x02, {}).data, ElementsAre(0xC1));
}

TEST_F(IpmiDevice, ChecksARequestAsTheDriverDoes) {
    startHost();
    const auto host = access();
    DeviceUser user(*host);
    ipmi_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    std::vector<unsigned char> data(300, 0);
    ipmi_req good{};
    good.addr = reinterpret_cast<unsigned char*>(&address);
    good.addr_len = sizeof(ipmi_system_interface_addr);
    good.msg.netfn = oem;
    good.msg.cmd = 0x81;
    const auto refusal = [&](ipmi_req request) {
        errno = 0;
        return host->ioctlDevice(user.descriptor(), IPMICTL_SEND_COMMAND, &request) == 0 ? 0 : errno;
    };
    EXPECT_EQ(refusal(good), 0);
    ipmi_req bad = good;
    bad.addr_len = sizeof(ipmi_addr) + 1;
    EXPECT_EQ(refusal(bad), EINVAL);
    bad.addr_len = sizeof(ipmi_system_interface_addr) - 1;
    EXPECT_EQ(refusal(bad), EINVAL);
    bad.addr_len = sizeof(ipmi_addr);
    EXPECT_EQ(refusal(bad), 0);
    bad = good;
    bad.addr = nullptr;
    EXPECT_EQ(refusal(bad), EFAULT);
    bad = good;
    bad.msg.netfn = oem + 1;
    EXPECT_EQ(refusal(bad), EINVAL);
    bad = good;
    bad.msg.data = data.data();
    bad.msg.data_len = 273;
    EXPECT_EQ(refusal(bad), EMSGSIZE);
    bad.msg.data_len = 271;
    EXPECT_EQ(refusal(bad), EMSGSIZE);
    bad.msg.data_len = 270;
    EXPECT_EQ(refusal(bad), 0);
    bad.msg.data = nullptr;
    bad.msg.data_len = 999;
    EXPECT_EQ(refusal(bad), 0);  // without data its length says nothing
    for (const int command : {0x33, 0x34, 0x35}) {
        bad = good;
        bad.msg.netfn = application;
        bad.msg.cmd = static_cast<unsigned char>(command);
        EXPECT_EQ(refusal(bad), EINVAL);
    }
    bad = good;
    address.channel = 0;
    EXPECT_EQ(refusal(bad), EINVAL);
    address.channel = IPMI_BMC_CHANNEL;
    address.data[0] = 4;
    EXPECT_EQ(refusal(bad), EINVAL);
    address.data[0] = 0;
    address.addr_type = IPMI_LAN_ADDR_TYPE;
    EXPECT_EQ(refusal(bad), EINVAL);
    EXPECT_EQ(host->ioctlDevice(user.descriptor(), IPMICTL_SEND_COMMAND, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(host->ioctlDevice(user.descriptor(), 0x1234, &good), -1);
    EXPECT_EQ(errno, ENOTTY);
    int wanted = 0;
    EXPECT_EQ(host->ioctlDevice(user.descriptor(), IPMICTL_SET_GETS_EVENTS_CMD, &wanted), -1);
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(IpmiDevice, ReceivesAsTheDriverDoes) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser user(*host);
    EXPECT_EQ(user.receiveNow().error, EAGAIN);
    user.send(application, 0x01, {});
    ASSERT_GT(host->waitForDevice(user.descriptor()), 0);
    DeviceReply reply = user.receiveNow(4, false);
    EXPECT_EQ(reply.error, EMSGSIZE);  // and it stays
    reply = user.receiveNow(4, true);
    EXPECT_EQ(reply.result, -1);
    EXPECT_EQ(reply.error, EMSGSIZE);
    EXPECT_EQ(reply.data.size(), 4u);
    EXPECT_EQ(user.receiveNow().error, EAGAIN);  // a cut message is used up
    user.send(application, 0x01, {});
    ASSERT_GT(host->waitForDevice(user.descriptor()), 0);
    ipmi_recv received{};
    unsigned char small[4];
    received.addr = small;
    received.addr_len = sizeof(small);
    EXPECT_EQ(host->ioctlDevice(user.descriptor(), IPMICTL_RECEIVE_MSG_TRUNC, &received), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(user.receiveNow().data.size(), 16u);
}

TEST_F(IpmiDevice, AReplyGoesToTheDescriptorThatAsked) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser first(*host), second(*host);
    ASSERT_EQ(first.send(application, 0x01, {}, 1), 0);
    ASSERT_EQ(second.send(oem, 0x81, {}, 2), 0);
    ASSERT_EQ(first.send(oem, 0x81, {}, 3), 0);
    EXPECT_EQ(second.receive().messageId, 2);
    EXPECT_EQ(second.receiveNow().error, EAGAIN);
    EXPECT_EQ(first.receive().messageId, 1);
    EXPECT_EQ(first.receive().messageId, 3);
}

TEST_F(IpmiDevice, WithoutAControllerTheReplyIsACodeAndNothingElse) {
    startHost();
    const auto host = access();
    DeviceUser user(*host);
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0xFF));
}

TEST_F(IpmiDevice, AControllerThatDoesNotAnswerCostsTheDriversPatience) {
    startHost({"--ipmi-timeout", "0.3"});
    startController();
    const auto host = access();
    DeviceUser user(*host);
    controllerControl({"answer", "never", "--of", "poll"});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0xC3));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(290));
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0x00));
    EXPECT_EQ(hostState()["ipmi"]["expired"].asInt(), 1);
}

TEST_F(IpmiDevice, AnAnswerThatComesTooLateIsForNobody) {
    startHost({"--ipmi-timeout", "0.2"});
    startController();
    const auto host = access();
    DeviceUser user(*host);
    controllerControl({"answer", "late", "400", "--of", "poll"});
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0xC3));
    controllerControl({"answer", "late", "100", "--of", "poll"});
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0x00));
    host->pause(300000);
    EXPECT_EQ(user.receiveNow().error, EAGAIN);
}

TEST_F(IpmiDevice, SurvivesAControllerThatDiesAndComesBack) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser user(*host);
    controllerControl({"answer", "never", "--of", "poll"});
    ASSERT_EQ(user.send(oem, 0x81, {}), 0);
    ASSERT_EQ(waitFor("poll", 1), 0);
    controllerProgram.end(SIGKILL);
    EXPECT_THAT(user.receive().data, ElementsAre(0xFF));
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0xFF));
    startController();
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0x00));
}

TEST_F(IpmiDevice, AControllerFindsItsHostAgain) {
    startHost();
    startController();
    hostProgram.end(SIGKILL);
    startHost();
    EXPECT_EQ(waitFor("attached", 2), 0);
    const auto host = access();
    EXPECT_THAT(DeviceUser(*host).exchange(oem, 0x81, {}).data, ElementsAre(0x00));
}

TEST_F(IpmiDevice, ASecondControllerWaitsItsTurn) {
    startHost();
    startController();
    const std::string other = directory.path() + "/rmc2";
    RunningProgram second(directory.path(), "second",
                          {VOK_RMC_PROGRAM, "run", "--root", root(), "--out", other}, "another controller");
    controllerProgram.end(SIGTERM);
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "control", "--out", other, "wait", "attached", "1"}).status, 0);
}

TEST_F(IpmiDevice, TheAgentIsToldWhenTheHostProcessIsGone) {
    startHost();
    const auto host = access();
    DeviceUser user(*host);
    hostProgram.end(SIGKILL);
    EXPECT_EQ(user.send(oem, 0x81, {}), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(user.receiveNow().error, ENODEV);
    EXPECT_EQ(DeviceUser(*host).descriptor(), -1);
    EXPECT_EQ(errno, ENXIO);
}

// Processor time that a process has used so far, in clock ticks.
unsigned long processorTimeOf(pid_t process) {
    std::ifstream stream("/proc/" + std::to_string(process) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    unsigned long user = 0, system = 0;
    std::sscanf(text.substr(text.rfind(')') + 1).c_str(),
                " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user, &system);
    return user + system;
}

TEST_F(IpmiDevice, MoreUsersThanTheProcessHasDescriptorsForWaitWithoutAnyHaste) {
    hostProgram = RunningProgram(directory.path(), "simhost",
                                 {"/bin/sh", "-c", "ulimit -n 40; exec \"$0\" run --host bare --root \"$1\"",
                                  VOK_SIMHOST_PROGRAM, root()},
                                 "ready");
    const auto host = access();
    // The first user has gone when the second has its reply. What the host does for them once it need not be
    // checked by the sanitizers again, which would take two descriptors.
    for (int i = 0; i < 2; ++i) {
        DeviceUser user(*host);
        ASSERT_EQ(user.send(oem, 0x81, {}), 0);
        ASSERT_THAT(user.receive().data, ElementsAre(0xFF));
    }
    std::vector<std::unique_ptr<DeviceUser>> users;
    for (int i = 0; i < 60; ++i) users.push_back(std::make_unique<DeviceUser>(*host));
    const unsigned long before = processorTimeOf(hostProgram.process());
    host->pause(500000);
    EXPECT_LE(processorTimeOf(hostProgram.process()) - before, 10u);
    ASSERT_EQ(users.back()->send(oem, 0x81, {}), 0);
    users.erase(users.begin(), users.begin() + 50);
    EXPECT_THAT(users.back()->receive().data, ElementsAre(0xFF));
}

// --- the controller ---

TEST_F(IpmiDevice, InventoriesAndEventsAreKeptAndTold) {
    startHost();
    startController();
    const auto host = access();
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(2000)), 0);
    EXPECT_EQ(DeviceUser(*host).remoteCommand("MPEventGen", event), 0);
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(300)), 0);
    EXPECT_EQ(directory.readFile("rmc/inventory-0001.json"), inventoryOf(2000));
    EXPECT_EQ(directory.readFile("rmc/inventory-0002.json"), inventoryOf(300));
    EXPECT_EQ(directory.readFile("rmc/events.jsonl"), event + "\n");
    EXPECT_FALSE(directory.exists("rmc/violations.log"));
    const Json::Value state = controllerState();
    EXPECT_EQ(state["inventories"].asInt(), 2);
    EXPECT_EQ(state["events"].asInt(), 1);
    EXPECT_EQ(state["violations"].asInt(), 0);
    EXPECT_EQ(state["transfersInProgress"].asInt(), 0);
    EXPECT_EQ(state["requests"].asInt(), 36 + 4 + 6);
    EXPECT_THAT(controllerProgram.output(), HasSubstr("inventory 1: 2000 bytes in 36 chunks"));
    EXPECT_THAT(controllerProgram.output(), HasSubstr("event 1: 356 operating system has booted"));
    EXPECT_EQ(controllerProgram.end(SIGTERM), 0);
    startController();
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(100)), 0);
    EXPECT_EQ(directory.readFile("rmc/inventory-0003.json"), inventoryOf(100));
}

class EachIndexScheme : public IpmiDevice, public testing::WithParamInterface<const char*> {};

TEST_P(EachIndexScheme, CarriesALargeInventoryWhole) {
    startHost();
    const auto host = access();
    startController({"--index", GetParam(), "--quiet"});
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(200000)), 0);
    EXPECT_EQ(controllerProgram.end(SIGTERM), 0);
    EXPECT_EQ(directory.readFile("rmc/inventory-0001.json"), inventoryOf(200000));
}

INSTANTIATE_TEST_SUITE_P(Schemes, EachIndexScheme,
                         testing::Values("random", "sequential", "constant:0", "constant:65535"));

TEST_F(IpmiDevice, AViolationIsLoudAndMakesTheExitStatus3) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser user(*host);
    Chunk chunk = firstChunk("MPEventGen", event);
    chunk[20] = 1;
    user.exchange(oem, 0x80, chunk);
    EXPECT_EQ(waitFor("violation", 1), 0);
    EXPECT_THAT(controllerProgram.errors(), HasSubstr("VIOLATION: byte 20 is 0x01"));
    EXPECT_THAT(directory.readFile("rmc/violations.log"), HasSubstr("byte 20 is 0x01"));
    EXPECT_EQ(controllerProgram.end(SIGINT), 3);
}

TEST_F(IpmiDevice, AViolationOfTheFormIsReportedToo) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser(*host).remoteCommand("MPEventGen", event + "\n");
    EXPECT_EQ(waitFor("violation", 1), 0);
    EXPECT_THAT(controllerProgram.errors(), HasSubstr("VIOLATION: event 1: the text is more than one line"));
    DeviceUser(*host).exchange(oem, 0x81, {1});
    EXPECT_THAT(directory.readFile("rmc/violations.log"), HasSubstr("poll with data"));
}

TEST_F(IpmiDevice, TheDoorBellRingsOnceForEachRequest) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser user(*host);
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0));
    controllerControl({"ring"});
    const auto data = user.exchange(oem, 0x81, {}).data;
    EXPECT_EQ(std::string(data.begin() + 1, data.end()), "WriteInventory");
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0));
    controllerControl({"ring", "--times", "2", "--text", "abc"});
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0, 'a', 'b', 'c'));
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0, 'a', 'b', 'c'));
    EXPECT_THAT(user.exchange(oem, 0x81, {}).data, ElementsAre(0));
    EXPECT_THAT(user.exchange(oem, 0x82, {}).data, ElementsAre(0, 0, 0, 0, 0));
    controllerControl({"ring", "--second"});
    EXPECT_THAT(user.exchange(oem, 0x82, {}).data, ElementsAre(0, 1, 0, 0, 0));
    EXPECT_EQ(controllerState()["polls"].asInt(), 6);
    EXPECT_EQ(controllerState()["pollsOfSecondKind"].asInt(), 2);
}

TEST_F(IpmiDevice, AnyChunkIsRefusedOnRequest) {
    startHost();
    startController();
    const auto host = access();
    for (const int status : {3, 4, 7, 8, 200}) {
        controllerControl({"answer", "status", std::to_string(status), "--at-chunk", "3"});
        EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(1000)), status);
    }
    controllerControl({"answer", "status", "2", "--count", "0"});
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(1000)), 0);
    controllerControl({"answer", "normal"});
    const Json::Value state = controllerState();
    EXPECT_EQ(state["violations"].asInt(), 0);
    EXPECT_EQ(state["inventories"].asInt(), 1);
    EXPECT_EQ(state["refusedChunks"].asInt(), 5);
}

TEST_F(IpmiDevice, AnAgentThatGoesOnAfterAnAnswerWithoutDataIsRight) {
    startHost({"--ipmi-timeout", "0.2"});
    startController();
    const auto host = access();
    controllerControl({"answer", "completion", "0xC1", "--at-chunk", "2"});
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(400)), 0);
    controllerControl({"answer", "cc-only", "--at-chunk", "3"});
    controllerControl({"answer", "never", "--at-chunk", "1"});
    controllerControl({"answer", "late", "300", "--at-chunk", "5"});
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(500)), 0);
    EXPECT_EQ(waitFor("inventory", 2), 0);
    EXPECT_EQ(controllerState()["violations"].asInt(), 0);
    EXPECT_EQ(directory.readFile("rmc/inventory-0002.json"), inventoryOf(500));
}

TEST_F(IpmiDevice, ATransferThatBreaksOffIsToldAndIsNoViolation) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(1000), 4);
    EXPECT_EQ(waitFor("abandoned", 1), 0);
    EXPECT_THAT(controllerProgram.output(), HasSubstr("abandoned transfer: WriteInventory from process"));
    EXPECT_EQ(DeviceUser(*host).remoteCommand("MPEventGen", event), 0);
    EXPECT_EQ(controllerState()["violations"].asInt(), 0);
}

TEST_F(IpmiDevice, AControllerThatComesInTheMiddleOfATransferBlamesNobody) {
    startHost();
    startController();
    const auto host = access();
    DeviceUser user(*host);
    user.exchange(oem, 0x80, firstChunk("WriteInventory", inventoryOf(1000)));
    controllerProgram.end(SIGKILL);
    EXPECT_THAT(user.exchange(oem, 0x80, laterChunk(inventoryOf(1000), 33, 5)).data, ElementsAre(0xFF));
    startController();
    const auto reply = user.exchange(oem, 0x80, laterChunk(inventoryOf(1000), 90, 5)).data;
    ASSERT_EQ(reply.size(), 5u);
    EXPECT_EQ(reply[1], 3);
    EXPECT_EQ(controllerState()["violations"].asInt(), 0);
}

TEST_F(IpmiDevice, ShortPayloadsAreKeptApart) {
    startHost();
    startController();
    const auto host = access();
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", "{}"), 0);
    EXPECT_EQ(waitFor("request", 1), 0);
    EXPECT_EQ(directory.readFile("rmc/short-payloads.txt"), "{}\n");
    EXPECT_EQ(controllerState()["shortPayloads"].asInt(), 1);
}

TEST_F(IpmiDevice, ThePayloadLimitGivesStatus8) {
    startHost();
    startController({"--size-limit", "1000"});
    const auto host = access();
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(999)), 0);
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", inventoryOf(1000)), 8);
}

TEST_F(IpmiDevice, TheControllersCommandsSayWhatIsWrong) {
    startHost();
    startController();
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "control", "--out", out(), "wait", "event", "1", "--timeout", "0"})
                  .status,
              4);
    for (const std::vector<std::string>& words : {std::vector<std::string>{"sing"},
                                                  {"wait", "rain", "1"},
                                                  {"wait", "event"},
                                                  {"ring", "--times", "0"},
                                                  {"ring", "twice"},
                                                  {"answer", "status"},
                                                  {"answer", "perhaps"}}) {
        std::vector<std::string> command{VOK_RMC_PROGRAM, "control", "--out", out()};
        command.insert(command.end(), words.begin(), words.end());
        const Ran ran = runProgram(command);
        EXPECT_EQ(ran.status, 2) << words[0];
        EXPECT_THAT(ran.output, testing::StartsWith("vok-rmc control: "));
    }
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "run", "--root", root()}).status, 2);
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "run", "--root", root(), "--out", out(), "--index", "odd"}).status,
              2);
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "run", "--root", root(), "--out", out()}).status, 1);
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "--help"}).status, 0);
    controllerControl({"quit"});
    EXPECT_EQ(controllerProgram.end(0), 0);
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "control", "--out", out(), "status"}).status, 1);
}

}  // namespace
}  // namespace IpmiDeviceTest
