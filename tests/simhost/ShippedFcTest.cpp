// The Fibre Channel adapters of the hosts that come with the project.
#include <gtest/gtest.h>
#include <algorithm>
#include <set>
#include <string>

#include "host/HostDescription.h"
#include "modules/fc/FcAdapters.h"
#include "modules/pci/PciFunctions.h"

namespace ShippedFcTest {
namespace {

using namespace simhost;

struct ShippedHost {
    const char* name;
    std::size_t ports;
    std::size_t firstLibrary;   // adapters that it lists
    std::size_t secondLibrary;  // likewise
    std::size_t reportedPorts;  // of the first adapter
};

class ShippedFibreChannel : public testing::TestWithParam<ShippedHost> {
protected:
    HostDescription host = readHostDescription(VOK_HOSTS "/" + std::string(GetParam().name) + ".json");
    const FcAdapters& adapters = host.part<FcAdapters>();
};

INSTANTIATE_TEST_SUITE_P(
    Hosts, ShippedFibreChannel,
    testing::Values(ShippedHost{"rack-node", 2, 2, 0, 1}, ShippedHost{"esxi8-node", 2, 1, 0, 2},
                    ShippedHost{"large", 112, 56, 28, 1}, ShippedHost{"blade-node", 2, 0, 2, 2},
                    ShippedHost{"blade-node-b", 2, 0, 2, 1}, ShippedHost{"foreign-node", 1, 1, 0, 1}),
    [](const auto& each) {
        std::string name = each.param.name;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

TEST_P(ShippedFibreChannel, HasAnAdapterForEachPortOfLocalcliOnAFibreChannelFunction) {
    std::set<std::string> listed;
    for (const FcAdapter& adapter : adapters.all)
        for (const std::string& port : adapter.ports) EXPECT_TRUE(listed.insert(port).second) << port;
    EXPECT_EQ(listed.size(), GetParam().ports);
    std::set<std::string> functions;
    for (const PciFunction& each : host.part<PciFunctions>().all)
        if (each.at("Device Class") == "0x0c04") functions.insert(formatPciAddress(each.address));
    for (const StorageAdapter& each : host.part<StorageAdapters>().all) {
        EXPECT_EQ(each.fibreChannel.has_value(), listed.count(each.name) == 1) << each.name;
        if (!each.fibreChannel) continue;
        const std::string address = each.description.substr(1, each.description.find(')') - 1);
        EXPECT_EQ(functions.erase(address), 1u) << each.name;
    }
    EXPECT_TRUE(functions.empty());
}

TEST_P(ShippedFibreChannel, HasItsLibrariesAndReportsItsPorts) {
    const auto ofLibrary = [this](std::size_t library) {
        return static_cast<std::size_t>(
            std::count_if(adapters.all.begin(), adapters.all.end(),
                          [library](const FcAdapter& each) { return each.library == library; }));
    };
    EXPECT_EQ(ofLibrary(0), GetParam().firstLibrary);
    EXPECT_EQ(ofLibrary(1), GetParam().secondLibrary);
    const FcAdapter& first = adapters.all.front();
    EXPECT_EQ(first.reportedPorts.value_or(static_cast<std::uint32_t>(first.ports.size())),
              GetParam().reportedPorts);
    for (const FcAdapter& each : adapters.all) {
        EXPECT_FALSE(each.manufacturer.empty()) << each.name;
        EXPECT_FALSE(each.model.empty()) << each.name;
        EXPECT_FALSE(each.serialNumber.empty()) << each.name;
    }
}

}  // namespace
}  // namespace ShippedFcTest
