#include "megaraid/vokMegaRAIDLogicalDiskConsistencyCheckState.h"

std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> vokMegaRAIDLogicalDiskConsistencyCheckState::clone()
    const {
    return std::make_unique<vokMegaRAIDLogicalDiskConsistencyCheckState>(*this);
}

std::string vokMegaRAIDLogicalDiskConsistencyCheckState::getStateInfoString() const {
    return "";
}

void vokMegaRAIDLogicalDiskConsistencyCheckState::resetCCState() {
    *this = {};
}
