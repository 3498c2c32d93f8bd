// What a consistency check of a RAID volume has found so far, or found until it ended.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "storage/vokLogicalDiskConsistencyCheckStateBase.h"
#include "storage/vokRecordField.h"

enum vokConsistencyCheckResult : std::int32_t {
    vokCheckNone = 0,
    vokCheckClean = 1,
    vokCheckInconsistent = 2,
    vokCheckAborted = 3,
    vokCheckFailed = 4,
    vokCheckUncorrectable = 5,
};

class vokMegaRAIDLogicalDiskConsistencyCheckState : public vokLogicalDiskConsistencyCheckStateBase {
public:
    std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> clone() const override;
    // "# Corrected medium errors = 2; # Inconsistent parity = 1": the counts that are not 0.
    std::string getStateInfoString() const override;

    VOK_RECORD_VALUE(std::int32_t, CCResult, vokCheckNone);  // of vokConsistencyCheckResult
    VOK_RECORD_VALUE(bool, CCFaultDetected, false);          // during this check
    VOK_RECORD_TEXT(CCEventMessage);                         // the vendor's text of the first fault
    VOK_RECORD_VALUE(std::uint64_t, CorrectedMediumErrorCount, 0);
    VOK_RECORD_VALUE(std::uint64_t, UncorrectableMultipleMediumErrorCount, 0);
    VOK_RECORD_VALUE(std::uint64_t, InconsistentParityCount, 0);
    // The firmware has stopped to report each parity error.
    VOK_RECORD_VALUE(bool, TooManyInconsistentParityDetected, false);

public:
    // As before the first check.
    void resetCCState();
};
