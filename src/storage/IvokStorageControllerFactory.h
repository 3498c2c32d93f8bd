// A source of storage controllers. The manager asks each registered factory in turn. The order of the
// virtual operations is part of the interface.
#pragma once

#include <tuple>
#include <vector>

class IvokStorageController;

class IvokStorageControllerFactory {
public:
    // Looks for controllers and stores those that there are now. The caller drops one reference on each.
    virtual void discoverControllers(std::vector<IvokStorageController*>& out) = 0;
    // The known controllers of a family in the mask, likewise.
    virtual void getControllers(unsigned char familyMask, std::vector<IvokStorageController*>& out) = 0;
    virtual void shutdownFactory() = 0;
    // Looks whether anything has changed that asks for a new discovery.
    virtual void poll() = 0;
    virtual void deleteControllers(unsigned char familyMask) = 0;
    // Pairs of chipset and board (0: any) that this factory takes care of, and no other.
    virtual std::vector<std::tuple<unsigned int, unsigned int>>& getSupportedControllerModels() = 0;

protected:
    ~IvokStorageControllerFactory() = default;
};
