// Which events of the firmware reach which controller, and which are dropped before they are judged.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <future>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "megaraid/IOLoadingFixture.h"
#include "megaraid/vokMegaRAIDControllerFactory.h"
#include "megaraid/vokMegaRAIDEventsFixture.h"
#include "platform/utils/vokUtils.h"
#include "storage/vokHeldReference.h"
#include "support/SmBiosTable.h"

namespace vokMegaRAIDEventsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- from the callback to the controller ---

// The controllers that the factory holds.
struct FactoryControllers : vokStorageControllerFactory {
    static std::vector<IvokStorageController*>& of(vokStorageControllerFactory& factory) {
        return factory.*(&FactoryControllers::controllers);
    }
};

class MegaRAIDEvents : public MegaRAIDEventsFixture {
protected:
    MegaRAIDEvents() { hold(*controller); }
    ~MegaRAIDEvents() override {
        for (IvokStorageController* const each : held()) each->dropReference();
        held().clear();
    }
    static std::vector<IvokStorageController*>& held() {
        return FactoryControllers::of(*vokMegaRAIDControllerFactory::getInstance());
    }
    static void hold(IvokStorageController& added) {
        added.addReference();
        held().push_back(&added);
    }
    static Held<TestMegaRAIDController> controllerOf(const std::string& serialNumber) {
        Held<TestMegaRAIDController> added(new TestMegaRAIDController(2));
        added->currentInfo.setSerialNumber(serialNumber);
        setStatus(added->currentInfo, VOK_STATE_RUNNING, VOK_HEALTH_OK);
        hold(*added);
        return added;
    }
    Trace handled(VOK_SAS_EVENT_DETAIL detail) {
        trace();
        handleEvent(&detail);
        return trace();
    }
    static std::string received(const std::string& category, int eventClass) {
        return "INFO STOR_MR: Locale received: " + category + ", eventClass= " + std::to_string(eventClass);
    }
};

constexpr char oneController[] = "DEBUG STOR_MR: Checking list of controllers size=1";

