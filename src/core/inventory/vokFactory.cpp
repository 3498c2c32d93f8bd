#include "core/inventory/vokFactory.h"

#include "core/inventory/vokResources.h"

vokResourceManager* vokFactory::createInstance(int id) {
    const vokResource* const resource = vokResources().find(id);
    return resource && resource->manager ? resource->manager() : nullptr;
}
