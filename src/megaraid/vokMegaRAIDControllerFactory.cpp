#include "megaraid/vokMegaRAIDControllerFactory.h"

#include "storage/storage_utils.h"

vokMegaRAIDControllerFactory* vokMegaRAIDControllerFactory::getInstance() {
    static auto* const instance = new vokMegaRAIDControllerFactory;
    return instance;
}

void vokMegaRAIDControllerFactory::discoverControllers(std::vector<IvokStorageController*>&) {}

void vokMegaRAIDControllerFactory::shutdownFactory() {
    vokStorageControllerFactory::shutdownFactory();
}

void vokMegaRAIDControllerFactory::poll() {}

std::vector<std::tuple<unsigned int, unsigned int>>&
vokMegaRAIDControllerFactory::getSupportedControllerModels() {
    static std::vector<std::tuple<unsigned int, unsigned int>> models;
    return models;
}

void vokMegaRAIDControllerFactory::getControllers(std::vector<IvokStorageController*>& out) {
    getControllers(vokAnyFamily, out);
}

void vokMegaRAIDControllerFactory::resetControllerDetection() {}
