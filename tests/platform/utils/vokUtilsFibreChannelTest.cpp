#include <gtest/gtest.h>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "platform/utils/vokUtils.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace vokUtilsFibreChannelTest {
namespace {

using Pair = std::pair<std::string, std::string>;

constexpr const char* hardwareCommand =
    "localcli hardware pci list | grep -e 'Address: ' -e 'VMkernel Name:'>> "
    "/opt/mev/vok/data/fc_topology.txt";
constexpr const char* hardwareFile = "/opt/mev/vok/data/fc_topology.txt";
constexpr const char* nameCommand =
    "localcli storage san fc list | grep -e 'Adapter: ' -e 'Node Name:'>> /opt/mev/vok/data/fc_name.txt";
constexpr const char* nameFile = "/opt/mev/vok/data/fc_name.txt";
constexpr const char* hardwareFailure =
    "ERROR VOK_UTILS: Error occurred in gathering FC topology information.";
constexpr const char* nameFailure =
    "ERROR VOK_UTILS: Error occurred in gathering localcli storage SAN information";
constexpr const char* noHardware = "DEBUG VOK_UTILS: Unable to find FC topology information.";
constexpr const char* noNames = "DEBUG VOK_UTILS: Unable to find localcli storage SAN information.";
const Pair notAvailable{"NotAvailable", "NotAvailable"};

// Each of the two commands appends its text to its file, as the shell would, and ends with `status`.
FakeHost hostWhoseCommandsPrint(const std::string& hardware, const std::string& names, int status = 0) {
    FakeHost host;
    logEverything(host);
    host.root.writeFile("/opt/mev/vok/data/keep", "");
    host.part<FakeCommands>().onCommand = [&root = host.root, hardware, names, status](
                                              const std::string& command, int& exitStatus) {
        exitStatus = status;
        const bool isHardware = command == hardwareCommand;
        const std::string file = isHardware ? hardwareFile : nameFile;
        root.writeFile(file, root.readFile(file) + (isHardware ? hardware : names));
        return std::string();
    };
    return host;
}

constexpr const char* twoAdapters =
    "   Address: 0000:1a:00.0\n   VMkernel Name: vmhba3\n   Address: 0000:1a:00.1\n   VMkernel Name: "
    "vmhba4\n";

}  // namespace

// --- addresses ---

TEST(FcInfoMap, IsReadFromTheHardwareListWhoseFileIsThenRemoved) {
    const auto host = hostWhoseCommandsPrint(twoAdapters, "");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(host.part<FakeCommands>().texts(), std::vector<std::string>{hardwareCommand});
    EXPECT_FALSE(host.root.exists(hardwareFile));
    EXPECT_EQ(vokUtils::getFcGeoIDPciStr("vmhba3"), (Pair{"0000:1a:00.0", "vmhba3"}));
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba4"), "0000:1a:00.1");
    EXPECT_TRUE(vokUtils::OsNameInHardwarePciList("vmhba4"));
    EXPECT_FALSE(hasLogged(host, hardwareFailure));
    EXPECT_FALSE(hasLogged(host, noHardware));
}

TEST(FcInfoMap, HoldsEveryFunctionWithAVmkernelNameNotOnlyFibreChannel) {
    hostWhoseCommandsPrint("   Address: 0000:3b:00.0\n   VMkernel Name: vmnic0\n", "");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmnic0"), "0000:3b:00.0");
}

TEST(FcInfoMap, FunctionsWithoutAVmkernelNameContributeNothing) {
    hostWhoseCommandsPrint(
        "   Address: 0000:00:00.0\n   VMkernel Name: \n   Address: 0000:00:01.0\n"
        "   VMkernel Name:\n   Address: 0000:1a:00.0\n   VMkernel Name: vmhba3\n",
        "");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3"), "0000:1a:00.0");
    EXPECT_FALSE(vokUtils::OsNameInHardwarePciList(""));
}

