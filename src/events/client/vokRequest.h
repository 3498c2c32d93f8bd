// The requests of clients, distinguished by the message code of the packet alone.
#pragma once

#include "events/client/vokMsgInfra.h"

// Carries out the request and returns the status for the response: 1 if an injected event could not be
// sent, otherwise 0. A payload without a NUL ends with the packet.
int vokServeRequest(const _VOK_MESSAGE_PACKET& request);
