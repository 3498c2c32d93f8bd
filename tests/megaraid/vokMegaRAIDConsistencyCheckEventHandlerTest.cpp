// The events of a consistency check: what each of them counts, and how a check ends.
#include "megaraid/vokMegaRAIDConsistencyCheckEventHandler.h"

#include <gmock/gmock.h>
#include <json/value.h>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "megaraid/vokMegaRAIDController.h"
#include "megaraid/vokMegaRAIDLogicalDiskConsistencyCheckState.h"
#include "storage/TestController.h"
#include "support/DeliveredEvents.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/LoggedLines.h"

namespace vokMegaRAIDConsistencyCheckEventHandlerTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using State = vokMegaRAIDLogicalDiskConsistencyCheckState;
using Controller = TestControllerOf<vokMegaRAIDController>;

constexpr char guide[] = ". Please refer to MegaRAID Software User Guide for further details.";

// A state of a controller of another kind.
class OtherState : public vokLogicalDiskConsistencyCheckStateBase {
public:
    std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> clone() const override {
        return std::make_unique<OtherState>(*this);
    }
    std::string getStateInfoString() const override { return "other"; }
};

class ConsistencyCheckEvents : public testing::Test {
protected:
    ConsistencyCheckEvents() {
        logEverything(host);
        letEventsPass(ipmi);
        volume.setLogicalDiskID("7");
        volume.setDurableName("600605b0");
        volume.setRAIDLevel("RAID5");
        volume.setState(VOK_STATE_OPTIMAL);
        volume.setHealth(VOK_HEALTH_OK);
        volume.setEventState(VOK_STATE_OPTIMAL);
        volume.setEventHealth(VOK_HEALTH_OK);
        volume.initializeConsistencyCheckState<State>();
    }

    // An event whose description is `text`; true if it is one of a consistency check.
    bool process(std::uint32_t code, const std::string& text = "text") {
        VOK_SAS_EVENT_DETAIL detail;
        detail.eventCode = code;
        detail.eventLocale = "LD_EVENT";
        detail.eventClass = vokEventClassInformation;
        detail.targetId = 7;
        detail.description = text;
        return vokMegaRAIDConsistencyCheckEventHandler::processConsistencyCheckEvents(*controller, volume,
                                                                                      detail);
    }
    State& current() { return dynamic_cast<State&>(*volume.getCurrentCCState()); }
    State& previous() { return dynamic_cast<State&>(*volume.getPreviousCCState()); }
    std::vector<int> eventIds() { return deliveredEventIds(ipmi); }
    // Of the only event.
    std::string eventText() {
        const std::vector<Json::Value> events = deliveredEvents(ipmi);
        EXPECT_EQ(events.size(), 1u);
        return events.size() == 1 ? events[0]["VariableData"]["EventInfo"].asString() : "";
    }
    std::vector<std::string> lines() {
        std::vector<std::string> ours;
        const std::string tag = "DEBUG LSIMR_CC_EVT_HNDLR: ";
        for (const std::string& line : loggedLines(host))
            if (line.rfind(tag, 0) == 0) ours.push_back(line.substr(tag.size()));
        return ours;
    }
    void expectIdle() {
        EXPECT_EQ(current().getCCResult(), 0);
        EXPECT_FALSE(current().getCCFaultDetected());
        EXPECT_EQ(current().getCCEventMessage(), "");
        EXPECT_EQ(current().getStateInfoString(), "");
    }

    FakeHost host;
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    const Held<Controller> controller{new Controller(0)};
    vokLogicalDiskInfo volume;
};

// --- the events that are counted ---

TEST_F(ConsistencyCheckEvents, ACorrectedMediumErrorIsCountedAsAFault) {
    EXPECT_TRUE(process(0x39, "corrected"));
    EXPECT_TRUE(current().getCCFaultDetected());
    EXPECT_EQ(current().getCCEventMessage(), "corrected");
    EXPECT_EQ(current().getStateInfoString(), "# Corrected medium errors = 1");
    EXPECT_THAT(lines(), ElementsAre("Inside MR_EVT_LD_CC_CORRECTED_MEDIUM_ERR"));
}

TEST_F(ConsistencyCheckEvents, ADoubleMediumErrorIsCountedAsAFault) {
    EXPECT_TRUE(process(0x3C, "double"));
    EXPECT_TRUE(current().getCCFaultDetected());
    EXPECT_EQ(current().getCCEventMessage(), "double");
    EXPECT_EQ(current().getStateInfoString(), "# Uncorrectable multiple medium errors = 1");
    EXPECT_THAT(lines(), ElementsAre("Inside MR_EVT_LD_CC_DOUBLE_MEDIUM_ERRORS"));
}

