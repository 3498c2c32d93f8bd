// One vokd a host: two would answer one door-bell and write one startup record.
#pragma once

#include <string>

#include "platform/access/vokOwnedDescriptor.h"

class vokdInstanceLock {
public:
    enum class Result { taken, heldByAnother, unavailable };

    // Takes the lock for the life of the process; it goes with the process, however that ends. `said` is
    // the holder's process id when another holds it, and the reason when there can be no lock.
    Result take(std::string& said);

private:
    vokOwnedDescriptor file_;
};
