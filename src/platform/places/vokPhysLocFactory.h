// The one way to physical locations: chooses the implementation by the platform family at the first call, for
// the run of the agent.
#pragma once

#include <atomic>
#include <mutex>

#include "platform/places/vokPhysLocInterface.h"

class vokPhysLocFactory {
public:
    // Never null, never to be deleted; safe from any thread. Without a known platform or its library it
    // is the mock, which knows no location.
    static vokPhysLocInterface* getPhysLocInterface();

private:
    static std::atomic<vokPhysLocInterface*> pllInterface;
    static std::mutex factoryLock;
};
