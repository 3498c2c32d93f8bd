#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/firmware/smbios_vmw.h"
#include "support/PlatformTables.h"

namespace vokUtilsGeoIdTest {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* first = "7711PID02020001";
constexpr const char* second = "7711PID03020102";
constexpr const char* secondOther = "7711PID03020101";
constexpr const char* unknown = "Proliant";

// The GeoID of the one slot, and of the one on-board device, with this designation.
std::string slotGeoID(const std::string& family, const std::string& designation) {
    hostWithPlatform(tableOf(family).addSlot(designation, "0000:3b:00.0"));
    return vokUtils::getGeoIDStr("0000:3b:00.0");
}
std::string onboardGeoID(const std::string& family, const std::string& designation) {
    hostWithPlatform(tableOf(family).addOnboardDevice(designation, "0000:01:00.0"));
    return vokUtils::getGeoIDStr("0000:01:00.0");
}

}  // namespace

// --- the map ---

TEST(GeoIdMap, HasAKeyOfFourTwoTwoAndOneLowerCaseDigits) {
    hostWithPlatform(tableOf(first)
                         .addSlot("r001u05p2i03", "1abc:0d:1f.7")
                         .addOnboardDevice("r001u05p2i04", "00ef:fe:1e.6"));
    const std::map<std::string, std::string> expected{{"1abc:0d:1f.7", "r001u05p2i03"},
                                                      {"00ef:fe:1e.6", "r001u05p2i04"}};
    EXPECT_EQ(vokUtils::getGeoIDMap(), expected);
}

TEST(GeoIdMap, HasASlotOfLength13AtTheAddressOfZeros) {
    SmBiosTable table = tableOf(first);
    hostWithPlatform(table.add(SmBiosTable::slot("Slot r001u05p2i03", "0000:3b:00.0", 13)));
    EXPECT_EQ(vokUtils::getGeoIDStr("0000:00:00.0"), "r001u05p2i03");
    EXPECT_EQ(vokUtils::getGeoIDStr("0000:3b:00.0"), "NotAvailable");
}

TEST(GeoIdMap, HoldsTheLaterOfTwoRecordsForOneAddress) {
    hostWithPlatform(tableOf(first)
                         .addOnboardDevice("r001u05p2i03", "0000:01:00.0")
                         .addSlot("r001u05p2i04", "0000:3b:00.0")
                         .addSlot("r001u05p2i05", "0000:3b:00.0")
                         .addSlot("r001u05p2i06", "0000:01:00.0"));
    EXPECT_EQ(vokUtils::getGeoIDStr("0000:3b:00.0"), "r001u05p2i05");
    // On-board devices are added after all slots, whatever their order in the table.
    EXPECT_EQ(vokUtils::getGeoIDStr("0000:01:00.0"), "r001u05p2i03");
}

TEST(GeoIdMap, HoldsUnusedSlotsAtTheAddressOfOnes) {
    hostWithPlatform(tableOf(first).addSlot("Slot r001u05p2i03", "ffff:ff:1f.7"));
    EXPECT_EQ(vokUtils::getGeoIDStr("ffff:ff:1f.7"), "r001u05p2i03");
}

TEST(GeoIdMap, IsWrittenToTheDebugLogInTheOrderOfAddresses) {
    const auto host = hostWithPlatform(
        tableOf(first).addSlot("Slot r001u05p2i03", "0000:3b:00.0").addSlot("Slot without", "0000:1c:00.2"));
    const Texts lines = loggedLines(host);
    const auto heading =
        std::find(lines.begin(), lines.end(), "DEBUG VOK_UTILS: -----Printing GEoID PCIe location map-----");
    ASSERT_EQ(lines.end() - heading, 3);
    EXPECT_EQ(heading[1], "DEBUG VOK_UTILS: 0000:1c:00.2 : ");
    EXPECT_EQ(heading[2], "DEBUG VOK_UTILS: 0000:3b:00.0 : r001u05p2i03");
}

TEST(GeoIdMap, EachRecordIsWrittenToTheDebugLog) {
    const auto host = hostWithPlatform(
        tableOf(first).addSlot("Slot 1", "0012:3b:1f.2").addOnboardDevice("LOM", "0003:01:02.3"));
    EXPECT_TRUE(hasLogged(
        host, "DEBUG VOK_UTILS: designation: Slot 1, segmentGroupNum: 0x12, busNum: 0x3b, evFuncNum: 0xfa"));
    EXPECT_TRUE(hasLogged(
        host, "DEBUG VOK_UTILS: designation: LOM, segmentGroupNum: 0x3, busNum: 0x1, evFuncNum: 0x13"));
}

TEST(GeoIdMap, OfAMachineWithNeitherSlotsNorDevicesIsEmpty) {
    const auto host = hostWithPlatform(tableOf(first));
    EXPECT_TRUE(vokUtils::getGeoIDMap().empty());
    EXPECT_EQ(vokUtils::getGeoIDStr("0000:3b:00.0"), "NotAvailable");
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Unable to fetch smbios type 9 record"));
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Unable to fetch smbios type 41 record"));
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: -----Printing GEoID PCIe location map-----"));
}

