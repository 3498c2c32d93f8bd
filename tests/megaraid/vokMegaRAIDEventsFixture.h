// A RAID controller with disks and volumes that a test sets, for the tests of the events of its firmware.
#pragma once

#include <gtest/gtest.h>
#include <json/value.h>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "megaraid/vokMegaRAIDController.h"
#include "storage/TestController.h"
#include "support/DeliveredEvents.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/LoggedLines.h"

class TestMegaRAIDController : public TestControllerOf<vokMegaRAIDController> {
public:
    using TestControllerOf::setIdentity;
    using TestControllerOf::TestControllerOf;
};

class MegaRAIDEventsFixture : public testing::Test {
protected:
    static constexpr char serial[] = "SV00000001";
    static constexpr char controllerLocation[] = "0000000000000303";
    static constexpr char diskLocation[] = "0000000000003802";
    static constexpr char description[] = "What the firmware says";

    // `settings`: members of the configuration, such as "\"DisableMegaRAID9560LoadingInspection\": \"true\"".
    explicit MegaRAIDEventsFixture(const std::string& settings = "") {
        logEverything(host, settings);
        letEventsPass(ipmi);
        trace();
        controller->setIdentity(0x005D1000, 0x93631000, "0000:5e:00.0");
        controller->currentInfo.setSerialNumber(serial);
        controller->currentInfo.setPhysicalLocation(controllerLocation);
        setStatus(controller->currentInfo, VOK_STATE_RUNNING, VOK_HEALTH_OK);
    }

    static void setStatus(vokStatusInfo& item, VOK_RESOURCE_STATE state, VOK_RESOURCE_HEALTH health) {
        item.setState(state);
        item.setEventState(state);
        item.setHealth(health);
        item.setEventHealth(health);
    }
    // `slot`: "ENCLOSURE:SLOT".
    void addDisk(const std::string& diskSerial, const std::string& slot, VOK_RESOURCE_STATE state,
                 VOK_RESOURCE_HEALTH health) const {
        vokDiskInfo disk;
        disk.setSerialNumber(diskSerial);
        disk.setSlot(slot);
        disk.setPhysicalLocation(diskLocation);
        disk.setEventInfoString("before");
        setStatus(disk, state, health);
        controller->currentDrives.push_back(disk);
    }
    void addVolume(const std::string& id, VOK_RESOURCE_STATE state, VOK_RESOURCE_HEALTH health,
                   const std::vector<std::string>& members = {}) const {
        vokLogicalDiskInfo volume;
        volume.setLogicalDiskID(id);
        volume.setDurableName("volume " + id);
        for (const std::string& member : members) volume.addPhysicalDisk(member);
        setStatus(volume, state, health);
        controller->currentLogicalDisks.push_back(volume);
    }

    static VOK_SAS_EVENT_DETAIL eventOf(const std::string& category, std::uint32_t eventClass,
                                        std::uint32_t code) {
        VOK_SAS_EVENT_DETAIL detail;
        detail.eventLocale = category;
        detail.eventClass = eventClass;
        detail.eventCode = code;
        detail.controllerId = 1;
        detail.controllerSerial = serial;
        detail.description = description;
        return detail;
    }
    // On the disk S2 in slot 3 of enclosure 252.
    static VOK_SAS_EVENT_DETAIL diskEvent(std::uint32_t eventClass, std::uint32_t code,
                                          std::uint32_t extraValue = 0) {
        VOK_SAS_EVENT_DETAIL detail = eventOf("PD_EVENT", eventClass, code);
        detail.driveSerial = "S2";
        detail.enclosure = 252;
        detail.slot = 3;
        detail.extraValue = extraValue;
        return detail;
    }
    // On the volume 7.
    static VOK_SAS_EVENT_DETAIL volumeEvent(std::uint32_t eventClass, std::uint32_t code) {
        VOK_SAS_EVENT_DETAIL detail = eventOf("LD_EVENT", eventClass, code);
        detail.targetId = 7;
        return detail;
    }

    using Trace = std::vector<std::string>;

    // What has happened since the call before, in its order: lines such as "INFO STOR_MR: text", "push" and
    // "build" for the requests of an inventory, "event 538" for an event.
    Trace trace() {
        const std::vector<std::string> lines = loggedLines(host);
        Trace found;
        for (std::size_t i = seen_; i < lines.size(); ++i) {
            const std::string& line = lines[i];
            const std::size_t id = line.find("\"ID\":");
            if (line.find(" STOR_MR: ") != std::string::npos)
                found.push_back(line);
            else if (line == "DEBUG SAS_RM: Signalling for inventory push to RMC on cache build.")
                found.emplace_back("push");
            else if (line == "DEBUG SAS_RM: Invalidating inventory cache.")
                found.emplace_back("build");
            else if (line.find("INFO EVT_HANDLER: {") == 0 && id != std::string::npos)
                found.push_back("event " + line.substr(id + 5, line.find(',', id) - id - 5));
        }
        seen_ = lines.size();
        return found;
    }
    Trace analyzed(VOK_SAS_EVENT_DETAIL detail) {
        trace();
        controller->analyzeAndGenerateEvent(&detail);
        return trace();
    }

    vokDiskInfo& disk(std::size_t index) const { return controller->currentDrives.at(index); }
    vokLogicalDiskInfo& volume(std::size_t index) const { return controller->currentLogicalDisks.at(index); }
    Json::Value lastEvent() const {
        const std::vector<Json::Value> events = deliveredEvents(ipmi);
        return events.empty() ? Json::Value() : events.back();
    }

    // An item has this status, and has reported it.
    static void expectStatus(const vokStatusInfo& item, VOK_RESOURCE_STATE state,
                             VOK_RESOURCE_HEALTH health) {
        EXPECT_EQ(item.getState(), state);
        EXPECT_EQ(item.getEventState(), state);
        EXPECT_EQ(item.getHealth(), health);
        EXPECT_EQ(item.getEventHealth(), health);
    }

    FakeHost host;
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    const Held<TestMegaRAIDController> controller{new TestMegaRAIDController(1)};

private:
    std::size_t seen_ = 0;
};

// The same with the setting that forwards all critical events.
class MegaRAIDForwardingFixture : public MegaRAIDEventsFixture {
protected:
    MegaRAIDForwardingFixture()
        : MegaRAIDEventsFixture("\"ForwardAllMegaRAIDCriticalOrHigherEvents\": \"true\"") {}
};
