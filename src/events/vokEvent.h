// A service event: what happened, where, when, and who says so. Copied by value.
#pragma once

#include <json/value.h>
#include <string>

class vokEvent {
public:
    vokEvent(int id, std::string phyLoc, std::string module, bool isService, std::string time,
             std::string partNum, std::string source);
    vokEvent(int id, std::string module, bool isService, std::string time, Json::Value variableData,
             std::string source);
    vokEvent(int id, std::string phyLoc, std::string module, bool isService, std::string time,
             std::string partNum, Json::Value variableData, std::string source);

    int getEventID() const { return eventID; }
    const std::string& getEventTime() const { return eventTime; }  // local time, "%F %T"
    bool getisServiceEvent() const { return isServiceEvent; }
    const std::string& getModuleName() const { return moduleName; }
    const std::string& getPartNum() const { return partNumber; }
    const std::string& getPhyLoc() const { return physicalLocation; }
    const std::string& getSource() const { return source_; }
    const Json::Value& getVariableData() const { return variableData_; }  // null if none

private:
    int eventID;
    std::string eventTime;
    bool isServiceEvent;
    std::string moduleName;
    std::string partNumber;
    std::string physicalLocation;
    std::string source_;
    Json::Value variableData_;
};
