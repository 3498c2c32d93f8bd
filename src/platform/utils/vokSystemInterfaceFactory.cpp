#include "platform/utils/vokSystemInterfaceFactory.h"

#include "platform/utils/vokVmwareOSInterface.h"

namespace {

// Filled when the library is loaded; there is no other operating system to select.
vokOSInterface* const systemInterface = vokVmwareOSInterface::getInstance();

}  // namespace

vokOSInterface* vokSystemInterfaceFactory::getSystemInterface() {
    // A caller that runs before this file's initialiser gets the same object.
    return systemInterface ? systemInterface : vokVmwareOSInterface::getInstance();
}
