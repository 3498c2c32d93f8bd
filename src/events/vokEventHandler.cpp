#include "events/vokEventHandler.h"

#include <pthread.h>
#include <algorithm>
#include <iterator>
#include <utility>

#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "events/vokEventDocument.h"
#include "platform/access/vokHostAccess.h"
#include "platform/utils/vokUtils.h"
#include "rmc/ipmi/vokipmi.h"
#include "rmc/vokJsonAggregator.h"

namespace {

constexpr char module[] = "EVT_HANDLER";

// OS boot and shutdown events are raised before the first push. Nothing in this agent raises 1337 and 1338.
constexpr int passBeforeFirstPush[] = {356, 359, 360, 434, 435, 1337, 1338};

vokEventHost thisHost() {
    return {vokUtils::readHostName(), vokUtils::readHostOSVersion(), vokUtils::getOSType(),
            vokUtils::getPrimaryIPAddress()};
}

}  // namespace

bool vokPassesBeforeFirstPush(int id) {
    return std::find(std::begin(passBeforeFirstPush), std::end(passBeforeFirstPush), id) !=
           std::end(passBeforeFirstPush);
}

void vokEventHandler::generateEvent(vokEvent event) {
    if (!vokJsonAggregator::getInstance()->isInventorySent() && !vokPassesBeforeFirstPush(event.getEventID()))
        return;
    pthread_t thread{};
    if (vokHostAccess().startThread(&thread, startEventGeneration, &event) != 0) {
        VOK_LOG_ERROR(module, "Unable to spawn a thread to handle event.");
        return;
    }
    vokHostAccess().joinThread(thread);
}

void* startEventGeneration(void* event) {
    const std::string text = vokJsonText(vokEventDocument(*static_cast<const vokEvent*>(event), thisHost()));
    VOK_LOG_INFO(module, "%s", text.c_str());
    vokEventHandler::sendEventToRMC(text);
    return nullptr;
}

int vokEventHandler::sendEventToRMC(std::string json) {
    ipmi::IPMIUtils controller;
    const int result = controller.RMC_CLI_Cmd_Execution("MPEventGen", std::move(json));
    if (result == 1)
        VOK_LOG_ERROR(module, "FAILURE in logging event to RMC");
    else
        VOK_LOG_DEBUG(module, "SUCCESS in delivering event to RMC");
    return result;
}
