#include "events/client/vokRequest.h"

#include <cstring>

#include "core/base/vokLog.h"
#include "events/client/vokInjectedEvent.h"
#include "events/client/vokTestEvent.h"

namespace {

constexpr char module[] = "VOK_SERVER";

}  // namespace

int vokServeRequest(const _VOK_MESSAGE_PACKET& request) {
    char text[sizeof(request.payload) + 1] = {};
    std::memcpy(text, request.payload, sizeof(request.payload));
    VOK_LOG_DEBUG(module, "msgFromClient->header.messageCode = %d", request.header.messageCode);
    VOK_LOG_DEBUG(module, "msgFromClient->payload = %s", text);
    VOK_LOG_DEBUG(module, "msgFromClient->clientPID = %d", request.clientPID);
    if (request.header.messageCode != vokTestEventMessage) return sendToRMC(text);
    sendTestEventWithEventId(text);
    return 0;
}