TEST(GeoIdMap, OfAMachineWithOnlySlotsLacksOnlyTheDevices) {
    const auto host = hostWithPlatform(tableOf(first).addSlot("r001u05p2i03", "0000:3b:00.0"));
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: Unable to fetch smbios type 9 record"));
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Unable to fetch smbios type 41 record"));
}

TEST(GeoIdMap, WithoutTheTableIsEmptyAndThatIsLogged) {
    const FakeHost host;
    logEverything(host);
    vokUtils::initializeSMBIOS();
    vokUtils::initGeoIDMap();
    EXPECT_TRUE(vokUtils::getGeoIDMap().empty());
    EXPECT_TRUE(hasLogged(
        host, "WARNING VOK_UTILS: Unable to fetch SMBIOS record, so could not populate GeoID values"));
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: Unable to fetch smbios type 9 record"));
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: -----Printing GEoID PCIe location map-----"));
}

TEST(GeoIdMap, ReleasesTheTable) {
    hostWithPlatform(tableOf(first).addSlot("r001u05p2i03", "0000:3b:00.0"));
    void* records = nullptr;
    EXPECT_EQ(getSmbiosRecordsByType(9, &records), -1);
}

TEST(GeoIdMap, DoesNotReleaseATableThatWasReadElsewhere) {
    const FakeHost host;
    logEverything(host);
    host.root.writeFile(SmBiosTable::deviceFile, tableOf(first).contents());
    ASSERT_EQ(SmBiosInit(), 0);
    vokUtils::initGeoIDMap();
    void* records = nullptr;
    EXPECT_EQ(getSmbiosRecordsByType(1, &records), 0);
    std::free(records);
}

// --- designations ---

TEST(Designation, OfTheFirstPlatformHoldsTheGeoIdAsAWord) {
    const FakeHost host;
    for (const char* text : {"r001u05p2i03", "Slot r001u05p2i03", " r001u05p2i03", "r001u05p2i03 Bay 1",
                             "(r001u05p2i03)", "PCIe-r001u05p2i03.x16", "x.r001u05p2i03:1"})
        EXPECT_EQ(vokUtils::getGeoIDFromDesignation(text), "r001u05p2i03") << text;
}

TEST(Designation, WithTheGeoIdInsideALongerWordHoldsNone) {
    const FakeHost host;
    logEverything(host);
    for (const char* text : {"xr001u05p2i03", "0r001u05p2i03", "_r001u05p2i03", "r001u05p2i034",
                             "r001u05p2i03_1", "r001u05p2i03a", "PCIer001u05p2i03x16"})
        EXPECT_EQ(vokUtils::getGeoIDFromDesignation(text), "") << text;
    EXPECT_EQ(countLogged(host, "DEBUG VOK_UTILS: Error detecting GeoId : No match"), 7);
}

TEST(Designation, OfAnotherFormHoldsNone) {
    const FakeHost host;
    for (const char* text : {"", "Slot 1", "R001U05P2I03", "r01u05p2i03", "r001u5p2i03", "r001u05p12i03",
                             "r001u05p2i3", "r001i02s03", "r001 u05p2i03", "Undefined"})
        EXPECT_EQ(vokUtils::getGeoIDFromDesignation(text), "") << text;
}

TEST(Designation, WithTwoGeoIdsYieldsTheFirst) {
    const FakeHost host;
    EXPECT_EQ(vokUtils::getGeoIDFromDesignation("r001u05p2i034 r002u06p3i04 r003u07p4i05"), "r002u06p3i04");
}

TEST(Designation, OnTheFirstPlatformIsSearchedForSlotsAndDevicesAlike) {
    EXPECT_EQ(slotGeoID(first, "Slot r001u05p2i03 Bay"), "r001u05p2i03");
    EXPECT_EQ(onboardGeoID(first, "Slot r001u05p2i03 Bay"), "r001u05p2i03");
}

TEST(Designation, OnAnUnknownPlatformIsSearchedAsOnTheFirst) {
    EXPECT_EQ(slotGeoID(unknown, "Slot r001u05p2i03 Bay"), "r001u05p2i03");
    EXPECT_EQ(slotGeoID(unknown, "Slot r001i02s03"), "") << "stored, though empty";
}

TEST(Designation, OfASlotOnTheSecondPlatformIsTheGeoIdFromTheFirstBlankToTheEnd) {
    EXPECT_EQ(slotGeoID(second, "Slot r001i02s03"), "r001i02s03");
    EXPECT_EQ(slotGeoID(second, "Slot r001i02s03 Bay"), "r001i02s03 Bay");
    EXPECT_EQ(slotGeoID(second, "Slot  r001i02s03"), " r001i02s03");
    EXPECT_EQ(slotGeoID(second, " Slot r001i02s03"), "Slot r001i02s03");
    EXPECT_EQ(slotGeoID(second, "Slot "), "");
}