TEST_F(ConsistencyCheckEvents, AnInconsistentParityIsCountedAsAFault) {
    EXPECT_TRUE(process(0x3F, "parity"));
    EXPECT_TRUE(current().getCCFaultDetected());
    EXPECT_EQ(current().getCCEventMessage(), "parity");
    EXPECT_EQ(current().getStateInfoString(), "# Inconsistent parity = 1");
    EXPECT_THAT(lines(), ElementsAre("Inside MR_EVT_LD_CC_INCONSISTENT_PARITY"));
}

TEST_F(ConsistencyCheckEvents, TheEndOfTheReportsOnParityIsMarkedButIsNoFault) {
    EXPECT_TRUE(process(0x40, "no more"));
    EXPECT_TRUE(process(0x40, "no more"));
    EXPECT_TRUE(current().getTooManyInconsistentParityDetected());
    EXPECT_FALSE(current().getCCFaultDetected());
    EXPECT_EQ(current().getCCEventMessage(), "");
    EXPECT_EQ(current().getInconsistentParityCount(), 0u);
    EXPECT_THAT(lines(), ElementsAre("Inside MR_EVT_LD_CC_INCONSISTENT_PARITY_LOGGING_DISABLED",
                                     "Inside MR_EVT_LD_CC_INCONSISTENT_PARITY_LOGGING_DISABLED"));
}

TEST_F(ConsistencyCheckEvents, ACountedEventRaisesNoneAndLeavesThePreviousState) {
    previous().setCCResult(vokCheckClean);
    for (const std::uint32_t code : {0x39, 0x3C, 0x3F, 0x40}) EXPECT_TRUE(process(code)) << code;
    EXPECT_THAT(eventIds(), IsEmpty());
    EXPECT_EQ(previous().getCCResult(), vokCheckClean);
    EXPECT_EQ(previous().getStateInfoString(), "");
    EXPECT_EQ(current().getCCResult(), vokCheckNone);
}

TEST_F(ConsistencyCheckEvents, OnlyTheMessageOfTheFirstFaultIsKept) {
    process(0x3F, "first");
    process(0x39, "second");
    process(0x3C, "third");
    EXPECT_EQ(current().getCCEventMessage(), "first");
    EXPECT_EQ(current().getStateInfoString(),
              "# Corrected medium errors = 1; # Inconsistent parity = 1; # Uncorrectable multiple medium "
              "errors = 1");
}

TEST_F(ConsistencyCheckEvents, AFirstFaultWithoutATextKeepsAnEmptyMessage) {
    process(0x39, "");
    process(0x39, "second");
    EXPECT_EQ(current().getCCEventMessage(), "");
}

// --- the ends of a check ---

struct End {
    std::uint32_t code;
    bool fault;  // one corrected medium error, "fault", before the end
    const char* trace;
    int result;
    int event;
    const char* extra;
};

class ConsistencyCheckEnds : public ConsistencyCheckEvents, public testing::WithParamInterface<End> {};

constexpr char oneError[] = "# Corrected medium errors = 1";

INSTANTIATE_TEST_SUITE_P(
    Ends, ConsistencyCheckEnds,
    testing::Values(End{0x3A, true, "Inside MR_EVT_LD_CC_DONE", 2, 1387, oneError},
                    End{0x3A, false, "Inside MR_EVT_LD_CC_DONE", 1, 1388, ""},
                    End{0x3B, true, "Inside MR_EVT_LD_CC_DONE_INCON", 2, 1387, oneError},
                    End{0x3B, false, "Inside MR_EVT_LD_CC_DONE_INCON", 2, 1387, ""},
                    End{0x38, true, "Inside MR_EVT_LD_CC_ABORTED", 3, 1385, "fault"},
                    End{0x38, false, "Inside MR_EVT_LD_CC_ABORTED", 3, 1387, ""},
                    End{0xC6, true, "Inside MR_EVT_LD_CC_OWNERSHIP_LOSS_ABORT", 3, 1387, ""},
                    End{0xC6, false, "Inside MR_EVT_LD_CC_OWNERSHIP_LOSS_ABORT", 3, 1387, ""},
                    End{0x3D, true, "Inside MR_EVT_LD_CC_FAILED", 4, 1385, ""},
                    End{0x3D, false, "Inside MR_EVT_LD_CC_FAILED", 4, 1385, ""},
                    End{0x3E, true, "Inside MR_EVT_LD_CC_FAILED_UNCOR", 5, 1385, oneError},
                    End{0x3E, false, "Inside MR_EVT_LD_CC_FAILED_UNCOR", 5, 1385, ""}),
    [](const testing::TestParamInfo<End>& end) { return std::to_string(end.index); });

