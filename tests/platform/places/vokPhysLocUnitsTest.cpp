// Locations by kind of unit, and the values from the GeoID alone, on both platforms.
#include <functional>

#include "platform/places/PhysLocFixture.h"
#include "platform/places/vokLWNZPhysLocInterface.h"
#include "platform/places/vokTQPhysLocInterface.h"

namespace vokPhysLocUnitsTest {
namespace {

class PhysLocUnits : public PhysLocTest {
protected:
    vokPhysLocInterface& first() {
        startFirstPlatform();
        EXPECT_TRUE(vokTQPhysLocInterface::getInstance()->Initialize());
        return *vokTQPhysLocInterface::getInstance();
    }
    vokPhysLocInterface& second() {
        startSecondPlatform();
        EXPECT_TRUE(vokLWNZPhysLocInterface::getInstance()->Initialize());
        return *vokLWNZPhysLocInterface::getInstance();
    }
    // The one record that the library receives in a look-up, which succeeds.
    Record recordOf(const std::function<std::string()>& lookUp) {
        library.records.clear();
        EXPECT_EQ(lookUp(), "00000000000012AB");
        return onlyRecord();
    }
    // The location is unknown, the library is not called, and the line is logged.
    void expectUnknown(const std::function<std::string()>& lookUp, const std::string& line) {
        library.versions.clear();
        EXPECT_EQ(lookUp(), unknownLocation) << line;
        EXPECT_TRUE(library.versions.empty()) << line;
        EXPECT_TRUE(logged(line)) << line;
    }
};

// --- PCI addresses ---

struct AddressCase {
    const char* address;
    bool valid;
};

constexpr AddressCase addresses[] = {
    {"0000:3b:00.0", true},   {"0000:3B:00.0", true},  {"ffff:ff:1f.7", true},  {"", false},
    {"0000:3b:00.", false},    // 11
    {"000:3b:00.0", false},    // 11
    {"0000:3b:00.00", false},  // 13
    {"00000:3b:00.0", false},  // 13
    {"10000:3b:00.0", false},  // a domain beyond four digits
    {"0000:3g:00.0", false},  {"0000:3b:00.g", false}, {"+000:3b:00.0", false}, {"-000:3b:00.0", false},
    {" 000:3b:00.0", false},  {"0000:3b: 0.0", false}, {"0000:3b:00. ", false}, {"0x00:3b:00.0", false},
    {"0000.3b.00.0", false},  {"0000:3b:00:0", false}, {"NotAvailable", false},  // twelve characters
};

TEST_F(PhysLocUnits, AnAddressHasTwelveCharactersAndFourHexadecimalFields) {
    vokPhysLocInterface& interface = first();
    for (const auto& each : addresses) {
        std::string location;
        EXPECT_EQ(interface.getChassisLocationForIOSlot(each.address, location) == -1, !each.valid)
            << each.address;
        EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis(each.address, "0000:3b:00.0") == -1,
                  !each.valid)
            << each.address;
        EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", each.address) == -1,
                  !each.valid)
            << each.address;
    }
}

