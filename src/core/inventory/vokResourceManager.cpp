#include "core/inventory/vokResourceManager.h"

int vokResourceManager::getInventoryJsonObject2(int, std::vector<Json::Value>&) {
    return 0;
}

int vokResourceManager::getTelemetryJsonObject(Json::Value&) {
    return 0;
}

int vokResourceManager::getUtilizationJsonObject(Json::Value&) {
    return 0;
}

int vokResourceManager::getFileServiceJsonObject(std::vector<Json::Value>&) {
    return 0;
}
