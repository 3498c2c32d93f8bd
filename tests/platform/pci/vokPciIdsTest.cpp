#include "platform/pci/vokPciIds.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/FakeHost.h"

namespace vokPciIdsTest {
namespace {

constexpr char database[] =
    "#\n"
    "# A few lines in the form of the database\n"
    "\n"
    "0014  Loongson Technology LLC\n"
    "\t7a00  Hyper Transport Bridge Controller\n"
    "001c  PEAK-System Technik GmbH\n"
    "\t0001  PCAN-PCI CAN-Bus controller\n"
    "\t\t001c 0004  2 Channel CAN Bus SJC1000\n"
    "# a comment between\n"
    "\t\t001c 0005  2 Channel CAN Bus SJC1000 (Optically Isolated)\n"
    "\t0002  Another\n"
    "8086  Intel Corporation\n"
    "\t1528  Ethernet Controller 10-Gigabit X540-AT2\n"
    "\t\t108e 7b14  Sun Dual Port 10 GbE\n"
    "\n"
    "C 01  Mass storage controller\n"
    "\t04  RAID bus controller\n"
    "\t06  SATA controller\n"
    "\t\t00  Vendor specific\n"
    "\t\t01  AHCI 1.0\n"
    "C 02  Network controller\n"
    "\t00  Ethernet controller\n";

pci_ids idsOf(const std::string& text) {
    pci_ids ids;
    scan_hw_ids_text(text, ids);
    return ids;
}

template <typename Entry>
std::string nameOf(const Entry* entry) {
    return entry ? entry->name : "(null)";
}

std::string firstVendor(const FakeHost&) {
    pci_ids ids;
    if (!scan_hw_ids(ids)) return "(nothing opened)";
    return ids.vendors.empty() ? "(no vendor)" : ids.vendors.front().name;
}

}  // namespace

TEST(ScanHwIds, ReadsTheFirstFileThatCanBeOpened) {
    const FakeHost host;
    EXPECT_EQ(firstVendor(host), "(nothing opened)");
    host.root.writeFile("/usr/share/misc/pci.ids", "0001  third\n");
    EXPECT_EQ(firstVendor(host), "third");
    host.root.writeFile("/usr/share/pci.ids", "0001  second\n");
    EXPECT_EQ(firstVendor(host), "second");
    host.root.writeFile("/usr/share/hwdata/pci.ids", "0001  first\n");
    EXPECT_EQ(firstVendor(host), "first");
}

TEST(ScanHwIds, AnEmptyFirstFileIsOpenedAndNoOtherIsRead) {
    const FakeHost host;
    host.root.writeFile("/usr/share/hwdata/pci.ids", "");
    host.root.writeFile("/usr/share/pci.ids", "0001  second\n");
    EXPECT_EQ(firstVendor(host), "(no vendor)");
}

TEST(ScanHwIds, APipeOrADirectoryIsNotOpened) {
    const FakeHost host;
    host.root.writeFile("/usr/share/hwdata/pci.ids/x", "");
    ASSERT_EQ(::mkfifo((host.root.path() + "/usr/share/pci.ids").c_str(), 0600), 0);
    host.root.writeFile("/usr/share/misc/pci.ids", "0001  third\n");
    EXPECT_EQ(firstVendor(host), "third");
}

TEST(ScanHwIds, KeepsTheOrderOfTheFile) {
    const pci_ids ids = idsOf(database);
    ASSERT_EQ(ids.vendors.size(), 3u);
    EXPECT_EQ(ids.vendors.front().id, 0x0014);
    EXPECT_EQ(ids.vendors.back().id, 0x8086);
    EXPECT_EQ(std::next(ids.vendors.begin())->devices.size(), 2u);
    EXPECT_EQ(ids.classes.size(), 2u);
}

TEST(ScanHwIds, ALineOfAnotherFormAndItsChildrenAreSkipped) {
    const pci_ids ids = idsOf(
        "\t1111  a device before any vendor\n"
        "12  too short\n"
        "12345  too long\n"
        "xyzw  no number\n"
        "\t1111  below no vendor\n"
        "S 01  another kind of list\n"
        "\t02  below it\n"
        "0001  Good\n"
        "\t2222 Device\n"
        "\tzzzz  no number\n"
        "\t\t1111 2222  below no device\n"
        "\t\t\t1111 2222  too deep\n"
        "\t3333  Device 3\n"
        "\t\t1111  one number alone\n"
        "\t\t1111 22  a short number\n"
        "\t\t1111 2222\tSubsystem\n"
        "C 1  a short class\n"
        "\t02  below it\n");
    ASSERT_EQ(ids.vendors.size(), 1u);
    ASSERT_EQ(ids.vendors.front().devices.size(), 2u);
    EXPECT_TRUE(ids.vendors.front().devices.front().subsystems.empty());
    ASSERT_EQ(ids.vendors.front().devices.back().subsystems.size(), 1u);
    EXPECT_EQ(ids.vendors.front().devices.back().subsystems.front().name, "Subsystem");
    EXPECT_TRUE(ids.classes.empty());
}

// Each of these would become a child of the last valid line if the invalid line between them had no effect.
TEST(ScanHwIds, AnInvalidLineEndsTheEntryAboveIt) {
    const pci_ids ids = idsOf(
        "0001  Vendor\n"
        "\t1111  Device\n"
        "\t\t\t2222 3333  too deep\n"
        "\tzzzz  no device\n"
        "\t\t2222 3333  below no device\n"
        "\t4444  Device\n"
        "12  no vendor\n"
        "\t\t2222 3333  below no vendor's device\n"
        "\t5555  below no vendor\n"
        "C 01  Class\n"
        "\t02  Subclass\n"
        "\tzz  no subclass\n"
        "\t\t03  below no subclass\n"
        "\t04  Subclass\n"
        "C zz  no class\n"
        "\t\t05  below no class's subclass\n"
        "\t06  below no class\n");
    ASSERT_EQ(ids.vendors.size(), 1u);
    ASSERT_EQ(ids.vendors.front().devices.size(), 2u);
    EXPECT_TRUE(ids.vendors.front().devices.front().subsystems.empty());
    EXPECT_TRUE(ids.vendors.front().devices.back().subsystems.empty());
    ASSERT_EQ(ids.classes.size(), 1u);
    ASSERT_EQ(ids.classes.front().subclasses.size(), 2u);
    EXPECT_TRUE(ids.classes.front().subclasses.front().subclasses.empty());
    EXPECT_TRUE(ids.classes.front().subclasses.back().subclasses.empty());
}

TEST(ScanHwIds, ClassesAreNotVendorsAndVendorsAreNotClasses) {
    const pci_ids ids = idsOf(
        "0001  Vendor\n"
        "C 01  Class\n"
        "\t1111  a number of a device\n"
        "\t02  Subclass\n"
        "0002  Vendor\n"
        "\t03  a number of a subclass\n"
        "\t\t04  below none\n");
    ASSERT_EQ(ids.vendors.size(), 2u);
    EXPECT_TRUE(ids.vendors.front().devices.empty());
    EXPECT_TRUE(ids.vendors.back().devices.empty());
    ASSERT_EQ(ids.classes.size(), 1u);
    ASSERT_EQ(ids.classes.front().subclasses.size(), 1u);
    EXPECT_TRUE(ids.classes.front().subclasses.front().subclasses.empty());
}

TEST(ScanHwIds, NumbersMayHaveCapitalLetters) {
    EXPECT_EQ(nameOf(vendor_find(idsOf("ABCD  Vendor\n"), 0xabcd)), "Vendor");
}

TEST(ScanHwIds, NamesLoseTheBlanksAroundThemAndTheCarriageReturn) {
    EXPECT_EQ(idsOf("0001   Some Name \t\r\n").vendors.front().name, "Some Name");
    EXPECT_EQ(idsOf("0001\n").vendors.front().name, "");
    EXPECT_EQ(idsOf("0001  Last line without an end").vendors.front().name, "Last line without an end");
}

TEST(ScanHwIds, ANameIsCutAt255CharactersAndTheNextLineIsRead) {
    const pci_ids ids = idsOf("0001  " + std::string(100000, 'x') + "\n0002  Two\n");
    EXPECT_EQ(ids.vendors.front().name, std::string(255, 'x'));
    EXPECT_EQ(ids.vendors.back().name, "Two");
}

TEST(ScanHwIds, AFileOfOneVeryLongLineIsReadWithinBounds) {
    const FakeHost host;
    host.root.writeFile("/usr/share/pci.ids", "0001  X");
    ASSERT_EQ(::truncate((host.root.path() + "/usr/share/pci.ids").c_str(), 1ll << 36), 0);
    EXPECT_EQ(firstVendor(host), "X" + std::string(254, '\0'));
}

TEST(PciIdsFind, ReturnsVendorDeviceAndSubsystemByNumber) {
    const pci_ids ids = idsOf(database);
    const pci_vendor* const vendor = vendor_find(ids, 0x001c);
    ASSERT_TRUE(vendor);
    EXPECT_EQ(vendor->name, "PEAK-System Technik GmbH");
    const pci_device* const device = device_find(*vendor, 0x0001);
    ASSERT_TRUE(device);
    EXPECT_EQ(device->name, "PCAN-PCI CAN-Bus controller");
    EXPECT_EQ(nameOf(subsystem_find(*device, 0x001c, 0x0005)),
              "2 Channel CAN Bus SJC1000 (Optically Isolated)");
    EXPECT_EQ(nameOf(subsystem_find(*device, 0x001c, 0x0006)), "(null)");
    EXPECT_EQ(nameOf(subsystem_find(*device, 0x001d, 0x0005)), "(null)");
    EXPECT_EQ(nameOf(device_find(*vendor, 0x7a00)), "(null)");
    EXPECT_EQ(nameOf(vendor_find(ids, 0x1077)), "(null)");
}

TEST(PciIdsFind, ReturnsTheMostSpecificNameOfAClass) {
    const pci_ids ids = idsOf(database);
    EXPECT_EQ(nameOf(class_find(ids, 0x010601)), "AHCI 1.0");
    EXPECT_EQ(nameOf(class_find(ids, 0x010602)), "SATA controller");
    EXPECT_EQ(nameOf(class_find(ids, 0x010400)), "RAID bus controller");
    EXPECT_EQ(nameOf(class_find(ids, 0x018000)), "Mass storage controller");
    EXPECT_EQ(nameOf(class_find(ids, 0x030000)), "(null)");
    EXPECT_EQ(nameOf(class_find(ids, 0xffffffff)), "(null)");
}

TEST(PciIdsSearch, ReturnsTheFirstWhoseNameContainsTheTextInEitherCase) {
    const pci_ids ids = idsOf(database);
    const pci_vendor* const vendor = vendor_search(ids, "peak-SYSTEM");
    ASSERT_TRUE(vendor);
    EXPECT_EQ(vendor->id, 0x001c);
    const pci_device* const device = device_search(*vendor, "can-bus");
    ASSERT_TRUE(device);
    EXPECT_EQ(device->id, 0x0001);
    EXPECT_EQ(subsystem_search(*device, "sjc1000")->device, 0x0004);
    EXPECT_EQ(subsystem_search(*device, "isolated")->device, 0x0005);
    EXPECT_EQ(class_search(ids, "network")->id, 0x02);
    EXPECT_EQ(nameOf(vendor_search(ids, "QLogic")), "(null)");
    EXPECT_EQ(nameOf(device_search(*vendor, "Ethernet")), "(null)");
    EXPECT_EQ(nameOf(subsystem_search(*device, "Ethernet")), "(null)");
    EXPECT_EQ(nameOf(class_search(ids, "Ethernet")), "(null)");
    EXPECT_EQ(vendor_search(ids, "")->id, 0x0014);
    const pci_ids nameless = idsOf("0001\n");
    EXPECT_EQ(vendor_search(nameless, ""), &nameless.vendors.front());
}

}  // namespace vokPciIdsTest
