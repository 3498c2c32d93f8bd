// The outcome of one remote command, from the exchanges that it took. The result of a command counts a silent
// controller and any completion code as success; the outcome says what the controller answered.
#pragma once

#include <cstddef>
#include <string>

#include "rmc/ipmi/vokIpmiExchange.h"

namespace ipmi {

enum class Verdict {
    notSent,      // no request was made
    accepted,     // each request has a proper answer, and the last one reports success
    unconfirmed,  // sent in full, but not accepted
    refused,      // ended by the transfer status of an answer
    noAnswer,     // ended by an exchange that failed
};

class RemoteCommandOutcome {
public:
    // Adds the exchange of the next request. The statuses are those of the response so far.
    void add(const Exchange& exchange, unsigned char transferStatus, unsigned char exitStatus);
    // Records why no request was made.
    void notSent(std::string why) { whyNotSent_ = std::move(why); }

    Verdict verdict() const;
    // A clause without a capital and a full stop.
    std::string text() const;
    std::size_t requests() const { return requests_; }
    // A clause on the requests without a proper answer; empty if there are none.
    std::string improperText() const;

private:
    std::string refusalText() const;

    std::string whyNotSent_ = "nothing was sent";
    std::size_t requests_ = 0;
    std::size_t improper_ = 0;       // requests without a proper answer
    std::size_t firstImproper_ = 0;  // the number of the first of them, from 1
    Exchange first_;                 // its exchange
    Exchange last_;
    unsigned char transferStatus_ = 0;
    unsigned char exitStatus_ = 0;
};

}  // namespace ipmi
