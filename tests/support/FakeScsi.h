// A SCSI generic node of a fake host: it answers SG_IO like the driver of a disk. A test sets a reply for
// each command by the command bytes, or a list of expected commands. A command without a reply is not
// supported: CHECK CONDITION with ILLEGAL REQUEST, INVALID COMMAND OPERATION CODE (SPC-5).
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/ExpectedRows.h"
#include "support/FakeDevice.h"

using FakeScsiBytes = std::vector<unsigned char>;

// The result of one command.
struct FakeScsiReply {
    FakeScsiBytes data = {};        // cut to the requested length
    unsigned char status = 0;       // SAM-5: 0 GOOD, 2 CHECK CONDITION, 8 BUSY
    FakeScsiBytes sense = {};       // cut to the room for it
    std::optional<int> residual{};  // by default the requested length minus that of `data`
    unsigned short hostStatus = 0;
    unsigned short driverStatus = 0;
    int error = 0;  // not 0: SG_IO itself fails with it

    static FakeScsiReply ioctlFails(int error) { return {{}, 0, {}, {}, 0, 0, error}; }
    // CHECK CONDITION with fixed format sense data of 18 bytes.
    static FakeScsiReply checkCondition(unsigned char key, unsigned char code, unsigned char qualifier);
};

// One command as the driver received it.
struct FakeScsiRequest {
    FakeScsiBytes cdb;
    int direction;            // SG_DXFER_...
    unsigned int length;      // of the transfer
    unsigned int timeout;     // in milliseconds
    unsigned int senseRoom;   // in bytes
    FakeScsiBytes sent = {};  // the data of SG_DXFER_TO_DEV
};

struct ExpectedScsiCommand {
    FakeScsiBytes cdb;
    FakeScsiReply reply;
};

class FakeScsi : public FakeDevice {
public:
    using FakeDevice::FakeDevice;

    // --- what a test sets ---
    // Each command with exactly these bytes has this reply.
    void answer(const FakeScsiBytes& cdb, const FakeScsiReply& reply);
    // From now on exactly these commands are expected, in this order.
    void expect(std::vector<ExpectedScsiCommand> rows) { expected_.expect(std::move(rows)); }

    // Called in each command before its reply.
    std::function<void()> onCommand;

    // --- what a test reads ---
    std::vector<FakeScsiRequest> requests() const;
    void checkAllUsed() const override { expected_.checkAllUsed(path()); }

    int control(unsigned long request, void* argument) override;

private:
    FakeScsiReply replyTo(const FakeScsiBytes& cdb);

    std::map<FakeScsiBytes, FakeScsiReply> replies_;
    ExpectedRows<ExpectedScsiCommand> expected_;
    std::vector<FakeScsiRequest> requests_;
};
