// A host with network interfaces, for the tests of the Ethernet manager.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "nic/NICResourceManager.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/LoggedLines.h"

struct FakeInterface {
    std::string name;
    std::string pciDevice;
    std::string driver = "ixgben";
    std::string adminStatus = "Up";
    std::string linkStatus = "Up";
    std::string speed = "10000";
    std::string mac = "7c:d3:0a:00:00:00";
};

class NICFixture : public testing::Test {
protected:
    static constexpr char listCommand[] = "localcli network nic list >> /opt/mev/vok/data/vok_niclist.txt";
    static constexpr char pollCommand[] =
        "localcli network nic list | /usr/bin/awk '{print$1, $5}' >>/opt/mev/vok/data/vok_niclist.txt";
    static constexpr char listFile[] = "/opt/mev/vok/data/vok_niclist.txt";
    static constexpr char detailsFile[] = "/opt/mev/vok/data/vok_nicAddDetails.txt";

    NICFixture() {
        logEverything(host);
        host.root.writeFile("/opt/mev/vok/data/other", "");
        commands.onCommand = [this](const std::string& command, int& status) {
            return answer(command, status);
        };
    }

    // The list in the layout of the real command.
    std::string table() const {
        std::string text =
            "Name    PCI Device    Driver  Admin Status  Link Status  Speed  Duplex  MAC Address         MTU "
            " "
            "Description\n"
            "------  ------------  ------  ------------  -----------  -----  ------  -----------------  ---- "
            " "
            "-----------\n";
        for (const auto& each : interfaces)
            text += each.name + "  " + each.pciDevice + "  " + each.driver + "  " + each.adminStatus +
                    "            " + each.linkStatus + "           " + each.speed + "  Full    " + each.mac +
                    "  1500  Intel Corporation Ethernet Controller\n";
        return text;
    }
    void becomeReadyForEvents();  // lets events pass, as after a first push
    std::vector<Json::Value> inventory() {
        std::vector<Json::Value> out;
        EXPECT_FALSE(manager.getInventoryJsonObject(out));
        return out;
    }
    long commandCount(const std::string& text) const;
    bool workFilesAreGone() const { return !host.root.exists(listFile) && !host.root.exists(detailsFile); }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeCommands& commands = host.part<FakeCommands>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    NICResourceManager& manager = *NICResourceManager::getInstance();
    std::vector<FakeInterface> interfaces{{"vmnic0", "0000:81:00.0"}, {"vmnic1", "0000:81:00.1"}};
    std::string listText;  // instead of table() when not empty
    int listStatus = 0;
    int pollStatus = 0;
    std::string firmware = "         Firmware Version: 6.80 0x80003ce6 1.2074.0\n";

private:
    std::string answer(const std::string& command, int& status);
};