TEST_P(ConsistencyCheckEnds, AnEndHasItsResultEventAndText) {
    const End& end = GetParam();
    if (end.fault) process(0x39, "fault");
    const std::size_t before = lines().size();
    EXPECT_TRUE(process(end.code, "the end"));

    EXPECT_EQ(previous().getCCResult(), end.result);
    EXPECT_EQ(previous().getCCFaultDetected(), end.fault);
    EXPECT_EQ(previous().getCCEventMessage(), end.fault ? "fault" : "");
    EXPECT_EQ(previous().getCorrectedMediumErrorCount(), end.fault ? 1u : 0u);
    expectIdle();

    EXPECT_THAT(eventIds(), ElementsAre(end.event));
    char code[16];
    std::snprintf(code, sizeof(code), "0x%x", static_cast<unsigned>(end.code));
    const std::string extra = *end.extra ? std::string(", (") + end.extra + ")" : "";
    EXPECT_EQ(eventText(), "[Msg # " + std::string(code) + "] the end" + extra + guide);
    EXPECT_EQ(volume.getEventInfoString(), eventText());

    std::vector<std::string> logged = lines();
    logged.erase(logged.begin(), logged.begin() + static_cast<long>(before));
    EXPECT_THAT(logged, ElementsAre(end.trace, "MegaRAID CC State [7] - Old: [0], [false], []",
                                    "MegaRAID CC State [7] - New: [" + std::to_string(end.result) +
                                        (end.fault ? "], [true], [fault]" : "], [false], []")));
}

TEST_F(ConsistencyCheckEvents, TwoCorrectedErrorsAndAnEndAreCountedInTheText) {
    process(0x39);
    process(0x39);
    process(0x3A, "done");
    EXPECT_THAT(eventIds(), ElementsAre(1387));
    EXPECT_EQ(previous().getCCResult(), 2);
    EXPECT_EQ(eventText(), std::string("[Msg # 0x3a] done, (# Corrected medium errors = 2)") + guide);
}

TEST_F(ConsistencyCheckEvents, ACheckWithoutFaultsIsCleanAlthoughReportsOnParityHadEnded) {
    process(0x40);
    process(0x3A, "done");
    EXPECT_THAT(eventIds(), ElementsAre(1388));
    EXPECT_EQ(previous().getCCResult(), 1);
    EXPECT_EQ(eventText(), std::string("[Msg # 0x3a] done") + guide);
    EXPECT_FALSE(current().getTooManyInconsistentParityDetected());
}

TEST_F(ConsistencyCheckEvents, TheTextSaysThatReportsOnParityHadEnded) {
    process(0x3F);
    process(0x40);
    process(0x3B, "done");
    EXPECT_EQ(
        eventText(),
        std::string("[Msg # 0x3b] done, (# Inconsistent parity = 1; # Inconsistent parity > 10)") + guide);
}

TEST_F(ConsistencyCheckEvents, AnInconsistentEndSaysSoAlsoWithoutAFault) {
    process(0x40);
    process(0x3B, "done");
    EXPECT_EQ(eventText(), std::string("[Msg # 0x3b] done, (# Inconsistent parity > 10)") + guide);
}

TEST_F(ConsistencyCheckEvents, AFailureWithoutFaultsHasNoTextAlthoughReportsOnParityHadEnded) {
    process(0x40);
    process(0x3E, "failed");
    EXPECT_EQ(eventText(), std::string("[Msg # 0x3e] failed") + guide);
}

TEST_F(ConsistencyCheckEvents, AnAbortNamesTheFirstFaultEvenIfItsTextIsEmpty) {
    process(0x39, "");
    process(0x38, "aborted");
    EXPECT_THAT(eventIds(), ElementsAre(1385));
    EXPECT_EQ(eventText(), std::string("[Msg # 0x38] aborted") + guide);
}

