#include "modules/pci/PciTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <filesystem>
#include <numeric>
#include <sstream>

#include "host/HostDescription.h"
#include "modules/pci/PciConfigSpace.h"
#include "support/TemporaryDirectory.h"

namespace PciTreeTest {

namespace fs = std::filesystem;
using namespace simhost;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

// A root port, two functions of a card behind it, a function of the root bus, and one of a volume management
// device's segment.
constexpr char described[] = R"({"pci":[
    {"Address":"0000:3a:00.0","Vendor ID":"0x8086","Device ID":"0x2030","SubVendor ID":"0x8086",
     "SubDevice ID":"0x0000","Device Class":"0x0604","Spawned Bus":"0x3b","linkWidth":16},
    {"Address":"0000:3b:00.0","Vendor ID":"0x10df","Device ID":"0xe300","SubVendor ID":"0x10df",
     "SubDevice ID":"0xe310","Device Class":"0x0c04","Programming Interface":"0x01","Revision ID":"0x30",
     "IRQ":"11","Interrupt Line":"0x0b","PCI Pin":"0x01","Module Name":"lpfc","Physical Slot":"3",
     "linkWidth":8,"vpd":{"productName":"Card","tags":{"PN":"P1","SN":"123"}}},
    {"Address":"0000:3b:00.1","Vendor ID":"0x10df","Device ID":"0xe300","Device Class":"0x0c04",
     "Module Name":"lpfc","Physical Slot":"3"},
    {"Address":"0000:00:1f.2","Vendor ID":"0x8086","Physical Slot":"3"},
    {"Address":"10000:00:02.0","Vendor ID":"0x8086","Physical Slot":"eight"}]})";

std::vector<PciFunction> functions(const std::string& text = described) {
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return parseHostDescription(value).part<PciFunctions>().all;
}

class PciTree : public testing::Test {
protected:
    PciTree() { layOutPciTree(sys(), functions()); }

    std::string sys() const { return directory.path() + "/sys"; }
    std::string device(const std::string& address, const std::string& attribute) const {
        return directory.readFile("sys/bus/pci/devices/" + address + "/" + attribute);
    }
    std::vector<std::string> names(const std::string& place) const {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(sys() + place))
            found.push_back(entry.path().filename().string());
        return found;
    }
    std::string target(const std::string& place) const { return fs::read_symlink(sys() + place).string(); }
    unsigned byte(const std::string& config, std::size_t at) const {
        return static_cast<unsigned char>(config.at(at));
    }

    TemporaryDirectory directory;
};

TEST_F(PciTree, HasALinkForEachFunctionToItsDirectoryBelowItsBridge) {
    EXPECT_THAT(names("/bus/pci/devices"),
                UnorderedElementsAre("0000:3a:00.0", "0000:3b:00.0", "0000:3b:00.1", "0000:00:1f.2",
                                     "10000:00:02.0"));
    EXPECT_EQ(target("/bus/pci/devices/0000:3b:00.1"),
              "../../../devices/pci0000:3a/0000:3a:00.0/0000:3b:00.1");
    EXPECT_EQ(target("/bus/pci/devices/0000:00:1f.2"), "../../../devices/pci0000:00/0000:00:1f.2");
    EXPECT_EQ(target("/bus/pci/devices/10000:00:02.0"), "../../../devices/pci10000:00/10000:00:02.0");
    EXPECT_EQ(fs::canonical(sys() + "/bus/pci/devices/0000:3b:00.0"),
              fs::canonical(sys()) / "devices/pci0000:3a/0000:3a:00.0/0000:3b:00.0");
}

TEST_F(PciTree, HasTheNumbersOfTheHardwareListAsAttributes) {
    EXPECT_EQ(device("0000:3b:00.0", "vendor"), "0x10df\n");
    EXPECT_EQ(device("0000:3b:00.0", "device"), "0xe300\n");
    EXPECT_EQ(device("0000:3b:00.0", "subsystem_vendor"), "0x10df\n");
    EXPECT_EQ(device("0000:3b:00.0", "subsystem_device"), "0xe310\n");
    EXPECT_EQ(device("0000:3b:00.0", "class"), "0x0c0401\n");
    EXPECT_EQ(device("0000:3b:00.0", "revision"), "0x30\n");
    EXPECT_EQ(device("0000:3b:00.0", "irq"), "11\n");
    EXPECT_EQ(device("0000:3b:00.0", "current_link_width"), "8\n");
}

TEST_F(PciTree, HasNoAttributeForWhatIsNotDescribed) {
    EXPECT_THAT(names("/bus/pci/devices/0000:00:1f.2"),
                UnorderedElementsAre("vendor", "irq", "revision", "config", "subsystem"));
}

TEST_F(PciTree, LinksAFunctionToItsBusAndItsDriver) {
    const std::string place = "/devices/pci0000:3a/0000:3a:00.0/0000:3b:00.0";
    EXPECT_EQ(target(place + "/subsystem"), "../../../../bus/pci");
    EXPECT_EQ(target(place + "/driver"), "../../../../bus/pci/drivers/lpfc");
    EXPECT_THAT(names("/bus/pci/drivers/lpfc"), UnorderedElementsAre("0000:3b:00.0", "0000:3b:00.1"));
    EXPECT_EQ(target("/bus/pci/drivers/lpfc/0000:3b:00.0"),
              "../../../../devices/pci0000:3a/0000:3a:00.0/0000:3b:00.0");
    EXPECT_THAT(names("/bus/pci/drivers"), ElementsAre("lpfc"));
}

