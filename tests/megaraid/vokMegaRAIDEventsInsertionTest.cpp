// The insertion of a disk, as the firmware reports it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "megaraid/storelib/vokStoreLibInterface.h"
#include "megaraid/vokMegaRAIDEventsFixture.h"
#include "support/FakeStoreLib.h"

namespace vokMegaRAIDEventsInsertionTest {
namespace {

using testing::ElementsAre;

constexpr char inserted[] = "INFO STOR_MR: VOK has realized that PD has been inserted to existing  location";
constexpr char notFound[] =
    "WARNING STOR_MR: Unable to fetch inventory of newly inserted drive [Slot 3]; No drive event will be "
    "generated.";

class MegaRAIDInsertion : public MegaRAIDEventsFixture {
protected:
    MegaRAIDInsertion() {
        FakeRaidController raid;
        raid.id = 1;
        raid.serial = serial;
        library.controllers.push_back(raid);
    }
    // A disk that the library lists.
    FakeRaidDisk& insert(const std::string& diskSerial, std::uint16_t enclosure, std::uint8_t slot,
                         std::uint16_t firmwareState) {
        FakeRaidDisk listed;
        listed.deviceId = static_cast<std::uint16_t>(10 + library.controllers[0].disks.size());
        listed.serial = diskSerial;
        listed.enclosure = enclosure;
        listed.slot = slot;
        listed.state = firmwareState;
        library.controllers[0].disks.push_back(listed);
        return library.controllers[0].disks.back();
    }
    void buildCache() {
        ASSERT_TRUE(vokStoreLibInterface::getInstance()->vokStoreInit());
        vokStoreLibInterface::getInstance()->cacheBuild("All");
    }
    // What the event on slot 3 of enclosure 252 does; lines on the place of the disk are left out.
    Trace insertionOf(VOK_SAS_EVENT_DETAIL detail) {
        buildCache();
        return rest(analyzed(std::move(detail)));
    }
    static Trace rest(const Trace& found) {
        Trace kept;
        for (const std::string& line : found)
            if (line.find("DEBUG STOR_MR: ") != 0) kept.push_back(line);
        return kept;
    }

