// Reports of the firmware that follow one another, from the callback of the library to what is delivered,
// with discoveries between them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <vector>

#include "megaraid/MegaRaidFixture.h"

namespace vokMegaRAIDEventSequencesTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class MegaRAIDEventSequences : public MegaRaidFixture {
protected:
    MegaRAIDEventSequences() { library.controllers = {raidController()}; }
    ~MegaRAIDEventSequences() override { factory().shutdownFactory(); }

    static vokMegaRAIDControllerFactory& factory() { return *vokMegaRAIDControllerFactory::getInstance(); }
    static vokHeldReference<IvokStorageController> controller() {
        std::vector<IvokStorageController*> list;
        factory().getControllers(list);
        auto held = vokTakeReferences(list);
        return std::move(held.at(0));
    }
    // As a build of the manager.
    static void discover() {
        std::vector<IvokStorageController*> list;
        factory().discoverControllers(list);
        for (const auto& each : vokTakeReferences(list)) {
            vokStorageControllerInfo info;
            std::vector<vokDiskInfo> disks;
            std::vector<vokLogicalDiskInfo> volumes;
            each->discoverInventory(info);
            each->discoverPhysicalDiskInventory(disks);
            each->discoverLogicalDiskInventory(volumes);
            each->enableEvents();
        }
    }
    void reportOnDisk(std::uint32_t code, std::uint8_t firmwareState = 0, std::uint8_t enclosure = 252) {
        constexpr std::uint8_t deviceAndState = 15;
        std::string place(12, '\0');  // device 1 in slot 1
        place[0] = 1;
        place[2] = static_cast<char>(enclosure);
        place[3] = 1;
        place[8] = static_cast<char>(firmwareState);
        library.deliver(0, 0, FakeStoreLib::eventRecord(code, 0x0002, 0, deviceAndState, place, "disk"));
    }
    // `vendorClass`: 0 is information, 2 critical.
    void reportOnVolume(std::uint32_t code, int vendorClass = 0) {
        constexpr std::uint8_t volumeOnly = 2;
        library.deliver(
            0, 0,
            FakeStoreLib::eventRecord(code, 0x0001, vendorClass, volumeOnly, std::string(2, '\0'), "volume"));
    }
    static vokDiskInfo disk() { return controller()->getPhysicalDrivesInventory().at(0); }
};

constexpr std::uint32_t stateChanged = 0x72;
constexpr std::uint32_t removed = 0x70;
constexpr std::uint32_t inserted = 0x5B;
constexpr std::uint8_t offline = 16;
constexpr std::uint8_t failed = 17;
constexpr std::uint8_t rebuilds = 20;
constexpr std::uint8_t online = 24;

TEST_F(MegaRAIDEventSequences, ARepeatedReportIsNoNewsAfterADiscoveryEither) {
    letEventsPass();
    discover();
    reportOnDisk(stateChanged, failed);
    discover();  // the library lists the disk as online
    EXPECT_EQ(disk().getState(), VOK_STATE_ONLINE);
    EXPECT_EQ(disk().getEventHealth(), VOK_HEALTH_CRITICAL);
    reportOnDisk(stateChanged, failed);
    EXPECT_THAT(eventIds(), ElementsAre(538));
    reportOnDisk(stateChanged, online);
    EXPECT_THAT(eventIds(), ElementsAre(538, 540));
}

TEST_F(MegaRAIDEventSequences, AReportBeforeTheFirstPushChangesTheStatusAndItsEventIsLost) {
    discover();
    reportOnDisk(stateChanged, failed);
    EXPECT_EQ(disk().getState(), VOK_STATE_FAILED);
    letEventsPass();
    reportOnDisk(stateChanged, failed);
    EXPECT_THAT(eventIds(), IsEmpty());
}

TEST_F(MegaRAIDEventSequences, ARebuildThatARestartInterruptsFailsAndRecoversOnce) {
    letEventsPass();
    discover();
    for (const std::uint8_t state : {rebuilds, offline, rebuilds, online}) reportOnDisk(stateChanged, state);
    EXPECT_THAT(eventIds(), ElementsAre(538, 540));
    EXPECT_EQ(disk().getState(), VOK_STATE_ONLINE);
}

