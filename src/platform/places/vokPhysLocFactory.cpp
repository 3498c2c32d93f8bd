#include "platform/places/vokPhysLocFactory.h"

#include "core/base/vokLog.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/places/vokLWNZPhysLocInterface.h"
#include "platform/places/vokMockPhysLocInterface.h"
#include "platform/places/vokTQPhysLocInterface.h"
#include "platform/utils/vokUtils.h"

std::atomic<vokPhysLocInterface*> vokPhysLocFactory::pllInterface{nullptr};
std::mutex vokPhysLocFactory::factoryLock;

namespace {

constexpr char module[] = "PL_FACT";

vokPhysLocInterface* interfaceOf(const std::string& family) {
    if (vokIsFirstPlatform(family)) return __vokTQPhysLocInterface__getInstance();
    if (vokIsSecondPlatform(family)) return __vokLWNZPhysLocInterface__getInstance();
    return nullptr;
}

vokPhysLocInterface* choose() {
    const std::string family = vokUtils::getPlatformFamily();
    vokPhysLocInterface* const platform = interfaceOf(family);
    if (platform && platform->Initialize()) return platform;
    if (platform)
        VOK_LOG_WARNING(module,
                        "Physical location will be reported by VOK as FFFFFFFFFFFFFFFF for all FRUs.");
    else
        VOK_LOG_WARNING(module,
                        "Unable to determine platform type [%s]. Physical location will be reported by VOK "
                        "as FFFFFFFFFFFFFFFF for all FRUs.",
                        family.c_str());
    return __vokMockPhysLocInterface__getInstance();
}

}  // namespace

// The interface is published after its library is loaded, so that no thread uses it while it is still
// loading.
vokPhysLocInterface* vokPhysLocFactory::getPhysLocInterface() {
    if (vokPhysLocInterface* const chosen = pllInterface) return chosen;
    const std::lock_guard<std::mutex> lock(factoryLock);
    if (!pllInterface) pllInterface = choose();
    return pllInterface;
}
