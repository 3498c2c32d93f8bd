// What the agent's own readers make of the files that a host was laid out with.
#include "host/HostDescription.h"

#include <gtest/gtest.h>
#include <cerrno>
#include <cstdlib>
#include <list>
#include <memory>

#include "modules/pci/PciFunctions.h"
#include "platform/firmware/smbios_vmw.h"
#include "platform/pci/utils_pci.h"
#include "simhost/SimulatedMachine.h"

namespace HostLayoutTest {
namespace {

class HostLayout : public SimulatedMachine {
protected:
    void lookAt(const std::string& host) {
        startHost({}, host);
        vokSetHostAccess(access());
    }
    static constexpr char table[] = "/vmfs/devices/char/mem/smbios";
};

TEST_F(HostLayout, ThePciTreeAndTheHardwareListTellTheSameOfEachFunction) {
    lookAt("blade-node-b");
    std::list<pci_node> found;
    ASSERT_EQ(pci_node_scan(found), 14);
    const auto description = simhost::readHostDescription(VOK_HOSTS "/blade-node-b.json");
    for (const auto& function : description.part<simhost::PciFunctions>().all) {
        const pci_node* node = PciGetnode_str(found, function.at("Address"));
        ASSERT_NE(node, nullptr) << function.at("Address");
        EXPECT_EQ(node->vendor, std::strtoul(function.at("Vendor ID").c_str(), nullptr, 16));
        EXPECT_EQ(node->device, std::strtoul(function.at("Device ID").c_str(), nullptr, 16));
        EXPECT_EQ(node->subsystem_vendor, std::strtoul(function.at("SubVendor ID").c_str(), nullptr, 16));
        EXPECT_EQ(node->subsystem_device, std::strtoul(function.at("SubDevice ID").c_str(), nullptr, 16));
        EXPECT_EQ(node->class_code >> 8, std::strtoul(function.at("Device Class").c_str(), nullptr, 16));
        EXPECT_EQ(node->irq, std::strtoul(function.at("IRQ").c_str(), nullptr, 10));
        EXPECT_EQ(node->revision, std::strtoul(function.at("Revision ID").c_str(), nullptr, 16));
        EXPECT_EQ(node->link_width, function.linkWidth);
    }
}

TEST_F(HostLayout, ACardHasItsCapabilitiesProductDataAndSlot) {
    lookAt("blade-node");
    std::list<pci_node> found;
    ASSERT_EQ(pci_node_scan(found), 14);
    pci_node* card = PciGetnode_str(found, "0000:65:00.1");
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(card->capabilities, 1u << 0x01 | 1u << 0x03 | 1u << 0x10);
    EXPECT_EQ(PciGetVPDProductName(*card), "QLE2692 Dual Port 16Gb FC to PCIe Gen3 x8 Adapter");
    EXPECT_EQ(PciGetVPDtag(*card, "PN"), "QLE2692-SR");
    EXPECT_EQ(get_pcislot("0000:65:00.0"), "3");
    EXPECT_EQ(get_pcislot("0000:65:00.1"), "3");
    EXPECT_EQ(get_pcislot("0000:04:00.0"), "NotAvailable");
}

TEST_F(HostLayout, TheFirmwaresTableHoldsTheSlotsThatWereDescribed) {
    lookAt("rack-node");
    ASSERT_EQ(SmBiosInit(), 0);
    void* records = nullptr;
    std::size_t count = 0;
    ASSERT_EQ(getSmbiosRecordsByType(smbiosSystemSlotType, &records, &count), 0);
    const std::unique_ptr<void, decltype(&std::free)> owner(records, std::free);
    ASSERT_EQ(count, 9u);
    const auto* const slots = static_cast<const DmiSystemSlot*>(records);
    EXPECT_STREQ(slots[0].designation, "Slot 1 r001u05p2i01");
    EXPECT_EQ(slots[0].currentUsage, 3);
    EXPECT_EQ(slots[0].busNum, 0xff);
    EXPECT_STREQ(slots[2].designation, "Slot 3 r001u05p2i03");
    EXPECT_EQ(slots[2].segmentGroupNum, 0);
    EXPECT_EQ(slots[2].busNum, 0x3b);
    EXPECT_EQ(slots[2].devFuncNum, 1);
    EXPECT_EQ(slots[2].id, 3);
    SmBiosDeinit();
}

TEST_F(HostLayout, AnotherDescriptionTakesTheTableAndTheTreeOfTheOneBeforeAway) {
    startHost({}, "rack-node");
    EXPECT_TRUE(directory.exists("it's a \"host\"" + std::string(table)));
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startHost({}, "bare");
    EXPECT_FALSE(directory.exists("it's a \"host\"" + std::string(table)));
    vokSetHostAccess(access());
    EXPECT_EQ(SmBiosInit(), -1);
    EXPECT_EQ(errno, ENOENT);
    std::list<pci_node> found;
    EXPECT_EQ(pci_node_scan(found), 0);
}

}  // namespace
}  // namespace HostLayoutTest
