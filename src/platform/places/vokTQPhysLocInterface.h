// Physical locations on the first platform.
#pragma once

#include <mutex>

#include "platform/places/vokLibraryPhysLocInterface.h"

class vokTQPhysLocInterface : public vokLibraryPhysLocInterface {
public:
    // The one instance, for the life of the process.
    static vokTQPhysLocInterface* getInstance();

private:
    vokTQPhysLocInterface() : vokLibraryPhysLocInterface(vokTQPlatform, interfaceLock) {}

    static std::mutex interfaceLock;
};

vokTQPhysLocInterface* __vokTQPhysLocInterface__getInstance();
