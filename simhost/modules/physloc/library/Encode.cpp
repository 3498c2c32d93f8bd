#include <algorithm>
#include <cstring>
#include <iterator>

#include "library/LibraryFault.h"
#include "modules/physloc/library/StandIn.h"

namespace physloc {

namespace {

// One byte of the record as the library sees it.
struct Field {
    std::size_t at;
    const char* name;
    unsigned most;  // that its digits hold
    unsigned digits;
    unsigned separator;  // hexadecimal digit before it; 0 for none
};

constexpr Field fields[] = {
    {4, "rack", 255, 3, 0xA},     {5, "second level", 99, 2, 0xB}, {8, "third level", 9, 1, 0xC},
    {11, "last level", 99, 2, 0}, {13, "sub-location", 99, 2, 0},
};
constexpr std::size_t thirdLevelAt = 8;
constexpr std::size_t ownBytes[] = {6, 7, 9, 10, 12, 14, 15};

Result refuse(Result result, const std::string& text) {
    reportViolation("physloc_encode: " + text);
    return result;
}

std::int32_t kindOf(const std::uint8_t* record) {
    std::int32_t kind = 0;
    std::memcpy(&kind, record, sizeof(kind));
    return kind;
}

bool isKnown(std::int32_t kind) {
    return std::find(std::begin(platform.kinds), std::end(platform.kinds), kind) != std::end(platform.kinds);
}

Result checkRecord(const std::uint8_t* record) {
    if (!isKnown(kindOf(record)))
        return refuse(unknownKind, "no unit of this platform has the kind " + std::to_string(kindOf(record)));
    for (const std::size_t at : ownBytes)
        if (record[at] != 0)
            return refuse(notZero, "byte " + std::to_string(at) + " is the library's and not zero");
    if (!platform.hasThirdLevel && record[thirdLevelAt] != 0)
        return refuse(notZero, "byte 8 is not zero and this platform has no third level");
    for (const auto& field : fields)
        if (record[field.at] > field.most)
            return refuse(outOfRange, std::string(field.name) + " " + std::to_string(record[field.at]) +
                                          " is more than " + std::to_string(field.most));
    return encoded;
}

// Appends decimal digits to a code of hexadecimal ones.
void append(std::uint64_t& code, unsigned value, unsigned digits) {
    unsigned divisor = 1;
    while (--digits > 0) divisor *= 10;
    for (; divisor > 0; divisor /= 10) code = code << 4 | value / divisor % 10;
}

}  // namespace

}  // namespace physloc

VOK_ENTRY_POINT std::int32_t physloc_encode(const std::uint8_t* record, std::uint64_t* code) {
    using namespace physloc;
    simhost::sufferLibraryFault("physloc_encode");
    const bool initialized = record && record == initializedRecord;
    initializedRecord = nullptr;
    if (!record || !code) return refuse(noPointer, "no record, or no place for the code");
    if (!initialized) return refuse(notInitialized, "the record did not come from physloc_init_data");
    if (const Result wrong = checkRecord(record)) return wrong;

    std::uint64_t written = platform.digit;
    append(written, static_cast<unsigned>(kindOf(record)), 2);
    for (const auto& field : fields) {
        if (field.separator != 0) written = written << 4 | field.separator;
        append(written, record[field.at], field.digits);
    }
    *code = written;
    return encoded;
}
