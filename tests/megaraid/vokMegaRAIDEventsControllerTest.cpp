// Events of the firmware on the controller itself and on its battery.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "megaraid/vokMegaRAIDEventsFixture.h"

namespace vokMegaRAIDEventsControllerTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char isOk[] = "INFO STOR_MR: Dropping the event as Device already in OK state.";
// Required: it says 389 of the event 398.
constexpr char isCritical[] = "INFO STOR_MR: Dropping the event 389 as device already in CRITICAL state.";

template <typename Fixture>
class StatusEventsOf : public Fixture {
protected:
    using typename Fixture::Trace;

    vokStorageControllerInfo& info() const { return this->controller->currentInfo; }
    // Judges an event on the controller, which has reported this health.
    Trace analyzedAt(VOK_RESOURCE_HEALTH health, const char* category, std::uint32_t eventClass,
                     std::uint32_t code) {
        this->setStatus(info(), VOK_STATE_DIAGNOSTIC_MODE, health);
        info().setEventInfoString("before");
        return this->analyzed(this->eventOf(category, eventClass, code));
    }
    void expectStatusKept(VOK_RESOURCE_HEALTH health) const {
        this->expectStatus(info(), VOK_STATE_DIAGNOSTIC_MODE, health);
    }
    void expectUntouched(VOK_RESOURCE_HEALTH health) const {
        expectStatusKept(health);
        EXPECT_EQ(info().getEventInfoString(), "before");
    }
};

class MegaRAIDControllerEvents : public StatusEventsOf<MegaRAIDEventsFixture> {};

constexpr VOK_RESOURCE_HEALTH healths[] = {VOK_HEALTH_UNKNOWN, VOK_HEALTH_CRITICAL, VOK_HEALTH_OK,
                                           VOK_HEALTH_WARNING};

TEST_F(MegaRAIDControllerEvents, ARecoveryRaises397UnlessTheControllerIsOk) {
    for (const std::uint32_t code : {0x0Cu, 0x1C4u, 0x1F9u, 0x1FFu}) {
        for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_CRITICAL, VOK_HEALTH_WARNING}) {
            EXPECT_THAT(analyzedAt(health, "CTRL_EVENT", 2, code), ElementsAre("event 397"));
            expectStatus(info(), VOK_STATE_RUNNING, VOK_HEALTH_OK);
        }
        EXPECT_THAT(analyzedAt(VOK_HEALTH_OK, "CTRL_EVENT", 2, code), ElementsAre(isOk));
        expectUntouched(VOK_HEALTH_OK);
    }
}

TEST_F(MegaRAIDControllerEvents, AnyOtherInformationAndAnyWarningDoNothing) {
    for (const auto health : healths) {
        for (const std::uint32_t code : {0x0Bu, 0x1C3u, 0x1FAu, 0x200u}) {
            EXPECT_THAT(analyzedAt(health, "CTRL_EVENT", 2, code), IsEmpty());
            expectUntouched(health);
        }
        for (const std::uint32_t code : {0x0Cu, 0x1C4u, 0x10u}) {
            EXPECT_THAT(analyzedAt(health, "CTRL_EVENT", 3, code), IsEmpty());
            expectUntouched(health);
        }
    }
}

TEST_F(MegaRAIDControllerEvents, AnyEventFromCriticalToDeadRaises398UnlessTheControllerIsCritical) {
    for (const std::uint32_t eventClass : {4u, 5u, 6u}) {
        for (const std::uint32_t code : {0x0Cu, 0x10u, 0x1C4u}) {
            for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
                EXPECT_THAT(analyzedAt(health, "CTRL_EVENT", eventClass, code), ElementsAre("event 398"));
                expectStatus(info(), VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
            }
            EXPECT_THAT(analyzedAt(VOK_HEALTH_CRITICAL, "CTRL_EVENT", eventClass, code),
                        ElementsAre(isCritical));
            expectUntouched(VOK_HEALTH_CRITICAL);
        }
    }
}

TEST_F(MegaRAIDControllerEvents, TheHealthLastReportedIsJudgedAndNotTheHealthItself) {
    info().setHealth(VOK_HEALTH_CRITICAL);
    EXPECT_THAT(analyzed(eventOf("CTRL_EVENT", 4, 0x10)), ElementsAre("event 398"));
    info().setHealth(VOK_HEALTH_OK);
    EXPECT_THAT(analyzed(eventOf("CTRL_EVENT", 4, 0x10)), ElementsAre(isCritical));
}

