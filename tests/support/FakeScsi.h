// A SCSI generic node of a fake host: it answers SG_IO as the driver does with a disk that has a reply to
// each command, found by the command bytes, or that expects a list of commands. A command without a reply is
// not supported: CHECK CONDITION with ILLEGAL REQUEST, INVALID COMMAND OPERATION CODE (SPC-5).
#pragma once

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
    FakeScsiBytes data = {};        // cut to the length that was asked for
    unsigned char status = 0;       // SAM-5: 0 GOOD, 2 CHECK CONDITION, 8 BUSY
    FakeScsiBytes sense = {};       // cut to the room for it
    std::optional<int> residual{};  // by default what `data` leaves of the length asked for
    unsigned short hostStatus = 0;
    unsigned short driverStatus = 0;
    int error = 0;  // not 0: SG_IO itself fails with it

    static FakeScsiReply ioctlFails(int error) { return {{}, 0, {}, {}, 0, 0, error}; }
    // CHECK CONDITION with fixed format sense data of 18 bytes.
    static FakeScsiReply checkCondition(unsigned char key, unsigned char code, unsigned char qualifier);
};

// One command as the driver got it.
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
    // The command with exactly these bytes has this reply each time.
    void answer(const FakeScsiBytes& cdb, const FakeScsiReply& reply);
    // From here on exactly these commands come, in this order.
    void expect(std::vector<ExpectedScsiCommand> rows) { expected_.expect(std::move(rows)); }

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
