#include "rmc/report/Place.h"

#include <gtest/gtest.h>

#include "rmc/JsonMembers.h"
#include "rmc/report/Layout.h"

namespace ReportPlaceTest {

using namespace simhost;

namespace {

TEST(ReportPlace, AGeoIdIsFoundWithinADescription) {
    EXPECT_EQ(geoIdIn("PCI 0000:3b:00.0 r001u05p2i03"), "r001u05p2i03");
    EXPECT_EQ(geoIdIn("PCI 0000:b3:00.0 r001i02s04"), "r001i02s04");
}

TEST(ReportPlace, ADescriptionWithoutAGeoIdHasNone) {
    EXPECT_EQ(geoIdIn("PCI 0000:02:00.0 "), "");
    EXPECT_EQ(geoIdIn("xr001u05p2i03"), "");
    EXPECT_EQ(geoIdIn("r001u05p2i034"), "");
    EXPECT_EQ(geoIdIn(std::string(1 << 20, 'r')), "");
}

TEST(ReportPlace, AGeoIdOfTheFirstFamilyHasAPartition) {
    const auto place = placeOfGeoId("r001u05p2i03");
    ASSERT_TRUE(place);
    EXPECT_EQ(place->chassis, "r001u05");
    EXPECT_EQ(place->partition, "2");
    EXPECT_EQ(place->number, 3u);
    EXPECT_EQ(geoIdOf(*place), "r001u05p2i03");
    EXPECT_EQ(familyInWords(place->chassis), "first platform family");
}

TEST(ReportPlace, AGeoIdOfTheSecondFamilyHasNone) {
    const auto place = placeOfGeoId("r004i07s00");
    ASSERT_TRUE(place);
    EXPECT_EQ(place->chassis, "r004i07");
    EXPECT_EQ(place->partition, "");
    EXPECT_EQ(nameOf(*place), "On board");
    EXPECT_EQ(geoIdOf(*place), "r004i07s00");
    EXPECT_EQ(familyInWords(place->chassis), "second platform family");
}

TEST(ReportPlace, AMixtureOfBothFormsIsNone) {
    EXPECT_FALSE(placeOfGeoId("r001u05s03"));
    EXPECT_FALSE(placeOfGeoId("r001i05p2i03"));
}

TEST(ReportPlace, TheCodeOfASlotIsThatOfItsGeoId) {
    const auto place = placeOfCode("203A001B05C20300");
    ASSERT_TRUE(place);
    EXPECT_EQ(geoIdOf(*place), "r001u05p2i03");
    EXPECT_EQ(nameOf(*place), "Slot 03");
}

TEST(ReportPlace, TheCodeOfABayHasTheSlotOfItsController) {
    const auto place = placeOfCode("256A001B05C10703");
    ASSERT_TRUE(place);
    EXPECT_EQ(place->kind, Place::Kind::bay);
    EXPECT_EQ(nameOf(*place), "Bay 7");
    EXPECT_EQ(place->partition, "1");
    EXPECT_EQ(place->sub, 3u);
    EXPECT_EQ(geoIdOf(*place), "");
}

TEST(ReportPlace, TheCodeOfABladeHasNoPartition) {
    const auto place = placeOfCode("345A004B07C00200");
    ASSERT_TRUE(place);
    EXPECT_EQ(place->chassis, "r004i07");
    EXPECT_EQ(place->partition, "");
    EXPECT_EQ(place->number, 2u);
}

TEST(ReportPlace, AnyOtherCodeHasNone) {
    for (const char* code : {"", "FFFFFFFFFFFFFFFF", "203A001B05C2030", "203A001B05C203000",
                             "403A001B05C20300", "299A001B05C20300", "203B001B05C20300", "00000000000012AB"})
        EXPECT_FALSE(placeOfCode(code)) << code;
}

TEST(ReportPlace, AChassisIsNamedInWords) {
    EXPECT_EQ(chassisInWords("r001u05"), "rack 1, unit 5");
    EXPECT_EQ(chassisInWords("r012i02"), "rack 12, instance 2");
}

// --- layout ---

struct Laid {
    explicit Laid(const std::string& sections)
        : document(parsedJson("{\"HostDataCollection\":{" + sections + "}}")),
          devices(devicesOf(document)),
          layout(layOutDevices(devices)) {}
    Json::Value document;
    std::vector<Device> devices;
    Layout layout;
};

std::string drive(const std::string& serial, const std::string& slot, const std::string& code) {
    return R"({"Oem":{"PhysicalLocation":")" + code + R"(","Slot":")" + slot + R"("},"SerialNumber":")" +
           serial + R"(","Status":{"Health":"OK","State":"Online"}})";
}

std::string namesIn(const Bank& bank) {
    std::string names;
    for (const Cell& cell : bank.cells) {
        names += cell.name + "[";
        for (const Device* device : cell.devices) names += device->name + " ";
        names += "]";
    }
    return names;
}

TEST(ReportLayout, ASlotBelowTheLastKnownOneIsThereAndEmpty) {
    const Laid laid(
        R"("EthernetDevices":[{"Oem":{"Description":"PCI 0000:86:00.0 r001u05p2i03","DeviceName":"vmnic2"}},)"
        R"({"Oem":{"Description":"PCI 0000:86:00.1 r001u05p2i03","DeviceName":"vmnic3"}}])");
    ASSERT_EQ(laid.layout.chassis.size(), 1u);
    ASSERT_EQ(laid.layout.chassis[0].banks.size(), 1u);
    EXPECT_EQ(laid.layout.chassis[0].banks[0].name, "Slots, partition 2");
    EXPECT_EQ(namesIn(laid.layout.chassis[0].banks[0]), "Slot 01[]Slot 02[]Slot 03[vmnic2 vmnic3 ]");
}

