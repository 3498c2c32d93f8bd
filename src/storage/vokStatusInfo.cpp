#include "storage/vokStatusInfo.h"

namespace {

// A value that the table lacks has the text of "Unknown", its first entry.
template <std::size_t count>
const char* textOf(const char* const (&texts)[count], std::uint8_t value) {
    return value < count && texts[value] ? texts[value] : texts[0];
}

}  // namespace

Json::Value vokStatusInfo::getVariableData() const {
    Json::Value status;
    status["State"] = stateText();
    status["Health"] = healthText();
    return status;
}

const char* vokStatusInfo::stateText() const {
    return textOf(vokResourceStateMap, state_);
}

const char* vokStatusInfo::healthText() const {
    return textOf(vokResourceHealthMap, health_);
}

Json::Value vokStatusInfo::getInventoryData() const {
    return vokStatusInfo::getVariableData();
}

Json::Value vokDiskStatusInfo::getVariableData() const {
    return vokStatusInfo::getVariableData();
}

Json::Value vokDiskStatusInfo::getInventoryData() const {
    return {};
}
