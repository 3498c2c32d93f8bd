// The status of a storage item: state and health as discovered, and those that an event last reported, which
// the rules of events compare.
#pragma once

#include <cstdint>

#include "core/base/vokModules.h"
#include "storage/vokInventoryBase.h"

class vokStatusInfo : public virtual vokInventoryBase {
public:
    Json::Value getVariableData() const override;   // {"State", "Health"}
    Json::Value getInventoryData() const override;  // the same

    // The same as texts.
    const char* stateText() const;
    const char* healthText() const;

    // Offline and Critical, the status of an item that has gone.
    void setLost() {
        setState(VOK_STATE_OFFLINE);
        setHealth(VOK_HEALTH_CRITICAL);
    }

    virtual VOK_RESOURCE_STATE getState() const { return static_cast<VOK_RESOURCE_STATE>(state_); }
    virtual void setState(VOK_RESOURCE_STATE state) { state_ = static_cast<std::uint8_t>(state); }
    virtual VOK_RESOURCE_HEALTH getHealth() const { return static_cast<VOK_RESOURCE_HEALTH>(health_); }
    virtual void setHealth(VOK_RESOURCE_HEALTH health) { health_ = static_cast<std::uint8_t>(health); }
    virtual VOK_RESOURCE_STATE getEventState() const { return static_cast<VOK_RESOURCE_STATE>(eventState_); }
    virtual void setEventState(VOK_RESOURCE_STATE state) { eventState_ = static_cast<std::uint8_t>(state); }
    virtual VOK_RESOURCE_HEALTH getEventHealth() const {
        return static_cast<VOK_RESOURCE_HEALTH>(eventHealth_);
    }
    virtual void setEventHealth(VOK_RESOURCE_HEALTH health) {
        eventHealth_ = static_cast<std::uint8_t>(health);
    }

private:
    std::uint8_t state_ = VOK_STATE_UNKNOWN;
    std::uint8_t health_ = VOK_HEALTH_UNKNOWN;
    std::uint8_t eventState_ = VOK_STATE_UNKNOWN;
    std::uint8_t eventHealth_ = VOK_HEALTH_UNKNOWN;
};

// The status of a physical disk.
class vokDiskStatusInfo : public virtual vokInventoryBase, public vokStatusInfo {
public:
    Json::Value getVariableData() const override;   // {"State", "Health"}
    Json::Value getInventoryData() const override;  // null
};
