#include "megaraid/vokMegaRAIDConsistencyCheckEventHandler.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "megaraid/vokMegaRAIDController.h"
#include "megaraid/vokMegaRAIDEventText.h"
#include "megaraid/vokMegaRAIDLogicalDiskConsistencyCheckState.h"

namespace {

constexpr char module[] = "LSIMR_CC_EVT_HNDLR";

using State = vokMegaRAIDLogicalDiskConsistencyCheckState;
using Volume = vokLogicalDiskInfo;

// --- the events that are counted ---

void countCorrected(State& state) {
    state.setCorrectedMediumErrorCount(state.getCorrectedMediumErrorCount() + 1);
}
void countUncorrectable(State& state) {
    state.setUncorrectableMultipleMediumErrorCount(state.getUncorrectableMultipleMediumErrorCount() + 1);
}
void countParity(State& state) {
    state.setInconsistentParityCount(state.getInconsistentParityCount() + 1);
}
void markTooManyParity(State& state) {
    state.setTooManyInconsistentParityDetected(true);
}

struct CountingEvent {
    std::uint32_t code;
    const char* trace;
    bool isFault;
    void (*count)(State&);

    constexpr std::uint32_t key() const { return code; }
};

constexpr CountingEvent countingEvents[] = {
    {0x39, "Inside MR_EVT_LD_CC_CORRECTED_MEDIUM_ERR", true, countCorrected},
    {0x3C, "Inside MR_EVT_LD_CC_DOUBLE_MEDIUM_ERRORS", true, countUncorrectable},
    {0x3F, "Inside MR_EVT_LD_CC_INCONSISTENT_PARITY", true, countParity},
    {0x40, "Inside MR_EVT_LD_CC_INCONSISTENT_PARITY_LOGGING_DISABLED", false, markTooManyParity},
};
static_assert(vokKeysAscend(countingEvents));

// --- the events that end a check ---

enum class Extra { none, stateText, stateTextOfFault, faultMessage };

struct EndingCase {
    std::uint32_t code;
    bool fault;
};

struct EndingEvent {
    std::uint32_t code;
    const char* trace;
    vokCell<bool> fault;
    vokConsistencyCheckResult result;
    int event;
    Extra extra;

