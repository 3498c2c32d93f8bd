// A host with Fibre Channel adapters, for the tests of their manager.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "fc/FCResourceManager.h"
#include "fc/FakeHbaLibrary.h"
#include "support/DeliveredEvents.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/LoggedLines.h"

class FCFixture : public testing::Test {
protected:
    static constexpr char topologyCommand[] =
        "localcli hardware pci list | grep -e 'Address: ' -e 'VMkernel Name:'>> "
        "/opt/mev/vok/data/fc_topology.txt";
    static constexpr char namesCommand[] =
        "localcli storage san fc list | grep -e 'Adapter: ' -e 'Node Name:'>> /opt/mev/vok/data/fc_name.txt";

    FCFixture() {
        logEverything(host);
        host.root.writeFile("/opt/mev/vok/data/other", "");
        commands.onCommand = [this](const std::string& command, int&) { return answer(command); };
        library.adapters.push_back({"fake-0", 1, 1});
    }
    ~FCFixture() override { HBA_FreeLibrary(); }

    std::vector<Json::Value> inventory() {
        std::vector<Json::Value> out;
        EXPECT_FALSE(manager.getInventoryJsonObject(out));
        return out;
    }
    // A build with this state of the first port of the first adapter; returns the numbers of its events.
    std::vector<int> buildWith(HBA_PORTSTATE state) {
        library.adapters.at(0).ports.at(0).state = state;
        ipmi.clearRequests();
        manager.cacheBuild();
        return deliveredEventIds(ipmi);
    }
    long builds() const { return countLogged(host, "DEBUG FC_RM: Building FC Cache"); }
    bool managerLogged(const std::string& text) const { return hasLogged(host, "DEBUG FC_RM: " + text); }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeCommands& commands = host.part<FakeCommands>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    FakeHbaLibrary library{host};  // with one adapter, "fake-0", of one port
    FCResourceManager& manager = *FCResourceManager::getInstance();

    // What the host's commands say: vmhba1 is the first adapter, at 0000:3b:00.0; vmhba2 the second.
    std::string vendor = "0x10df", device = "0xe300", subVendor = "0x10df", subDevice = "0xe310";

private:
    std::string answer(const std::string& command);
};
