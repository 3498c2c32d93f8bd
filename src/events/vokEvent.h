// A service event: what happened, where, when, and the source of the report. Copied by value.
#pragma once

#include <json/value.h>
#include <string>
#include <utility>

struct vokDelivery;

// The fields of an event. Code that raises one sets the fields it needs by name.
struct vokEventFields {
    int id = 0;
    std::string physicalLocation;
    std::string module;
    bool isService = false;
    std::string time;  // local time, "%F %T"
    std::string partNumber;
    Json::Value variableData;    // null if none
    std::string source = "VOK";  // "VOK-CLI" for an event that a client requested
};

class vokEvent {
public:
    explicit vokEvent(vokEventFields fields) : fields_(std::move(fields)) {}
    vokEvent(int id, std::string phyLoc, std::string module, bool isService, std::string time,
             std::string partNum, std::string source);
    vokEvent(int id, std::string module, bool isService, std::string time, Json::Value variableData,
             std::string source);
    vokEvent(int id, std::string phyLoc, std::string module, bool isService, std::string time,
             std::string partNum, Json::Value variableData, std::string source);

    int getEventID() const { return fields_.id; }
    const std::string& getEventTime() const { return fields_.time; }
    bool getisServiceEvent() const { return fields_.isService; }
    const std::string& getModuleName() const { return fields_.module; }
    const std::string& getPartNum() const { return fields_.partNumber; }
    const std::string& getPhyLoc() const { return fields_.physicalLocation; }
    const std::string& getSource() const { return fields_.source; }
    const Json::Value& getVariableData() const { return fields_.variableData; }

    // Where the delivery stores its outcome; null if not requested. Set while the event is delivered.
    vokDelivery* getDelivery() const { return delivery_; }
    void setDelivery(vokDelivery* delivery) { delivery_ = delivery; }

private:
    vokEventFields fields_;
    vokDelivery* delivery_ = nullptr;
};
