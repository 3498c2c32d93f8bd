#include "events/vokEventHandler.h"

#include <pthread.h>
#include <algorithm>
#include <iterator>
#include <utility>

#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "events/vokDelivery.h"
#include "events/vokEventAccount.h"
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

// The client's terms for the outcome of the event's remote command.
vokDelivery deliveryOf(const ipmi::RemoteCommandOutcome& outcome) {
    switch (outcome.verdict()) {
        case ipmi::Verdict::accepted:
            return {vokDeliveryKind::accepted, outcome.text()};
        case ipmi::Verdict::unconfirmed:
            return {vokDeliveryKind::unconfirmed, outcome.text()};
        case ipmi::Verdict::refused:
            return {vokDeliveryKind::refused, outcome.text()};
        case ipmi::Verdict::noAnswer:
            return {vokDeliveryKind::noAnswer, outcome.text()};
        case ipmi::Verdict::notSent:
            break;
    }
    return {vokDeliveryKind::notSent, outcome.text()};
}

}  // namespace

bool vokPassesBeforeFirstPush(int id) {
    return std::find(std::begin(passBeforeFirstPush), std::end(passBeforeFirstPush), id) !=
           std::end(passBeforeFirstPush);
}

void vokEventHandler::generateEvent(vokEvent event) {
    const vokEventAccount account(
        event.getEventID(),
        vokEventSubject(event.getModuleName(), event.getVariableData(), event.getPhyLoc()));
    if (!vokJsonAggregator::getInstance()->isInventorySent() &&
        !vokPassesBeforeFirstPush(event.getEventID())) {
        vokDelivery dropped{vokDeliveryKind::dropped, "the first inventory push is still to come"};
        account.end(dropped);
        vokDeliveryRecord::note(std::move(dropped));
        return;
    }
    vokDelivery delivery{vokDeliveryKind::notSent, "no thread could be started for it"};
    event.setDelivery(&delivery);
    pthread_t thread{};
    if (vokHostAccess().startThread(&thread, startEventGeneration, &event) != 0) {
        VOK_LOG_ERROR(module, "Unable to spawn a thread to handle event.");
    } else {
        vokHostAccess().joinThread(thread);
    }
    account.end(delivery);
    vokDeliveryRecord::note(std::move(delivery));
}

void* startEventGeneration(void* event) {
    const auto& raised = *static_cast<const vokEvent*>(event);
    const std::string text = vokJsonText(vokEventDocument(raised, thisHost()));
    VOK_LOG_INFO(module, "%s", text.c_str());
    const vokDeliveryRecord record;
    vokEventHandler::sendEventToRMC(text);
    if (raised.getDelivery()) *raised.getDelivery() = record.last();
    return nullptr;
}

int vokEventHandler::sendEventToRMC(std::string json) {
    ipmi::IPMIUtils controller;
    const int result = controller.RMC_CLI_Cmd_Execution("MPEventGen", std::move(json));
    if (result == 1)
        VOK_LOG_ERROR(module, "FAILURE in logging event to RMC");
    else
        VOK_LOG_DEBUG(module, "SUCCESS in delivering event to RMC");
    vokDeliveryRecord::note(deliveryOf(controller.lastCommand()));
    return result;
}
