#include "platform/pci/utils_pci.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>

#include "support/FakeHost.h"

namespace utils_pciTest {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

constexpr char devices[] = "/sys/bus/pci/devices/";

int passes(const std::string& name) {
    dirent entry{};
    name.copy(entry.d_name, sizeof(entry.d_name) - 1);
    return pci_dev_filter(&entry);
}

// A configuration space with PCI Express at 0x40, four lanes in use.
std::string configSpace() {
    std::string space(256, '\0');
    space[6] = 0x10;
    space[8] = 0x05;
    space[52] = 0x40;
    space[0x40] = 0x10;
    space[0x52] = 0x43;
    return space;
}

void addFunction(const FakeHost& host, const std::string& address) {
    const std::string path = devices + address;
    host.root.writeFile(path + "/vendor", "0x8086\n");
    host.root.writeFile(path + "/device", "0x1528\n");
    host.root.writeFile(path + "/subsystem_vendor", "0x108e\n");
    host.root.writeFile(path + "/subsystem_device", "0x7b14\n");
    host.root.writeFile(path + "/irq", "42\n");
    host.root.writeFile(path + "/class", "0x020000\n");
    host.root.writeFile(path + "/config", configSpace());
}

std::list<pci_node> scan(const pci_ids* ids = nullptr) {
    std::list<pci_node> list;
    pci_node_scan(list, pciDevicesDirectory, ids);
    return list;
}

std::vector<std::string> addresses(const std::list<pci_node>& list) {
    std::vector<std::string> texts;
    for (const pci_node& node : list) texts.emplace_back(node.address);
    return texts;
}

}  // namespace

TEST(PciDevFilter, KeepsNamesWithTheirSeparatorsAtFourSevenAndTen) {
    EXPECT_EQ(passes("0000:3b:00.0"), 1);
    EXPECT_EQ(passes("ffff:ff:1f.7"), 1);
    EXPECT_EQ(passes("abcd:ef:gh.i"), 1);  // other characters are not checked
    EXPECT_EQ(passes("0000:3b:00."), 1);   // nor is the rest
    for (const char* name : {"", ".", "..", "0000", "0000:3b", "0000:3b:00", "10000:3b:00.0", "000:3b:00.0",
                             "0000-3b:00.0", "0000:3b-00.0", "0000:3b:00-0"})
        EXPECT_EQ(passes(name), 0) << name;
}

TEST(PciDevFilter, LeavesOutTheServicesOfAPort) {
    EXPECT_EQ(passes("0000:00:1c.0:pcie001"), 0);
    EXPECT_EQ(passes("0000:00:1c.0:pci"), 1);
}

TEST(PciNodeCreate, ParsesTheAddress) {
    const auto node = pci_node_create("/d", "12ab:3C:1f.7");
    ASSERT_TRUE(node);
    EXPECT_STREQ(node->address, "12ab:3C:1f.7");
    EXPECT_EQ(node->domain, 0x12ab);
    EXPECT_EQ(node->bus, 0x3c);
    EXPECT_EQ(node->slot, 0x1f);
    EXPECT_EQ(node->function, 7);
    EXPECT_EQ(node->path, "/d/12ab:3C:1f.7");
}

TEST(PciNodeCreate, AFunctionIsTheOneHexDigitAfterTheDot) {
    EXPECT_EQ(pci_node_create("/d", "0000:3b:00.a")->function, 10);
    EXPECT_EQ(pci_node_create("/d", "0000:3b:00.12")->function, 1);
}

TEST(PciNodeCreate, CutsTheAddressAt15Characters) {
    const auto node = pci_node_create("/d", "0000:3b:00.0abcdefgh");
    ASSERT_TRUE(node);
    EXPECT_STREQ(node->address, "0000:3b:00.0abc");
    EXPECT_EQ(node->path, "/d/0000:3b:00.0abcdefgh");
}

TEST(PciNodeCreate, ANameThatIsNotAnAddressCreatesNoNode) {
    for (const char* name :
         {"", "0000", "zzzz:3b:00.0", "0000:zz:00.0", "0000:3b:zz.0", "0000:3b:00.z", "0000:3b:00."})
        EXPECT_FALSE(pci_node_create("/d", name)) << name;
}