TEST(FcInfoMap, OfAHostThatLeavesAllNamesEmptyIsEmptyAndSoIsTheNameMap) {
    const auto host = hostWhoseCommandsPrint(
        "   Address: 0000:1a:00.0\n   VMkernel Name:\n   Address: 0000:1a:00.1\n"
        "   VMkernel Name:\n",
        "   Adapter: vmhba3\n   Node Name: 20:00:f4:e9:d4:00:dd:b6\n");
    vokUtils::initFcInfoMap();
    vokUtils::initFcNameMap();
    EXPECT_FALSE(vokUtils::OsNameInHardwarePciList("vmhba3"));
    EXPECT_EQ(vokUtils::getFcGeoIDPciStr("vmhba3"), notAvailable);
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:f4:e9:d4:00:dd:b6"), "NotAvailable");
    EXPECT_FALSE(hasLogged(host, hardwareFailure));
    EXPECT_FALSE(hasLogged(host, noHardware));
}

TEST(FcInfoMap, ANameReachesFromTheFirstVAfterABlankToTheEndOfTheLine) {
    hostWhoseCommandsPrint(
        "   Address: 0000:1a:00.0\n   VMkernel Name: usb0\n   VMkernel Name: dvs0\n"
        "   VMkernel Name: x vmhba3 vy\n",
        "");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3 vy"), "0000:1a:00.0");
    for (const char* other : {"usb0", "vs0", "vy"})
        EXPECT_FALSE(vokUtils::OsNameInHardwarePciList(other)) << other;
}

TEST(FcInfoMap, ALineWithoutANameKeepsThePendingAddress) {
    hostWhoseCommandsPrint(
        "   Address: 0000:1a:00.0\n   VMkernel Name: vmhba3\n   VMkernel Name: vmhba4\n   VMkernel Name: \n"
        "   Address: 0000:1a:00.1\n",
        "");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba4"), "0000:1a:00.1");
}

TEST(FcInfoMap, AnAddressStartsTwoCharactersAfterTheFirstColon) {
    hostWhoseCommandsPrint(
        "Bus:xAddress: 0000:1a:00.0\nVMkernel Name: vmhba3\nAddress: \nVMkernel Name: vmhba4\n", "");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3"), "Address: 0000:1a:00.0");
    EXPECT_FALSE(vokUtils::OsNameInHardwarePciList("vmhba4")) << "an empty address makes no pair";
}

TEST(FcInfoMap, APairIsClearedAfterItIsStored) {
    hostWhoseCommandsPrint(
        "   Address: 0000:1a:00.0\n   VMkernel Name: vmhba3\n   VMkernel Name: vmhba4\n"
        "   Address: 0000:1a:00.1\n   Address: 0000:1a:00.2\n   VMkernel Name: vmhba5\n",
        "");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3"), "0000:1a:00.0");
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba4"), "0000:1a:00.1") << "its own address, which followed it";
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba5"), "0000:1a:00.2");
}

TEST(FcInfoMap, TheLaterPairForANameReplacesTheEarlier) {
    hostWhoseCommandsPrint(
        "   Address: 0000:1a:00.0\n   VMkernel Name: vmhba3\n   Address: 0000:5e:00.0\n"
        "   VMkernel Name: vmhba3\n",
        "");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3"), "0000:5e:00.0");
}

TEST(FcInfoMap, AFileLeftByACrashIsAppendedToAndReadAgain) {
    const auto host = hostWhoseCommandsPrint(twoAdapters, "");
    host.root.writeFile(hardwareFile,
                        "   Address: 0000:99:00.0\n   VMkernel Name: vmhba3\n   Address: 0000:98:00.0\n"
                        "   VMkernel Name: vmhba9\n");
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3"), "0000:1a:00.0");
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba9"), "0000:98:00.0");
    EXPECT_FALSE(host.root.exists(hardwareFile));
}

TEST(FcInfoMap, AFileWhoseFirstLineHoldsNoAddressIsIgnored) {
    for (const char* text : {"   VMkernel Name: vmhba3\n   Address: 0000:1a:00.0\n   VMkernel Name: vmhba4\n",
                             "   Address:\n   Address: 0000:1a:00.0\n   VMkernel Name: vmhba4\n", "\n", ""}) {
        const auto host = hostWhoseCommandsPrint(text, "");
        vokUtils::initFcInfoMap();
        EXPECT_EQ(countLogged(host, noHardware), 1) << text;
        EXPECT_FALSE(hasLogged(host, hardwareFailure)) << text;
        EXPECT_FALSE(vokUtils::OsNameInHardwarePciList("vmhba3")) << text;
        EXPECT_FALSE(vokUtils::OsNameInHardwarePciList("vmhba4")) << text;
        EXPECT_FALSE(host.root.exists(hardwareFile)) << text;
    }
}