TEST(ReportLayout, AControllerWithoutAGeoIdIsPlacedByItsCode) {
    const Laid laid(
        R"("StorageControllers":[{"Oem":{"Description":"PCI 0000:5e:00.0","PhysicalLocation":"203A001B05C20100"},)"
        R"("SerialNumber":"SK1"}])");
    ASSERT_EQ(laid.layout.chassis.size(), 1u);
    EXPECT_EQ(namesIn(laid.layout.chassis[0].banks[0]), "Slot 01[SK1 ]");
    EXPECT_EQ(laid.layout.chassis[0].banks[0].cells[0].geoId, "r001u05p2i01");
}

TEST(ReportLayout, ADriveWithABayCodeSitsInTheChassisAlsoIfItHasAnEnclosure) {
    const Laid laid("\"Drives\":[" + drive("A", "251:7", "256A001B05C10203") + "]");
    ASSERT_EQ(laid.layout.chassis.size(), 1u);
    EXPECT_EQ(namesIn(laid.layout.chassis[0].banks[0]), "Bay 1[]Bay 2[A ]");
    EXPECT_TRUE(laid.layout.enclosures.empty());
}

TEST(ReportLayout, ADriveWithAnEnclosureAndNoCodeSitsInTheEnclosure) {
    const Laid laid("\"Drives\":[" + drive("A", "252:0", unknownCode) + "," +
                    drive("B", "252:2", unknownCode) + "]");
    ASSERT_EQ(laid.layout.enclosures.size(), 1u);
    EXPECT_EQ(laid.layout.enclosures[0].name, "Enclosure 252");
    EXPECT_EQ(namesIn(laid.layout.enclosures[0]), "Slot 0[A ]Slot 1[]Slot 2[B ]");
    EXPECT_TRUE(laid.layout.unplaced.empty());
}

TEST(ReportLayout, EnclosuresOfTwoControllersWithTheSameNumberAreTwo) {
    const Laid laid(
        "\"Drives\":[" + drive("A", "252:0", unknownCode) + "," + drive("B", "252:0", unknownCode) +
        R"(],"Volumes":[{"Drives":["B"],"Oem":{"HostControllerPhysicalLocation":"203A001B05C20500"}}])");
    ASSERT_EQ(laid.layout.enclosures.size(), 2u);
    EXPECT_EQ(laid.layout.enclosures[0].name, "Enclosure 252");
    EXPECT_EQ(laid.layout.enclosures[1].name, "Enclosure 252, controller in r001u05, partition 2, Slot 05");
}

TEST(ReportLayout, AUnitWithNeitherIsWithoutAPlace) {
    const Laid laid("\"Drives\":[" + drive("A", "-1", unknownCode) + "]");
    EXPECT_TRUE(laid.layout.chassis.empty());
    ASSERT_EQ(laid.layout.unplaced.size(), 1u);
    EXPECT_EQ(laid.layout.unplaced[0]->name, "A");
}

TEST(ReportLayout, HugeSlotNumbersMakeNoEmptyCells) {
    const Laid laid("\"Drives\":[" + drive("A", "252:9999", unknownCode) + "," +
                    drive("B", "252:99999", unknownCode) + "]");
    ASSERT_EQ(laid.layout.enclosures.size(), 1u);
    EXPECT_EQ(laid.layout.enclosures[0].cells.size(), 1u);
    EXPECT_EQ(laid.layout.unplaced.size(), 1u);
}

TEST(ReportLayout, VolumesAreShownAtTheSlotOfTheirController) {
    const Laid laid(
        R"("Volumes":[{"Oem":{"HostControllerPhysicalLocation":"203A001B05C20500"},"VolumeType":"RAID5"}])");
    ASSERT_EQ(laid.layout.chassis.size(), 1u);
    EXPECT_EQ(laid.layout.chassis[0].banks[0].shape, Bank::Shape::volumes);
    EXPECT_EQ(namesIn(laid.layout.chassis[0].banks[0]), "At slot 05[RAID5 ]");
}

Condition conditionFor(const std::string& state, const std::string& health) {
    return conditionOf(parsedJson(R"({"Status":{"Health":")" + health + R"(","State":")" + state + "\"}}"));
}

TEST(ReportCondition, IsThatOfTheHealthAndOfAHealthyUnitThatOfItsState) {
    EXPECT_EQ(conditionFor("Failed", "Critical"), Condition::critical);
    EXPECT_EQ(conditionFor("Bypassed", "Warning"), Condition::warning);
    EXPECT_EQ(conditionFor("Online", "OK"), Condition::ok);
    EXPECT_EQ(conditionFor("Optimal", "OK"), Condition::ok);
    EXPECT_EQ(conditionFor("Running", "OK"), Condition::ok);
    EXPECT_EQ(conditionFor("Linkdown", "OK"), Condition::down);
    EXPECT_EQ(conditionFor("Unknown", "Unknown"), Condition::unknown);
    EXPECT_EQ(conditionOf(parsedJson(R"({"Status":[1]})")), Condition::unknown);
}

}  // namespace

}  // namespace ReportPlaceTest
