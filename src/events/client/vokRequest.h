// What a client asks for, told by the message code of its packet alone.
#pragma once

#include "events/client/vokMsgInfra.h"

// Does what the packet asks for. Gives the status of the response: 1 when an injected event could not be
// sent, otherwise 0. The payload may lack its NUL; it ends with the packet then.
int vokServeRequest(const _VOK_MESSAGE_PACKET& request);
