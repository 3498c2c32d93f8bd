#include "storage/SASResourceManager.h"

#include <utility>

#include "core/base/vokLog.h"
#include "events/vokEventHandler.h"
#include "platform/utils/vokUtils.h"

void SASResourceManager::generateEvent(int id, std::string location, bool isServiceEvent,
                                       const vokInventoryBase& subject) {
    vokEventFields event;
    event.id = id;
    event.physicalLocation = std::move(location);
    event.module = "SASHBA";
    event.isService = isServiceEvent;
    event.time = vokUtils::getTime();
    event.partNumber = "NotAvailable";
    event.variableData = subject.getVariableData();
    vokEventHandler().generateEvent(vokEvent(std::move(event)));
}

void SASResourceManager::generateEvent(int id, bool isServiceEvent, const vokInventoryBase& subject) {
    generateEvent(id, "", isServiceEvent, subject);
}

void SASResourceManager::invalidateInventoryCache() {
    VOK_LOG_DEBUG("SAS_RM", "Invalidating inventory cache.");
    VOK_LOG_DEBUG("SAS_RM", "Inventory cache invalidated.");
}

void SASResourceManager::sendInventorytToRMCOnCacheBuild() {
    VOK_LOG_DEBUG("SAS_RM", "Signalling for inventory push to RMC on cache build.");
    VOK_LOG_DEBUG("SAS_RM", "Signalled inventory push");
}

bool SASResourceManager::isControllerModelSupported(unsigned int, unsigned int) {
    return false;
}
