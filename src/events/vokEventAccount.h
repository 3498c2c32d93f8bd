// What the status record and the history say of an event: that it was raised, and what became of it.
#pragma once

#include <ctime>
#include <string>

#include "events/vokDelivery.h"
#include "platform/access/vokStopwatch.h"

class vokEventAccount {
public:
    // The event is raised. `subject`: its class, device and location.
    vokEventAccount(int number, std::string subject);
    // Its delivery has ended so, or it has been dropped.
    void end(const vokDelivery& delivery) const;

private:
    int number_;
    std::string subject_;
    time_t begin_;
    vokStopwatch stopwatch_;
};