TEST_F(MegaRAIDControllerEvents, AnEventIsAtTheLocationOfTheControllerAndHasItsText) {
    analyzed(eventOf("CTRL_EVENT", 4, 0x1C4));
    const Json::Value event = lastEvent();
    EXPECT_EQ(event["ID"], 398);
    EXPECT_EQ(event["PhysicalLocation"], controllerLocation);
    EXPECT_EQ(event["VariableData"]["Type"], "Controller");
    EXPECT_EQ(event["VariableData"]["Data"]["SerialNumber"], serial);
    EXPECT_EQ(
        event["VariableData"]["EventInfo"],
        "[Msg # 0x1c4] What the firmware says. Please refer to MegaRAID Software User Guide for further "
        "details.");
    EXPECT_EQ(info().getEventInfoString(), event["VariableData"]["EventInfo"].asString());
}

TEST_F(MegaRAIDControllerEvents, A397HasItsTextToo) {
    setStatus(info(), VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
    analyzed(eventOf("CTRL_EVENT", 2, 0x0C));
    EXPECT_EQ(lastEvent()["VariableData"]["EventInfo"],
              "[Msg # 0xc] What the firmware says. Please refer to MegaRAID Software User Guide for further "
              "details.");
}

TEST_F(MegaRAIDControllerEvents, TheBatteryDegradesAControllerInGoodHealth) {
    struct Row {
        std::vector<std::uint32_t> codes;
        const char* event;
    };
    for (const Row& row :
         {Row{{0x92, 0x9A, 0xC8, 0xD3, 0x14A}, "event 1179"}, Row{{0x96, 0xA1}, "event 1181"},
          Row{{0x91, 0x1AF}, "event 1182"}, Row{{0x182}, "event 1183"}}) {
        for (const std::uint32_t code : row.codes) {
            for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK}) {
                EXPECT_THAT(analyzedAt(health, "BBU_EVENT", 3, code), ElementsAre(row.event));
                expectStatus(info(), VOK_STATE_DEGRADED, VOK_HEALTH_WARNING);
            }
            for (const auto health : {VOK_HEALTH_CRITICAL, VOK_HEALTH_WARNING}) {
                EXPECT_THAT(analyzedAt(health, "BBU_EVENT", 3, code), ElementsAre(row.event));
                expectStatusKept(health);
            }
        }
    }
}

TEST_F(MegaRAIDControllerEvents, SomeEventsOfTheBatteryChangeNoStatus) {
    for (const std::uint32_t code : {0x8Eu, 0xFDu, 0x133u, 0x17Au}) {
        for (const auto health : healths) {
            EXPECT_THAT(analyzedAt(health, "BBU_EVENT", 3, code), ElementsAre("event 1179"));
            expectStatusKept(health);
        }
    }
}

TEST_F(MegaRAIDControllerEvents, AnyOtherEventOfTheBatteryIsIgnored) {
    EXPECT_THAT(
        analyzedAt(VOK_HEALTH_OK, "BBU_EVENT", 4, 0x93),
        ElementsAre("DEBUG STOR_MR: Ignoring BBU event (147: What the firmware says) class [4] received "
                    "for controller [SV00000001]."));
    expectUntouched(VOK_HEALTH_OK);
}

TEST_F(MegaRAIDControllerEvents, TheClassOfAnEventOfTheBatteryDoesNotMatter) {
    for (const std::uint32_t eventClass : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u})
        EXPECT_THAT(analyzedAt(VOK_HEALTH_OK, "BBU_EVENT", eventClass, 0x91), ElementsAre("event 1182"));
}

TEST_F(MegaRAIDControllerEvents, AnEventOfTheBatteryIsAtTheLocationOfTheControllerAndHasItsText) {
    analyzed(eventOf("BBU_EVENT", 2, 0x182));
    const Json::Value event = lastEvent();
    EXPECT_EQ(event["PhysicalLocation"], controllerLocation);
    EXPECT_EQ(event["VariableData"]["Type"], "Controller");
    EXPECT_EQ(
        event["VariableData"]["EventInfo"],
        "[Msg # 0x182] What the firmware says. Please refer to MegaRAID Software User Guide for further "
        "details.");
}

// --- with the setting that forwards all critical events ---

class MegaRAIDControllerForwarding : public StatusEventsOf<MegaRAIDForwardingFixture> {};

TEST_F(MegaRAIDControllerForwarding, ACriticalEventOnACriticalControllerRaises398Again) {
    for (const std::uint32_t eventClass : {4u, 5u, 6u}) {
        EXPECT_THAT(analyzedAt(VOK_HEALTH_CRITICAL, "CTRL_EVENT", eventClass, 0x10),
                    ElementsAre("event 398"));
        expectStatus(info(), VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
    }
}

TEST_F(MegaRAIDControllerForwarding, AllElseIsJudgedAsWithoutTheSetting) {
    EXPECT_THAT(analyzedAt(VOK_HEALTH_OK, "CTRL_EVENT", 2, 0x0C), ElementsAre(isOk));
    EXPECT_THAT(analyzedAt(VOK_HEALTH_OK, "CTRL_EVENT", 3, 0x10), IsEmpty());
}

}  // namespace
}  // namespace vokMegaRAIDEventsControllerTest
