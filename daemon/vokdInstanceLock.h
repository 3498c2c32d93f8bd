// Allows one vokd per host: two would answer the same door-bell and write the same startup record.
#pragma once

#include <string>

#include "platform/access/vokOwnedDescriptor.h"

class vokdInstanceLock {
public:
    static constexpr char lockFile[] = "/var/run/vokd.pid";

    enum class Result { taken, heldByAnother, unavailable };

    // Takes the lock for the life of the process; it is released when the process ends, in whatever way.
    // `detail` is the holder's process id ("unknown" if it wrote none within a second) if another process
    // holds it, and the reason if the lock is unavailable.
    Result take(std::string& detail);

private:
    vokOwnedDescriptor file_;
};
