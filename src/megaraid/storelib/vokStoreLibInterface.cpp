#include "megaraid/storelib/vokStoreLibInterface.h"

vokStoreLibInterface* vokStoreLibInterface::getInstance() {
    static auto* const instance = new vokStoreLibInterface;
    return instance;
}

bool vokStoreLibInterface::vokStoreInit() {
    return false;
}

std::uint32_t vokStoreLibInterface::InitializeLibraryMR() {
    return 0;
}

std::uint32_t vokStoreLibInterface::UnInitializeLibrary() {
    return 0;
}

void vokStoreLibInterface::unloadDLL(int) {}

void vokStoreLibInterface::unloadDLLs() {}

void vokStoreLibInterface::mergeControllerLists() {}

std::uint32_t vokStoreLibInterface::ProcessLibCommandCall(_SL_LIB_CMD_PARAM_T*) {
    return vokStoreLibInitNotDone;
}

std::uint32_t vokStoreLibInterface::callLibraryMR(_SL_LIB_CMD_PARAM_T*) {
    return vokStoreLibInitNotDone;
}

std::vector<std::uint32_t> vokStoreLibInterface::controllerList() const {
    return {};
}

vokLibrary::Hold vokStoreLibInterface::holdLibrary() const {
    return {};
}

std::vector<CTRL_INFO> vokStoreLibInterface::getControllerCollection() {
    return {};
}

CTRL_INFO vokStoreLibInterface::getControllerInventory(std::uint32_t) {
    return {};
}

std::uint32_t vokStoreLibInterface::getControllerID(const std::string&) {
    return vokNoControllerId;
}

std::vector<PD_INFO> vokStoreLibInterface::getPDInventoryForCtrl(std::uint32_t) {
    return {};
}

std::vector<LD_INFO> vokStoreLibInterface::getLDInventoryForCtrl(std::uint32_t) {
    return {};
}

void vokStoreLibInterface::cacheBuild(const std::string&) {}

std::string vokStoreLibInterface::getFWStateString(std::uint32_t) {
    return "";
}

std::uint32_t vokStoreLibInterface::getHealth(std::uint32_t) {
    return vokStoreLibHealthUnknown;
}

std::string vokStoreLibInterface::getLDStateString(std::uint32_t) {
    return "";
}

std::uint32_t vokStoreLibInterface::getLDHealth(std::uint32_t) {
    return vokStoreLibHealthUnknown;
}

std::string vokStoreLibInterface::getRAIDLevelString(unsigned, unsigned, unsigned, unsigned) {
    return "";
}
