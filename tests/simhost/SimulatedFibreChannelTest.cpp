// Which adapter is which PCI function, read from a simulated host by its own commands and a real shell.
#include <gtest/gtest.h>
#include <filesystem>

#include "platform/utils/vokUtils.h"
#include "simhost/SimulatedMachine.h"

namespace SimulatedFibreChannelTest {
namespace {

class SimulatedFibreChannel : public SimulatedMachine {
protected:
    void readMaps(const std::string& hostName) {
        startHost({}, hostName);
        vokSetHostAccess(access());
        std::filesystem::create_directories(root() + "/opt/mev/vok/data");
        vokUtils::initFcInfoMap();
        vokUtils::initFcNameMap();
        for (const char* name : {"/fc_topology.txt", "/fc_name.txt"})
            EXPECT_FALSE(std::filesystem::exists(root() + "/opt/mev/vok/data" + name)) << name;
    }
};

TEST_F(SimulatedFibreChannel, AdaptersAreFoundByTheirNodeNamesAndTheirFunctionsByTheirOwn) {
    readMaps("rack-node");
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:90:fa:7c:41:d0"), "vmhba2");
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:90:fa:7c:41:d1"), "vmhba3");
    EXPECT_EQ(vokUtils::getFcOsDevicename("10:00:00:90:fa:7c:41:d0"), "NotAvailable") << "a port's name";
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba2"), "0000:3b:00.0");
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba3"), "0000:3b:00.1");
    EXPECT_EQ(vokUtils::getFcPciStr("vmnic3"), "0000:86:00.1");
}

TEST_F(SimulatedFibreChannel, AreNotKnownToASystemThatTellsNoVMkernelName) {
    readMaps("esxi8-node");
    EXPECT_EQ(vokUtils::getFcPciStr("vmhba2"), "NotAvailable");
    EXPECT_FALSE(vokUtils::OsNameInHardwarePciList("vmhba2"));
    EXPECT_EQ(vokUtils::getFcOsDevicename("20:00:00:90:fa:7c:41:d0"), "NotAvailable");
}

}  // namespace
}  // namespace SimulatedFibreChannelTest
