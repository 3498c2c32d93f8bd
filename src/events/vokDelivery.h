// The outcome of the delivery of an event, for the person who requested it. The results of the event path do
// not say it: raising an event returns nothing, and a silent controller counts as success.
#pragma once

#include <string>

// Part of the protocol with the client (events/client/vokMsgInfra.h).
enum class vokDeliveryKind {
    unknown = 0,      // no event was raised
    accepted = 1,     // the controller accepted it
    unconfirmed = 2,  // handed to the driver; the controller did not accept it
    refused = 3,      // the controller refused it
    noAnswer = 4,     // the driver returned no answer
    notSent = 5,      // no request was made
    dropped = 6,      // raised before the first inventory push
    invalid = 7,      // the request for it is not valid
};

struct vokDelivery {
    vokDeliveryKind kind = vokDeliveryKind::unknown;
    std::string text;  // a clause without a capital and a full stop
};

// Keeps the outcome of the last event that this thread raised or sent since the record was made. Records
// nest; only the innermost one is written to.
class vokDeliveryRecord {
public:
    vokDeliveryRecord();
    ~vokDeliveryRecord();
    vokDeliveryRecord(const vokDeliveryRecord&) = delete;
    vokDeliveryRecord& operator=(const vokDeliveryRecord&) = delete;

    const vokDelivery& last() const { return last_; }

    // Writes to the record of this thread; without one, does nothing.
    static void note(vokDelivery delivery);

private:
    vokDelivery last_;
    vokDeliveryRecord* const outer_;
};
