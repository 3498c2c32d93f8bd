// Renews the modification time of the startup record: hosts remove files from /var/tmp that have not changed
// for weeks, and an agent may run for months.
#pragma once

#include <optional>

class vokStartupRecordAge {
public:
    // Sets the record's modification time if a day has passed since the first call or since the last time
    // that it was set. Meant for a loop that runs anyway. Does not depend on the wall clock. A failure is
    // logged as a warning, and the next day is the next attempt.
    void renewDaily();

private:
    std::optional<long> renewed_;  // seconds since the host's boot
};