TEST_F(PhysLocUnits, AMalformedAddressIsRejectedByEachOperationWithItsMessage) {
    struct {
        vokPhysLocInterface& interface;
        const char* module;
    } const platforms[] = {{*vokTQPhysLocInterface::getInstance(), "DEBUG TQPL_INTF: "},
                           {*vokLWNZPhysLocInterface::getInstance(), "DEBUG LWNZPL_INTF: "}};
    startFirstPlatform();
    provide(secondLibrary);
    for (const auto& each : platforms) {
        vokPhysLocInterface& interface = each.interface;
        ASSERT_TRUE(interface.Initialize());
        const std::string module = each.module;
        for (const std::string address : {"0000:3b:00.", "0000:3b:00.00"}) {
            const std::string tail = " controller PCI address is invalid. ([" + address + "])";
            expectUnknown([&] { return interface.getPhysLocForIOSlot(address); }, module + "I/O" + tail);
            expectUnknown([&] { return interface.getPhysLocForNetworkAdapter(address); },
                          module + "Network" + tail);
            expectUnknown([&] { return interface.getPhysLocForExternalDrive(address); },
                          module + "Storage" + tail);
            EXPECT_EQ(interface.getPCIeSlotForIOSlot(address), "0");
            EXPECT_EQ(interface.checkIfPCICardIsOnBoard(address), -4);
            EXPECT_EQ(countLogged(host, module + "I/O" + tail), 3);
            std::string location = "as it was";
            EXPECT_EQ(interface.getChassisLocationForIOSlot(address, location), -1);
            EXPECT_EQ(location, "as it was");
            EXPECT_EQ(countLogged(host, module + "I/O" + tail), 4);
            expectUnknown([&] { return interface.getPhysLocForChassisDriveSlot(address, 1); },
                          module + "Storage" + tail);
            expectUnknown([&] { return interface.getPhysLocForChassisStorageBackplane(address, 1); },
                          module + "Storage" + tail);
            EXPECT_EQ(countLogged(host, module + "Storage" + tail), 3);
        }
    }
}

// --- the first platform ---

TEST_F(PhysLocUnits, FirstPlatformSlot) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForIOSlot("0000:3b:00.0"); }),
              (Record{3, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 3, 0, 0, 0, 0}));
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: PCI address [0000:3b:00.0]: [3] - {001, 05, 2, 03, NA} - PL: "
               "[00000000000012AB]"));
}

TEST_F(PhysLocUnits, FirstPlatformEthernetAdapterInASlotIsASlot) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForNetworkAdapter("0000:3b:00.0"); }),
              (Record{3, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 3, 0, 0, 0, 0}));
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: PCI address [0000:3b:00.0]: [3] - {001, 05, 2, 03, NA} - PL: "
               "[00000000000012AB]"));
}

TEST_F(PhysLocUnits, FirstPlatformEthernetAdapterOnBoardHasItsFunctionAsSubLocation) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForNetworkAdapter("0000:18:00.1"); }),
              (Record{59, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: PCI address [0000:18:00.1]: [59] - {001, 05, 2, 00, 1} - PL: "
               "[00000000000012AB]"));
}

TEST_F(PhysLocUnits, FirstPlatformExternalDrive) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForExternalDrive("0000:5e:00.0"); }),
              (Record{69, 0, 0, 0, 1, 5, 0, 0, 1, 0, 0, 7, 0, 0, 0, 0}));
}

TEST_F(PhysLocUnits, FirstPlatformDriveBayReplacesTheSlotAndTheSlotIsTheSubLocation) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForChassisDriveSlot("0000:5e:00.0", 1); }),
              (Record{56, 0, 0, 0, 1, 5, 0, 0, 1, 0, 0, 1, 0, 7, 0, 0}));
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForChassisDriveSlot("0000:5e:00.0", 10); }),
              (Record{56, 0, 0, 0, 1, 5, 0, 0, 1, 0, 0, 10, 0, 7, 0, 0}));
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: PCI address [0000:5e:00.0]: [56] - {001, 05, 1, 10, 07} - PL: "
               "[00000000000012AB]"));
}

TEST_F(PhysLocUnits, FirstPlatformBaysAreOneToTen) {
    vokPhysLocInterface& interface = first();
    for (const int bay : {0, 11, -1, 2147483647})
        expectUnknown([&] { return interface.getPhysLocForChassisDriveSlot("0000:5e:00.0", bay); },
                      "DEBUG TQPL_INTF: Invalid internal drive bay # [" + std::to_string(bay) +
                          "] for physical location encoding at PCI address [0000:5e:00.0].");
}

