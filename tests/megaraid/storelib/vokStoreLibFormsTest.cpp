#include <gtest/gtest.h>
#include <array>
#include <map>
#include <string>

#include "megaraid/storelib/vokStoreLibInterface.h"

namespace vokStoreLibFormsTest {
namespace {

using Store = vokStoreLibInterface;

TEST(StoreLibForms, EachFirmwareStateHasItsTextAndHealth) {
    const std::map<std::uint32_t, std::pair<std::string, std::uint32_t>> rows = {
        {0, {"Online", 1}},           {2, {"Online", 1}},   {24, {"Online", 1}},
        {32, {"Online", 1}},          {64, {"Online", 1}},  {20, {"Rebuild", 1}},
        {1, {"Unconfigured bad", 4}}, {16, {"Offline", 4}}, {17, {"Failed", 4}},
    };
    for (std::uint32_t state = 0; state <= 0xFFFF; ++state) {
        const auto row = rows.find(state);
        ASSERT_EQ(Store::getFWStateString(state), row == rows.end() ? "Unknown" : row->second.first) << state;
        ASSERT_EQ(Store::getHealth(state), row == rows.end() ? 3u : row->second.second) << state;
    }
}

TEST(StoreLibForms, EachDriveStateHasItsTextAndHealth) {
    const std::array<std::pair<std::string, std::uint32_t>, 4> rows = {
        {{"Offline", 4}, {"Partially degraded", 2}, {"Degraded", 2}, {"Optimal", 1}}};
    for (std::uint32_t state = 0; state <= 0xFF; ++state) {
        ASSERT_EQ(Store::getLDStateString(state), state < 4 ? rows[state].first : "Undefined") << state;
        ASSERT_EQ(Store::getLDHealth(state), state < 4 ? rows[state].second : 3u) << state;
    }
}

TEST(StoreLibForms, ARaidLevelWithoutSpansIsBasic) {
    const std::map<unsigned, std::string> rows = {{0, "RAID0"},   {1, "RAID1"}, {3, "RAID3"},
                                                  {5, "RAID5"},   {6, "RAID6"}, {0x0F, "SingleDisk"},
                                                  {0x11, "PRL11"}};
    for (unsigned primary = 0; primary < 256; ++primary) {
        const auto row = rows.find(primary);
        const std::string text = row == rows.end() ? "" : row->second;
        for (const unsigned depth : {0u, 1u})
            ASSERT_EQ(Store::getRAIDLevelString(primary, 0, 0, depth), text) << primary;
    }
}

TEST(StoreLibForms, ASpannedLevelIsHybridAndDeliberatelyEmptyForRaid5And6) {
    const std::map<unsigned, std::string> rows = {
        {0, "RAID00"}, {1, "RAID10"}, {0x11, "PRL11 with Spanning"}};
    for (unsigned primary = 0; primary < 256; ++primary) {
        const auto row = rows.find(primary);
        const std::string text = row == rows.end() ? "" : row->second;
        for (const unsigned depth : {2u, 8u, 255u})
            ASSERT_EQ(Store::getRAIDLevelString(primary, 0, 0, depth), text) << primary;
    }
}

TEST(StoreLibForms, TheSecondaryLevel3ComesBeforeTheSpansButAfterAnUnknownLevel) {
    for (const unsigned primary : {0u, 1u, 3u, 5u, 6u, 0x0Fu, 0x11u})
        for (const unsigned depth : {0u, 1u, 2u})
            EXPECT_EQ(Store::getRAIDLevelString(primary, 0, 3, depth), "SRL 3");
    EXPECT_EQ(Store::getRAIDLevelString(2, 0, 3, 1), "");
    for (const unsigned secondary : {1u, 2u, 4u})
        EXPECT_EQ(Store::getRAIDLevelString(1, 0, secondary, 2), "RAID10");
}

TEST(StoreLibForms, TheQualifierIsNotUsed) {
    for (const unsigned qualifier : {0u, 3u, 255u})
        EXPECT_EQ(Store::getRAIDLevelString(5, qualifier, 0, 1), "RAID5");
}

TEST(StoreLibForms, TheRowsOfSpannedRaid5And6StandAlthoughUnreachable) {
    std::map<unsigned, std::string> rows;
    for (const vokRaidType& each : Store::HYBRID_RAID_TYPES) rows[each.level] = each.text;
    const std::map<unsigned, std::string> expected = {
        {0, "RAID00"}, {1, "RAID10"}, {5, "RAID50"}, {6, "RAID60"}, {0x11, "PRL11 with Spanning"}};
    EXPECT_EQ(rows, expected);
}

}  // namespace
}  // namespace vokStoreLibFormsTest
