// The two requests of the OpenIPMI character device, made on a socket of vok-simhost. They check, fail and
// cut as the Linux driver does (drivers/char/ipmi/ipmi_devintf.c and ipmi_msghandler.c hold the rules).
#pragma once

#include <cstdint>

#include "hostaccess/OpenDevice.h"

namespace simhost {

// IPMICTL_SEND_COMMAND of an ipmi_req: 0, or -1 with errno.
int sendIpmiCommand(OpenDevice& device, std::uint32_t request, void* argument);

// IPMICTL_RECEIVE_MSG_TRUNC or IPMICTL_RECEIVE_MSG of an ipmi_recv: 0, or -1 with errno; EAGAIN when no
// message has come, EMSGSIZE when the message is longer than the buffer. With the first, a message that was
// cut is used up all the same.
int receiveIpmiMessage(OpenDevice& device, std::uint32_t request, void* argument);

}  // namespace simhost
