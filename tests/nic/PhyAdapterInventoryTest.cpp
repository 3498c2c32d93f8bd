#include "nic/PhyAdapterInventory.h"

#include <gtest/gtest.h>

namespace PhyAdapterInventoryTest {
namespace {

TEST(EthernetRecord, StartsWithTheDefaults) {
    const PhyAdapterInventory record;
    EXPECT_EQ(record.getState(), "Unknown");
    EXPECT_EQ(record.getHealth(), "Unknown");
    EXPECT_EQ(record.getStateValue(), VOK_STATE_UNKNOWN);
    EXPECT_EQ(record.getHealthValue(), VOK_HEALTH_UNKNOWN);
    EXPECT_EQ(record.getPhyLocation(), "FFFFFFFFFFFFFFFF");
}

TEST(EthernetRecord, AStateIsShownAsItsText) {
    PhyAdapterInventory record;
    record.setState(VOK_STATE_LINKDOWN);
    record.setHealth(VOK_HEALTH_CRITICAL);
    EXPECT_EQ(record.getState(), "Linkdown");
    EXPECT_EQ(record.getHealth(), "Critical");
    EXPECT_EQ(record.getStateValue(), VOK_STATE_LINKDOWN);
    EXPECT_EQ(record.getHealthValue(), VOK_HEALTH_CRITICAL);
}

TEST(EthernetRecord, ATextOfTheTableIsItsState) {
    PhyAdapterInventory record;
    record.setState("Unconfigured bad");
    record.setHealth("Warning");
    EXPECT_EQ(record.getStateValue(), VOK_STATE_UNCONFIGURED_BAD);
    EXPECT_EQ(record.getHealthValue(), VOK_HEALTH_WARNING);
}

TEST(EthernetRecord, AnyOtherTextIsShownAsItIsAndCountsAsUnknown) {
    PhyAdapterInventory record;
    record.setState(VOK_STATE_LINKDOWN);
    record.setHealth(VOK_HEALTH_OK);
    record.setState("linkdown");
    record.setHealth("");
    EXPECT_EQ(record.getState(), "linkdown");
    EXPECT_EQ(record.getHealth(), "");
    EXPECT_EQ(record.getStateValue(), VOK_STATE_UNKNOWN);
    EXPECT_EQ(record.getHealthValue(), VOK_HEALTH_UNKNOWN);
}

}  // namespace
}  // namespace PhyAdapterInventoryTest
