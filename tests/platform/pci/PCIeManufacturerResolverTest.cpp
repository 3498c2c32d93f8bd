#include "platform/pci/PCIeManufacturerResolver.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "platform/access/vokRootedHostAccess.h"
#include "platform/places/PhysLocFixture.h"
#include "platform/utils/platformCheck.h"
#include "support/FakeCommands.h"

namespace PCIeManufacturerResolverTest {
namespace {

constexpr char lookUpCommand[] =
    "cat /opt/mev/vok/data/vok_hwlist.txt | awk '/0000:3b:00.0:/,/^$/' | grep -w 'SubVendor ID' | awk "
    "'{print "
    "$3}'";
constexpr char inSlot[] = "0000:3b:00.0";
constexpr char onBoard[] = "0000:18:00.0";

class ManufacturerResolver : public PhysLocTest {
protected:
    std::string fetch(const std::string& address, const std::string& subVendorId) {
        std::string manufacturer = "previous content";
        PCIeManufacturerResolver::fetchManufacturer(address, subVendorId, manufacturer);
        return manufacturer;
    }
    std::string fetchFromOS(const std::string& address, const std::string& subVendorId) {
        std::string manufacturer;
        PCIeManufacturerResolver::fetchManufacturerFromOS(address, subVendorId, manufacturer);
        return manufacturer;
    }
    std::string subVendor(const std::string& address) {
        std::string id;
        PCIeManufacturerResolver::getSubvendorID(address, id);
        return id;
    }