TEST_F(PciTree, HasASlotForEachDeviceThatHasANumberAndTellsItsAddressWithoutTheFunction) {
    EXPECT_THAT(names("/bus/pci/slots"), UnorderedElementsAre("3", "3-1"));
    EXPECT_EQ(directory.readFile("sys/bus/pci/slots/3/address"), "0000:3b:00\n");
    EXPECT_EQ(directory.readFile("sys/bus/pci/slots/3-1/address"), "0000:00:1f\n");
}

TEST_F(PciTree, IsMadeAnewForAnotherHost) {
    directory.writeFile("sys/devices/system/node", "stays");
    layOutPciTree(sys(), functions(R"({"pci":[{"Address":"0000:01:00.0"}]})"));
    EXPECT_THAT(names("/bus/pci/devices"), ElementsAre("0000:01:00.0"));
    EXPECT_THAT(names("/bus/pci/slots"), ElementsAre());
    EXPECT_THAT(names("/devices"), UnorderedElementsAre("pci0000:01", "system"));
}

TEST_F(PciTree, BridgesInACircleEnd) {
    const auto circle = functions(R"({"pci":[
        {"Address":"0000:01:00.0","Device Class":"0x0604","Parent Device":"PCI 0:2:0:0"},
        {"Address":"0000:02:00.0","Device Class":"0x0604","Parent Device":"PCI 0:1:0:0"}]})");
    EXPECT_EQ(pciDevicePlace(circle[0], circle), "devices/pci0000:01/0000:01:00.0/0000:02:00.0/0000:01:00.0");
}

TEST_F(PciTree, HasAConfigurationSpaceThatAgreesWithTheAttributes) {
    const std::string config = device("0000:3b:00.0", "config");
    ASSERT_EQ(config.size(), 4096u);
    EXPECT_EQ(config.substr(0, 4), std::string("\xdf\x10\x00\xe3", 4));
    EXPECT_EQ(config.substr(8, 4), std::string("\x30\x01\x04\x0c", 4));  // revision, interface, class
    EXPECT_EQ(byte(config, 0x0e), 0u);                                   // an endpoint's header
    EXPECT_EQ(config.substr(0x2c, 4), std::string("\xdf\x10\x10\xe3", 4));
    EXPECT_EQ(config.substr(0x3c, 2), std::string("\x0b\x01", 2));
}

TEST_F(PciTree, HasAListOfCapabilitiesInTheConfigurationSpace) {
    const std::string config = device("0000:3b:00.0", "config");
    EXPECT_EQ(byte(config, 6) & 0x10, 0x10u);  // there is one
    EXPECT_EQ(byte(config, 0x34), 0x40u);
    EXPECT_EQ(config.substr(0x40, 2), "\x01\x48");  // power management
    EXPECT_EQ(config.substr(0x48, 2), "\x10\x84");  // PCI Express
    EXPECT_EQ(config.substr(0x84, 2), std::string("\x03\0", 2));
    EXPECT_EQ(byte(config, 0x48 + 2), 0x02u);          // version 2, an endpoint
    EXPECT_EQ(byte(config, 0x48 + 12), 8u << 4 | 3u);  // what the link can do
    EXPECT_EQ(byte(config, 0x48 + 18), 8u << 4 | 3u);  // and does
    const std::string conventional = device("0000:3b:00.1", "config");
    EXPECT_EQ(conventional.size(), 256u);
    EXPECT_EQ(conventional.substr(0x40, 2), std::string("\x01\0", 2));
}

TEST_F(PciTree, HasABridgesHeaderForABridge) {
    const std::string config = device("0000:3a:00.0", "config");
    EXPECT_EQ(byte(config, 0x0e), 1u);
    EXPECT_EQ(config.substr(0x18, 3), "\x3a\x3b\x3b");
    EXPECT_EQ(byte(config, 0x34), 0x40u);
    EXPECT_EQ(config.substr(0x40, 8), std::string("\x0d\x48\0\0\x86\x80\0\0", 8));  // its subsystem ids
    EXPECT_EQ(byte(config, 0x50), 0x10u);
    EXPECT_EQ(byte(config, 0x50 + 2), 0x42u);  // a root port
    EXPECT_EQ(byte(config, 0x50 + 18) | byte(config, 0x50 + 19) << 8, 16u << 4 | 3u);
}

TEST_F(PciTree, HasProductDataWithAChecksumWhereItIsDescribed) {
    const std::string vpd = device("0000:3b:00.0", "vpd");
    const std::string head(
        "\x82\x04\0Card\x90\x0f\0PN\x02P1SN\x03"
        "123RV\x01",
        24);
    EXPECT_EQ(vpd.substr(0, 24), head);
    ASSERT_EQ(vpd.size(), 26u);
    EXPECT_EQ(vpd[25], '\x78');
    const unsigned sum = std::accumulate(vpd.begin(), vpd.begin() + 25, 0u, [](unsigned so, char each) {
        return so + static_cast<unsigned char>(each);
    });
    EXPECT_EQ(sum & 0xff, 0u);
    EXPECT_FALSE(fs::exists(sys() + "/bus/pci/devices/0000:3b:00.1/vpd"));
}

}  // namespace
}  // namespace PciTreeTest
