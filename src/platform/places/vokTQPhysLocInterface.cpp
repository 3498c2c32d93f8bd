#include "platform/places/vokTQPhysLocInterface.h"

std::mutex vokTQPhysLocInterface::interfaceLock;

vokTQPhysLocInterface* vokTQPhysLocInterface::getInstance() {
    const std::lock_guard<std::mutex> lock(interfaceLock);
    static auto* const instance = new vokTQPhysLocInterface;
    return instance;
}

vokTQPhysLocInterface* __vokTQPhysLocInterface__getInstance() {
    return vokTQPhysLocInterface::getInstance();
}
