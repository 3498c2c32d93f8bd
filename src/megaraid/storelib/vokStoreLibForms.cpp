#include "core/base/vokDecisionTable.h"
#include "megaraid/storelib/vokStoreLibInterface.h"

namespace {

struct StateRow {
    std::uint32_t state;
    const char* text;
    std::uint32_t health;

    constexpr std::uint32_t key() const { return state; }
};

// Of the firmware, for a physical disk.
constexpr StateRow firmwareStates[] = {
    {0, "Online", vokStoreLibHealthOk},                  //
    {1, "Unconfigured bad", vokStoreLibHealthCritical},  //
    {2, "Online", vokStoreLibHealthOk},                  //
    {16, "Offline", vokStoreLibHealthCritical},          //
    {17, "Failed", vokStoreLibHealthCritical},           //
    {20, "Rebuild", vokStoreLibHealthOk},                //
    {24, "Online", vokStoreLibHealthOk},                 //
    {32, "Online", vokStoreLibHealthOk},                 //
    {64, "Online", vokStoreLibHealthOk},
};
static_assert(vokKeysAscend(firmwareStates));
constexpr StateRow otherFirmwareState = {0, "Unknown", vokStoreLibHealthUnknown};

// Of a logical drive.
constexpr StateRow driveStates[] = {
    {0, "Offline", vokStoreLibHealthCritical},            //
    {1, "Partially degraded", vokStoreLibHealthWarning},  //
    {2, "Degraded", vokStoreLibHealthWarning},            //
    {3, "Optimal", vokStoreLibHealthOk},
};
static_assert(vokKeysAscend(driveStates));
constexpr StateRow otherDriveState = {0, "Undefined", vokStoreLibHealthUnknown};

const StateRow& firmwareStateOf(std::uint32_t state) {
    const StateRow* const row = vokFindRow(firmwareStates, state);
    return row ? *row : otherFirmwareState;
}

const StateRow& driveStateOf(std::uint32_t state) {
    const StateRow* const row = vokFindRow(driveStates, state);
    return row ? *row : otherDriveState;
}

constexpr unsigned spannedSecondaryLevel = 3;

bool hasSpannedForm(unsigned primary) {
    return primary == 0 || primary == 1 || primary == 0x11;
}

}  // namespace

constexpr vokRaidType vokStoreLibInterface::BASIC_RAID_TYPES[] = {
    {0, "RAID0"}, {1, "RAID1"},         {3, "RAID3"},    {5, "RAID5"},
    {6, "RAID6"}, {0x0F, "SingleDisk"}, {0x11, "PRL11"},
};
constexpr vokRaidType vokStoreLibInterface::HYBRID_RAID_TYPES[] = {
    {0, "RAID00"}, {1, "RAID10"}, {5, "RAID50"}, {6, "RAID60"}, {0x11, "PRL11 with Spanning"},
};

std::string vokStoreLibInterface::getFWStateString(std::uint32_t firmwareState) {
    return firmwareStateOf(firmwareState).text;
}

std::uint32_t vokStoreLibInterface::getHealth(std::uint32_t firmwareState) {
    return firmwareStateOf(firmwareState).health;
}

std::string vokStoreLibInterface::getLDStateString(std::uint32_t state) {
    return driveStateOf(state).text;
}

std::uint32_t vokStoreLibInterface::getLDHealth(std::uint32_t state) {
    return driveStateOf(state).health;
}

std::string vokStoreLibInterface::getRAIDLevelString(unsigned primary, unsigned, unsigned secondary,
                                                     unsigned spanDepth) {
    static_assert(vokKeysAscend(BASIC_RAID_TYPES));
    static_assert(vokKeysAscend(HYBRID_RAID_TYPES));
    const vokRaidType* const basic = vokFindRow(BASIC_RAID_TYPES, primary);
    if (!basic) return "";
    if (secondary == spannedSecondaryLevel) return "SRL 3";
    if (spanDepth < 2) return basic->text;
    if (!hasSpannedForm(primary)) return "";
    return vokFindRow(HYBRID_RAID_TYPES, primary)->text;
}
