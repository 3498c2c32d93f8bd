// A host with storage controllers and disks, for the tests of the storage classes: /sys, SCSI generic nodes,
// the delivered events and the log.
//
//     start(firstFamily);                                      // a platform with locations
//     tree.addController({});                                  // 0000:3b:00.0
//     const std::string port = tree.addPort({});               // host0
//     answerAsSas(tree.addDisk({}));                           // 0:0:0:0, /dev/sg0
//     const auto controller = newController({port});
//     controller->slots["0:0:0:0"] = "3";
#pragma once

#include <gtest/gtest.h>
#include <json/value.h>
#include <string>
#include <vector>

#include "storage/DiskReplies.h"
#include "storage/SASResourceManager.h"
#include "storage/StorageTree.h"
#include "storage/TestController.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/LoggedLines.h"

class StorageFixture : public testing::Test {
protected:
    StorageFixture() {
        SASResourceManager::Factories::_registryList().clear();  // of the library's own factories
        logEverything(host);
    }

    static constexpr char firstFamily[] = "7711PID02020001";
    static constexpr char secondFamily[] = "7711PID03020102";
    // On both platforms: the location of the function 0000:3b:00.0, in slot 3, and of its disk in bay 2.
    static constexpr char slotLocation[] = "0000000000000303";
    static constexpr char firstBayLocation[] = "0000000000003802";
    static constexpr char secondBayLocation[] = "0000000000002D02";

    // Reads a firmware table in which 0000:3b:00.0 is in slot 3, 0000:5e:00.0 in slot 7, 0000:00:17.0 on the
    // board and 0000:86:00.0 in another chassis, and offers a library that encodes a location as "%014X%02X"
    // of the kind of unit and the last number of its GeoID. Without a call no function has a location. Called
    // once.
    void start(const std::string& family);
    // Lets events pass from now on, as after a first push.
    void letEventsPass();

    std::vector<Json::Value> events() const;  // delivered so far, oldest first
    std::vector<int> eventIds() const;
    bool logged(const std::string& line) const { return hasLogged(host, "DEBUG STOR_CTLR: " + line); }
    long timesLogged(const std::string& line) const { return countLogged(host, "DEBUG STOR_CTLR: " + line); }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    StorageTree tree{host};
};