TEST(PciNodeScan, ReturnsTheFunctionsInTheOrderOfTheirNames) {
    const FakeHost host;
    for (const char* name : {"0001:00:00.0", "0000:3b:00.1", "0000:3b:00.0", "0000:00:1c.0:pcie001",
                             "10000:00:00.0", "0000:3b:00.z", "zzzz:00:00.0", "other"})
        host.root.writeFile(devices + std::string(name) + "/irq", "1\n");
    std::list<pci_node> list;
    EXPECT_EQ(pci_node_scan(list), 3);
    EXPECT_THAT(addresses(list), ElementsAre("0000:3b:00.0", "0000:3b:00.1", "0001:00:00.0"));
}

TEST(PciNodeScan, AppendsToTheListFromAnyDirectory) {
    const FakeHost host;
    host.root.writeFile("/elsewhere/0000:01:00.0/vendor", "0x1000\n");
    std::list<pci_node> list;
    EXPECT_EQ(pci_node_scan(list, "/elsewhere"), 1);
    EXPECT_EQ(pci_node_scan(list, "/elsewhere"), 1);
    EXPECT_EQ(list.size(), 2u);
    EXPECT_EQ(list.back().vendor, 0x1000);
}

TEST(PciNodeScan, ReturnsMinus1IfTheDirectoryCantBeRead) {
    const FakeHost host;
    std::list<pci_node> list;
    EXPECT_EQ(pci_node_scan(list), -1);
    EXPECT_TRUE(list.empty());
}

TEST(PciNodeScan, ReadsTheAttributesOfEachFunction) {
    const FakeHost host;
    addFunction(host, "0000:3b:00.0");
    const auto list = scan();
    ASSERT_EQ(list.size(), 1u);
    const pci_node& node = list.front();
    EXPECT_EQ(node.vendor, 0x8086);
    EXPECT_EQ(node.device, 0x1528);
    EXPECT_EQ(node.subsystem_vendor, 0x108e);
    EXPECT_EQ(node.subsystem_device, 0x7b14);
    EXPECT_EQ(node.irq, 42u);
    EXPECT_EQ(node.class_code, 0x020000u);
    EXPECT_EQ(node.revision, 5);
    EXPECT_EQ(node.capabilities, 0x10000u);
    EXPECT_EQ(node.link_width, 4);
    EXPECT_EQ(node.vendor_entry, nullptr);
}

TEST(PciNodeScan, AMissingAttributeAffectsOnlyItsOwnField) {
    const FakeHost host;
    addFunction(host, "0000:3b:00.0");
    for (const char* attribute : {"device", "subsystem_vendor", "config"})
        std::filesystem::remove(host.root.path() + devices + "0000:3b:00.0/" + attribute);
    const auto list = scan();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list.front().vendor, 0x8086);
    EXPECT_EQ(list.front().device, 0xffff);
    EXPECT_EQ(list.front().subsystem_vendor, 0xffff);
    EXPECT_EQ(list.front().subsystem_device, 0x7b14);
    EXPECT_EQ(list.front().irq, 42u);
    EXPECT_EQ(list.front().revision, 0);
    EXPECT_EQ(list.front().capabilities, 0u);
}

TEST(PciNodeScan, AFunctionWithoutAnyAttributeIsInTheListWithAllBitsSet) {
    const FakeHost host;
    ASSERT_TRUE(std::filesystem::create_directories(host.root.path() + devices + "0000:3b:00.0"));
    const auto list = scan();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list.front().vendor, 0xffff);
    EXPECT_EQ(list.front().subsystem_device, 0xffff);
    EXPECT_EQ(list.front().irq, 0xffffffffu);
    EXPECT_EQ(list.front().class_code, 0xffffffffu);
}

TEST(PciNodeScan, PipesInsteadOfAttributesDoNotBlock) {
    const FakeHost host;
    const std::string functionPath = host.root.path() + devices + "0000:3b:00.0";
    ASSERT_TRUE(std::filesystem::create_directories(functionPath));
    for (const char* attribute : {"vendor", "config", "vpd"})
        ASSERT_EQ(::mkfifo((functionPath + "/" + attribute).c_str(), 0600), 0);
    auto list = scan();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list.front().vendor, 0xffff);
    EXPECT_EQ(PciGetVPDProductName(list.front()), "");
}

