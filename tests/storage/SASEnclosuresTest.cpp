// Which of the enclosures that the controllers report are one.
#include <gmock/gmock.h>

#include "storage/ScriptedStorage.h"
#include "storage/StorageFixture.h"

namespace SASEnclosuresTest {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using Enclosure = vokStorageEnclosureInfo;

constexpr char slot3[] = "0000:3b:00.0";
constexpr char slot7[] = "0000:5e:00.0";

Enclosure enclosureOf(const std::string& serial, const std::string& part = "", int bays = 4, int box = -1) {
    Enclosure enclosure;
    enclosure.setSerialNumber(serial);
    enclosure.setPartNumber(part);
    enclosure.setBayCount(bays);
    enclosure.setSegmentCount(1);
    enclosure.setBox(box);
    enclosure.setControllerPCILocation(slot3);
    enclosure.setEnclosureType(VOK_STORAGE_ENCLOSURE_CHASSIS_BACKPLANE);
    return enclosure;
}

class Collating : public StorageFixture {
protected:
    // "Box/BayCount/SegmentCount/PhysicalLocation" of each collated enclosure.
    std::vector<std::string> collated(std::vector<Enclosure> enclosures) {
        // The documents have the counts since the log is at the debug level.
        ScriptedFactory factory;
        const SASResourceManager::Factories registration(&factory);
        factory.add().enclosures = std::move(enclosures);
        SASResourceManager& manager = *SASResourceManager::getInstance();
        manager.cacheBuild();
        SASResourceManager::Factories::_registryList().clear();
        std::vector<Json::Value> documents;
        manager.getInventoryJsonObject2(4, documents);
        std::vector<std::string> texts;
        for (const Json::Value& document : documents) {
            const Json::Value& oem = document["Oem"];
            texts.push_back(oem["Box"].asString() + "/" + oem["BayCount"].asString() + "/" +
                            oem["SegmentCount"].asString() + "/" + oem["PhysicalLocation"].asString());
        }
        return texts;
    }
    bool managerLogged(const std::string& line) const { return hasLogged(host, "DEBUG SAS_RM: " + line); }
};

TEST_F(Collating, ABoxIsReadFromTheModelOnTheFirstPlatform) {
    start(firstFamily);
    Enclosure eight = enclosureOf("S1");
    eight.setModel("Backplane 8 SFF NVMe");
    Enclosure two = enclosureOf("S2");
    two.setModel("2 SFF");
    EXPECT_THAT(collated({eight, two}), ElementsAre("1/4/1/0000000000004003", "2/4/1/0000000000004003"));
}

TEST_F(Collating, AModelThatHoldsBothSizesIsInTheFirstBox) {
    start(firstFamily);
    Enclosure both = enclosureOf("S1");
    both.setModel("2 SFF of 8 SFF");
    EXPECT_THAT(collated({both}), ElementsAre("1/4/1/0000000000004003"));
}

TEST_F(Collating, TheBoxFromTheModelDecidesWhichAreOne) {
    start(firstFamily);
    Enclosure first = enclosureOf("");
    first.setModel("8 SFF");
    Enclosure second = enclosureOf("");
    second.setModel("Backplane 8 SFF");
    EXPECT_THAT(collated({first, second}), ElementsAre("1/8/2/0000000000004003"));
}

TEST_F(Collating, AModelWithoutItsSizeHasNoBoxAndAWarningSaysSo) {
    start(firstFamily);
    Enclosure other = enclosureOf("S1");
    other.setModel("Backplane 4 LFF");
    EXPECT_THAT(collated({other}), SizeIs(1));
    EXPECT_TRUE(hasLogged(
        host, "WARNING SAS_RM: Unable to determine box number. (Model: [Backplane 4 LFF], Bay count: [4])"));
}

TEST_F(Collating, ABoxThatIsKnownOrNotInTheChassisIsNotReadFromTheModel) {
    start(firstFamily);
    Enclosure known = enclosureOf("S1", "", 4, 2);
    known.setModel("8 SFF");
    Enclosure outside = enclosureOf("S2");
    outside.setModel("8 SFF");
    outside.setEnclosureType(VOK_STORAGE_ENCLOSURE_UNKNOWN);
    outside.setPhysicalLocation("as reported");
    EXPECT_THAT(collated({known, outside}), ElementsAre("2/4/1/0000000000004003", "-1/4/1/as reported"));
}

TEST_F(Collating, OnAnotherPlatformNoBoxIsReadFromTheModel) {
    start(secondFamily);
    Enclosure eight = enclosureOf("S1");
    eight.setModel("8 SFF");
    const auto found = collated({eight});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].substr(0, 7), "-1/4/1/");
    for (const std::string& line : loggedLines(host)) EXPECT_NE(line.rfind("WARNING SAS_RM", 0), 0u) << line;
}

TEST_F(Collating, TwoOfOneSerialNumberAreOneWithTheBaysOfBoth) {
    start(secondFamily);
    Enclosure second = enclosureOf("S1", "P2", 8);
    second.setEnclosureType(VOK_STORAGE_ENCLOSURE_UNKNOWN);
    Enclosure first = enclosureOf("S1", "P1");
    first.setEnclosureType(VOK_STORAGE_ENCLOSURE_UNKNOWN);
    EXPECT_THAT(collated({first, second}), ElementsAre("-1/12/2/"));
    EXPECT_TRUE(managerLogged("Detected new collated storage enclosure with SN [S1], PN [P1]: (4, 1)"));
    EXPECT_TRUE(managerLogged("Found matching collated enclosure based on serial number [S1]."));
    EXPECT_TRUE(managerLogged("Appended collated storage enclosure with SN [S1], PN [P1]: (12, 2)"));
}

