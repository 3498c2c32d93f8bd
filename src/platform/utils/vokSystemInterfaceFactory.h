// Access to the OS interface of the host.
#pragma once

#include "platform/utils/vokOSInterface.h"

class vokSystemInterfaceFactory {
public:
    // Never null; not owned by the caller.
    static vokOSInterface* getSystemInterface();
};