TEST(FcInfoMap, AFailingCommandIsAnErrorAndItsFileIsRemoved) {
    const auto host = hostWhoseCommandsPrint(twoAdapters, "", 1 << 8);
    vokUtils::initFcInfoMap();
    EXPECT_EQ(countLogged(host, hardwareFailure), 1);
    EXPECT_EQ(countLogged(host, std::string("WARNING VOK_UTILS: Command failed (exit status 1) : ") +
                                    hardwareCommand),
              1);
    EXPECT_FALSE(host.root.exists(hardwareFile));
    EXPECT_FALSE(vokUtils::OsNameInHardwarePciList("vmhba3"));
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: -----Printing FcGEoID PCIe location map-----"));
}

TEST(FcInfoMap, ACommandThatCanNotBeStartedIsTheSameError) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().failToStart = true;
    vokUtils::initFcInfoMap();
    EXPECT_EQ(countLogged(host, hardwareFailure), 1);
}

TEST(FcInfoMap, AMissingFileIsTheSameError) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().output[hardwareCommand] = "";
    vokUtils::initFcInfoMap();
    EXPECT_EQ(countLogged(host, hardwareFailure), 1);
}

TEST(FcInfoMap, IsWrittenToTheDebugLog) {
    const auto host = hostWhoseCommandsPrint(twoAdapters, "");
    vokUtils::initFcInfoMap();
    const std::vector<std::string> lines = loggedLines(host);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines.end()[-3], "DEBUG VOK_UTILS: -----Printing FcGEoID PCIe location map-----");
    EXPECT_EQ(lines.end()[-2], "DEBUG VOK_UTILS: vmhba3 : 0000:1a:00.0, vmhba3");
    EXPECT_EQ(lines.end()[-1], "DEBUG VOK_UTILS: vmhba4 : 0000:1a:00.1, vmhba4");
}

TEST(FcInfoMap, IsEmptyBeforeItIsRead) {
    const FakeHost host;
    EXPECT_FALSE(vokUtils::OsNameInHardwarePciList("vmhba3"));
    EXPECT_EQ(vokUtils::getFcGeoIDPciStr("vmhba3"), notAvailable);
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3"), "NotAvailable");
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:f4:e9:d4:00:dd:b6"), "NotAvailable");
}

TEST(FcInfoMap, IsReadFromTheOutputOfARealShell) {
    // The fake's root replaces "/": the shell appends the lines that the command's grep selects.
    const FakeHost host;
    logEverything(host);
    host.root.writeFile(
        "/list",
        "0000:1a:00.0\n   Address: 0000:1a:00.0\n   Segment: 0x0000\n   VMkernel Name: vmhba3\n"
        "   Parent Device: PCI 0:0:1:1\n");
    host.root.writeFile("/opt/mev/vok/data/keep", "");
    host.part<FakeCommands>().onCommand = [&host](const std::string& command, int& exitStatus) {
        std::string here = "cd '" + host.root.path() + "'; localcli() { cat list; }; " + command;
        here.replace(here.find(" /opt"), 5, " ./opt");
        exitStatus = std::system(here.c_str());
        return std::string();
    };
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3"), "0000:1a:00.0");
}

// --- node names ---

TEST(FcNameMap, LinksTheNodeNameWithItsColonsToTheAdapter) {
    const auto host = hostWhoseCommandsPrint(twoAdapters,
                                             "   Adapter: vmhba3\n   Node Name: 20:00:f4:e9:d4:00:dd:b6\n"
                                             "   Adapter: vmhba4\n   Node Name: 20:00:f4:e9:d4:00:dd:b7\n");
    vokUtils::initFcInfoMap();
    vokUtils::initFcNameMap();
    EXPECT_EQ(host.part<FakeCommands>().texts(), (std::vector<std::string>{hardwareCommand, nameCommand}));
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:f4:e9:d4:00:dd:b6"), "vmhba3");
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:f4:e9:d4:00:dd:b7"), "vmhba4");
    EXPECT_EQ(vokUtils::getFcOsDevicename("21:00:f4:e9:d4:00:dd:b7"), "NotAvailable");
    EXPECT_FALSE(host.root.exists(nameFile));
    const std::vector<std::string> lines = loggedLines(host);
    EXPECT_EQ(lines.end()[-3], "DEBUG VOK_UTILS: -----Printing FcNameMap-----");
    EXPECT_EQ(lines.end()[-2], "DEBUG VOK_UTILS: 20:00:f4:e9:d4:00:dd:b6 : vmhba3");
    EXPECT_EQ(lines.end()[-1], "DEBUG VOK_UTILS: 20:00:f4:e9:d4:00:dd:b7 : vmhba4");
}

