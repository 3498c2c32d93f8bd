// Requests to device nodes.
//
// kind open                     IvokHostAccess::openDevice()
//   question  device            the absolute path on the host
//             flags             of open(2), those in deviceFlags
//   answer    error             0 if it was opened
//             content           what read(2) returns, of a node that is opened for reading only: such a node
//                               (that of the firmware's table) is read, the others are only asked with ioctls
//
// kind scsi                     an SG_IO request
//   question  device
//             command           the bytes of the command block
//             direction         none, from-device, to-device
//             length            of the data in bytes
//             data              to the device
//   answer    result, error     of the ioctl; the rest is missing if it failed
//             status, masked-status, message-status, host-status, driver-status, residual, information,
//             duration          as sg_io_hdr_t has them
//             sense             the sense bytes that the driver returned
//             data              from the device; zeros at its end, after what was transferred, are left out
//
// kind csmi                     a CSMI request: a block whose header has the length of the payload
//   question  device, request   the number of the ioctl
//             block             header and payload as sent, without the zeros at the end
//   answer    result, error
//             block             header and payload as returned, without the zeros at the end
//
// kind ioctl                    any other request
//   question  device, request
//             block             what the device reads, if the request's number has a size and that direction
//   answer    result, error
//             block             what the device changed, if the request's number has a size and that
//             direction
//
// kind ipmi                     a message through the OpenIPMI driver: IPMICTL_SEND_COMMAND, the wait for its
//                               answer, and IPMICTL_RECEIVE_MSG_TRUNC or IPMICTL_RECEIVE_MSG
//   question  device, function (the network function), command, lun, data
//   answer    sent              errno of the request, 0 if it was sent
//             wait, wait-error  the result of waitForDevice(), and its errno if it is negative; missing if it
//                               was not asked
//             received          errno of the receipt, 0 if there was a message; missing if it was not asked
//             type, function, command, lun, data    of the message
#pragma once

#include <linux/ipmi.h>
#include <scsi/sg.h>
#include <cstddef>
#include <optional>
#include <string>

#include "recording/Forms.h"

namespace recording {

// The flags of open(2) that are part of a question: the same numbers on both ABIs.
extern const int deviceFlags;
Fields openQuestion(const std::string& device, int flags);
Fields openAnswer(int error, const std::string& content = {});

// How a request is recorded.
enum class RequestForm { scsi, csmi, ipmiSend, ipmiReceive, sized, unknown };
RequestForm formOfRequest(unsigned long request);
// The kind of all forms but ipmiSend and ipmiReceive.
const char* kindOfForm(RequestForm form);

// For all forms but ipmiSend and ipmiReceive: the question, before the request is made; `argument` is that of
// ioctl(2) and may be null.
Fields requestQuestion(const std::string& device, unsigned long request, const void* argument);
// Where a driver may store an answer, noted before the request is made: what it leaves in the argument's
// own lengths is not relied on.
struct RequestRoom {
    std::size_t block = 0;  // bytes at the argument
    const void* data = nullptr;
    std::size_t dataLength = 0;
    const void* sense = nullptr;
    std::size_t senseLength = 0;
};
RequestRoom roomOfRequest(unsigned long request, const void* argument);
// The answer, after it was made. `error` counts if `result` is negative.
Fields requestAnswer(unsigned long request, const RequestRoom& room, const void* argument, int result,
                     int error);
// Gives the agent a recorded answer: stores it in `argument`, within the lengths that this states, and
// returns the result, with errno if that is negative. EFAULT if `argument` is null and must not be.
int playRequestAnswer(unsigned long request, const Fields& answer, void* argument);

// A message to the controller and what came of it.
struct IpmiExchange {
    struct Message {
        int type = 0;  // IPMI_RESPONSE_RECV_TYPE ...
        unsigned char function = 0;
        unsigned char command = 0;
        unsigned char lun = 0;
        std::string data;
    };
    int sent = 0;
    std::optional<int> wait;
    int waitError = 0;
    std::optional<int> received;
    Message message;
};

Fields ipmiQuestion(const std::string& device, const ipmi_req& request);
Fields ipmiAnswer(const IpmiExchange& exchange);
IpmiExchange ipmiExchange(const Fields& answer);
// What a receipt that returned `error` (0: none) has stored; a message that is cut (EMSGSIZE) counts too.
void noteReceipt(const ipmi_recv& receive, int error, IpmiExchange& exchange);
// Gives the agent the message as the driver does. `request`: one of the two that receive; `id`: that of the
// message which it answers. Returns the ioctl's result, with errno on failure: EMSGSIZE if the agent's buffer
// is too short, and what was recorded.
int playReceipt(unsigned long request, const IpmiExchange& exchange, long id, ipmi_recv& receive);

}  // namespace recording
