#include "rmc/report/Place.h"

#include <iterator>
#include <regex>

#include "common/Text.h"

namespace simhost {

namespace {

// Fields of a code, at fixed columns: family, kind, 'A', rack, 'B', unit or instance, 'C', partition, last,
// sub.
const std::regex codeForm("([23])([0-9]{2})A([0-9]{3})B([0-9]{2})C([0-9])([0-9]{2})([0-9]{2})");
const std::regex geoIdForm("(r[0-9]{3}(?:u[0-9]{2}|i[0-9]{2}))(?:p([0-9])i|s)([0-9]{2})");
const std::regex geoIdInText("\\b(?:r[0-9]{3}u[0-9]{2}p[0-9]i[0-9]{2}|r[0-9]{3}i[0-9]{2}s[0-9]{2})\\b");
constexpr std::size_t longestDescription = 512;  // std::regex recurses on its text

struct CodeKind {
    char family;
    unsigned number;
    Place::Kind kind;
};

constexpr CodeKind codeKinds[] = {{'2', 3, Place::Kind::slot},       {'2', 59, Place::Kind::slot},
                                  {'2', 56, Place::Kind::bay},       {'2', 69, Place::Kind::external},
                                  {'2', 64, Place::Kind::backplane}, {'3', 3, Place::Kind::slot},
                                  {'3', 48, Place::Kind::slot},      {'3', 45, Place::Kind::bay},
                                  {'3', 61, Place::Kind::external},  {'3', 53, Place::Kind::backplane}};

const CodeKind* kindOf(char family, unsigned number) {
    for (const CodeKind& each : codeKinds)
        if (each.family == family && each.number == number) return &each;
    return nullptr;
}

unsigned numberOf(const std::string& digits) {
    return static_cast<unsigned>(std::stoul(digits));
}

bool isFirstFamily(const std::string& chassis) {
    return chassis.find('u') != std::string::npos;
}

}  // namespace

std::string geoIdIn(const std::string& text) {
    std::smatch found;
    if (text.size() > longestDescription || !std::regex_search(text, found, geoIdInText)) return "";
    return found.str();
}

std::optional<Place> placeOfGeoId(const std::string& geoId) {
    std::smatch found;
    if (geoId.size() > longestDescription || !std::regex_match(geoId, found, geoIdForm)) return std::nullopt;
    Place place;
    place.chassis = found.str(1);
    place.partition = found.str(2);
    place.number = numberOf(found.str(3));
    if (isFirstFamily(place.chassis) == place.partition.empty()) return std::nullopt;
    return place;
}

std::optional<Place> placeOfCode(const std::string& code) {
    std::smatch found;
    if (code.size() != 16 || !std::regex_match(code, found, codeForm)) return std::nullopt;
    const char family = code[0];
    const CodeKind* kind = kindOf(family, numberOf(found.str(2)));
    if (kind == nullptr) return std::nullopt;
    Place place;
    place.kind = kind->kind;
    place.chassis = "r" + found.str(3) + (family == '2' ? "u" : "i") + found.str(4);
    if (family == '2') place.partition = found.str(5);
    place.number = numberOf(found.str(6));
    place.sub = numberOf(found.str(7));
    return place;
}

std::string nameOf(const Place& place) {
    switch (place.kind) {
        case Place::Kind::slot:
            return place.number == 0 ? "On board" : formatText("Slot %02u", place.number);
        case Place::Kind::bay:
            return formatText("Bay %u", place.number);
        case Place::Kind::external:
            return formatText("External, at slot %02u", place.number);
        case Place::Kind::backplane:
            return formatText("Backplane %u", place.sub);
    }
    return "";
}

std::string locationInWords(const Place& place) {
    const std::string partition = place.partition.empty() ? "" : ", partition " + place.partition;
    return place.chassis + partition + ", " + nameOf(place);
}

std::string geoIdOf(const Place& place) {
    if (place.kind != Place::Kind::slot) return "";
    return place.chassis + (place.partition.empty() ? "s" : "p" + place.partition + "i") +
           formatText("%02u", place.number);
}

std::string chassisInWords(const std::string& chassis) {
    const auto letter = chassis.find_first_of("ui", 1);
    if (letter == std::string::npos) return chassis;
    return formatText("rack %u, %s %u", numberOf(chassis.substr(1, letter - 1)),
                      chassis[letter] == 'u' ? "unit" : "instance", numberOf(chassis.substr(letter + 1)));
}

std::string familyInWords(const std::string& chassis) {
    return isFirstFamily(chassis) ? "first platform family" : "second platform family";
}

}  // namespace simhost
