#include "megaraid/vokMegaRAIDLogicalDiskConsistencyCheckState.h"

namespace {

using State = vokMegaRAIDLogicalDiskConsistencyCheckState;

struct Count {
    const char* name;
    std::uint64_t (State::*get)() const;
};

// Sorted by name.
constexpr Count counts[] = {
    {"Corrected medium errors", &State::getCorrectedMediumErrorCount},
    {"Inconsistent parity", &State::getInconsistentParityCount},
    {"Uncorrectable multiple medium errors", &State::getUncorrectableMultipleMediumErrorCount},
};

void append(std::string& list, const std::string& entry) {
    list += (list.empty() ? "# " : "; # ") + entry;
}

}  // namespace

std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> vokMegaRAIDLogicalDiskConsistencyCheckState::clone()
    const {
    return std::make_unique<vokMegaRAIDLogicalDiskConsistencyCheckState>(*this);
}

std::string vokMegaRAIDLogicalDiskConsistencyCheckState::getStateInfoString() const {
    std::string list;
    for (const Count& count : counts)
        if (const std::uint64_t number = (this->*count.get)(); number != 0)
            append(list, std::string(count.name) + " = " + std::to_string(number));
    if (getTooManyInconsistentParityDetected()) append(list, "Inconsistent parity > 10");
    return list;
}

void vokMegaRAIDLogicalDiskConsistencyCheckState::resetCCState() {
    *this = {};
}