    constexpr bool fits(const EndingCase& each) const { return each.code == code && fault.fits(each.fault); }
};

constexpr auto always = vokCell<bool>::any();
constexpr vokCell<bool> fault = true;
constexpr vokCell<bool> noFault = false;

// clang-format off
constexpr EndingEvent endingEvents[] = {
    {0x3A, "Inside MR_EVT_LD_CC_DONE",                 fault,   vokCheckInconsistent,  1387, Extra::stateText},
    {0x3A, "Inside MR_EVT_LD_CC_DONE",                 noFault, vokCheckClean,         1388, Extra::none},
    {0x3B, "Inside MR_EVT_LD_CC_DONE_INCON",           always,  vokCheckInconsistent,  1387, Extra::stateText},
    {0x38, "Inside MR_EVT_LD_CC_ABORTED",              fault,   vokCheckAborted,       1385, Extra::faultMessage},
    {0x38, "Inside MR_EVT_LD_CC_ABORTED",              noFault, vokCheckAborted,       1387, Extra::none},
    {0xC6, "Inside MR_EVT_LD_CC_OWNERSHIP_LOSS_ABORT", always,  vokCheckAborted,       1387, Extra::none},
    {0x3D, "Inside MR_EVT_LD_CC_FAILED",               always,  vokCheckFailed,        1385, Extra::none},
    {0x3E, "Inside MR_EVT_LD_CC_FAILED_UNCOR",         always,  vokCheckUncorrectable, 1385, Extra::stateTextOfFault},
};
// clang-format on

constexpr EndingCase endingCase(std::size_t number) {
    return {static_cast<std::uint32_t>(number / 2), number % 2 != 0};
}
static_assert(vokEachRuleApplies(endingEvents, 0x200, endingCase));

// --- the events of a check that change nothing ---

constexpr std::uint32_t idleEvents[] = {0x0E, 0x41, 0x42, 0x131, 0x147, 0x197, 0x198, 0x19E};

bool isIdle(std::uint32_t code) {
    for (const std::uint32_t each : idleEvents)
        if (each == code) return true;
    return false;
}

// --- what they do ---

const State* asState(const vokLogicalDiskConsistencyCheckStateBase* state) {
    return dynamic_cast<const State*>(state);
}

bool hasFault(const Volume& volume) {
    const State* const current = asState(volume.getCurrentCCState());
    return current && current->getCCFaultDetected();
}

// The states of the volume. One that is missing, or of another class, is replaced by a new one.
State& currentState(Volume& volume) {
    if (!asState(volume.getCurrentCCState())) volume.setCurrentCCState(std::make_unique<State>());
    return dynamic_cast<State&>(*volume.getCurrentCCState());
}
State& previousState(Volume& volume) {
    if (!asState(volume.getPreviousCCState())) volume.setPreviousCCState(std::make_unique<State>());
    return dynamic_cast<State&>(*volume.getPreviousCCState());
}

void logState(const char* age, const Volume& volume, const State& state) {
    VOK_LOG_DEBUG(module, "MegaRAID CC State [%s] - %s: [%d], [%s], [%s]", volume.getLogicalDiskID().c_str(),
                  age, static_cast<int>(state.getCCResult()), state.getCCFaultDetected() ? "true" : "false",
                  state.getCCEventMessage().c_str());
}

void count(const CountingEvent& row, State& state, const std::string& description) {
    VOK_LOG_DEBUG(module, "%s", row.trace);
    row.count(state);
    if (!row.isFault || state.getCCFaultDetected()) return;
    state.setCCFaultDetected(true);
    state.setCCEventMessage(description);
}

std::string extraText(Extra extra, const State& state) {
    switch (extra) {
        case Extra::none:
            return "";
        case Extra::stateText:
            return state.getStateInfoString();
        case Extra::stateTextOfFault:
            return state.getCCFaultDetected() ? state.getStateInfoString() : "";
        case Extra::faultMessage:
            return state.getCCEventMessage();
    }
    return "";
}

// The mark of too many parity errors is not among what is kept.
void keep(const State& ended, State& previous) {
    previous.setCCResult(ended.getCCResult());
    previous.setCCFaultDetected(ended.getCCFaultDetected());
    previous.setCCEventMessage(ended.getCCEventMessage());
    previous.setCorrectedMediumErrorCount(ended.getCorrectedMediumErrorCount());
    previous.setUncorrectableMultipleMediumErrorCount(ended.getUncorrectableMultipleMediumErrorCount());
    previous.setInconsistentParityCount(ended.getInconsistentParityCount());
}

// Returns the extra text of the event.
std::string end(const EndingEvent& row, Volume& volume) {
    State& current = currentState(volume);
    State& previous = previousState(volume);
    VOK_LOG_DEBUG(module, "%s", row.trace);
    logState("Old", volume, previous);
    current.setCCResult(row.result);
    std::string extra = extraText(row.extra, current);
    keep(current, previous);
    current.resetCCState();
    logState("New", volume, previous);
    return extra;
}

}  // namespace

bool vokMegaRAIDConsistencyCheckEventHandler::processConsistencyCheckEvents(
    vokMegaRAIDController& controller, vokLogicalDiskInfo& volume, const VOK_SAS_EVENT_DETAIL& detail) {
    if (isIdle(detail.eventCode)) {
        VOK_LOG_DEBUG(module, "No event achieved");
        return true;
    }
    if (const CountingEvent* const row = vokFindRow(countingEvents, detail.eventCode)) {
        count(*row, currentState(volume), detail.description);
        return true;
    }
    const EndingCase ending = {detail.eventCode, hasFault(volume)};
    if (const EndingEvent* const row = vokFirstRule(endingEvents, ending)) {
        const std::string extra = end(*row, volume);
        controller.raiseVolumeEvent(row->event, volume, getAddEventInfoWithOptionalDetail(detail, extra));
        return true;
    }
    VOK_LOG_DEBUG(module, "default case");
    return false;
}