TEST_F(ConsistencyCheckEvents, EveryCountOfTheEndedCheckIsKept) {
    process(0x39);
    for (int i = 0; i < 2; ++i) process(0x3C);
    for (int i = 0; i < 3; ++i) process(0x3F);
    process(0x3A);
    EXPECT_EQ(previous().getCorrectedMediumErrorCount(), 1u);
    EXPECT_EQ(previous().getUncorrectableMultipleMediumErrorCount(), 2u);
    EXPECT_EQ(previous().getInconsistentParityCount(), 3u);
}

TEST_F(ConsistencyCheckEvents, TheMarkOfTooManyInconsistenciesIsNotKept) {
    process(0x3F);
    process(0x40);
    process(0x3A);
    EXPECT_FALSE(previous().getTooManyInconsistentParityDetected());
    previous().setTooManyInconsistentParityDetected(true);
    process(0x3A);
    EXPECT_TRUE(previous().getTooManyInconsistentParityDetected()) << "nor overwritten";
}

TEST_F(ConsistencyCheckEvents, TheNextEndReplacesWhatIsKept) {
    process(0x39, "fault");
    process(0x38);
    process(0x3A);
    EXPECT_EQ(previous().getCCResult(), 1);
    EXPECT_FALSE(previous().getCCFaultDetected());
    EXPECT_EQ(previous().getCCEventMessage(), "");
    EXPECT_EQ(previous().getCorrectedMediumErrorCount(), 0u);
    EXPECT_THAT(eventIds(), ElementsAre(1385, 1388));
    EXPECT_TRUE(
        hasLogged(host, "DEBUG LSIMR_CC_EVT_HNDLR: MegaRAID CC State [7] - Old: [3], [true], [fault]"));
    EXPECT_TRUE(hasLogged(host, "DEBUG LSIMR_CC_EVT_HNDLR: MegaRAID CC State [7] - New: [1], [false], []"));
}

TEST_F(ConsistencyCheckEvents, ACheckWhoseEndWasMissedAddsToTheNextOne) {
    process(0x39);
    process(0x42);  // the start of a check
    process(0x39);
    process(0x3A, "done");
    EXPECT_EQ(eventText(), std::string("[Msg # 0x3a] done, (# Corrected medium errors = 2)") + guide);
}

TEST_F(ConsistencyCheckEvents, CountsSurviveADiscoveryBetweenTwoFaults) {
    process(0x39, "first");
    vokLogicalDiskInfo discovered;
    discovered.setLogicalDiskID("7");
    discovered.cloneConsistencyCheckState(volume);
    volume = std::move(discovered);
    process(0x39, "second");
    process(0x3A, "done");
    EXPECT_EQ(previous().getCCEventMessage(), "first");
    EXPECT_EQ(eventText(), std::string("[Msg # 0x3a] done, (# Corrected medium errors = 2)") + guide);
}

TEST_F(ConsistencyCheckEvents, TwoVolumesAreCountedEachForItself) {
    process(0x39);
    vokLogicalDiskInfo other = volume;
    other.setLogicalDiskID("8");
    other.initializeConsistencyCheckState<State>();
    std::swap(volume, other);
    process(0x3A);
    EXPECT_THAT(eventIds(), ElementsAre(1388));
    std::swap(volume, other);
    process(0x3A);
    EXPECT_THAT(eventIds(), ElementsAre(1388, 1387));
}

// --- the event ---

TEST_F(ConsistencyCheckEvents, TheEventIsAboutTheVolumeWithItsMembersAndHasNoLocation) {
    vokDiskInfo disk;
    disk.setSerialNumber("S2");
    controller->currentDrives.push_back(disk);
    disk.setSerialNumber("S1");
    controller->currentDrives.push_back(disk);
    volume.addPhysicalDisk("S1");
    volume.addPhysicalDisk("S9");  // not there
    process(0x3D, "failed");
    const Json::Value event = deliveredEvents(ipmi).at(0);
    EXPECT_FALSE(event.isMember("PhysicalLocation"));
    EXPECT_EQ(event["VariableData"]["Type"], "Volume");
    const Json::Value& data = event["VariableData"]["Data"];
    EXPECT_EQ(data["DurableName"], "600605b0");
    EXPECT_EQ(data["VolumeType"], "RAID5");
    ASSERT_EQ(data["Drives"].size(), 1u);
    EXPECT_EQ(data["Drives"][0]["SerialNumber"], "S1");
}

