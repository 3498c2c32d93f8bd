// The events of the storage manager: those that controllers raise through it, and those that a client
// requests.
#include <gmock/gmock.h>

#include "core/base/vokJsonText.h"
#include "events/client/vokTestEvent.h"
#include "events/vokDelivery.h"
#include "storage/SASResourceManager.h"
#include "storage/StorageFixture.h"

namespace SASEventsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char place[] = "0102030405060708";

class StorageEvents : public StorageFixture {
protected:
    // The event that a client's request raises.
    Json::Value raised(int id) {
        EXPECT_EQ(SASResourceManager::generateTestEvent(id, place, false), 1) << id;
        const std::vector<Json::Value> all = events();
        return all.empty() ? Json::Value() : all.back();
    }
    void ready(const char* family = firstFamily) {
        start(family);
        letEventsPass();
    }
};

TEST_F(StorageEvents, AnEventHasItsSubjectAndLocation) {
    ready();
    vokDiskInfo disk;
    disk.setSerialNumber("S1");
    SASResourceManager::generateEvent(538, place, true, disk);
    const Json::Value event = events().at(0);
    EXPECT_EQ(event["ID"], 538);
    EXPECT_EQ(event["PhysicalLocation"], place);
    EXPECT_EQ(event["Source"], "VOK");
    EXPECT_EQ(vokJsonText(event["VariableData"]), vokJsonText(disk.getVariableData()));
    SASResourceManager::generateEvent(540, false, disk);
    EXPECT_FALSE(events().at(1).isMember("PhysicalLocation"));
}

TEST_F(StorageEvents, ATestEventIsAtTheLocationOfTheClientAndNamesItAsItsSource) {
    ready();
    for (const int id : {397, 398, 538, 539, 540, 681, 683, 1385}) {
        const Json::Value event = raised(id);
        EXPECT_EQ(event["ID"], id);
        EXPECT_EQ(event["PhysicalLocation"], place);
        EXPECT_EQ(event["Source"], "VOK-CLI");
        EXPECT_EQ(event["VariableData"]["EventInfo"], "Injected Event") << id;
    }
}

TEST_F(StorageEvents, TheSampleOf397And398IsAController) {
    ready();
    for (const int id : {397, 398}) {
        const Json::Value subject = raised(id)["VariableData"];
        EXPECT_EQ(subject["Type"], "Controller");
        const Json::Value& data = subject["Data"];
        EXPECT_EQ(data["Model"], "Intel C600/X79 series chipset SATA RAID Controller");
        EXPECT_NE(data["FirmwareVersion"], "");
        EXPECT_EQ(data["Protocol"], "SAS/SATA");
        EXPECT_EQ(data["Manufacturer"], "Intel Corporation");
        EXPECT_EQ(data["Oem"]["Description"], "PCI 0000:00:17.0 r001i01s00");
    }
}

TEST_F(StorageEvents, TheSampleOf1385IsARaidController) {
    ready();
    const Json::Value subject = raised(1385)["VariableData"];
    EXPECT_EQ(subject["Type"], "Controller");
    const Json::Value& data = subject["Data"];
    EXPECT_EQ(data["Model"].asString().rfind("Adaptec SmartRAID ", 0), 0u);
    EXPECT_NE(data["SerialNumber"], "");
    EXPECT_NE(data["FirmwareVersion"], "");
    EXPECT_EQ(data["Protocol"], "SAS/SATA");
    EXPECT_EQ(data["Oem"]["Description"], "PCI 0000:24:00.0 r001i01s03");
}

TEST_F(StorageEvents, TheSampleOf681And683IsAVolume) {
    ready();
    for (const int id : {681, 683}) {
        const Json::Value subject = raised(id)["VariableData"];
        EXPECT_EQ(subject["Type"], "Volume");
        const Json::Value& data = subject["Data"];
        EXPECT_THAT(data["Drives"], SizeIs(1)) << "the serial number of a member";
        EXPECT_THAT(data["DurableName"].asString(), testing::MatchesRegex("[0-9A-F]{32}"));
        EXPECT_EQ(data["VolumeType"], "RAID1");
        EXPECT_EQ(data["Oem"]["DeviceName"], "/dev/sde");
    }
}

TEST_F(StorageEvents, TheSampleOf538To540IsADrive) {
    ready();
    for (const int id : {538, 539, 540}) {
        const Json::Value subject = raised(id)["VariableData"];
        EXPECT_EQ(subject["Type"], "Drive");
        const Json::Value& data = subject["Data"];
        EXPECT_EQ(data["MediaType"], "HDD");
        EXPECT_EQ(data["Protocol"], "SAS/SATA");
        EXPECT_EQ(data["Manufacturer"], "MEV");
        EXPECT_NE(data["SerialNumber"], "");
        EXPECT_NE(data["PartNumber"], "");
        EXPECT_NE(data["Oem"]["Slot"], "");
    }
}

TEST_F(StorageEvents, TheSampleLiesAtAPlaceOfItsPlatform) {
    ready();
    EXPECT_EQ(raised(538)["VariableData"]["Data"]["Oem"]["PhysicalLocation"], "0001000100000301");
    EXPECT_EQ(raised(397)["VariableData"]["Data"]["Oem"]["PhysicalLocation"], "0001000100000301");
    EXPECT_EQ(raised(681)["VariableData"]["Data"]["Oem"]["HostControllerPhysicalLocation"],
              "0001000100000301");
}

TEST_F(StorageEvents, TheSampleLiesAtAnotherPlaceOnTheSecondPlatform) {
    ready(secondFamily);
    EXPECT_EQ(raised(1385)["VariableData"]["Data"]["Oem"]["PhysicalLocation"], "0001000100030001");
}

TEST_F(StorageEvents, TheSampleHasNoPlaceOnAnUnknownPlatform) {
    letEventsPass();
    EXPECT_EQ(raised(540)["VariableData"]["Data"]["Oem"]["PhysicalLocation"], "FFFFFFFFFFFFFFFF");
}

TEST_F(StorageEvents, OtherEventsHaveNoSampleAndAreNotRaised) {
    ready();
    const vokDeliveryRecord record;
    for (const int id : {0, 399, 1179, 1180, 1181, 1182, 1183, 1387, 1388})
        EXPECT_EQ(SASResourceManager::generateTestEvent(id, place, false), 0) << id;
    EXPECT_THAT(eventIds(), IsEmpty());
    EXPECT_EQ(record.last().kind, vokDeliveryKind::invalid);
    EXPECT_EQ(record.last().text, "the storage manager has no sample for it");
}

TEST_F(StorageEvents, TheClientsRequestReachesTheStorageManagerWithItsLocation) {
    ready();
    char request[] = "539 0000000000003802";
    sendTestEventWithEventId(request);
    ASSERT_THAT(eventIds(), ElementsAre(539));
    EXPECT_EQ(events()[0]["PhysicalLocation"], "0000000000003802");
}

}  // namespace
}  // namespace SASEventsTest
