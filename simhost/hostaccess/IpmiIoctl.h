// The two requests of the OpenIPMI character device, made on a socket of vok-simhost. They check, fail and
// cut as the Linux driver does (drivers/char/ipmi/ipmi_devintf.c and ipmi_msghandler.c tell the rules).
#pragma once

#include <linux/ipmi.h>

namespace simhost {

// IPMICTL_SEND_COMMAND: 0, or -1 with errno.
int sendIpmiCommand(int descriptor, const ipmi_req* request);

// IPMICTL_RECEIVE_MSG_TRUNC, or IPMICTL_RECEIVE_MSG when `truncate` is false: 0, or -1 with errno; EAGAIN
// when no message has come, EMSGSIZE when the message is longer than the buffer. A message that was cut
// is used up all the same.
int receiveIpmiMessage(int descriptor, ipmi_recv* received, bool truncate);

}  // namespace simhost