TEST_F(PhysLocUnits, FirstPlatformBackplanesAreBoxesOneAndTwo) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForChassisStorageBackplane("0000:5e:00.0", 1); }),
              (Record{64, 0, 0, 0, 1, 5, 0, 0, 1, 0, 0, 7, 0, 1, 0, 0}));
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForChassisStorageBackplane("0000:5e:00.0", 2); }),
              (Record{64, 0, 0, 0, 1, 5, 0, 0, 1, 0, 0, 7, 0, 2, 0, 0}));
    for (const int box : {0, 3, -1})
        expectUnknown([&] { return interface.getPhysLocForChassisStorageBackplane("0000:5e:00.0", box); },
                      "DEBUG TQPL_INTF: Invalid box number [" + std::to_string(box) +
                          "] for storage backplane connected to PCI address [0000:5e:00.0].");
}

// --- the second platform ---

TEST_F(PhysLocUnits, SecondPlatformSlot) {
    vokPhysLocInterface& interface = second();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForIOSlot("0000:3b:00.0"); }),
              (Record{3, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0}));
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForNetworkAdapter("0000:3b:00.0"); }),
              (Record{3, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0}));
}

TEST_F(PhysLocUnits, SecondPlatformEthernetAdapterOnBoardHasItsFunctionAsSubLocation) {
    vokPhysLocInterface& interface = second();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForNetworkAdapter("0000:18:00.1"); }),
              (Record{48, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_TRUE(
        logged("DEBUG LWNZPL_INTF: PCI address [0000:18:00.1]: [48] - {001, 02, 00, 1} - PL: "
               "[00000000000012AB]"));
}

TEST_F(PhysLocUnits, SecondPlatformExternalDrive) {
    vokPhysLocInterface& interface = second();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForExternalDrive("0000:5e:00.0"); }),
              (Record{61, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0}));
}

TEST_F(PhysLocUnits, SecondPlatformBaysAreZeroToThreeWithAnEmptySubLocation) {
    vokPhysLocInterface& interface = second();
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForChassisDriveSlot("0000:5e:00.0", 0); }),
              (Record{45, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(recordOf([&] { return interface.getPhysLocForChassisDriveSlot("0000:5e:00.0", 3); }),
              (Record{45, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0}));
    EXPECT_TRUE(logged(
        "DEBUG LWNZPL_INTF: PCI address [0000:5e:00.0]: [45] - {001, 02, 3, } - PL: [00000000000012AB]"));
    for (const int bay : {4, -1})
        expectUnknown([&] { return interface.getPhysLocForChassisDriveSlot("0000:5e:00.0", bay); },
                      "DEBUG LWNZPL_INTF: Invalid internal drive bay # [" + std::to_string(bay) +
                          "] for physical location encoding at PCI address [0000:5e:00.0].");
}

TEST_F(PhysLocUnits, SecondPlatformIgnoresTheBoxNumber) {
    vokPhysLocInterface& interface = second();
    for (const int box : {0, 1, 99, -1})
        EXPECT_EQ(
            recordOf([&] { return interface.getPhysLocForChassisStorageBackplane("0000:5e:00.0", box); }),
            (Record{53, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0}))
            << box;
    EXPECT_TRUE(logged(
        "DEBUG LWNZPL_INTF: PCI address [0000:5e:00.0]: [53] - {001, 02, 07, NA} - PL: [00000000000012AB]"));
}

// --- GeoIDs that are missing or have the other platform's form ---

TEST_F(PhysLocUnits, AFunctionWithoutAGeoIDHasNoElements) {
    vokPhysLocInterface& interface = first();
    const std::string failed =
        "DEBUG TQPL_INTF: Failed to determine physical location for PCI address [0000:00:17.0]. (0, [])";
    expectUnknown([&] { return interface.getPhysLocForIOSlot("0000:00:17.0"); }, failed);
    expectUnknown([&] { return interface.getPhysLocForExternalDrive("0000:00:17.0"); }, failed);
    EXPECT_EQ(countLogged(host, failed), 2);
    const std::string split =
        "DEBUG TQPL_INTF: Unexpected GeoID split size [0] at PCI address [0000:00:17.0] for ";
    expectUnknown([&] { return interface.getPhysLocForNetworkAdapter("0000:00:17.0"); },
                  split + "network adapter.");
    expectUnknown([&] { return interface.getPhysLocForChassisDriveSlot("0000:00:17.0", 1); },
                  split + "chassis drive slot.");
    expectUnknown([&] { return interface.getPhysLocForChassisStorageBackplane("0000:00:17.0", 1); },
                  split + "storage backplane.");
    EXPECT_EQ(interface.getPCIeSlotForIOSlot("0000:00:17.0"), "0");
    EXPECT_TRUE(logged("DEBUG TQPL_INTF: PCI address: [0000:00:17.0]; GeoID split size: [0]; Slot #: [0]"));
    EXPECT_EQ(interface.checkIfPCICardIsOnBoard("0000:00:17.0"), -4);
    std::string location = "as it was";
    EXPECT_EQ(interface.getChassisLocationForIOSlot("0000:00:17.0", location), -2);
    EXPECT_EQ(location, "as it was");
    EXPECT_TRUE(logged(split + "chassis location."));
}

TEST_F(PhysLocUnits, TheBayIsCheckedBeforeTheGeoIDAndTheBoxAfterIt) {
    vokPhysLocInterface& interface = first();
    interface.getPhysLocForChassisDriveSlot("0000:00:17.0", 0);
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: Invalid internal drive bay # [0] for physical location encoding at PCI "
               "address [0000:00:17.0]."));
    EXPECT_FALSE(
        logged("DEBUG TQPL_INTF: Unexpected GeoID split size [0] at PCI address [0000:00:17.0] for chassis "
               "drive slot."));
    interface.getPhysLocForChassisStorageBackplane("0000:00:17.0", 0);
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: Unexpected GeoID split size [0] at PCI address [0000:00:17.0] for storage "
               "backplane."));
    EXPECT_FALSE(
        logged("DEBUG TQPL_INTF: Invalid box number [0] for storage backplane connected to PCI address "
               "[0000:00:17.0]."));
}