TEST_F(ConsistencyCheckEvents, TheStatusOfTheVolumeStaysAsItIs) {
    for (const std::uint32_t code : {0x39, 0x3C, 0x3F, 0x40, 0x3A, 0x3B, 0x38, 0xC6, 0x3D, 0x3E}) {
        process(code);
        EXPECT_EQ(volume.getState(), VOK_STATE_OPTIMAL) << code;
        EXPECT_EQ(volume.getHealth(), VOK_HEALTH_OK) << code;
        EXPECT_EQ(volume.getEventState(), VOK_STATE_OPTIMAL) << code;
        EXPECT_EQ(volume.getEventHealth(), VOK_HEALTH_OK) << code;
    }
}

// --- other codes ---

TEST_F(ConsistencyCheckEvents, SomeEventsOfACheckEndHereWithoutEffect) {
    process(0x39, "fault");
    const std::vector<std::uint32_t> codes = {0x0E, 0x41, 0x42, 0x131, 0x147, 0x197, 0x198, 0x19E};
    for (const std::uint32_t code : codes) EXPECT_TRUE(process(code)) << code;
    EXPECT_EQ(countLogged(host, "DEBUG LSIMR_CC_EVT_HNDLR: No event achieved"), 8);
    EXPECT_THAT(eventIds(), IsEmpty());
    EXPECT_EQ(volume.getEventInfoString(), "");
    EXPECT_EQ(current().getStateInfoString(), "# Corrected medium errors = 1");
    EXPECT_EQ(current().getCCEventMessage(), "fault");
    EXPECT_EQ(previous().getCCResult(), 0);
}

TEST_F(ConsistencyCheckEvents, EveryOtherCodeIsLeftToTheOtherRules) {
    const std::vector<std::uint32_t> ours = {0x0E, 0x38, 0x39, 0x3A, 0x3B,  0x3C,  0x3D,  0x3E,  0x3F,
                                             0x40, 0x41, 0x42, 0xC6, 0x131, 0x147, 0x197, 0x198, 0x19E};
    std::vector<std::uint32_t> taken;
    for (std::uint32_t code = 0; code <= 0x220; ++code)
        if (process(code)) taken.push_back(code);
    EXPECT_EQ(taken, ours);
    EXPECT_EQ(countLogged(host, "DEBUG LSIMR_CC_EVT_HNDLR: default case"), 0x221 - 18);
    EXPECT_FALSE(process(0xFFFFFFFF));
}

// --- volumes without usable states ---

TEST_F(ConsistencyCheckEvents, AVolumeWithoutStatesGetsThem) {
    volume.cleanExistingObjReferences();
    EXPECT_TRUE(process(0x39, "fault"));
    EXPECT_TRUE(process(0x3A, "done"));
    EXPECT_THAT(eventIds(), ElementsAre(1387));
    EXPECT_EQ(previous().getCCEventMessage(), "fault");
    volume.cleanExistingObjReferences();
    EXPECT_TRUE(process(0x3A, "done"));
    EXPECT_THAT(eventIds(), ElementsAre(1387, 1388));
    EXPECT_EQ(previous().getCCResult(), 1);
}

TEST_F(ConsistencyCheckEvents, AVolumeWithoutAPreviousStateKeepsItsCounts) {
    process(0x39, "fault");
    volume.setPreviousCCState(nullptr);
    EXPECT_TRUE(process(0x3A, "done"));
    EXPECT_THAT(eventIds(), ElementsAre(1387));
    EXPECT_EQ(previous().getCorrectedMediumErrorCount(), 1u);
}

TEST_F(ConsistencyCheckEvents, StatesOfAnotherKindAreReplaced) {
    for (const std::uint32_t code : {0x3Fu, 0x3Bu}) {
        volume.initializeConsistencyCheckState<OtherState>();
        EXPECT_TRUE(process(code, "text"));
    }
    EXPECT_THAT(eventIds(), ElementsAre(1387));
    EXPECT_EQ(previous().getCCResult(), 2);
    expectIdle();
}

TEST_F(ConsistencyCheckEvents, OtherCodesLeaveTheStatesOfAVolumeAsTheyAre) {
    volume.cleanExistingObjReferences();
    EXPECT_TRUE(process(0x42));
    EXPECT_FALSE(process(0xFB));
    EXPECT_EQ(volume.getCurrentCCState(), nullptr);
    EXPECT_EQ(volume.getPreviousCCState(), nullptr);
}

}  // namespace
}  // namespace vokMegaRAIDConsistencyCheckEventHandlerTest