TEST_F(Collating, ThreeConnectionsCountThreeSegments) {
    start(firstFamily);
    EXPECT_THAT(
        collated({enclosureOf("S1", "", 4, 1), enclosureOf("S1", "", 2, 1), enclosureOf("S1", "", 1, 1)}),
        ElementsAre("1/7/3/0000000000004003"));
}

TEST_F(Collating, AConnectionIsOneSegmentHoweverManyItReports) {
    start(firstFamily);
    Enclosure second = enclosureOf("S1", "", 4, 1);
    second.setSegmentCount(3);
    EXPECT_THAT(collated({enclosureOf("S1", "", 4, 1), second}), ElementsAre("1/8/2/0000000000004003"));
}

TEST_F(Collating, DifferentSerialNumbersAreDifferentEnclosuresWhateverElseIsEqual) {
    start(firstFamily);
    EXPECT_THAT(collated({enclosureOf("S1", "P", 4, 1), enclosureOf("S2", "P", 4, 1)}), SizeIs(2));
}

TEST_F(Collating, WithoutASerialNumberTheBoxDecides) {
    start(firstFamily);
    EXPECT_THAT(collated({enclosureOf("S1", "P1", 4, 1), enclosureOf("", "P2", 4, 1)}),
                ElementsAre("1/8/2/0000000000004003"));
    EXPECT_TRUE(managerLogged("Found matching collated enclosure based on box number [1]."));
}

TEST_F(Collating, WithoutASerialNumberAndWithAnotherBoxThePartNumberDecides) {
    start(firstFamily);
    EXPECT_THAT(collated({enclosureOf("", "P", 4, 1), enclosureOf("S2", "P", 4, 2)}), SizeIs(1));
    EXPECT_TRUE(managerLogged("Found matching collated enclosure based on part number [P]."));
}

TEST_F(Collating, UnknownBoxesAndEmptyPartNumbersMatchNothing) {
    start(firstFamily);
    EXPECT_THAT(collated({enclosureOf(""), enclosureOf("")}), SizeIs(2));
}

TEST_F(Collating, OnAnotherPlatformEqualPartNumbersWithoutASerialNumberDoNotCollate) {
    start(secondFamily);
    EXPECT_THAT(collated({enclosureOf("", "P", 4, 1), enclosureOf("", "P", 4, 1)}), SizeIs(2));
}

TEST_F(Collating, OnlyBackplanesInTheChassisAreMatchedByBoxAndPartNumber) {
    start(firstFamily);
    Enclosure outside = enclosureOf("", "P", 4, 1);
    outside.setEnclosureType(VOK_STORAGE_ENCLOSURE_UNKNOWN);
    EXPECT_THAT(collated({enclosureOf("", "P", 4, 1), outside}), SizeIs(2));
    EXPECT_THAT(collated({outside, enclosureOf("", "P", 4, 1)}), SizeIs(2));
    EXPECT_THAT(collated({outside, outside}), SizeIs(2));
}

TEST_F(Collating, ControllersOfOneChassisAreMatchedAcrossSlotsAndThoseOfAnotherOrUnknownAreNot) {
    start(firstFamily);
    Enclosure other = enclosureOf("", "P", 4, 1);
    other.setControllerPCILocation(slot7);
    EXPECT_THAT(collated({enclosureOf("", "P", 4, 1), other}), SizeIs(1));
    other.setControllerPCILocation("0000:86:00.0");
    EXPECT_THAT(collated({enclosureOf("", "P", 4, 1), other}), SizeIs(2)) << "in the next chassis";
    other.setControllerPCILocation("0000:99:00.0");
    EXPECT_THAT(collated({enclosureOf("", "P", 4, 1), other}), SizeIs(2));
}

TEST_F(Collating, TheWalkGoesOnToTheNextAfterOneThatDoesNotMatch) {
    start(firstFamily);
    EXPECT_THAT(
        collated({enclosureOf("S1", "", 4, 1), enclosureOf("S2", "", 4, 2), enclosureOf("S2", "", 4, 2)}),
        ElementsAre("1/4/1/0000000000004003", "2/8/2/0000000000004003"));
}

TEST_F(Collating, TheLocationOfABackplaneIsThatOfItsControllerAndBox) {
    start(firstFamily);
    collated({enclosureOf("S1", "P1", 4, 1)});
    EXPECT_TRUE(
        managerLogged("Storage backplane PL for chassis-internal enclosure with SN [S1], PN [P1], Box "
                      "[1]: (4, 1): 0000000000004003"));
}

TEST_F(Collating, TheLocationOfABackplaneIsAskedForWithTheBoxOfTheRecord) {
    start(firstFamily);
    EXPECT_THAT(collated({enclosureOf("S1", "", 4, 3), enclosureOf("S2", "", 4, 2)}),
                ElementsAre("3/4/1/FFFFFFFFFFFFFFFF", "2/4/1/0000000000004003"));
    EXPECT_TRUE(hasLogged(host,
                          "DEBUG TQPL_INTF: Invalid box number [3] for storage backplane connected to PCI "
                          "address [0000:3b:00.0]."));
}

}  // namespace
}  // namespace SASEnclosuresTest