// The split has three elements because the machine is of the second family.
TEST_F(PhysLocUnits, AGeoIDOfThreeElementsHasNoLocationOnTheFirstPlatform) {
    startSecondPlatform();
    provide(firstLibrary);
    vokPhysLocInterface& interface = *vokTQPhysLocInterface::getInstance();
    ASSERT_TRUE(interface.Initialize());
    expectUnknown(
        [&] { return interface.getPhysLocForIOSlot("0000:3b:00.0"); },
        "DEBUG TQPL_INTF: Failed to determine physical location for PCI address [0000:3b:00.0]. (3, "
        "[001 02 03])");
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0000:5e:00.0"), -2);
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: Split size of either or both GeoIDs are invalid [3, 3], at PCI addresses "
               "[0000:3b:00.0, 0000:5e:00.0], respectively."));
    EXPECT_EQ(interface.getPCIeSlotForIOSlot("0000:3b:00.0"), "0");
    EXPECT_TRUE(logged("DEBUG TQPL_INTF: PCI address: [0000:3b:00.0]; GeoID split size: [3]; Slot #: [0]"));
}

TEST_F(PhysLocUnits, AGeoIDOfFourElementsHasNoLocationOnTheSecondPlatform) {
    startFirstPlatform();
    provide(secondLibrary);
    vokPhysLocInterface& interface = *vokLWNZPhysLocInterface::getInstance();
    ASSERT_TRUE(interface.Initialize());
    const std::string split =
        "DEBUG LWNZPL_INTF: Unexpected GeoID split size [4] at PCI address [0000:3b:00.0] for ";
    expectUnknown([&] { return interface.getPhysLocForNetworkAdapter("0000:3b:00.0"); },
                  split + "network adapter.");
    expectUnknown([&] { return interface.getPhysLocForChassisDriveSlot("0000:3b:00.0", 1); },
                  split + "chassis drive slot.");
    expectUnknown([&] { return interface.getPhysLocForChassisStorageBackplane("0000:3b:00.0", 1); },
                  split + "storage backplane.");
    EXPECT_EQ(interface.getPCIeSlotForIOSlot("0000:3b:00.0"), "0");
}