    FakeCommands& commands = host.part<FakeCommands>();
};

// Commands start, and reading their output fails.
class UnreadableOutput : public FakeCommands {
public:
    FILE* open(const std::string&) override { return std::fopen("/", "r"); }
    int close(FILE* stream) override { return std::fclose(stream); }
};

constexpr char noMapping[] = "DEBUG MFR: Unable to fetch manufacturer name for PCI Subsystem Vendor ID : ";

TEST_F(ManufacturerResolver, AnOnBoardDeviceHasTheSystemManufacturerWhateverItsSubsystemVendorIs) {
    startFirstPlatform();
    EXPECT_EQ(fetch(onBoard, "0x1077"), "Maker of Racks");
    EXPECT_TRUE(commands.texts().empty());
}

TEST_F(ManufacturerResolver, AnUnknownSystemManufacturerIsLogged) {
    startFirstPlatform();
    host.root.writeFile(SmBiosTable::deviceFile, "");
    platformCheck::setDirectoryPath();
    EXPECT_EQ(fetch(onBoard, "0x1077"), "");
    EXPECT_TRUE(logged("DEBUG MFR: Unable to fetch manufacturer name for OnBoard cards"));
}

TEST_F(ManufacturerResolver, AnAddInCardHasTheNameOfItsSubsystemVendor) {
    startFirstPlatform();
    EXPECT_EQ(fetch(inSlot, "1077"), "QLogic Corp.");
    EXPECT_EQ(fetch(inSlot, "0x1077"), "QLogic Corp.");
    EXPECT_EQ(fetch(inSlot, "0X1077"), "QLogic Corp.");
    EXPECT_TRUE(commands.texts().empty());
}

TEST_F(ManufacturerResolver, AnyTextOtherThanSixCharactersWithThePrefixIsLookedUpUnchanged) {
    startFirstPlatform();
    EXPECT_EQ(fetch(inSlot, "0x107"), "");
    EXPECT_EQ(fetch(inSlot, "0x01077"), "");
    EXPECT_EQ(fetch(inSlot, "1077 "), "");
    EXPECT_EQ(fetch(inSlot, "x1077"), "");
    EXPECT_EQ(fetch(inSlot, "1x1077"), "");
    EXPECT_EQ(fetch(inSlot, "001077"), "");
}

TEST_F(ManufacturerResolver, AnIdInCapitalsIsNotFound) {
    startFirstPlatform();
    EXPECT_EQ(fetch(inSlot, "0x10df"), "Emulex Corporation");
    EXPECT_EQ(fetch(inSlot, "0x10DF"), "");
}

TEST_F(ManufacturerResolver, AnUnknownIdYieldsNoNameAndIsLogged) {
    startFirstPlatform();
    EXPECT_EQ(fetch(inSlot, "0x000f"), "");
    EXPECT_TRUE(logged(std::string(noMapping) + "0x000f as there is no mapping vendor information."));
    EXPECT_EQ(fetch(inSlot, "0019a"), "");
    EXPECT_TRUE(logged(std::string(noMapping) + "0x019a as there is no mapping vendor information."));
}

TEST_F(ManufacturerResolver, WithoutAnIdTheHardwareListIsSearchedOnce) {
    startFirstPlatform();
    commands.output[lookUpCommand] = "0x1077\n";
    EXPECT_EQ(fetch(inSlot, ""), "QLogic Corp.");
    EXPECT_EQ(commands.texts(), std::vector<std::string>{lookUpCommand});
}

TEST_F(ManufacturerResolver, TheIdOfTheHardwareListIsInTheMessage) {
    startFirstPlatform();
    commands.output[lookUpCommand] = "0xabc0\n";
    EXPECT_EQ(fetch(inSlot, ""), "");
    EXPECT_TRUE(logged(std::string(noMapping) + "0xabc0 as there is no mapping vendor information."));
    EXPECT_EQ(commands.texts().size(), 1u);
}

TEST_F(ManufacturerResolver, WithoutAnyIdTheMessageHasZero) {
    startFirstPlatform();
    EXPECT_EQ(fetch(inSlot, ""), "");
    EXPECT_TRUE(logged(std::string(noMapping) + "0x0000 as there is no mapping vendor information."));
}

TEST_F(ManufacturerResolver, ADeviceWithoutAGeoIDHasNoManufacturer) {
    startFirstPlatform();
    EXPECT_EQ(fetch("0000:00:17.0", "0x1077"), "");
    EXPECT_TRUE(
        logged("DEBUG MFR: Unable to fetch manufacturer name for PCI device : 0000:00:17.0 as it is neither "
               "OnBoard nor Add-in device"));
}

TEST_F(ManufacturerResolver, AMalformedAddressHasNoManufacturer) {
    startFirstPlatform();
    EXPECT_EQ(fetch("NotAvailable", "0x1077"), "");
    EXPECT_TRUE(
        logged("DEBUG MFR: Unable to fetch manufacturer name for PCI device : NotAvailable as it is neither "
               "OnBoard nor Add-in device"));
    EXPECT_TRUE(commands.texts().empty());
}

TEST_F(ManufacturerResolver, ADomainOfFiveDigitsDoesNotMatchItsLastFour) {
    startFirstPlatform();
    EXPECT_EQ(fetch("10000:3b:00.0", "0x1077"), "");
    EXPECT_EQ(fetch("10000:18:00.0", "0x1077"), "");
    EXPECT_TRUE(
        logged("DEBUG MFR: Unable to fetch manufacturer name for PCI device : 10000:18:00.0 as it is neither "
               "OnBoard nor Add-in device"));
}

TEST_F(ManufacturerResolver, OnAnUnknownPlatformNoDeviceHasAManufacturer) {
    start(SmBiosTable().addSystem("Maker", "Other").addSlot("r001u05p2i03", inSlot).addEnd());
    EXPECT_EQ(fetch(inSlot, "0x1077"), "");
    EXPECT_TRUE(
        logged("DEBUG MFR: Unable to fetch manufacturer name for PCI device : 0000:3b:00.0 as it is neither "
               "OnBoard nor Add-in device"));
}

TEST_F(ManufacturerResolver, FromTheOSAGivenIdIsNotSearchedFor) {
    EXPECT_EQ(fetchFromOS(inSlot, "0x1077"), "QLogic Corp.");
    EXPECT_EQ(fetchFromOS(inSlot, "000f"), "");
    EXPECT_TRUE(commands.texts().empty());
    commands.output[lookUpCommand] = "0x10df\n";
    EXPECT_EQ(fetchFromOS(inSlot, ""), "Emulex Corporation");
}

TEST_F(ManufacturerResolver, TheSubsystemVendorIsTheFirstLineTrimmed) {
    commands.output[lookUpCommand] = "  0x1077 \n0x10df\n";
    EXPECT_EQ(subVendor(inSlot), "0x1077");
}

TEST_F(ManufacturerResolver, NoOutputMeansNoSubsystemVendorAndNoError) {
    EXPECT_EQ(subVendor(inSlot), "");
    EXPECT_TRUE(loggedLines(host).empty());
}

TEST_F(ManufacturerResolver, ACommandThatCanNotStartIsAnError) {
    commands.failToStart = true;
    EXPECT_EQ(subVendor(inSlot), "");
    EXPECT_TRUE(
        logged("ERROR MFR: Error(Resource temporarily unavailable) occurred in identifying SubVendor id for "
               "0000:3b:00.0"));
}

TEST(ManufacturerResolverOutput, OutputThatCanNotBeReadIsAnError) {
    const FakeHost host;
    host.add<UnreadableOutput>();
    logEverything(host);
    std::string id = "what was there before";
    PCIeManufacturerResolver::getSubvendorID(inSlot, id);
    EXPECT_EQ(id, "");
    EXPECT_TRUE(hasLogged(
        host, "ERROR MFR: Error(Is a directory) occurred in identifying SubVendor id for 0000:3b:00.0"));
}

// Through the real shell, awk and grep.
TEST(ManufacturerResolverOutput, OnlyTheBlockWhoseHeadIsTheAddressIsRead) {
    const TemporaryDirectory directory;
    directory.writeFile(
        "opt/mev/vok/data/vok_hwlist.txt",
        "0000:00:1c.0:\n   Address: 0000:00:1c.0\n   Slot Description: above 0000:3b:00.0\n"
        "   Vendor ID: 0x8086\n   SubVendor ID: 0x1111\n   SubDevice ID: 0x2222\n\n"
        "0000:3b:00.0:\n   Address: 0000:3b:00.0\n   Vendor ID: 0x8086\n   Device ID: 0x1528\n"
        "   SubVendor ID: 0x1077\n   SubDevice ID: 0x0001\n\n"
        "0000:3b:00.1:\n   Address: 0000:3b:00.1\n   SubDevice ID: 0x0001\n\n"
        "0000:5e:00.0:\n   Address: 0000:5e:00.0\n   SubVendor ID: 0x10df");
    vokSetHostAccess(std::make_unique<vokRootedHostAccess>(directory.path()));
    const auto idOf = [](const char* address) {
        std::string id = "what was there before";
        PCIeManufacturerResolver::getSubvendorID(address, id);
        return id;
    };
    EXPECT_EQ(idOf("0000:3b:00.0"), "0x1077");
    EXPECT_EQ(idOf("0000:3b:00.1"), "");  // a block without the id: not that of the next block
    EXPECT_EQ(idOf("0000:5e:00.0"), "0x10df");
    EXPECT_EQ(idOf("0000:99:00.0"), "");
}

TEST_F(ManufacturerResolver, OnlyAPciAddressIsPutIntoTheAwkProgram) {
    for (const std::string address : {"", "NotAvailable", "0000:3b:00.0'; reboot; '",
                                      "0000:3b:00.0/{system(\"x\")}", ".*", "000:3b:00.0"}) {
        EXPECT_EQ(subVendor(address), "");
        EXPECT_TRUE(logged("WARNING MFR: Not a PCI address, not looked up : " + address)) << address;
    }
    EXPECT_TRUE(commands.texts().empty());
}

TEST(PCIVendorsMap, HoldsTheVendorsOfThePublicList) {
    EXPECT_GT(vokPCIVendorsMap.size(), 2000u);
    const auto name = [](const char* id) {
        const auto found = vokPCIVendorsMap.find(id);
        return found == vokPCIVendorsMap.end() ? std::string("none") : found->second;
    };
    EXPECT_EQ(name("0014"), "Loongson Technology LLC");
    EXPECT_EQ(name("1077"), "QLogic Corp.");
    EXPECT_EQ(name("10df"), "Emulex Corporation");
    EXPECT_EQ(name("8086"), "Intel Corporation");
    EXPECT_EQ(name("ffff"), "Illegal Vendor ID");
    EXPECT_EQ(name("1002"), "Advanced Micro Devices, Inc. [AMD/ATI]");
    EXPECT_EQ(name("1507"), "Motorola ?? / HTEC");
    EXPECT_EQ(name("1c63"), "Science and Research Centre of Computer Technology (JSC \"NICEVT\")");
}

// Names that the compiler or the script could misinterpret.
TEST(PCIVendorsMap, ANameMayHoldAnySpecialCharacter) {
    const TemporaryDirectory directory;
    directory.writeFile("pci.ids",
                        "#\n# 0000  a comment\n\n"
                        "0001  Plain; with a semicolon\n"
                        "\t0002  a device\n"
                        "\t\t0003 0004  a subsystem\n"
                        "0a0b  \\\"[open ${X} @X@ %d\\\r\n"
                        "00ff  ]?\?/ ?\?= K\xc3\xb6ln  two  blanks\n"
                        "C 01  a class\n"
                        "\t00  a subclass\n");
    const std::string output = directory.path() + "/map.cpp";
    const std::string command = "'" VOK_CMAKE "' -DPCI_IDS='" + directory.path() + "/pci.ids' -DOUTPUT='" +
                                output + "' -P '" VOK_PCI_VENDORS_SCRIPT "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string text = directory.readFile("map.cpp");
    const std::string rows =
        "    {\"0001\", \"Plain; with a semicolon\"},\n"
        "    {\"0a0b\", \"\\\\\\\"[open ${X} @X@ %d\\\\\"},\n"
        "    {\"00ff\", \"]\\?\\?/ \\?\\?= K\xc3\xb6ln  two  blanks\"},\n"
        "};\n";
    EXPECT_NE(text.find("vendors[] = {\n" + rows), std::string::npos) << text;
}

TEST(PCIVendorsMap, AKeyIsFourLowerCaseDigitsAndNoNameIsEmpty) {
    for (const auto& [id, name] : vokPCIVendorsMap) {
        EXPECT_EQ(id.size(), 4u) << id;
        EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
        EXPECT_FALSE(name.empty()) << id;
        EXPECT_TRUE(std::none_of(name.begin(), name.end(), [](unsigned char c) { return std::iscntrl(c); }))
            << id;
    }
}

}  // namespace
}  // namespace PCIeManufacturerResolverTest
