#include "megaraid/vokIOLoadingHelper.h"

#include <algorithm>
#include <utility>

#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char module[] = "IO_LOADING";
constexpr char unknownSlot[] = "0";
constexpr char monitoredManufacturer[] = "MEV";

using Entry = _VOK_SERVER_CHASSIS_IO_ENTRY;
using SubRule = _VOK_IO_LOADING_SUB_RULE;
using Table = std::map<std::string, _VOK_SERVER_CHASSIS_IO_LOADING_TABLE>;

bool isInspectionDisabled() {
    return vokConfig::getInstance()->isMegaRAID9560LoadingInspectionDisabled();
}

bool follows(const Entry& card, const SubRule& subRule) {
    return card.chipsetId == subRule.chipsetId && card.boardId == subRule.boardId &&
           card.pcieSlot == subRule.pcieSlot;
}

// The compliant card at a location with the chassis that it is in, or null.
std::pair<const Entry*, const char*> compliantCard(const Table& table, const std::string& pciLocation) {
    for (const auto& [chassis, cards] : table) {
        if (!cards.ruleApplied) continue;
        const auto found = cards.entries.find(pciLocation);
        if (found != cards.entries.end() && found->second.subRule) return {&found->second, chassis.c_str()};
    }
    return {};
}

}  // namespace

std::map<std::string, _VOK_SERVER_CHASSIS_IO_LOADING_TABLE> vokIOLoadingHelper::ioLoadingTable;
std::mutex vokIOLoadingHelper::ioLoadingHelperMutex;
bool vokIOLoadingHelper::isDisableMegaRAID9560LoadingInspectionLogged = false;

bool vokIOLoadingHelper::isSubjectToLoadingRules(unsigned int chipsetId, unsigned int boardId) {
    return vokIsMegaRAID9560(chipsetId, boardId) && vokIsFirstPlatform(vokUtils::getPlatformFamily());
}

vokLoadingVerdict vokIOLoadingHelper::verdictOn(unsigned int chipsetId, unsigned int boardId,
                                                const std::string& pciLocation) {
    if (!isSubjectToLoadingRules(chipsetId, boardId)) return vokLoadingVerdict::monitored;
    // Required: without the inspection nothing of a 9560 is monitored.
    if (isInspectionDisabled()) return vokLoadingVerdict::inspectionDisabled;
    if (vokUtils::getSystemManufacturer() != monitoredManufacturer) return vokLoadingVerdict::foreignSystem;
    return isDeviceAndChassisIOLoadingRulesCompliant(pciLocation) ? vokLoadingVerdict::monitored
                                                                  : vokLoadingVerdict::notCompliant;
}

// --- the table ---

void vokIOLoadingHelper::updateServerIOLoadingTable() {
    const std::lock_guard<std::mutex> locker(ioLoadingHelperMutex);
    if (!isDisableMegaRAID9560LoadingInspectionLogged && isInspectionDisabled() &&
        vokUtils::getSystemManufacturer() == monitoredManufacturer) {
        VOK_LOG_WARNING(
            module,
            "I/O loading rules compliance inspection for MegaRAID 9560 controllers has been disabled via VOK "
            "configuration settings. Physical drives and RAID volumes attached to MegaRAID 9560 controllers "
            "will not be reported/monitored.");
        isDisableMegaRAID9560LoadingInspectionLogged = true;
    }
    populateMegaRAID9560Loading();
    applyMegaRAID9560LoadingRules();
}

void vokIOLoadingHelper::populateMegaRAID9560Loading() {
    if (isInspectionDisabled() || !vokIsFirstPlatform(vokUtils::getPlatformFamily())) return;
    vokPhysLocInterface& places = *vokPhysLocFactory::getPhysLocInterface();
    for (const CTRL_INFO& info : vokStoreLibInterface::getInstance()->getControllerCollection())
        addController(info, places);
}

void vokIOLoadingHelper::addController(const CTRL_INFO& info, vokPhysLocInterface& places) {
    const char* const location = info.pciLocation.c_str();
    if (!vokIsMegaRAID9560(info.chipsetId, info.subsystemId)) {
        VOK_LOG_DEBUG(
            module, "Ignoring storage controller [0x%04X, 0x%04X] @ [%s] during I/O loading table updation.",
            info.chipsetId, info.subsystemId, location);
        return;
    }

    // Required: looked up under this whole text, not under the address in it. Only for the log.
    const std::string geoID = vokUtils::getGeoIDStr("PCI " + info.pciLocation);
    std::string chassis;
    const int result = places.getChassisLocationForIOSlot(info.pciLocation, chassis);
    if (result != 0) {
        VOK_LOG_WARNING(
            module, "Unable to determine chassis for storage controller [0x%04X, 0x%04X] @ [%s, %s]. (%d)",
            info.chipsetId, info.subsystemId, location, geoID.c_str(), result);
        return;
    }

    const bool isNewChassis = ioLoadingTable.find(chassis) == ioLoadingTable.end();
    _VOK_SERVER_CHASSIS_IO_LOADING_TABLE& cards = ioLoadingTable[chassis];
    if (!isNewChassis)
        VOK_LOG_DEBUG(module,
                      "Found existing chassis @ [%s] in server I/O loading table. ([0x%04X, 0x%04X] @ [%s])",
                      chassis.c_str(), info.chipsetId, info.subsystemId, location);
    if (cards.entries.find(info.pciLocation) != cards.entries.end()) {
        VOK_LOG_DEBUG(module, "Found existing controller [0x%04X, 0x%04X] @ [%s, %s] in I/O loading table.",
                      info.chipsetId, info.subsystemId, location, geoID.c_str());
        return;
    }

    Entry card;
    card.chipsetId = info.chipsetId;
    card.boardId = info.subsystemId;
    card.pciLocation = info.pciLocation;
    card.pcieSlot = places.getPCIeSlotForIOSlot(info.pciLocation);
    if (card.pcieSlot == unknownSlot)
        VOK_LOG_WARNING(module,
                        "Unable to determine PCIe slot number for controller [0x%04X, 0x%04X] @ [%s, %s]",
                        info.chipsetId, info.subsystemId, location, geoID.c_str());
    cards.entries.emplace(info.pciLocation, std::move(card));
    if (isNewChassis)
        VOK_LOG_DEBUG(module, "Found new chassis @ [%s]. Adding to server I/O loading table.",
                      chassis.c_str());
}