TEST(FcNameMap, LeavesOutAnAdapterMissingFromTheHardwareListAndKeepsTheFollowingOnes) {
    hostWhoseCommandsPrint(twoAdapters,
                           "   Adapter: vmhba64\n   Node Name: 20:00:00:00:00:00:00:01\n"
                           "   Adapter: vmhba4\n   Node Name: 20:00:00:00:00:00:00:02\n");
    vokUtils::initFcInfoMap();
    vokUtils::initFcNameMap();
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:00:00:00:00:01"), "NotAvailable");
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:00:00:00:00:02"), "vmhba4");
}

TEST(FcNameMap, HoldsTheLaterOfTwoAdaptersOfOneNode) {
    hostWhoseCommandsPrint(twoAdapters,
                           "   Adapter: vmhba3\n   Node Name: 20:00:f4:e9:d4:00:dd:b6\n"
                           "   Adapter: vmhba4\n   Node Name: 20:00:f4:e9:d4:00:dd:b6\n");
    vokUtils::initFcInfoMap();
    vokUtils::initFcNameMap();
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:f4:e9:d4:00:dd:b6"), "vmhba4");
}

TEST(FcNameMap, AFileLeftByACrashIsAppendedToAndReadAgain) {
    const auto host =
        hostWhoseCommandsPrint(twoAdapters, "   Adapter: vmhba4\n   Node Name: 20:00:00:00:00:00:00:02\n");
    host.root.writeFile(nameFile, "   Adapter: vmhba3\n   Node Name: 20:00:00:00:00:00:00:01\n");
    vokUtils::initFcInfoMap();
    vokUtils::initFcNameMap();
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:00:00:00:00:01"), "vmhba3");
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:00:00:00:00:02"), "vmhba4");
    EXPECT_FALSE(host.root.exists(nameFile));
}

TEST(FcNameMap, IsEmptyIfItIsReadBeforeTheInfoMap) {
    hostWhoseCommandsPrint(twoAdapters, "   Adapter: vmhba3\n   Node Name: 20:00:f4:e9:d4:00:dd:b6\n");
    vokUtils::initFcNameMap();
    vokUtils::initFcInfoMap();
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:f4:e9:d4:00:dd:b6"), "NotAvailable");
}

TEST(FcNameMap, AnAdapterWithoutANodeNameContributesNothing) {
    hostWhoseCommandsPrint(
        twoAdapters,
        "   Adapter: vmhba3\n   Node Name:\n   Adapter: vmhba4\n   Node Name: 20:00:00:00:00:00:00:02\n");
    vokUtils::initFcInfoMap();
    vokUtils::initFcNameMap();
    EXPECT_EQ(vokUtils::getFcOsDevicename(""), "NotAvailable");
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:00:00:00:00:02"), "vmhba4");
}

TEST(FcNameMap, AFileWhoseFirstLineHoldsNoAdapterIsIgnored) {
    const auto host =
        hostWhoseCommandsPrint(twoAdapters, "   Node Name: 20:00:00:00:00:00:00:01\n   Adapter: vmhba3\n");
    vokUtils::initFcInfoMap();
    vokUtils::initFcNameMap();
    EXPECT_TRUE(hasLogged(host, noNames));
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:00:00:00:00:01"), "NotAvailable");
    EXPECT_FALSE(host.root.exists(nameFile));
}

TEST(FcNameMap, AFailingCommandIsAnErrorAndItsFileIsRemoved) {
    const auto host = hostWhoseCommandsPrint("", "   Adapter: vmhba3\n", 1 << 8);
    vokUtils::initFcNameMap();
    EXPECT_EQ(countLogged(host, nameFailure), 1);
    EXPECT_FALSE(host.root.exists(nameFile));
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: -----Printing FcNameMap-----"));
}

}  // namespace vokUtilsFibreChannelTest
