// The resource manager of storage: controllers, drives, volumes and enclosures.
#pragma once

#include <string>

#include "storage/vokInventoryBase.h"

class SASResourceManager {
public:
    // Raise an event about `subject`, at its location, or without one.
    static void generateEvent(int id, std::string location, bool isServiceEvent,
                              const vokInventoryBase& subject);
    static void generateEvent(int id, bool isServiceEvent, const vokInventoryBase& subject);
    // Requests a new build. Within a build, on its thread, the request is void: that build has seen what
    // caused it, and would otherwise be followed by the next for ever.
    static void invalidateInventoryCache();
    // Requests a push at the end of the build that runs, or of the next one.
    static void sendInventorytToRMCOnCacheBuild();
    // True if a registered factory takes care of this model.
    static bool isControllerModelSupported(unsigned int chipset, unsigned int board);
};
