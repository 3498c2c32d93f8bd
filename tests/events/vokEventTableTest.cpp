#include "events/vokEventTable.h"

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

#include "events/vokEventHandler.h"

namespace vokEventTableTest {
namespace {

const std::map<int, int> expectedOwners{
    {708, 1},                                                                     // agent
    {356, 2},  {359, 2},  {360, 2},  {434, 2},  {435, 2},                         // host
    {678, 3},  {680, 3},  {1384, 3}, {1390, 3},                                   // Ethernet
    {383, 4},  {384, 4},  {385, 4},  {386, 4},  {388, 4},  {390, 4},  {1391, 4},  // Fibre Channel
    {397, 5},  {398, 5},  {538, 5},  {539, 5},  {540, 5},  {681, 5},  {683, 5},   // storage
    {1179, 5}, {1180, 5}, {1181, 5}, {1182, 5}, {1183, 5}, {1385, 5}, {1387, 5}, {1388, 5},
};

}  // namespace

TEST(getEventType, EveryNumberHasItsOwner) {
    ASSERT_EQ(expectedOwners.size(), 32U);
    for (int id = -5; id <= 2000; ++id) {
        const auto found = expectedOwners.find(id);
        EXPECT_EQ(getEventType(id), found == expectedOwners.end() ? -1 : found->second) << id;
    }
}

TEST(getEventType, NumbersNextToThoseOfTheTableHaveNoOwner) {
    EXPECT_EQ(getEventType(390), 4);
    EXPECT_EQ(getEventType(389), -1);
    EXPECT_EQ(getEventType(683), 5);
    EXPECT_EQ(getEventType(682), -1);
    EXPECT_EQ(getEventType(1150), -1);
    EXPECT_EQ(getEventType(1151), -1);
    EXPECT_EQ(getEventType(2147483647), -1);
    EXPECT_EQ(getEventType(-2147483647 - 1), -1);
}

TEST(getEventType, TheNumber1337HasNoOwnerThoughItPassesTheGate) {
    EXPECT_EQ(getEventType(1337), -1);
    EXPECT_EQ(getEventType(1338), -1);
}

TEST(vokEventTable, IsSortedAndHasAMeaningForEachNumber) {
    int previous = 0;
    for (const vokEventNumber& row : vokEventTable) {
        EXPECT_GT(row.id, previous);
        previous = row.id;
        EXPECT_GT(std::string(row.meaning).size(), 10U) << row.id;
        ASSERT_NE(vokFindEventOwner(row.type), nullptr) << row.id;
    }
    EXPECT_EQ(std::size(vokEventTable), expectedOwners.size());
}

TEST(vokEventTable, AnUnknownNumberOrOwnerYieldsNull) {
    EXPECT_EQ(vokFindEventNumber(1337), nullptr);
    EXPECT_EQ(vokFindEventOwner(-1), nullptr);
    EXPECT_EQ(vokFindEventOwner(6), nullptr);
    EXPECT_STREQ(vokFindEventOwner(4)->name, "Fibre Channel");
    EXPECT_STREQ(vokFindEventNumber(360)->meaning, "The last shutdown was not graceful");
}

struct RaisingRow {
    int eventId;
};

TEST(vokRaisesEventsOf, IsTrueOnlyWhenEachRowNamesAnEventOfTheOwnerOrNone) {
    constexpr RaisingRow ethernet[] = {{1384}, {0}, {678}};
    constexpr RaisingRow unknown[] = {{1384}, {1386}};
    constexpr RaisingRow foreign[] = {{1384}, {386}};
    EXPECT_TRUE(vokRaisesEventsOf(vokEthernetEvent, ethernet));
    EXPECT_FALSE(vokRaisesEventsOf(vokEthernetEvent, unknown));
    EXPECT_FALSE(vokRaisesEventsOf(vokEthernetEvent, foreign));
    EXPECT_FALSE(vokRaisesEventsOf(vokHostEvent, ethernet));
}

}  // namespace vokEventTableTest
