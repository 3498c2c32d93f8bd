// The agent's own transport on a simulated host, against the controller that checks every byte.
#include <gmock/gmock.h>
#include <map>

#include "rmc/ipmi/vokipmi.h"
#include "simhost/SimulatedMachine.h"

namespace IpmiLibraryTest {

using testing::HasSubstr;

namespace {

class IpmiLibrary : public SimulatedMachine {
protected:
    // From here on the library works on the simulated host.
    void start(const std::vector<std::string>& controllerOptions = {}) {
        startHost({"--speed", "100", "--ipmi-timeout", "0.3"});
        startController(controllerOptions);
        vokSetHostAccess(access());
    }
};

std::string inventoryOf(std::size_t size) {
    const std::string begin = R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"HostName":")";
    const std::string end = R"("}}}})";
    return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

TEST_F(IpmiLibrary, InventoriesOfAllSizesArriveWhole) {
    start({"--quiet"});
    int number = 0;
    for (const std::size_t size : {65u, 89u, 90u, 91u, 146u, 147u, 148u, 4096u, 200000u, 2000000u}) {
        EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("WriteInventory", inventoryOf(size)), 0);
        char name[64];
        std::snprintf(name, sizeof(name), "rmc/inventory-%04d.json", ++number);
        EXPECT_EQ(directory.readFile(name), inventoryOf(size)) << size;
    }
    EXPECT_EQ(controllerProgram.end(SIGTERM), 0);
}

TEST_F(IpmiLibrary, ShortPayloadsStandOverTheName) {
    start();
    for (const char* text : {"", "{}", "12345678901234567890", "123456789012345678901",
                             "12345678901234567890123456789012345678901234567890123456"})
        EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("MPEventGen", text), 0);
    EXPECT_EQ(directory.readFile("rmc/short-payloads.txt"),
              "\n{}\n12345678901234567890\n123456789012345678901\n"
              "12345678901234567890123456789012345678901234567890123456\n");
    EXPECT_EQ(controllerProgram.end(SIGTERM), 0);
}

TEST_F(IpmiLibrary, ARefusalEndsTheCommandAtOnce) {
    start();
    controllerControl({"answer", "status", "3", "--at-chunk", "3"});
    EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("WriteInventory", inventoryOf(1000)), 1);
    EXPECT_EQ(controllerState()["requests"].asInt(), 3);
    EXPECT_EQ(controllerProgram.end(SIGTERM), 0);
}

TEST_F(IpmiLibrary, AnswersThatAreLateOrOnlyACodeBreakNothing) {
    start();
    controllerControl({"answer", "never", "--at-chunk", "1"});
    controllerControl({"answer", "cc-only", "0xC0", "--at-chunk", "4"});
    controllerControl({"answer", "completion", "0xD4", "--at-chunk", "6"});
    controllerControl({"answer", "late", "100", "--at-chunk", "8"});
    EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("WriteInventory", inventoryOf(1000)), 0);
    EXPECT_EQ(directory.readFile("rmc/inventory-0001.json"), inventoryOf(1000));
    EXPECT_EQ(controllerProgram.end(SIGTERM), 0);
}

TEST_F(IpmiLibrary, HearsTheDoorBell) {
    start();
    EXPECT_FALSE(ipmi::IPMIUtils().checkIPMIDBRequest());
    controllerControl({"ring", "--text", "please do WriteInventory now"});
    EXPECT_TRUE(ipmi::IPMIUtils().checkIPMIDBRequest());
    EXPECT_FALSE(ipmi::IPMIUtils().checkIPMIDBRequest());
    controllerControl({"ring", "--second"});
    EXPECT_EQ(ipmi::IPMIUtils().checkIPMIDBGenericRequest(2), 1);
    EXPECT_EQ(ipmi::IPMIUtils().checkIPMIDBGenericRequest(2), 2);
    EXPECT_EQ(controllerProgram.end(SIGTERM), 0);
}

TEST_F(IpmiLibrary, AsksTheDevice) {
    start();
    ipmi::_GET_DEVICE_ID id{};
    EXPECT_TRUE(ipmi::IPMIUtils().GetDeviceIdInfo(&id));
    EXPECT_EQ(id.deviceId, 0x20);
    EXPECT_EQ(id.ipmiVersion, 0x02);
    ipmi::_GET_BMC_CAPABILITIES capabilities{};
    EXPECT_TRUE(ipmi::IPMIUtils().GetCapabilities(&capabilities));
    EXPECT_EQ(capabilities.bytes[0], 0x01);
    unsigned char partition[4] = {};
    EXPECT_TRUE(ipmi::IPMIUtils().GetPartitionId(partition));
}

TEST_F(IpmiLibrary, BringsTheDriverUp) {
    start();
    hostControl({"ipmi", "appears-after-bringup"});
    EXPECT_FALSE(ipmi::IPMIUtils().checkIPMIDBRequest());
    EXPECT_EQ(controllerState()["polls"].asInt(), 1);
    EXPECT_EQ(hostState()["commandsRun"]["modprobe"].asInt(), 5);
    EXPECT_EQ(hostState()["commandsRun"]["mknod"].asInt(), 1);
    hostControl({"ipmi", "absent"});
    EXPECT_FALSE(ipmi::IPMIUtils().checkIPMIDBRequest());
    EXPECT_EQ(controllerState()["polls"].asInt(), 1);
    EXPECT_EQ(hostState()["commandsRun"]["modprobe"].asInt(), 15);  // twice for a constructor
}

}  // namespace
}  // namespace IpmiLibraryTest
