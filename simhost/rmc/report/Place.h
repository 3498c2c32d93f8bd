// Where a unit sits: the chassis and the slot or bay that a GeoID ("r001u05p2i03") or a location code
// ("203A001B05C20300") names. The code is that of the simulated location libraries.
#pragma once

#include <optional>
#include <string>

namespace simhost {

struct Place {
    enum class Kind { slot, bay, external, backplane };
    Kind kind = Kind::slot;
    std::string chassis;    // "r001u05" or "r001i02"
    std::string partition;  // "2"; empty if the platform has none
    unsigned number = 0;    // of the slot, 0 for on board; of the bay; of the controller's slot
    unsigned sub = 0;       // of a bay: the controller's slot; of a backplane: its box
};

// The GeoID within a text such as "PCI 0000:3b:00.0 r001u05p2i03"; empty if there is none.
std::string geoIdIn(const std::string& text);
std::optional<Place> placeOfGeoId(const std::string& geoId);
std::optional<Place> placeOfCode(const std::string& code);
// The code of an unknown place.
inline constexpr char unknownCode[] = "FFFFFFFFFFFFFFFF";

// "Slot 03", "On board", "Bay 2".
std::string nameOf(const Place& place);
// "r001u05, partition 2, Slot 03": partitions number their slots and bays alike.
std::string locationInWords(const Place& place);
// The GeoID that firmware gives a slot; empty for a place of another kind.
std::string geoIdOf(const Place& place);
// "rack 1, unit 5" for r001u05.
std::string chassisInWords(const std::string& chassis);
// The platform family, by the form of the chassis's name.
std::string familyInWords(const std::string& chassis);

}  // namespace simhost
