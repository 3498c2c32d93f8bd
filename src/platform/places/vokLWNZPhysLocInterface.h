// Physical locations on the second platform.
#pragma once

#include <mutex>

#include "platform/places/vokLibraryPhysLocInterface.h"

class vokLWNZPhysLocInterface : public vokLibraryPhysLocInterface {
public:
    // The one instance, for the life of the process.
    static vokLWNZPhysLocInterface* getInstance();

private:
    vokLWNZPhysLocInterface() : vokLibraryPhysLocInterface(vokLWNZPlatform, interfaceLock) {}

    static std::mutex interfaceLock;
};

vokLWNZPhysLocInterface* __vokLWNZPhysLocInterface__getInstance();
