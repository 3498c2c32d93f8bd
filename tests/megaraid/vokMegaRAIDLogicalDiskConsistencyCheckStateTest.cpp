// What a consistency check of a RAID volume has found.
#include "megaraid/vokMegaRAIDLogicalDiskConsistencyCheckState.h"

#include <gtest/gtest.h>
#include <cstdint>
#include <memory>

namespace vokMegaRAIDLogicalDiskConsistencyCheckStateTest {
namespace {

using State = vokMegaRAIDLogicalDiskConsistencyCheckState;

State stateOf(std::uint64_t corrected, std::uint64_t parity, std::uint64_t uncorrectable, bool tooMany) {
    State state;
    state.setCorrectedMediumErrorCount(corrected);
    state.setInconsistentParityCount(parity);
    state.setUncorrectableMultipleMediumErrorCount(uncorrectable);
    state.setTooManyInconsistentParityDetected(tooMany);
    return state;
}

TEST(ConsistencyCheckState, TheTextOfNothingFoundIsEmpty) {
    EXPECT_EQ(State().getStateInfoString(), "");
}

TEST(ConsistencyCheckState, TheTextListsTheCountsByName) {
    EXPECT_EQ(stateOf(2, 3, 4, false).getStateInfoString(),
              "# Corrected medium errors = 2; # Inconsistent parity = 3; # Uncorrectable multiple medium "
              "errors = 4");
}

TEST(ConsistencyCheckState, TheTextLeavesOutACountOfZero) {
    EXPECT_EQ(stateOf(1, 0, 0, false).getStateInfoString(), "# Corrected medium errors = 1");
    EXPECT_EQ(stateOf(0, 1, 0, false).getStateInfoString(), "# Inconsistent parity = 1");
    EXPECT_EQ(stateOf(0, 0, 1, false).getStateInfoString(), "# Uncorrectable multiple medium errors = 1");
    EXPECT_EQ(stateOf(1, 0, 1, false).getStateInfoString(),
              "# Corrected medium errors = 1; # Uncorrectable multiple medium errors = 1");
}

TEST(ConsistencyCheckState, TheMarkOfTooManyInconsistenciesComesLast) {
    EXPECT_EQ(stateOf(0, 0, 0, true).getStateInfoString(), "# Inconsistent parity > 10");
    EXPECT_EQ(stateOf(0, 10, 1, true).getStateInfoString(),
              "# Inconsistent parity = 10; # Uncorrectable multiple medium errors = 1; # Inconsistent "
              "parity > 10");
}

TEST(ConsistencyCheckState, ACountHasSixtyFourBits) {
    EXPECT_EQ(stateOf(0, UINT64_MAX, 0, false).getStateInfoString(),
              "# Inconsistent parity = 18446744073709551615");
}

TEST(ConsistencyCheckState, AStateStartsWithoutResultAndFault) {
    const State state;
    EXPECT_EQ(state.getCCResult(), 0);
    EXPECT_FALSE(state.getCCFaultDetected());
    EXPECT_EQ(state.getCCEventMessage(), "");
    EXPECT_EQ(state.getCorrectedMediumErrorCount(), 0u);
    EXPECT_EQ(state.getUncorrectableMultipleMediumErrorCount(), 0u);
    EXPECT_EQ(state.getInconsistentParityCount(), 0u);
    EXPECT_FALSE(state.getTooManyInconsistentParityDetected());
}

TEST(ConsistencyCheckState, AResetClearsEveryField) {
    State state = stateOf(1, 2, 3, true);
    state.setCCResult(5);
    state.setCCFaultDetected(true);
    state.setCCEventMessage("first fault");
    state.resetCCState();
    EXPECT_EQ(state.getCCResult(), 0);
    EXPECT_FALSE(state.getCCFaultDetected());
    EXPECT_EQ(state.getCCEventMessage(), "");
    EXPECT_EQ(state.getCorrectedMediumErrorCount(), 0u);
    EXPECT_EQ(state.getUncorrectableMultipleMediumErrorCount(), 0u);
    EXPECT_EQ(state.getInconsistentParityCount(), 0u);
    EXPECT_FALSE(state.getTooManyInconsistentParityDetected());
}

TEST(ConsistencyCheckState, ACloneHasEveryFieldAndIsIndependent) {
    State state = stateOf(1, 2, 3, true);
    state.setCCResult(4);
    state.setCCFaultDetected(true);
    state.setCCEventMessage("first fault");
    const std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> base = state.clone();
    const auto* const clone = dynamic_cast<const State*>(base.get());
    ASSERT_NE(clone, nullptr);
    state.resetCCState();
    EXPECT_EQ(clone->getCCResult(), 4);
    EXPECT_TRUE(clone->getCCFaultDetected());
    EXPECT_EQ(clone->getCCEventMessage(), "first fault");
    EXPECT_EQ(clone->getStateInfoString(),
              "# Corrected medium errors = 1; # Inconsistent parity = 2; # Uncorrectable multiple medium "
              "errors = 3; # Inconsistent parity > 10");
}

}  // namespace
}  // namespace vokMegaRAIDLogicalDiskConsistencyCheckStateTest
