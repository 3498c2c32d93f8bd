#include "core/inventory/vokResources.h"

#include <gtest/gtest.h>
#include <vector>

#include "core/inventory/vokFactory.h"
#include "core/inventory/vokPushRequest.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "host/HostResourceManager.h"
#include "nic/NICResourceManager.h"

namespace vokResourcesTest {
namespace {

int calls = 0;

vokResourceManager* hostManagerWithCount() {
    ++calls;
    return HostResourceManager::getInstance();
}

constexpr vokResource testRows[] = {
    vokResource{GPU_DEVICES}.managedBy(hostManagerWithCount).inDocument("Processors"),
    vokResource{STORAGE_CONTROLLERS}.withInventory(1, "StorageControllers").withInventory(2, "Drives"),
};

TEST(Resources, TheRowsAreInTheOrderInWhichManagersAreQueriedAndStopped) {
    std::vector<int> ids;
    for (const vokResource& row : vokResources()) ids.push_back(row.id);
    EXPECT_EQ(ids, (std::vector<int>{1, 2, 3, 0, 4, 5, 6, 7}));
}

TEST(Resources, EachEventNumberOfAManagerOfThisBuildHasARowThatRaisesItsTestEvents) {
    for (const vokEventNumber& number : vokEventTable) {
        for (const vokResource& row : vokResources()) {
            if (row.eventType != getEventType(number.id)) continue;
            EXPECT_NE(row.manager, nullptr) << number.id;
            EXPECT_NE(row.raiseTestEvent, nullptr) << number.id;
        }
    }
}

TEST(Resources, NoTwoRowsShareAnIdOrAnEventType) {
    for (const vokResource& one : vokResources()) {
        for (const vokResource& other : vokResources()) {
            if (&one == &other) continue;
            EXPECT_NE(one.id, other.id);
            EXPECT_TRUE(one.eventType == 0 || one.eventType != other.eventType) << one.id;
        }
    }
}

TEST(Resources, EachRowIsAResourceInTheListOfModules) {
    for (const vokResource& row : vokResources()) {
        ASSERT_NE(vokFindModule(row.id), nullptr);
        EXPECT_TRUE(!row.manager || vokFindModule(row.id)->canBeEnabled) << row.id;
    }
}

TEST(Resources, AManagerIsObtainedWhenItIsUsedAndNotWhenTheTableIsBound) {
    vokBindResources(vokResourceTable(testRows));
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(vokFactory().createInstance(GPU_DEVICES), HostResourceManager::getInstance());
    EXPECT_EQ(calls, 1);
}

TEST(Resources, ABoundTableReplacesThePreviousOne) {
    vokBindResources(vokResourceTable(testRows));
    EXPECT_EQ(vokFactory().createInstance(HOST_OS_INFO), nullptr);
    EXPECT_EQ(vokFactory().createInstance(STORAGE_CONTROLLERS), nullptr);  // a row without a manager
    ASSERT_NE(vokResources().find(STORAGE_CONTROLLERS), nullptr);
    EXPECT_STREQ(vokResources().find(STORAGE_CONTROLLERS)->types[1].key, "Drives");
    EXPECT_EQ(vokResources().find(STORAGE_CONTROLLERS)->types[2].key, nullptr);
}

TEST(PushRequest, CallsTheBoundFunctionAndIsDroppedWithoutOne) {
    static int requests = 0;
    vokBindPushRequest([] { ++requests; });
    vokRequestPush();
    vokRequestPush();
    EXPECT_EQ(requests, 2);
    vokBindPushRequest(nullptr);
    vokRequestPush();
    EXPECT_EQ(requests, 2);
}

}  // namespace
}  // namespace vokResourcesTest
