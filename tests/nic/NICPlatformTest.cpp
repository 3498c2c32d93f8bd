// Ethernet adapters on machines whose firmware names the locations of their slots.
#include <gmock/gmock.h>
#include <json/reader.h>

#include "nic/NICFixture.h"
#include "platform/places/PhysLocFixture.h"
#include "support/FakeLibraries.h"

namespace NICPlatformTest {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class EthernetPlaces : public NICFixture {
protected:
    EthernetPlaces() {
        const auto others = commands.onCommand;
        commands.onCommand = [this, others](const std::string& command, int& status) -> std::string {
            if (command.find("grep -w 'SubVendor ID:") != std::string::npos)
                return "   SubVendor ID: 0x8086\n   SubDevice ID: 0x0001\n";
            if (command.find("grep -w 'SubVendor ID'") != std::string::npos) return "0x8086\n";
            if (command.find("grep -w 'Vendor ID:") != std::string::npos)
                return "   Vendor ID: 0x8086\n   Device ID: 0x1563\n";
            return others(command, status);
        };
    }
    void startFirstPlatform() {
        start(SmBiosTable()
                  .addSystem("Maker of Racks", firstFamily)
                  .addSlot("Slot r001u05p2i03", "0000:3b:00.0")
                  .addOnboardDevice("LAN r001u05p2i00", "0000:18:00.1")
                  .addEnd(),
              firstLibrary);
    }
    void startSecondPlatform(const char* family) {
        start(SmBiosTable()
                  .addSystem("Maker of Racks", family)
                  .addSlot("Slot r001i02s03", "0000:3b:00.0")
                  .addEnd(),
              secondLibrary);
    }
    void start(const SmBiosTable& table, const char* name) {
        host.root.writeFile(SmBiosTable::deviceFile, table.contents());
        platformCheck::setDirectoryPath();
        vokUtils::initializeSMBIOS();
        vokUtils::initGeoIDMap();
        host.part<FakeLibraries>().symbols[name] = {
            {"physloc_init_data", reinterpret_cast<void*>(LibraryCalls::initData)},
            {"physloc_encode", reinterpret_cast<void*>(LibraryCalls::encode)}};
    }
    // The inventory element of the only adapter, which is at this address.
    Json::Value elementAt(const char* address) {
        interfaces = {{"vmnic0", address}};
        manager.cacheBuild();
        const auto elements = inventory();
        EXPECT_THAT(elements, SizeIs(1));
        return elements.empty() ? Json::Value() : elements[0];
    }
    std::string descriptionOfTestEvent() {
        becomeReadyForEvents();
        manager.generateTestEvent(678, "00000000000012AB");
        const auto payloads = ipmi.remoteCommandPayloads();
        Json::Value event;
        EXPECT_THAT(payloads, SizeIs(1));
        EXPECT_TRUE(!payloads.empty() && Json::Reader().parse(payloads[0], event));
        return event["VariableData"]["Data"]["Oem"]["Description"].asString();
    }
    LibraryCalls& library = LibraryCalls::get();
};

TEST_F(EthernetPlaces, AnAddInAdapterHasTheLocationOfItsSlotAndItsSubsystemVendor) {
    startFirstPlatform();
    const Json::Value element = elementAt("0000:3b:00.0");
    EXPECT_EQ(element["Oem"]["Description"], "PCI 0000:3b:00.0 r001u05p2i03");
    EXPECT_EQ(element["Oem"]["PhysicalLocation"], "00000000000012AB");
    EXPECT_EQ(element["Manufacturer"], "Intel Corporation");
    EXPECT_EQ(element["Model"], "MEV 2-port 10GbE adapter, copper");
    EXPECT_EQ(element["PartNumber"], "MEV-1000-110A");
    EXPECT_EQ(element["SerialNumber"], "Not Available");
}

TEST_F(EthernetPlaces, AnOnBoardAdapterHasTheManufacturerOfTheMachine) {
    startFirstPlatform();
    const Json::Value element = elementAt("0000:18:00.1");
    EXPECT_EQ(element["Oem"]["Description"], "PCI 0000:18:00.1 r001u05p2i00");
    EXPECT_EQ(element["Oem"]["PhysicalLocation"], "00000000000012AB");
    EXPECT_EQ(element["Manufacturer"], "Maker of Racks");
}

TEST_F(EthernetPlaces, ASlotWithoutAGeoIdHasNoElementsToEncodeAndNoLocation) {
    startFirstPlatform();
    const Json::Value element = elementAt("0000:77:00.0");
    EXPECT_EQ(element["Oem"]["Description"], "PCI 0000:77:00.0 ");
    EXPECT_EQ(element["Oem"]["PhysicalLocation"], "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(element["Manufacturer"], "Not Available");
    EXPECT_THAT(library.records, IsEmpty());
    EXPECT_TRUE(hasLogged(
        host,
        "DEBUG TQPL_INTF: Unexpected GeoID split size [0] at PCI address [0000:77:00.0] for network "
        "adapter."));
}

TEST_F(EthernetPlaces, AnEventHasTheLocationOfItsAdapter) {
    startFirstPlatform();
    becomeReadyForEvents();
    elementAt("0000:3b:00.0");
    interfaces[0].linkStatus = "Down";
    manager.cacheBuild();
    const auto payloads = ipmi.remoteCommandPayloads();
    ASSERT_THAT(payloads, SizeIs(1));
    EXPECT_THAT(payloads[0], HasSubstr(R"("ID":1384,)"));
    EXPECT_THAT(payloads[0], HasSubstr(R"("PhysicalLocation":"00000000000012AB","Source":"VOK",)"));
}

// The resolver gets the stored id and runs no command.
TEST_F(EthernetPlaces, ASecondBuildDoesNotQueryTheHardwareListAgain) {
    startFirstPlatform();
    elementAt("0000:3b:00.0");
    const std::size_t first = commands.texts().size();
    EXPECT_EQ(elementAt("0000:3b:00.0")["Manufacturer"], "Intel Corporation");
    for (std::size_t i = first; i < commands.texts().size(); ++i)
        EXPECT_THAT(commands.texts()[i], Not(HasSubstr("SubVendor ID"))) << commands.texts()[i];
}

TEST_F(EthernetPlaces, TheSampleOfATestEventIsThatOfTheFirstPlatform) {
    startFirstPlatform();
    EXPECT_EQ(descriptionOfTestEvent(), "PCI 0000:c3:00.0 r001u01p0i00");
}

TEST_F(EthernetPlaces, TheSampleOfATestEventIsThatOfTheSecondPlatform) {
    startSecondPlatform(secondFamily);
    EXPECT_EQ(descriptionOfTestEvent(), "PCI 0000:c3:00.0 r001i01s00");
}

TEST_F(EthernetPlaces, TheSampleOfATestEventIsThatOfTheSecondPlatformsVariant) {
    startSecondPlatform(otherSecondFamily);
    EXPECT_EQ(descriptionOfTestEvent(), "PCI 0000:c3:00.0 r001i01s00");
}

}  // namespace
}  // namespace NICPlatformTest