TEST_F(MegaRAIDEventSequences, TheReportsOnOnePulledDiskAreOneEventOnItAndOneOnItsVolume) {
    letEventsPass();
    discover();
    reportOnDisk(stateChanged, failed);
    reportOnVolume(0xFB, 2);
    reportOnDisk(removed);
    reportOnDisk(removed);
    EXPECT_THAT(eventIds(), ElementsAre(538, 681));
    EXPECT_EQ(disk().getState(), VOK_STATE_OFFLINE);
}

TEST_F(MegaRAIDEventSequences, ADiskThatIsPulledAndReturnsIsLostAndFoundOnce) {
    letEventsPass();
    discover();
    const std::vector<FakeRaidDisk> disks = library.controllers[0].disks;
    library.controllers[0].disks.clear();
    reportOnDisk(removed);
    discover();
    library.controllers[0].disks = disks;
    reportOnDisk(inserted);
    discover();
    EXPECT_THAT(eventIds(), ElementsAre(538, 540));
    EXPECT_THAT(controller()->getPhysicalDrivesInventory(), SizeIs(1));
    EXPECT_FALSE(disk().getDeviceMissing());
    EXPECT_EQ(disk().getEventHealth(), VOK_HEALTH_OK);
}

// As some firmware reports it: without the enclosure.
TEST_F(MegaRAIDEventSequences, AnInsertionInEnclosure255OnlyRequestsAnInventory) {
    letEventsPass();
    discover();
    const long pushes = timesLogged("DEBUG SAS_RM: Signalling for inventory push to RMC on cache build.");
    reportOnDisk(inserted, 0, 255);
    EXPECT_THAT(eventIds(), IsEmpty());
    EXPECT_TRUE(
        logged("WARNING STOR_MR: Unable to fetch inventory of newly inserted drive [Slot 1]; No drive event "
               "will be generated."));
    EXPECT_EQ(timesLogged("DEBUG SAS_RM: Signalling for inventory push to RMC on cache build."), pushes + 1);
}

TEST_F(MegaRAIDEventSequences, AVolumeWhoseDeletionIsReportedIsForgottenByTheNextDiscovery) {
    letEventsPass();
    discover();
    library.controllers[0].volumes.clear();
    reportOnVolume(0x8B);
    EXPECT_THAT(controller()->getLogicalDiskInventory(), SizeIs(1));
    discover();
    EXPECT_THAT(controller()->getLogicalDiskInventory(), IsEmpty());
    reportOnVolume(0xFC, 2);
    EXPECT_TRUE(
        logged("WARNING STOR_MR: Ignoring CRITICAL/FATAL event (252, 4) received for VD[0] absent in VOK "
               "inventory."));
    EXPECT_THAT(eventIds(), IsEmpty());
}

TEST_F(MegaRAIDEventSequences, ACheckIsCountedAcrossADiscovery) {
    letEventsPass();
    discover();
    reportOnVolume(0x39);
    discover();
    reportOnVolume(0x39);
    reportOnVolume(0x3A);
    EXPECT_THAT(eventIds(), ElementsAre(1387));
    EXPECT_EQ(events().back()["VariableData"]["EventInfo"],
              "[Msg # 0x3a] volume, (# Corrected medium errors = 2). Please refer to MegaRAID Software User "
              "Guide for further details.");
}

TEST_F(MegaRAIDEventSequences, ADegradedVolumeRecoversOnce) {
    letEventsPass();
    discover();
    reportOnVolume(0xFB, 2);
    reportOnVolume(0xFB, 2);
    discover();
    reportOnVolume(0xF9);
    reportOnVolume(0xF9);
    EXPECT_THAT(eventIds(), ElementsAre(681, 683));
}

}  // namespace
}  // namespace vokMegaRAIDEventSequencesTest
