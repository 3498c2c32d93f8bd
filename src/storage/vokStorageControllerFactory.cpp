#include "storage/vokStorageController.h"

bool vokStorageController::claimDevice(unsigned int, unsigned int, std::string&, bool,
                                       vokStorageController** device) {
    *device = nullptr;
    return false;
}