TEST(Designation, OfASlotOnTheOtherVariantOfTheSecondPlatformIsReadTheSameWay) {
    EXPECT_EQ(slotGeoID(secondOther, "Slot r001i02s03 Bay"), "r001i02s03 Bay");
}

TEST(Designation, OfADeviceOnTheSecondPlatformIsTheTenCharactersAfterTheFirstBlank) {
    EXPECT_EQ(onboardGeoID(second, "LOM r001i02s03 Bay"), "r001i02s03");
    EXPECT_EQ(onboardGeoID(second, "LOM r001i02s0345"), "r001i02s03");
    EXPECT_EQ(onboardGeoID(second, "LOM r001i"), "r001i");
    EXPECT_EQ(onboardGeoID(second, "LOM "), "");
}

TEST(Designation, OfADeviceOnTheOtherVariantOfTheSecondPlatformIsReadTheSameWay) {
    EXPECT_EQ(onboardGeoID(secondOther, "LOM r001i02s03 Bay"), "r001i02s03");
}

TEST(Designation, WithoutABlankOnTheSecondPlatformIsReadFromItsBeginning) {
    EXPECT_EQ(slotGeoID(second, "r001i02s03Bay"), "r001i02s03Bay");
    EXPECT_EQ(onboardGeoID(second, "r001i02s03Bay"), "r001i02s03");
    EXPECT_EQ(slotGeoID(second, ""), "Undefined") << "an empty string is none";
}

// --- the split ---

TEST(GeoIdInfo, OnTheFirstPlatformHasRackUnitPartitionAndInstance) {
    hostWithPlatform(tableOf(first).addSlot("Slot r001u05p2i03", "0000:3b:00.0"));
    EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3b:00.0"), (Texts{"001", "05", "2", "03"}));
}

TEST(GeoIdInfo, OnTheSecondPlatformHasRackInstanceAndSlotAndTheMissingFourthIsNotAnError) {
    const auto host = hostWithPlatform(tableOf(second).addSlot("Slot r001i02s03", "0000:3b:00.0"));
    EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3b:00.0"), (Texts{"001", "02", "03"}));
    for (const std::string& line : loggedLines(host))
        EXPECT_EQ(line.find("Failed to extract element"), std::string::npos) << line;
}

TEST(GeoIdInfo, OnTheOtherVariantOfTheSecondPlatformHasTheSameThree) {
    hostWithPlatform(tableOf(secondOther).addSlot("Slot r041i12s00", "0000:3b:00.0"));
    EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3b:00.0"), (Texts{"041", "12", "00"}));
}

TEST(GeoIdInfo, OfADesignationWithMoreAfterTheGeoIdIsEmptyForASlotButNotForADevice) {
    const auto host = hostWithPlatform(tableOf(second)
                                           .addSlot("Slot r001i02s03 Bay", "0000:3b:00.0")
                                           .addOnboardDevice("Slot r001i02s03 Bay", "0000:01:00.0"));
    EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3b:00.0"), Texts{});
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Error decoding GeoID [r001i02s03 Bay]: [1] - [No match]"));
    EXPECT_EQ(vokUtils::getGeoIDInfo("0000:01:00.0"), (Texts{"001", "02", "03"}));
}

TEST(GeoIdInfo, OfAnAddressWithoutAGeoIdIsEmpty) {
    const auto host = hostWithPlatform(tableOf(first).addSlot("Slot r001u05p2i03", "0000:3b:00.0"));
    EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3b:00.1"), Texts{});
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: GeoID not available for PCI address [0000:3b:00.1]."));
}

TEST(GeoIdInfo, OfAnEmptyGeoIdIsEmptyAndAnErrorOfDecoding) {
    const auto host = hostWithPlatform(tableOf(first).addSlot("Slot 1", "0000:3b:00.0"));
    EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3b:00.0"), Texts{});
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Error decoding GeoID []: [1] - [No match]"));
}

TEST(GeoIdInfo, OnAnUnknownPlatformIsEmptyWithAWarningAtEveryCall) {
    const auto host = hostWithPlatform(tableOf(unknown).addSlot("Slot r001u05p2i03", "0000:3b:00.0"));
    const std::string warning =
        "WARNING VOK_UTILS: Failed to decode GeoID [r001u05p2i03]: Unknown or unsupported platform type.";
    for (int call = 1; call <= 3; ++call) {
        EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3b:00.0"), Texts{});
        EXPECT_EQ(countLogged(host, warning), call);
    }
}

TEST(GeoIdInfo, IsTheSameForManyThreadsAtOnce) {
    hostWithPlatform(tableOf(first)
                         .addSlot("Slot r001u05p2i03", "0000:3b:00.0")
                         .addSlot("Slot r002u06p3i04", "0000:3c:00.0")
                         .addSlot("Slot 3", "0000:3d:00.0"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3b:00.0"), (Texts{"001", "05", "2", "03"}));
                EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3c:00.0"), (Texts{"002", "06", "3", "04"}));
                EXPECT_EQ(vokUtils::getGeoIDInfo("0000:3d:00.0"), Texts{});
            }
        });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace vokUtilsGeoIdTest