// --- the rules ---

void vokIOLoadingHelper::applyMegaRAID9560LoadingRules() {
    if (isInspectionDisabled()) return;
    for (const auto& [chassis, cards] : ioLoadingTable) {
        if (cards.ruleApplied) continue;
        for (const _VOK_IO_LOADING_RULE& rule : TQ_MEGARAID_9560_IO_LOADING_RULEBOOK) {
            VOK_LOG_DEBUG(module, "Checking for I/O loading rule [%s] compliance in chassis [%s]...",
                          rule.ruleName, chassis.c_str());
            if (!checkAndApplyMegaRAID9560LoadingRuleForChassis(rule, chassis)) continue;
            VOK_LOG_INFO(module, "Successfully applied I/O loading rule [%s] for chassis [%s].",
                         rule.ruleName, chassis.c_str());
            break;
        }
    }
}

bool vokIOLoadingHelper::checkAndApplyMegaRAID9560LoadingRuleForChassis(const _VOK_IO_LOADING_RULE& rule,
                                                                        const std::string& chassis) {
    _VOK_SERVER_CHASSIS_IO_LOADING_TABLE& cards = ioLoadingTable[chassis];
    const auto refused = [&] {
        VOK_LOG_DEBUG(module, "Chassis [%s] is not fully compliant with rule [%s].", chassis.c_str(),
                      rule.ruleName);
        return false;
    };

    std::map<Entry*, const SubRule*> followed;
    for (const SubRule& subRule : rule) {
        const auto found = std::find_if(cards.entries.begin(), cards.entries.end(),
                                        [&](const auto& each) { return follows(each.second, subRule); });
        if (found == cards.entries.end()) {
            VOK_LOG_DEBUG(module, "Sub-rule [0x%04X 0x%04X %s] not followed in chassis [%s].",
                          subRule.chipsetId, subRule.boardId, subRule.pcieSlot, chassis.c_str());
            return refused();
        }
        Entry& card = found->second;
        VOK_LOG_DEBUG(module, "Sub-rule followed by [0x%04X, 0x%04X] @ [%s, %s].", card.chipsetId,
                      card.boardId, card.pciLocation.c_str(), card.pcieSlot.c_str());
        followed[&card] = &subRule;
    }
    for (auto& [location, card] : cards.entries) {
        if (followed.count(&card) != 0) continue;
        VOK_LOG_DEBUG(module,
                      "Found additional MegaRAID 9560 card [0x%04X 0x%04X] @ [%s] in chassis [%s], beyond "
                      "what is allowed by IO loading rule [%s].",
                      card.chipsetId, card.boardId, location.c_str(), chassis.c_str(), rule.ruleName);
        return refused();
    }

    for (const auto& [card, subRule] : followed) card->subRule = subRule;
    cards.ruleApplied = true;
    return true;
}

// --- the queries ---

bool vokIOLoadingHelper::isDeviceAndChassisIOLoadingRulesCompliant(const std::string& pciLocation) {
    const std::lock_guard<std::mutex> locker(ioLoadingHelperMutex);
    const auto [card, chassis] = compliantCard(ioLoadingTable, pciLocation);
    if (!card) {
        VOK_LOG_DEBUG(module, "I/O card @ [%s] or it housing chassis not compliant with I/O loading rules.",
                      pciLocation.c_str());
        return false;
    }
    VOK_LOG_DEBUG(module,
                  "I/O card @ [%s] and its housing chassis [%s] are compliant with I/O loading rules.",
                  pciLocation.c_str(), chassis);
    return true;
}

bool vokIOLoadingHelper::getTQStorageEnclosureBoxNumberAndDriveBayOffset(const std::string& pciLocation,
                                                                         int& box, int& offset) {
    const std::lock_guard<std::mutex> locker(ioLoadingHelperMutex);
    const auto [card, chassis] = compliantCard(ioLoadingTable, pciLocation);
    if (!card) {
        VOK_LOG_DEBUG(module,
                      "I/O card @ [%s] in chassis not complaint with I/O loading rules for TQ SEBN & DBO.",
                      pciLocation.c_str());
        box = -1;
        offset = 0;
        return false;
    }
    VOK_LOG_DEBUG(
        module, "I/O card @ [%s] located in chassis [%s] complying with I/O loading rules for TQ SEBN & DBO.",
        pciLocation.c_str(), chassis);
    box = card->subRule->enclosureBoxNumber;
    offset = card->subRule->driveBayOffset;
    return true;
}