TEST(PciNodeScan, FunctionsAreReachedThroughTheLinksOfTheBus) {
    const FakeHost host;
    host.root.writeFile("/sys/devices/pci0000:3a/0000:3b:00.0/vendor", "0x1077\n");
    ASSERT_TRUE(std::filesystem::create_directories(host.root.path() + devices));
    ASSERT_EQ(::symlink("../../../devices/pci0000:3a/0000:3b:00.0",
                        (host.root.path() + devices + "0000:3b:00.0").c_str()),
              0);
    ASSERT_EQ(::symlink("0000:3c:00.0", (host.root.path() + devices + "0000:3c:00.0").c_str()), 0);
    const auto list = scan();
    EXPECT_THAT(addresses(list), ElementsAre("0000:3b:00.0", "0000:3c:00.0"));
    EXPECT_EQ(list.front().vendor, 0x1077);
    EXPECT_EQ(list.back().vendor, 0xffff);  // a link to itself
}

TEST(PciNodeScan, PointsToTheNamesInThePassedLists) {
    const FakeHost host;
    addFunction(host, "0000:3b:00.0");
    pci_ids ids;
    scan_hw_ids_text(
        "8086  Intel Corporation\n\t1528  X540-AT2\n\t\t108e 7b14  Sun Dual Port\n"
        "C 02  Network controller\n\t00  Ethernet controller\n",
        ids);
    const auto list = scan(&ids);
    ASSERT_EQ(list.size(), 1u);
    ASSERT_TRUE(list.front().vendor_entry && list.front().device_entry && list.front().subsystem_entry &&
                list.front().class_entry);
    EXPECT_EQ(list.front().vendor_entry->name, "Intel Corporation");
    EXPECT_EQ(list.front().device_entry->name, "X540-AT2");
    EXPECT_EQ(list.front().subsystem_entry->name, "Sun Dual Port");
    EXPECT_EQ(list.front().class_entry->name, "Ethernet controller");
}

TEST(PciNodeScan, NamesMissingFromTheListsStayNull) {
    const FakeHost host;
    addFunction(host, "0000:3b:00.0");
    pci_ids ids;
    scan_hw_ids_text("8086  Intel Corporation\n\t1529  Another\n", ids);
    const auto list = scan(&ids);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_NE(list.front().vendor_entry, nullptr);
    EXPECT_EQ(list.front().device_entry, nullptr);
    EXPECT_EQ(list.front().subsystem_entry, nullptr);
    EXPECT_EQ(list.front().class_entry, nullptr);
}

TEST(IsMEV, IsTrueForThreeSubsystemVendors) {
    EXPECT_TRUE(is_MEV(0x7711));
    EXPECT_TRUE(is_MEV(0x7712));
    EXPECT_TRUE(is_MEV(0x7713));
    for (const unsigned other : {0x7710u, 0x7714u, 0x1177u, 0x1077u, 0u, 0xffffu})
        EXPECT_FALSE(is_MEV(static_cast<std::uint16_t>(other))) << other;
}

TEST(PciGetnode, FindsByNumbersAndByText) {
    const FakeHost host;
    for (const char* address : {"0000:3b:00.0", "0000:3b:00.1", "0001:3b:1f.1"}) addFunction(host, address);
    auto list = scan();
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(PciGetnode(list, 0, 0x3b, 0, 1), &*std::next(list.begin()));
    EXPECT_EQ(PciGetnode(list, 1, 0x3b, 0x1f, 1), &list.back());
    EXPECT_EQ(PciGetnode(list, 1, 0x3b, 0x1f, 0), nullptr);
    EXPECT_EQ(PciGetnode(list, 1, 0x3b, 0x1e, 1), nullptr);
    EXPECT_EQ(PciGetnode(list, 1, 0x3c, 0x1f, 1), nullptr);
    EXPECT_EQ(PciGetnode(list, 2, 0x3b, 0x1f, 1), nullptr);
    EXPECT_EQ(PciGetnode_str(list, "0001:3B:1F.1"), &list.back());
    for (const char* text : {"", "0001:3b:1f", "0001:3b:1f.1x", "10001:3b:1f.1", "nonsense"})
        EXPECT_EQ(PciGetnode_str(list, text), nullptr) << text;
}

