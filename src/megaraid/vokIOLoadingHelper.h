// The rules by which MegaRAID 9560 cards may sit in a server of the first platform: a table of the cards
// found in each chassis, and a rulebook. A card is monitored only if the cards of its chassis are exactly
// those of one rule.
#pragma once

#include <map>
#include <mutex>
#include <string>

class vokIOLoadingHelper {
public:
    // True for the two boards of the 9560 on the first platform: only there the rules count.
    static bool isSubjectToLoadingRules(unsigned int chipsetId, unsigned int boardId);

    // Adds the cards of the vendor library's inventory to the table, which only grows, and applies the rules
    // to each chassis that follows none yet.
    static void updateServerIOLoadingTable();
    // True if the chassis of the card at "0000:5e:00.0" follows a rule.
    static bool isDeviceAndChassisIOLoadingRulesCompliant(const std::string& pciLocation);
    // The storage enclosure box of the drives of the card at `pciLocation`, and the offset of their bays.
    // False, with -1 and 0, if its chassis follows no rule.
    static bool getTQStorageEnclosureBoxNumberAndDriveBayOffset(const std::string& pciLocation, int& box,
                                                                int& offset);
};
