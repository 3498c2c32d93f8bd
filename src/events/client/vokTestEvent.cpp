#include "events/client/vokTestEvent.h"

#include <json/value.h>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "core/base/vokConfig.h"
#include "core/base/vokModules.h"
#include "core/inventory/vokFactory.h"
#include "core/inventory/vokResourceManager.h"
#include "core/inventory/vokResources.h"
#include "events/vokDelivery.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "platform/utils/vokUtils.h"

namespace {

// Types that the interface defines, although no event number has them.
constexpr int typesWithoutOwner[] = {6, 7, 8};

// The function that raises the test events of a type; null for a type without an owner.
vokResource::TestEvent findRaiser(int type) {
    if (type == vokAgentEvent) return [](int id, const std::string&) { generateTestEvent(id); };
    for (const vokResource& resource : vokResources())
        if (resource.raiseTestEvent && resource.eventType == type) return resource.raiseTestEvent;
    return nullptr;
}

// A number out of the range of int is no event number on either ABI, and truncation must not turn it into
// one.
int eventIdFrom(const std::string& text) {
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

}  // namespace

vokTestEventRequest vokReadTestEventRequest(const std::string& text) {
    const std::size_t blank = text.find(' ');
    return {eventIdFrom(text.substr(0, blank)),
            blank == std::string::npos ? "FFFFFFFFFFFFFFFF" : text.substr(blank + 1)};
}

void sendTestEventWithEventId(char* payload) {
    const auto [id, location] = vokReadTestEventRequest(payload);
    const int type = getEventType(id);
    if (const vokResource::TestEvent raise = findRaiser(type)) {
        raise(id, location);
    } else if (std::find(std::begin(typesWithoutOwner), std::end(typesWithoutOwner), type) ==
               std::end(typesWithoutOwner)) {
        vokDeliveryRecord::note({vokDeliveryKind::invalid, "the agent does not know its number"});
        std::puts("Invalid eventId.");
        std::fflush(stdout);
    }
}

void generateTestEvent(int id) {
    Json::Value enabled(Json::arrayValue);
    Json::Value operational(Json::arrayValue);
    for (const vokResource& resource : vokResources()) {
        if (!vokConfig::getInstance()->isResourceEnabled(resource.id)) continue;
        const char* const name = VOK_MODULE_NAME_MAP.at(resource.id);
        enabled.append(name);
        vokResourceManager* const manager = vokFactory().createInstance(resource.id);
        if (manager && manager->isRunning()) operational.append(name);
    }
    Json::Value data(Json::objectValue);
    data["EnabledResourceType"] = enabled;
    data["OperationalResourceType"] = operational;
    data["EventInfo"] = "VOK Test Event";
    data["Type"] = "Test Event";
    vokEventHandler().generateEvent(vokEvent(id, "TESTEVENT", false, vokUtils::getTime(), data, "VOK-CLI"));
}
