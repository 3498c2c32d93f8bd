#include "platform/utils/vokVmwareOSInterface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/access/vokRootedHostAccess.h"
#include "platform/utils/vokSystemInterfaceFactory.h"
#include "platform/utils/vokUtils.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeSystemLog.h"
#include "support/LoggedLines.h"
#include "support/TemporaryDirectory.h"

namespace vokVmwareOSInterfaceTest {
namespace {

using Ids = std::pair<std::string, std::string>;

vokOSInterface& systemInterface() {
    return *vokSystemInterfaceFactory::getSystemInterface();
}

// Two functions and a bridge, in the format of the real list: each block starts with the address alone,
// without a colon, and its keys are indented by three blanks.
constexpr char pciList[] =
    "0000:00:1c.0\n"
    "   Address: 0000:00:1c.0\n"
    "   VMkernel Name: PCIe RP[0000:00:1c.0]\n"
    "   Vendor Name: Maker of bridges\n"
    "   Vendor ID: 0x1111\n"
    "   Device ID: 0x2222\n"
    "   SubVendor ID: 0x3333\n"
    "   SubDevice ID: 0x4444\n"
    "   Device Class: 0x0604\n"
    "\n"
    "0000:5e:00.0\n"
    "   Address: 0000:5e:00.0\n"
    "   VMkernel Name: vmnic4\n"
    "   Vendor Name: Maker of adapters\n"
    "   Vendor ID: 0x8086\n"
    "   Device ID: 0x158b\n"
    "   SubVendor ID: 0x1590\n"
    "   SubDevice ID: 0x0245\n"
    "   Device Class: 0x0200\n"
    "   Parent Device: PCI 0:0:28:0\n"
    "\n"
    "0000:5e:00.1\n"
    "   Address: 0000:5e:00.1\n"
    "   VMkernel Name: \n"
    "   Vendor ID: 0x8086\n"
    "   Device ID: 0x158b\n"
    "   SubVendor ID: 0x1590\n"
    "   SubDevice ID: 0x0000\n";

// A host under a directory whose name the shell would split, with a localcli that prints the list.
class ListedHost {
public:
    explicit ListedHost(const std::string& list) {
        directory_.writeFile(root + "/list", list);
        directory_.writeFile(root + "/opt/mev/vok/data/keep", "");
        directory_.writeFile(root + "/bin/localcli",
                             "#!/bin/sh\n[ \"$*\" = \"hardware pci list\" ] && cat \"${0%/bin/*}/list\"\n");
        ::chmod((directory_.path() + "/" + root + "/bin/localcli").c_str(), 0755);
        vokSetHostAccess(std::make_unique<vokRootedHostAccess>(directory_.path() + "/" + root));
    }
    std::string storedList() const { return directory_.readFile(root + "/opt/mev/vok/data/vok_hwlist.txt"); }
    bool hasStoredList() const { return directory_.exists(root + "/opt/mev/vok/data/vok_hwlist.txt"); }

private:
    const std::string root = "a root's \"name\" $x";
    TemporaryDirectory directory_;
};

// The kernel's own host, but commands are recorded and not run, and files lie in a temporary directory.
class CommandRecorder : public vokKernelHostAccess {
public:
    explicit CommandRecorder(std::vector<std::string>& commands) : commands_(commands) {}
    std::string path(const std::string& absolute) const override { return files_.path() + absolute; }
    FILE* openCommand(const std::string& command) override {
        commands_.push_back(command);
        return std::tmpfile();
    }
    int closeCommand(FILE* stream) override { return std::fclose(stream); }
    int runCommand(const std::string& command) override {
        commands_.push_back(command);
        return 0;
    }
    void systemLog(int, const std::string&) override {}

private:
    std::vector<std::string>& commands_;
    TemporaryDirectory files_;
};

}  // namespace

TEST(KernelHost, EveryCommandIsTheDocumentedOneByteForByte) {
    std::vector<std::string> commands;
    vokSetHostAccess(std::make_unique<CommandRecorder>(commands));
    systemInterface().populateHardwarePCIDetails();
    vokUtils::get_vendor_device("0000:05:00.0");
    vokUtils::get_subvendor_subdevice("0000:05:00.0");
    vokUtils::readHostOSName();
    vokUtils::readHostOSVersion();
    std::string text;
    vokUtils::getPCIString("vmhba2", text);
    long boot = 0;
    long previous = 0;
    vokUtils::fetchSystemBootTime(boot, previous);
    vokUtils::fetchSystemShutdownTime(boot);
    EXPECT_THAT(
        commands,
        testing::ElementsAre(
            R"(localcli hardware pci list > /opt/mev/vok/data/vok_hwlist.txt)",
            R"(cat /opt/mev/vok/data/vok_hwlist.txt | awk '/0000:05:00.0/,/^$/' | grep -w 'Vendor ID:\|Device ID:')",
            R"(cat /opt/mev/vok/data/vok_hwlist.txt | awk '/0000:05:00.0/,/^$/' | grep -w 'SubVendor ID:\|SubDevice ID:')",
            R"(localcli system version get | grep -i Product)",
            R"(localcli system version get | grep -i Version:)",
            R"(localcli storage core adapter list | grep -i 'vmhba2')",
            R"(grep "Host has booted" /var/log/vmksummary.log | tail -2 | awk '{print $1}' >> /tmp/vokboot.log)",
            R"(grep "Host is rebooting" /var/log/vmksummary.log | tail -1 | awk '{print $1}' >> /tmp/vokboot.log)"));
}

TEST(SystemInterface, IsTheOneInstance) {
    EXPECT_EQ(vokSystemInterfaceFactory::getSystemInterface(), vokVmwareOSInterface::getInstance());
    EXPECT_EQ(vokVmwareOSInterface::getInstance(), vokVmwareOSInterface::getInstance());
}

namespace {

// An initialiser of another file, which may run before the factory's own.
const vokOSInterface* const earlyInterface = vokSystemInterfaceFactory::getSystemInterface();

}  // namespace

TEST(SystemInterface, IsAvailableToStaticInitialisers) {
    ASSERT_NE(earlyInterface, nullptr);
    EXPECT_EQ(earlyInterface, vokSystemInterfaceFactory::getSystemInterface());
}

TEST(PopulateHardwarePCIDetails, RunsTheCommandAndReadsNoOutput) {
    const FakeHost host;
    EXPECT_EQ(systemInterface().populateHardwarePCIDetails(), 0);
    EXPECT_EQ(host.part<FakeCommands>().texts(),
              std::vector<std::string>{"localcli hardware pci list > /opt/mev/vok/data/vok_hwlist.txt"});
}

TEST(PopulateHardwarePCIDetails, FailsOnlyIfTheCommandCanNotBeStarted) {
    const FakeHost host;
    logEverything(host);
    auto& commands = host.part<FakeCommands>();
    commands.onCommand = [](const std::string&, int& status) {
        status = 1 << 8;
        return std::string();
    };
    EXPECT_EQ(systemInterface().populateHardwarePCIDetails(), 0);
    const std::string command = " : localcli hardware pci list > /opt/mev/vok/data/vok_hwlist.txt";
    EXPECT_TRUE(hasLogged(host, "WARNING VOK_UTILS: Command failed (exit status 1)" + command));
    commands.failToStart = true;
    EXPECT_EQ(systemInterface().populateHardwarePCIDetails(), -1);
    EXPECT_TRUE(hasLogged(host,
                          "WARNING VOK_UTILS: Command failed (could not be run: Resource temporarily "
                          "unavailable)" +
                              command));
}

TEST(PopulateHardwarePCIDetails, MakesTheDirectoryOfTheListIfItIsMissing) {
    const FakeHost host;
    systemInterface().populateHardwarePCIDetails();
    EXPECT_TRUE(host.root.exists("/opt/mev/vok/data"));
}

TEST(PopulateHardwarePCIDetails, HasWrittenTheListWhenItReturns) {
    const ListedHost host(pciList);
    EXPECT_EQ(systemInterface().populateHardwarePCIDetails(), 0);
    EXPECT_EQ(host.storedList(), pciList);
}

TEST(UnInitialize, RemovesTheStoredList) {
    const ListedHost host(pciList);
    systemInterface().populateHardwarePCIDetails();
    ASSERT_TRUE(host.hasStoredList());
    systemInterface().UnInitialize();
    EXPECT_FALSE(host.hasStoredList());
}

TEST(UnInitialize, IsNotAnErrorWithoutAList) {
    const FakeHost host;
    systemInterface().UnInitialize();
    EXPECT_TRUE(host.part<FakeCommands>().texts().empty());
    EXPECT_TRUE(host.part<FakeSystemLog>().lines().empty());
}

TEST(Initialize, DoesNothing) {
    const FakeHost host;
    systemInterface().Initialize();
    EXPECT_TRUE(host.part<FakeCommands>().texts().empty());
}

TEST(NvmeOperations, DoNothingAndLeaveTheTextsUnchanged) {
    const FakeHost host;
    std::vector<std::string> instances{"before"};
    systemInterface().populateNvmeInstances(instances);
    systemInterface().populateNvmeMaps();
    EXPECT_EQ(instances, std::vector<std::string>{"before"});
    std::string text = "before";
    EXPECT_EQ(systemInterface().getNvmePCIAddress("nvme0", text), 0);
    EXPECT_EQ(text, "before");
    EXPECT_EQ(systemInterface().getNvmeSubSystemVendorID("nvme0", text), 0);
    EXPECT_EQ(text, "before");
    EXPECT_TRUE(host.part<FakeCommands>().texts().empty());
}

TEST(PciIdInfo, IsAnEmptyMap) {
    const FakeHost host;
    EXPECT_EQ(systemInterface().getPciIdInfo("0000:05:00.0"), (std::map<std::string, std::string>{}));
}

// The look-ups through the real shell, awk and grep.

TEST(StoredList, EachFunctionIsFoundByItsAddress) {
    const ListedHost host(pciList);
    systemInterface().populateHardwarePCIDetails();
    EXPECT_EQ(vokUtils::get_vendor_device("0000:5e:00.0"), Ids("0x8086", "0x158b"));
    EXPECT_EQ(vokUtils::get_subvendor_subdevice("0000:5e:00.0"), Ids("0x1590", "0x0245"));
    EXPECT_EQ(vokUtils::get_subvendor_subdevice("0000:5e:00.1"), Ids("0x1590", "0x0000"));
}

TEST(StoredList, TheSubsystemsIdsAreNeverMistakenForTheFunctions) {
    const ListedHost host(
        "0000:5e:00.0\n   Address: 0000:5e:00.0\n   SubVendor ID: 0x1590\n"
        "   SubDevice ID: 0x0245\n   Vendor ID: 0x8086\n   Device ID: 0x158b\n");
    systemInterface().populateHardwarePCIDetails();
    EXPECT_EQ(vokUtils::get_vendor_device("0000:5e:00.0"), Ids("0x8086", "0x158b"));
    EXPECT_EQ(vokUtils::get_subvendor_subdevice("0000:5e:00.0"), Ids("0x1590", "0x0245"));
}

TEST(StoredList, AHeadLineMayEndInAColonAndTheLastBlockMayLackItsEmptyLine) {
    const ListedHost host(
        "0000:5e:00.0:\n   Address: 0000:5e:00.0\n   Vendor ID: 0x8086\n   Device ID: 0x158b");
    systemInterface().populateHardwarePCIDetails();
    EXPECT_EQ(vokUtils::get_vendor_device("0000:5e:00.0"), Ids("0x8086", "0x158b"));
}

TEST(StoredList, AnAddressMissingFromItYieldsEmptyTexts) {
    const ListedHost host(pciList);
    systemInterface().populateHardwarePCIDetails();
    EXPECT_EQ(vokUtils::get_vendor_device("0000:99:00.0"), Ids("", ""));
}

TEST(StoredList, WithoutItEveryIdIsEmpty) {
    const ListedHost host(pciList);
    EXPECT_EQ(vokUtils::get_vendor_device("0000:5e:00.0"), Ids("", ""));
}

TEST(StoredList, ABlockThatMentionsTheAddressInAnotherKeyIsReadFromThatLineOn) {
    const ListedHost host(
        "0000:00:1c.0\n   Address: 0000:00:1c.0\n   Slot Description: above 0000:5e:00.0\n"
        "   Vendor ID: 0x1111\n   Device ID: 0x2222\n\n"
        "0000:5e:00.0\n   Address: 0000:5e:00.0\n   Vendor ID: 0x8086\n   Device ID: 0x158b\n");
    systemInterface().populateHardwarePCIDetails();
    EXPECT_EQ(vokUtils::get_vendor_device("0000:5e:00.0"), Ids("0x1111", "0x2222"));
}

}  // namespace vokVmwareOSInterfaceTest
