// The IPMI driver of a fake host with a management controller. By default the controller accepts each chunk
// of a remote command; a test sets another reply, a function that replies, or a list of expected requests.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/ExpectedRows.h"
#include "support/FakeDevice.h"

// One request as the driver received it.
struct FakeIpmiRequest {
    unsigned char netfn = 0;
    unsigned char command = 0;
    long messageId = 0;
    std::vector<unsigned char> data;
    // The address in the request.
    int addressType = 0;
    int channel = 0;
    unsigned char lun = 0;
    unsigned int addressLength = 0;
    bool dataPointerIsNull = false;
};

// The result of one request.
struct FakeIpmiReply {
    std::vector<unsigned char> bytes;  // completion code first
    int sendResult = 0;                // of IPMICTL_SEND_COMMAND
    int waitResult = 1;                // of the wait for the reply; EINTR if negative
    int receiveResult = 0;             // of IPMICTL_RECEIVE_MSG_TRUNC

    static FakeIpmiReply sendFails() { return {{}, -1, 1, 0}; }
    static FakeIpmiReply receiveFails() { return {{}, 0, 1, -1}; }
};

struct ExpectedIpmiRequest {
    unsigned char netfn;
    unsigned char command;
    std::vector<unsigned char> data;
    FakeIpmiReply reply;
};

class FakeIpmi : public FakeDevice {
public:
    explicit FakeIpmi(const std::string& path = "/dev/ipmi0");

    // --- what a test sets ---
    // Answers a request.
    std::function<FakeIpmiReply(const FakeIpmiRequest&)> onRequest;
    // From now on each request has this reply.
    void answer(const FakeIpmiReply& reply);
    // From now on exactly these requests are expected, in this order.
    void expect(std::vector<ExpectedIpmiRequest> rows) { expected_.expect(std::move(rows)); }

    // --- what a test reads ---
    std::vector<FakeIpmiRequest> requests() const;
    void clearRequests();
    // The payloads of the remote commands in the requests so far, assembled from their chunks as by a
    // controller.
    std::vector<std::string> remoteCommandPayloads() const;
    // The room for address and data in the last receive, in bytes.
    unsigned int addressRoom() const;
    unsigned int dataRoom() const;
    void checkAllUsed() const override { expected_.checkAllUsed(path()); }

    int control(unsigned long request, void* argument) override;
    int wait() override;

private:
    int send(const void* argument);
    int receive(void* argument);
    FakeIpmiReply replyTo(const FakeIpmiRequest& request);

    ExpectedRows<ExpectedIpmiRequest> expected_;
    std::vector<FakeIpmiRequest> requests_;
    FakeIpmiReply reply_;
    long lastMessageId_ = 0;
    unsigned int addressRoom_ = 0;
    unsigned int dataRoom_ = 0;
};
