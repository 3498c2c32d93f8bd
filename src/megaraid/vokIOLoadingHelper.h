// The rules by which MegaRAID 9560 cards may sit in a server of the first platform: a table of the cards
// found in each chassis, and a rulebook (vokIOLoadingRules.h). A card is monitored only if the cards of its
// chassis are exactly those of one rule.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "megaraid/vokIOLoadingRules.h"

struct CTRL_INFO;
class vokPhysLocInterface;

// A card.
struct _VOK_SERVER_CHASSIS_IO_ENTRY {
    std::uint32_t chipsetId = 0;
    std::uint32_t boardId = 0;
    std::string pciLocation;                            // "0000:5e:00.0"
    std::string pcieSlot;                               // two digits; "0" if unknown
    const _VOK_IO_LOADING_SUB_RULE* subRule = nullptr;  // that it follows; null without one
};

// The cards of a chassis.
struct _VOK_SERVER_CHASSIS_IO_LOADING_TABLE {
    bool ruleApplied = false;  // it follows a rule, and is not tested again
    std::map<std::string, _VOK_SERVER_CHASSIS_IO_ENTRY> entries;  // by PCI location
};

// Whether the disks and volumes of a controller are monitored, and if not, why.
enum class vokLoadingVerdict {
    monitored,
    inspectionDisabled,  // by the settings
    foreignSystem,       // the machine is of another maker
    notCompliant,        // the card, or its chassis, follows no rule
};

class vokIOLoadingHelper {
public:
    // True for the two boards of the 9560 on the first platform: only there the rules count.
    static bool isSubjectToLoadingRules(unsigned int chipsetId, unsigned int boardId);
    // On the controller at "0000:5e:00.0". A controller that the rules do not concern is monitored.
    static vokLoadingVerdict verdictOn(unsigned int chipsetId, unsigned int boardId,
                                       const std::string& pciLocation);

    // Adds the cards of the vendor library's inventory to the table, which only grows, and applies the rules
    // to each chassis that follows none yet. Does neither if the settings disable the inspection.
    static void updateServerIOLoadingTable();
    // True if the chassis of the card at "0000:5e:00.0" follows a rule, and the card was there when it was
    // applied.
    static bool isDeviceAndChassisIOLoadingRulesCompliant(const std::string& pciLocation);
    // The storage enclosure box of the drives of the card at `pciLocation`, and the offset of their bays.
    // False, with -1 and 0, if it is not compliant.
    static bool getTQStorageEnclosureBoxNumberAndDriveBayOffset(const std::string& pciLocation, int& box,
                                                                int& offset);

protected:
    // The lock is held for all of these.
    static void populateMegaRAID9560Loading();
    static void addController(const CTRL_INFO& info, vokPhysLocInterface& places);
    static void applyMegaRAID9560LoadingRules();
    static bool checkAndApplyMegaRAID9560LoadingRuleForChassis(const _VOK_IO_LOADING_RULE& rule,
                                                               const std::string& chassis);

    // By chassis: "r001u05".
    static std::map<std::string, _VOK_SERVER_CHASSIS_IO_LOADING_TABLE> ioLoadingTable;
    // Guards the table and the flag. Taken after a controller's lock and before cache_lock of
    // vokStoreLibInterface.
    static std::mutex ioLoadingHelperMutex;
    static bool isDisableMegaRAID9560LoadingInspectionLogged;
};