TEST(PciGetVPD, ReturnsNameAndTagsOfTheAttribute) {
    const FakeHost host;
    addFunction(host, "0000:3b:00.0");
    host.root.writeFile(devices + "0000:3b:00.0/vpd"s,
                        "\x82\x07\0Adapter\x90\x0c\0PN\x01"
                        "aSN\x01"
                        "bPN\x01"
                        "c\x78"s);
    auto list = scan();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_FALSE(list.front().vpd_is_read);
    EXPECT_EQ(PciGetVPDProductName(list.front()), "Adapter");
    EXPECT_EQ(PciGetVPDtag(list.front(), "PN"), "a");  // the first
    EXPECT_EQ(PciGetVPDtag(list.front(), "SN"), "b");
    EXPECT_EQ(PciGetVPDtag(list.front(), "EC"), "");
}

TEST(PciGetVPD, ReadsTheAttributeOnce) {
    const FakeHost host;
    addFunction(host, "0000:3b:00.0");
    auto list = scan();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(PciGetVPDtag(list.front(), "PN"), "");
    host.root.writeFile(devices + "0000:3b:00.0/vpd"s, "\x82\x07\0Adapter"s);
    EXPECT_EQ(PciGetVPDProductName(list.front()), "");
}

TEST(GetPcislot, ReturnsTheSlotWithTheFunctionsAddress) {
    const FakeHost host;
    host.root.writeFile("/sys/bus/pci/slots/4/address", "0000:3b:00\n");
    host.root.writeFile("/sys/bus/pci/slots/5/address", "0000:5e:00\n");
    host.root.writeFile("/sys/bus/pci/slots/8191-1/address", "0000:d8:1f\n");
    EXPECT_EQ(get_pcislot("0000:3b:00.0"), "4");
    EXPECT_EQ(get_pcislot("0000:5e:00.1"), "5");
    EXPECT_EQ(get_pcislot("0000:D8:1F.0"), "8191-1");
    EXPECT_EQ(get_pcislot("0000:3b:01.0"), "NotAvailable");
    EXPECT_EQ(get_pcislot("0001:3b:00.0"), "NotAvailable");
    EXPECT_EQ(get_pcislot(""), "NotAvailable");
    host.root.writeFile("/sys/bus/pci/slots/6/address", "0000:86:00.1\n");
    EXPECT_EQ(get_pcislot("0000:86:00.1"), "6");
    EXPECT_EQ(get_pcislot("0000:86:00.0"), "NotAvailable");
}

TEST(GetPcislot, ASlotWithoutADeviceNumberStandsForItsBus) {
    const FakeHost host;
    host.root.writeFile("/sys/bus/pci/slots/9/address", "0000:af\n");
    EXPECT_EQ(get_pcislot("0000:af:1f.3"), "9");
    EXPECT_EQ(get_pcislot("0000:ae:1f.3"), "NotAvailable");
}

TEST(GetPcislot, AnAddressIsNeverMatchedPartially) {
    const FakeHost host;
    host.root.writeFile("/sys/bus/pci/slots/1/address", "0000:3b:0\n");
    host.root.writeFile("/sys/bus/pci/slots/2/address", "0000\n");
    host.root.writeFile("/sys/bus/pci/slots/3/address", "\n");
    host.root.writeFile("/sys/bus/pci/slots/4/address", "10000:3b:00\n");
    host.root.writeFile("/sys/bus/pci/slots/5/address", "0000:3b:00.0 and more\n");
    host.root.writeFile("/sys/bus/pci/slots/6/power", "1\n");
    EXPECT_EQ(get_pcislot("0000:3b:00.0"), "NotAvailable");
    host.root.writeFile("/sys/bus/pci/slots/7/address", "0000:5e:00\n");
    EXPECT_EQ(get_pcislot("10000:5e:00.0"), "NotAvailable");
    EXPECT_EQ(get_pcislot("10000:3b:00.0"), "4");
}

TEST(GetPcislot, WithoutSlotsItIsNotAvailable) {
    const FakeHost host;
    EXPECT_EQ(get_pcislot("0000:3b:00.0"), "NotAvailable");
}

TEST(GetPCISlotString, IsTheSlotOfANode) {
    const FakeHost host;
    addFunction(host, "0000:3b:00.0");
    addFunction(host, "0000:3c:00.0");
    host.root.writeFile("/sys/bus/pci/slots/4/address", "0000:3b:00\n");
    const auto list = scan();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(getPCISlotString(list.front()), "4");
    EXPECT_EQ(getPCISlotString(list.back()), "NotAvailable");
}

}  // namespace utils_pciTest
