#include "storage/vokStatusInfo.h"

#include <gtest/gtest.h>
#include <type_traits>

#include "core/base/vokJsonText.h"
#include "storage/VirtualSlots.h"

namespace vokStatusInfoTest {
namespace {

TEST(InventoryBase, IsAbstractAndHasItsTwoReadersFirst) {
    EXPECT_TRUE(std::is_abstract_v<vokInventoryBase>);
    EXPECT_EQ(slotsOf(&vokInventoryBase::getVariableData, &vokInventoryBase::getInventoryData),
              slotsFrom(0, 1));
    EXPECT_TRUE(std::has_virtual_destructor_v<vokInventoryBase>);
}

TEST(StatusInfo, ItsSlotsFollowThoseOfTheBaseWithTheDestructor) {
    EXPECT_EQ(slotsOf(&vokStatusInfo::getState, &vokStatusInfo::setState, &vokStatusInfo::getHealth,
                      &vokStatusInfo::setHealth, &vokStatusInfo::getEventState, &vokStatusInfo::setEventState,
                      &vokStatusInfo::getEventHealth, &vokStatusInfo::setEventHealth),
              slotsFrom(4, 11));
}

TEST(StatusInfo, AllFourValuesStartUnknown) {
    const vokStatusInfo status;
    EXPECT_EQ(status.getState(), 0);
    EXPECT_EQ(status.getHealth(), 0);
    EXPECT_EQ(status.getEventState(), 0);
    EXPECT_EQ(status.getEventHealth(), 0);
}

TEST(StatusInfo, KeepsFourValuesOfTheirOwn) {
    vokStatusInfo status;
    status.setState(VOK_STATE_RUNNING);
    status.setHealth(VOK_HEALTH_OK);
    status.setEventState(VOK_STATE_FAILED);
    status.setEventHealth(VOK_HEALTH_CRITICAL);
    EXPECT_EQ(status.getState(), 23);
    EXPECT_EQ(status.getHealth(), 2);
    EXPECT_EQ(status.getEventState(), 11);
    EXPECT_EQ(status.getEventHealth(), 1);
}

TEST(StatusInfo, ItsFourValuesAreOneByteEach) {
    EXPECT_EQ(sizeof(vokStatusInfo), 2 * sizeof(void*));
}

TEST(StatusInfo, BothDocumentsHaveTheTextsOfStateAndHealthAndNotThoseOfTheLastEvent) {
    vokStatusInfo status;
    status.setState(VOK_STATE_PREDICTIVE_FAILURE);
    status.setHealth(VOK_HEALTH_WARNING);
    status.setEventState(VOK_STATE_RUNNING);
    status.setEventHealth(VOK_HEALTH_OK);
    EXPECT_EQ(vokJsonText(status.getVariableData()), R"({"Health":"Warning","State":"Predictive failure"})");
    EXPECT_EQ(vokJsonText(status.getInventoryData()), R"({"Health":"Warning","State":"Predictive failure"})");
}

TEST(StatusInfo, AValueWithoutATextIsUnknown) {
    vokStatusInfo status;
    status.setState(static_cast<VOK_RESOURCE_STATE>(25));
    status.setHealth(static_cast<VOK_RESOURCE_HEALTH>(4));
    EXPECT_EQ(vokJsonText(status.getVariableData()), R"({"Health":"Unknown","State":"Unknown"})");
    status.setState(static_cast<VOK_RESOURCE_STATE>(32));
    status.setHealth(static_cast<VOK_RESOURCE_HEALTH>(255));
    EXPECT_EQ(vokJsonText(status.getVariableData()), R"({"Health":"Unknown","State":"Unknown"})");
    status.setState(VOK_STATE_UNCONFIGURED_BAD);
    EXPECT_EQ(vokJsonText(status.getVariableData()), R"({"Health":"Unknown","State":"Unconfigured bad"})");
}

TEST(DiskStatusInfo, HasTheStatusForAnEventAndAddsNothingToTheInventory) {
    vokDiskStatusInfo status;
    status.setState(VOK_STATE_OFFLINE);
    status.setHealth(VOK_HEALTH_CRITICAL);
    EXPECT_EQ(vokJsonText(status.getVariableData()), R"({"Health":"Critical","State":"Offline"})");
    EXPECT_TRUE(status.getInventoryData().isNull());
    EXPECT_TRUE((std::is_base_of_v<vokStatusInfo, vokDiskStatusInfo>));
}

}  // namespace
}  // namespace vokStatusInfoTest