TEST_F(MegaRAIDEvents, NothingIsDoneWithoutAnEvent) {
    handleEvent(nullptr);
    controller->analyzeAndGenerateEvent(nullptr);
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(MegaRAIDEvents, AnyOtherCategoryIsDroppedWithoutALine) {
    for (const char* const category : {"", "ENCLOSURE_EVENT", "SAS_EVENT", "CONFIG_CHNG_EVENT",
                                       "CLUSTER_EVENT", "pd_event", "PD_EVENT "}) {
        EXPECT_THAT(handled(eventOf(category, 4, 0x10)), IsEmpty()) << category;
    }
}

TEST_F(MegaRAIDEvents, EachOfTheFourCategoriesIsJudged) {
    addDisk("S2", "252:3", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    addVolume("7", VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    EXPECT_THAT(handled(diskEvent(4, 0x10)),
                ElementsAre(received("PD_EVENT", 4), oneController,
                            "DEBUG STOR_MR: Inside SASEventDetail->eventLocale.compare('PD_EVENT') == 0",
                            "event 538"));
    EXPECT_THAT(handled(volumeEvent(4, 0xFC)),
                ElementsAre(received("LD_EVENT", 4), oneController, "event 681"));
    EXPECT_THAT(handled(eventOf("CTRL_EVENT", 6, 0x10)),
                ElementsAre(received("CTRL_EVENT", 6), oneController, "event 398"));
    EXPECT_THAT(handled(eventOf("BBU_EVENT", 2, 0x91)),
                ElementsAre(received("BBU_EVENT", 2), oneController, "event 1182"));
}

TEST_F(MegaRAIDEvents, AnEventOfAnyOtherClassIsDropped) {
    addDisk("S2", "252:3", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    for (const std::uint32_t eventClass : {0u, 1u, 7u}) {
        EXPECT_THAT(handled(diskEvent(eventClass, 0x57)),
                    ElementsAre(received("PD_EVENT", static_cast<int>(eventClass)),
                                "INFO STOR_MR: Event received for lesser severity ignoring the FW event."));
        EXPECT_THAT(handled(eventOf("BBU_EVENT", eventClass, 0x91)),
                    ElementsAre(received("BBU_EVENT", static_cast<int>(eventClass)),
                                "INFO STOR_MR: Event received for lesser severity ignoring the FW event."));
    }
    expectStatus(disk(0), VOK_STATE_ONLINE, VOK_HEALTH_OK);
    expectStatus(controller->currentInfo, VOK_STATE_RUNNING, VOK_HEALTH_OK);
}

TEST_F(MegaRAIDEvents, AnEventOfAllCategoriesIsDroppedAfterItsClassIsTested) {
    for (const std::uint32_t eventClass : {2u, 3u, 4u, 5u, 6u})
        EXPECT_THAT(handled(eventOf("ALL_EVENT", eventClass, 0x10)),
                    ElementsAre(received("ALL_EVENT", static_cast<int>(eventClass)),
                                "DEBUG STOR_MR: Received event of other locale ignoring the FW event."));
    EXPECT_THAT(handled(eventOf("ALL_EVENT", 1, 0x10)),
                ElementsAre(received("ALL_EVENT", 1),
                            "INFO STOR_MR: Event received for lesser severity ignoring the FW event."));
}

TEST_F(MegaRAIDEvents, EachControllerWithTheSerialIsAsked) {
    const auto other = controllerOf("SV00000002");
    const auto same = controllerOf(serial);
    EXPECT_THAT(handled(eventOf("CTRL_EVENT", 4, 0x10)),
                ElementsAre(received("CTRL_EVENT", 4), "DEBUG STOR_MR: Checking list of controllers size=3",
                            "event 398", "event 398"));
    EXPECT_EQ(controller->currentInfo.getState(), VOK_STATE_FAILED);
    EXPECT_EQ(other->currentInfo.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(same->currentInfo.getState(), VOK_STATE_FAILED);
}

TEST_F(MegaRAIDEvents, ControllersWithoutASerialAreAskedTogether) {
    const auto first = controllerOf("");
    const auto second = controllerOf("");
    VOK_SAS_EVENT_DETAIL detail = eventOf("CTRL_EVENT", 4, 0x10);
    detail.controllerSerial = "";
    handled(detail);
    EXPECT_EQ(controller->currentInfo.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(first->currentInfo.getState(), VOK_STATE_FAILED);
    EXPECT_EQ(second->currentInfo.getState(), VOK_STATE_FAILED);
}

TEST_F(MegaRAIDEvents, AnAbsentControllerIsWarnedOfFromCriticalToDead) {
    for (const int eventClass : {2, 3, 4, 5, 6}) {
        VOK_SAS_EVENT_DETAIL detail = eventOf("CTRL_EVENT", static_cast<std::uint32_t>(eventClass), 0x10);
        detail.controllerSerial = "NotAvailable";
        Trace expected = {received("CTRL_EVENT", eventClass), oneController};
        if (eventClass >= 4)
            expected.push_back("WARNING STOR_MR: Ignoring CRITICAL/FATAL/DEAD event (16, " +
                               std::to_string(eventClass) +
                               ") received for controller[NotAvailable] absent in VOK inventory.");
        EXPECT_EQ(handled(detail), expected);
    }
    // Exactly: not in another case, nor with more behind it.
    for (const char* const near : {"sv00000001", "SV0000000", "SV00000001 "}) {
        VOK_SAS_EVENT_DETAIL detail = eventOf("CTRL_EVENT", 4, 0x10);
        detail.controllerSerial = near;
        EXPECT_EQ(handled(detail).size(), 3u);
    }
    expectStatus(controller->currentInfo, VOK_STATE_RUNNING, VOK_HEALTH_OK);
}

TEST_F(MegaRAIDEvents, TheReferencesAreDroppedAgain) {
    bool deleted = false;
    auto other = controllerOf("SV00000002");
    other->deleted = &deleted;
    handled(eventOf("CTRL_EVENT", 4, 0x10));
    held().pop_back();
    other->dropReference();
    EXPECT_FALSE(deleted);
    other.reset();
    EXPECT_TRUE(deleted);
}

// An event is delivered with the lock of its controller, and of no other.
TEST_F(MegaRAIDEvents, OnlyTheControllerOfTheEventIsLockedWhileItIsDelivered) {
    const auto other = controllerOf("SV00000002");
    std::vector<std::pair<bool, bool>> locked;
    const auto isLocked = [](TestMegaRAIDController& which) {
        return !std::async(std::launch::async, [&which] {
                    const std::unique_lock<std::recursive_mutex> attempt(which.lock, std::try_to_lock);
                    return attempt.owns_lock();
                }).get();
    };
    ipmi.onRequest = [&](const FakeIpmiRequest&) {
        locked.emplace_back(isLocked(*controller), isLocked(*other));
        // Fetching the controllers needs the lock of the factory, from any thread.
        std::async(std::launch::async, [] {
            std::vector<IvokStorageController*> list;
            vokMegaRAIDControllerFactory::getInstance()->getControllers(list);
            vokTakeReferences(list);
        }).get();
        return FakeIpmiReply{{0x00, 0x01}};
    };
    handled(eventOf("CTRL_EVENT", 4, 0x10));
    ASSERT_FALSE(locked.empty());
    EXPECT_EQ(locked.front(), std::pair(true, false));
    EXPECT_FALSE(isLocked(*controller));
}

TEST_F(MegaRAIDEvents, AnotherCategoryIsNotAnalyzed) {
    for (const char* const category : {"", "ALL_EVENT", "ENCLOSURE_EVENT", "LD_EVENT2"})
        EXPECT_THAT(analyzed(eventOf(category, 4, 0x10)), IsEmpty()) << category;
}

// --- a 9560 that must not be monitored ---

class MegaRAIDUnmonitoredEvents : public MegaRAIDEventsFixture {
protected:
    static constexpr char firstFamily[] = "7711PID02020001";

    explicit MegaRAIDUnmonitoredEvents(const std::string& settings = "") : MegaRAIDEventsFixture(settings) {
        addDisk("S2", "252:3", VOK_STATE_ONLINE, VOK_HEALTH_OK);
        addVolume("7", VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
        use(0x40101000);
    }
    void use(unsigned int board, unsigned int chipset = 0x10E21000) const {
        controller->setIdentity(chipset, board, "0000:5e:00.0");
    }
    // The machine; called once.
    void start(const std::string& manufacturer, const std::string& family = firstFamily) const {
        host.root.writeFile(SmBiosTable::deviceFile,
                            SmBiosTable().addSystem(manufacturer, family).addEnd().contents());
        vokUtils::initializeSMBIOS();
    }
    static void follow(bool isRuleFollowed) {
        const std::lock_guard<std::mutex> locker(TestIOLoadingHelper::ioLoadingHelperMutex);
        auto& cards = TestIOLoadingHelper::ioLoadingTable["r001u05"];
        cards.ruleApplied = isRuleFollowed;
        cards.entries["0000:5e:00.0"].subRule = &TQ_MEGARAID_9560_IO_LOADING_RULEBOOK[0].subRules[0];
    }
    // What events on the disk and the volume do, without the line on the category.
    Trace judged() {
        Trace found = analyzed(diskEvent(4, 0x10));
        EXPECT_FALSE(found.empty());
        found.erase(found.begin());
        for (const std::string& line : analyzed(volumeEvent(5, 0xFC))) found.push_back(line);
        return found;
    }
    void expectUntouched() const {
        expectStatus(disk(0), VOK_STATE_ONLINE, VOK_HEALTH_OK);
        expectStatus(volume(0), VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    }
};

TEST_F(MegaRAIDUnmonitoredEvents, EventsAreDroppedOnASystemOfAnotherMaker) {
    start("Another maker");
    follow(true);
    for (const unsigned int board : {0x40101000u, 0x40001000u}) {
        use(board);
        EXPECT_THAT(
            judged(),
            ElementsAre("DEBUG STOR_MR: Ignoring event [16] on PD [252] @ slot [3] due to MegaRAID 9560 "
                        "[0000:5e:00.0] being installed on non-MEV system.",
                        "DEBUG STOR_MR: Ignoring event [252] on LD [7] due to MegaRAID 9560 "
                        "[0000:5e:00.0] being installed on non-MEV system."));
        expectUntouched();
    }
}

TEST_F(MegaRAIDUnmonitoredEvents, EventsAreDroppedInAChassisThatFollowsNoRule) {
    start("MEV");
    follow(false);
    EXPECT_THAT(judged(),
                ElementsAre("DEBUG STOR_MR: Ignoring event [16] on PD [252] @ slot [3] due to MegaRAID 9560 "
                            "[0000:5e:00.0] or its hosting chassis not following I/O loading rules.",
                            "DEBUG STOR_MR: Ignoring event [252] on LD [7] due to MegaRAID 9560 "
                            "[0000:5e:00.0] or its hosting chassis not following I/O loading rules."));
    expectUntouched();
}

TEST_F(MegaRAIDUnmonitoredEvents, EventsAreJudgedInAChassisThatFollowsARule) {
    start("MEV");
    follow(true);
    EXPECT_THAT(judged(), ElementsAre("event 538", "event 681"));
}

TEST_F(MegaRAIDUnmonitoredEvents, EventsOfOtherControllersAreJudged) {
    start("Another maker");
    use(0x93631000, 0x005D1000);
    EXPECT_THAT(judged(), ElementsAre("event 538", "event 681"));
}

TEST_F(MegaRAIDUnmonitoredEvents, EventsAreJudgedOnAnotherPlatform) {
    start("Another maker", "7711PID03020102");
    EXPECT_THAT(judged(), ElementsAre("event 538", "event 681"));
}

TEST_F(MegaRAIDUnmonitoredEvents, ACreatedVolumeAndAnInsertedDiskAreDroppedToo) {
    start("Another maker");
    EXPECT_THAT(analyzed(volumeEvent(2, 0x8A)),
                ElementsAre("DEBUG STOR_MR: Ignoring event [138] on LD [7] due to MegaRAID 9560 "
                            "[0000:5e:00.0] being installed on non-MEV system."));
    EXPECT_THAT(analyzed(diskEvent(2, 0x5B)),
                ElementsAre("DEBUG STOR_MR: Inside SASEventDetail->eventLocale.compare('PD_EVENT') == 0",
                            "DEBUG STOR_MR: Ignoring event [91] on PD [252] @ slot [3] due to MegaRAID 9560 "
                            "[0000:5e:00.0] being installed on non-MEV system."));
}

TEST_F(MegaRAIDUnmonitoredEvents, EventsOfTheControllerAndItsBatteryAreJudged) {
    start("Another maker");
    EXPECT_THAT(analyzed(eventOf("BBU_EVENT", 2, 0x91)), ElementsAre("event 1182"));
    EXPECT_THAT(analyzed(eventOf("CTRL_EVENT", 4, 0x10)), ElementsAre("event 398"));
}

class MegaRAIDWithoutInspection : public MegaRAIDUnmonitoredEvents {
protected:
    MegaRAIDWithoutInspection()
        : MegaRAIDUnmonitoredEvents("\"DisableMegaRAID9560LoadingInspection\": \"true\"") {}
};

TEST_F(MegaRAIDWithoutInspection, EventsAreDroppedWithoutALineOnAnySystemOfTheFirstPlatform) {
    start("MEV");
    follow(true);
    EXPECT_THAT(judged(), IsEmpty());
    expectUntouched();
}

TEST_F(MegaRAIDWithoutInspection, TheLineOnTheMakerIsNotLoggedEither) {
    start("Another maker");
    EXPECT_THAT(judged(), IsEmpty());
    expectUntouched();
}

TEST_F(MegaRAIDWithoutInspection, EventsAreJudgedOnAnotherPlatform) {
    start("Another maker", "7711PID03020102");
    EXPECT_THAT(judged(), ElementsAre("event 538", "event 681"));
}

}  // namespace
}  // namespace vokMegaRAIDEventsTest
