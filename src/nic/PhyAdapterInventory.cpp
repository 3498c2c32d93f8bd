#include "nic/PhyAdapterInventory.h"

namespace {

// The value whose text is `text`; `unknown` if the table has no such text.
template <typename Value, std::size_t count>
Value valueOf(const char* const (&texts)[count], const std::string& text, Value unknown) {
    for (std::size_t value = 0; value < count; ++value)
        if (texts[value] && text == texts[value]) return static_cast<Value>(value);
    return unknown;
}

}  // namespace

void PhyAdapterInventory::setState(std::string value) {
    adapter_.stateValue = valueOf(vokResourceStateMap, value, VOK_STATE_UNKNOWN);
    adapter_.State = std::move(value);
}

void PhyAdapterInventory::setHealth(std::string value) {
    adapter_.healthValue = valueOf(vokResourceHealthMap, value, VOK_HEALTH_UNKNOWN);
    adapter_.Health = std::move(value);
}

void PhyAdapterInventory::setState(VOK_RESOURCE_STATE value) {
    adapter_.stateValue = value;
    adapter_.State = vokResourceStateMap[value];
}

void PhyAdapterInventory::setHealth(VOK_RESOURCE_HEALTH value) {
    adapter_.healthValue = value;
    adapter_.Health = vokResourceHealthMap[value];
}