    FakeStoreLib library{host};
};

TEST_F(MegaRAIDInsertion, OfAGoodDiskRaises540BeforeAnInventoryIsRequested) {
    insert("S9", 252, 3, 24);
    EXPECT_THAT(insertionOf(diskEvent(2, 0x5B)), ElementsAre(inserted, "event 540", "push", "build"));
    const Json::Value event = lastEvent();
    EXPECT_EQ(event["VariableData"]["Data"]["SerialNumber"], "S9");
    EXPECT_EQ(event["VariableData"]["EventInfo"], "");
    EXPECT_EQ(event["PhysicalLocation"], disk(0).getPhysicalLocation());
    EXPECT_EQ(event["PhysicalLocation"], "FFFFFFFFFFFFFFFF");
}

TEST_F(MegaRAIDInsertion, OfABadDiskRaises538AndNamesItsState) {
    struct Row {
        std::uint16_t firmwareState;
        const char* name;
        VOK_RESOURCE_STATE state;
    };
    for (const Row& row : {Row{1, "Unconfigured bad", VOK_STATE_UNCONFIGURED_BAD},
                           Row{16, "Offline", VOK_STATE_OFFLINE}, Row{17, "Failed", VOK_STATE_FAILED}}) {
        library.controllers[0].disks.clear();
        insert("S9", 252, 3, row.firmwareState);
        EXPECT_THAT(insertionOf(diskEvent(2, 0x5B)), ElementsAre(inserted, "event 538", "push", "build"));
        const std::string text = std::string("[Msg # 0x5b] What the firmware says. Drive is in ") + row.name +
                                 " state. Please refer to MegaRAID Software User Guide for further details.";
        EXPECT_EQ(lastEvent()["VariableData"]["EventInfo"], text);
        EXPECT_EQ(disk(0).getEventInfoString(), text);
        expectStatus(disk(0), row.state, VOK_HEALTH_CRITICAL);
    }
}

TEST_F(MegaRAIDInsertion, IsTakenForAnyClass) {
    insert("S9", 252, 3, 24);
    for (const std::uint32_t eventClass : {2u, 3u, 4u, 5u, 6u}) {
        EXPECT_THAT(insertionOf(diskEvent(eventClass, 0x5B)),
                    ElementsAre(inserted, "event 540", "push", "build"));
        expectStatus(disk(0), VOK_STATE_ONLINE, VOK_HEALTH_OK);
    }
}

TEST_F(MegaRAIDInsertion, ToANewSlotAppendsARecordWithItsStatusAsReported) {
    addDisk("S1", "252:1", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    insert("S9", 252, 3, 20);
    insertionOf(diskEvent(2, 0x5B));
    ASSERT_EQ(controller->currentDrives.size(), 2u);
    EXPECT_EQ(disk(0).getSerialNumber(), "S1");
    EXPECT_EQ(disk(1).getSerialNumber(), "S9");
    EXPECT_EQ(disk(1).getSlot(), "252:3");
    expectStatus(disk(1), VOK_STATE_REBUILD, VOK_HEALTH_OK);
}

TEST_F(MegaRAIDInsertion, ToAKnownSlotReplacesItsRecord) {
    addDisk("S1", "252:1", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    addDisk("S2", "252:3", VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
    disk(1).setDeviceMissing(true);
    addDisk("S4", "252:4", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    insert("S9", 252, 3, 24).product = "NEW1";
    insertionOf(diskEvent(2, 0x5B));
    ASSERT_EQ(controller->currentDrives.size(), 3u);
    EXPECT_EQ(disk(1).getSerialNumber(), "S9");
    EXPECT_EQ(disk(1).getModel(), "NEW1");
    EXPECT_EQ(disk(1).getEventInfoString(), "");
    EXPECT_FALSE(disk(1).getDeviceMissing());
    expectStatus(disk(1), VOK_STATE_ONLINE, VOK_HEALTH_OK);
    EXPECT_EQ(disk(0).getSerialNumber(), "S1");
    EXPECT_EQ(disk(2).getSerialNumber(), "S4");
}

// After its removal and its return a disk that fails is reported again.
TEST_F(MegaRAIDInsertion, MakesALaterFailureNews) {
    insert("S2", 252, 3, 24);
    addDisk("S2", "252:3", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    EXPECT_EQ(insertionOf(diskEvent(2, 0x70)).back(), "event 538");
    EXPECT_EQ(insertionOf(diskEvent(2, 0x5B))[1], "event 540");
    EXPECT_EQ(insertionOf(diskEvent(4, 0x10)).back(), "event 538");
}

TEST_F(MegaRAIDInsertion, ThatTheLibraryDoesNotListIsWarnedOfAndStillRequestsAnInventory) {
    addDisk("S2", "252:3", VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
    insert("S8", 252, 4, 24);
    insert("S9", 253, 3, 24);
    EXPECT_THAT(insertionOf(diskEvent(2, 0x5B)), ElementsAre(notFound, "push", "build"));
    expectStatus(disk(0), VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
    EXPECT_EQ(controller->currentDrives.size(), 1u);
}

TEST_F(MegaRAIDInsertion, OfADiskOfAnotherControllerIsNotFound) {
    insert("S9", 252, 3, 24);
    VOK_SAS_EVENT_DETAIL detail = diskEvent(2, 0x5B);
    detail.controllerId = 2;
    EXPECT_THAT(insertionOf(detail), ElementsAre(notFound, "push", "build"));
}

TEST_F(MegaRAIDInsertion, WithoutASlotIsNotFound) {
    insert("S9", 252, 3, 24);
    VOK_SAS_EVENT_DETAIL detail = diskEvent(2, 0x5B);
    detail.enclosure = -1;
    EXPECT_THAT(insertionOf(detail), ElementsAre(notFound, "push", "build"));
}

}  // namespace
}  // namespace vokMegaRAIDEventsInsertionTest
