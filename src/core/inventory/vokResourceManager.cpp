#include "core/inventory/vokResourceManager.h"

namespace {

class ForwardingReader : public vokInventoryReader {
public:
    explicit ForwardingReader(vokResourceManager& manager) : manager_(manager) {}

    bool getInventoryJsonObject(std::vector<Json::Value>& out) override {
        return manager_.getInventoryJsonObject(out);
    }
    int getInventoryJsonObject2(int type, std::vector<Json::Value>& out) override {
        return manager_.getInventoryJsonObject2(type, out);
    }

private:
    vokResourceManager& manager_;
};

}  // namespace

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

std::unique_ptr<vokInventoryReader> vokResourceManager::openReader() {
    return std::make_unique<ForwardingReader>(*this);
}

bool vokResourceManager::recheckWait() {
    return false;
}