TEST_F(PhysLocUnits, TheSecondPlatformDoesNotLogAChassisWithAWrongSplit) {
    vokPhysLocInterface& interface = second();
    std::string location = "as it was";
    const auto before = loggedLines(host).size();
    EXPECT_EQ(interface.getChassisLocationForIOSlot("0000:00:17.0", location), -2);
    EXPECT_EQ(location, "as it was");
    // The only line comes from the GeoID look-up.
    ASSERT_EQ(loggedLines(host).size(), before + 1);
    EXPECT_EQ(loggedLines(host).back(),
              "DEBUG VOK_UTILS: GeoID not available for PCI address [0000:00:17.0].");
}

// --- slots and chassis ---

TEST_F(PhysLocUnits, TheSlotIsTheLastElementWithItsLeadingZero) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(interface.getPCIeSlotForIOSlot("0000:5e:00.0"), "07");
    EXPECT_TRUE(logged("DEBUG TQPL_INTF: PCI address: [0000:5e:00.0]; GeoID split size: [4]; Slot #: [07]"));
    EXPECT_EQ(interface.getPCIeSlotForIOSlot("0000:18:00.0"), "00");
}

TEST_F(PhysLocUnits, TheSlotOfTheSecondPlatformToo) {
    vokPhysLocInterface& interface = second();
    EXPECT_EQ(interface.getPCIeSlotForIOSlot("0000:5e:00.0"), "07");
    EXPECT_TRUE(
        logged("DEBUG LWNZPL_INTF: PCI address: [0000:5e:00.0]; GeoID split size: [3]; Slot #: [07]"));
    EXPECT_EQ(interface.checkIfPCICardIsOnBoard("0000:18:00.0"), 2);
    EXPECT_EQ(interface.checkIfPCICardIsOnBoard("0000:5e:00.0"), 3);
}

TEST_F(PhysLocUnits, SlotZeroZeroIsOnBoardAndAnyOtherIsAnAddInCard) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(interface.checkIfPCICardIsOnBoard("0000:18:00.0"), 2);
    EXPECT_EQ(interface.checkIfPCICardIsOnBoard("0000:5e:00.0"), 3);
    EXPECT_EQ(interface.checkIfPCICardIsOnBoard("0000:86:00.0"), -4);  // an empty GeoID
}

TEST_F(PhysLocUnits, TheSameChassisMeansTheSameRackAndUnit) {
    vokPhysLocInterface& interface = first();
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0000:5e:00.0"), 2);
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0001:3b:00.0"), 1);
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0002:3b:00.0"), 1);
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0000:00:17.0"), -2);
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: Split size of either or both GeoIDs are invalid [4, 0], at PCI addresses "
               "[0000:3b:00.0, 0000:00:17.0], respectively."));
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:00:17.0", "0000:3b:00.0"), -2);
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("3b:00.0", "0000:3b:00.0"), -1);
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: Either or both PCI addresses specified are not valid. ([3b:00.0], "
               "[0000:3b:00.0])"));
}

TEST_F(PhysLocUnits, TheSameChassisOfTheSecondPlatformMeansTheSameRackAndInstance) {
    vokPhysLocInterface& interface = second();
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0000:5e:00.0"), 2);
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0001:3b:00.0"), 1);
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0002:3b:00.0"), 1);
    EXPECT_EQ(interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0000:00:17.0"), -2);
}

TEST_F(PhysLocUnits, AChassisIsNamedByRackAndUnit) {
    vokPhysLocInterface& interface = first();
    std::string location;
    EXPECT_EQ(interface.getChassisLocationForIOSlot("0000:3b:00.0", location), 0);
    EXPECT_EQ(location, "r001u05");
}

TEST_F(PhysLocUnits, AChassisOfTheSecondPlatformIsNamedByRackAndInstance) {
    vokPhysLocInterface& interface = second();
    std::string location;
    EXPECT_EQ(interface.getChassisLocationForIOSlot("0000:3b:00.0", location), 0);
    EXPECT_EQ(location, "r001i02");
}

}  // namespace
}  // namespace vokPhysLocUnitsTest
