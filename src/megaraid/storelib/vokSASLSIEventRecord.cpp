#include "megaraid/storelib/vokSASLSIEventRecord.h"

#include <cstddef>

#include "core/base/vokDecisionTable.h"
#include "megaraid/storelib/vokSASEventDetail.h"

namespace {

// --- the fields of the record ---

constexpr vokRecordNumber codeField = {8, 4};
constexpr vokRecordNumber localeField = {12, 2};
constexpr vokRecordNumber classField = {15, 1};  // signed
constexpr vokRecordNumber argumentTypeField = {16, 1};
constexpr std::size_t arguments = 32;
constexpr vokRecordBytes descriptionField = {128, 128};

using Numbers = vokOneOf<20>;  // of one row

// --- the category of an event, by its locale word ---

struct LocaleRow {
    unsigned locale;
    std::string_view category;

    constexpr unsigned key() const { return locale; }
};
constexpr LocaleRow locales[] = {
    {0x0001, vokVolumeEvent},      {0x0002, vokDiskEvent},    {0x0004, "ENCLOSURE_EVENT"},
    {0x0008, vokBatteryEvent},     {0x0010, "SAS_EVENT"},     {0x0020, vokControllerEvent},
    {0x0040, "CONFIG_CHNG_EVENT"}, {0x0080, "CLUSTER_EVENT"}, {0xFFFF, "ALL_EVENT"},
};
static_assert(vokKeysAscend(locales));

// --- the same by its code, for every other locale word ---

struct CodeRow {
    Numbers codes;
    std::string_view category;
};
constexpr CodeRow codes[] = {
    {{0x4F, 0x8A, 0x8B}, vokVolumeEvent},
    {{0x76, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0xF4, 0xF5, 0x106, 0x120, 0x121, 0x12A, 0x14D, 0x14E, 0x188,
      0x189, 0x21F, 0x220},
     vokDiskEvent},
    {{0x0B, 0x143, 0x144, 0x145, 0x146}, vokControllerEvent},
    {{0x02}, vokBatteryEvent},
    {{0xE7, 0xE8}, "CONFIG_CHNG_EVENT"},
};

// The last row counts that has the code.
constexpr std::string_view categoryOfCode(std::uint32_t code) {
    std::string_view category;
    for (const CodeRow& row : codes)
        if (row.codes.fits(code)) category = row.category;
    return category;
}

// --- where the arguments name a disk ---

constexpr vokRecordNumber noField = {0, 0};  // read as 0

struct DiskRow {
    Numbers types;  // of arguments
    vokRecordNumber deviceId;
    vokRecordNumber enclosure;
    vokRecordNumber slot;
    vokRecordNumber extraValue;

    constexpr bool fits(std::uint32_t type) const { return types.fits(type); }
};
constexpr DiskRow diskRows[] = {
    {{1, 10, 11, 14, 22, 23, 28, 33, 34, 44, 45, 48, 49, 51, 53, 57}, {0, 2}, {2, 1}, {3, 1}, noField},
    {{15, 35}, {0, 2}, {2, 1}, {3, 1}, {8, 4}},
    {{12, 13}, {8, 2}, {10, 1}, {11, 1}, noField},
    {{26}, {16, 2}, {18, 1}, {19, 1}, noField},
    {{29}, {0, 2}, {2, 2}, {5, 1}, noField},
};

// --- where they name a logical drive ---

struct VolumeRow {
    Numbers types;
    vokRecordNumber targetId;
    vokRecordNumber extraValue;

    constexpr bool fits(std::uint32_t type) const { return types.fits(type); }
};
constexpr VolumeRow volumeRows[] = {
    {{2, 3, 5, 7, 21, 39, 40, 41, 43, 47, 49, 55}, {0, 2}, noField},
    {{8}, {0, 2}, {8, 4}},
    {{4, 9}, {8, 2}, noField},
    {{13}, {12, 2}, noField},
    {{6}, {16, 2}, noField},
};

constexpr std::uint32_t typeOf(std::size_t number) {
    return static_cast<std::uint32_t>(number);
}
static_assert(vokEachRuleApplies(diskRows, 256, typeOf));
static_assert(vokEachRuleApplies(volumeRows, 256, typeOf));

}  // namespace

std::uint32_t vokSASLSIEventRecord::code() const {
    return static_cast<std::uint32_t>(record_.number(codeField));
}

std::string_view vokSASLSIEventRecord::category() const {
    const LocaleRow* const row = vokFindRow(locales, static_cast<unsigned>(record_.number(localeField)));
    return row ? row->category : categoryOfCode(code());
}

std::uint32_t vokSASLSIEventRecord::eventClass() const {
    constexpr int lowest = -2;
    constexpr int highest = 4;
    const auto vendorClass = static_cast<std::int8_t>(record_.number(classField));
    if (vendorClass < lowest || vendorClass > highest) return vokEventClassUnknown;
    return static_cast<std::uint32_t>(vendorClass - lowest);
}

std::uint8_t vokSASLSIEventRecord::argumentType() const {
    return static_cast<std::uint8_t>(record_.number(argumentTypeField));
}

std::optional<vokEventDisk> vokSASLSIEventRecord::disk() const {
    const DiskRow* const row = vokFirstRule(diskRows, argumentType());
    if (!row) return std::nullopt;
    vokEventDisk disk;
    disk.deviceId = static_cast<std::int32_t>(record_.number(row->deviceId, arguments));
    disk.enclosure = static_cast<std::int32_t>(record_.number(row->enclosure, arguments));
    disk.slot = static_cast<std::int32_t>(record_.number(row->slot, arguments));
    disk.extraValue = static_cast<std::uint32_t>(record_.number(row->extraValue, arguments));
    return disk;
}

std::optional<vokEventVolume> vokSASLSIEventRecord::volume() const {
    const VolumeRow* const row = vokFirstRule(volumeRows, argumentType());
    if (!row) return std::nullopt;
    vokEventVolume volume;
    volume.targetId = static_cast<std::int32_t>(record_.number(row->targetId, arguments));
    volume.extraValue = static_cast<std::uint32_t>(record_.number(row->extraValue, arguments));
    return volume;
}

std::string vokSASLSIEventRecord::description() const {
    return std::string(record_.text(descriptionField));
}
