#include "storage/vokGenericStorageFactory.h"

#include "storage/SASResourceManager.h"
#include "storage/vokStorageControllerFactory.h"

void vokUseGenericStorageFactory() {
    auto& registration = SASResourceManager::FactoryRegister;
    if (!registration) registration.emplace(vokStorageControllerFactory::getInstance());
}
