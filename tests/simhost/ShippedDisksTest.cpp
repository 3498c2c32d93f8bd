// The storage of the hosts that come with the project.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>

#include "host/HostDescription.h"
#include "modules/pci/PciFunctions.h"
#include "modules/storage/Disks.h"

namespace ShippedDisksTest {
namespace {

using namespace simhost;

struct ShippedHost {
    const char* name;
    std::size_t sataPorts;
    bool classic;
    std::size_t disks;
};

class ShippedStorage : public testing::TestWithParam<ShippedHost> {};

INSTANTIATE_TEST_SUITE_P(Hosts, ShippedStorage,
                         testing::Values(ShippedHost{"rack-node", 8, false, 7},
                                         ShippedHost{"esxi8-node", 8, true, 6},
                                         ShippedHost{"large", 8, false, 288},
                                         ShippedHost{"blade-node", 4, true, 2},
                                         ShippedHost{"blade-node-b", 4, false, 3}),
                         [](const auto& host) {
                             std::string name = host.param.name;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST_P(ShippedStorage, HasTheSataRaidOfItsFamilyAndItsDisks) {
    const HostDescription host = readHostDescription(VOK_HOSTS "/" + std::string(GetParam().name) + ".json");
    const auto& controllers = host.part<StorageControllers>().all;
    ASSERT_FALSE(controllers.empty());
    EXPECT_EQ(formatPciAddress(controllers[0].address), "0000:00:17.0");
    EXPECT_EQ(controllers[0].ports.size(), GetParam().sataPorts);
    EXPECT_FALSE(controllers[0].raidVersion.empty());
    for (const auto& function : host.part<PciFunctions>().all) {
        if (!(function.address == controllers[0].address)) continue;
        EXPECT_EQ(function.at("Vendor ID"), "0x8086");
        EXPECT_EQ(function.at("Device ID"), "0x2826");
    }
    std::size_t disks = 0;
    for (const auto& controller : controllers) {
        EXPECT_EQ(controller.classic, GetParam().classic);
        for (const auto& port : controller.ports) disks += port.disks.size();
    }
    EXPECT_EQ(disks, GetParam().disks);
}

}  // namespace
}  // namespace ShippedDisksTest
