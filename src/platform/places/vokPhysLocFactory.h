// The only access to physical locations: chooses the implementation by the platform family at the first call
// and keeps it for the run of the agent.
#pragma once

#include <atomic>
#include <mutex>

#include "platform/places/vokPhysLocInterface.h"

class vokPhysLocFactory {
public:
    // Never null, never to be deleted; safe from any thread. If the platform is unknown or its library can't
    // be used, this is the mock, to which all locations are unknown.
    static vokPhysLocInterface* getPhysLocInterface();

private:
    static std::atomic<vokPhysLocInterface*> pllInterface;
    static std::mutex factoryLock;
};
