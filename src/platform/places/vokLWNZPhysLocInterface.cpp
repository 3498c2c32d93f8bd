#include "platform/places/vokLWNZPhysLocInterface.h"

std::mutex vokLWNZPhysLocInterface::interfaceLock;

vokLWNZPhysLocInterface* vokLWNZPhysLocInterface::getInstance() {
    const std::lock_guard<std::mutex> lock(interfaceLock);
    static auto* const instance = new vokLWNZPhysLocInterface;
    return instance;
}

vokLWNZPhysLocInterface* __vokLWNZPhysLocInterface__getInstance() {
    return vokLWNZPhysLocInterface::getInstance();
}
