#include "events/vokEvent.h"

#include <utility>

vokEvent::vokEvent(int id, std::string phyLoc, std::string module, bool isService, std::string time,
                   std::string partNum, std::string source)
    : vokEvent(id, std::move(phyLoc), std::move(module), isService, std::move(time), std::move(partNum),
               Json::Value(), std::move(source)) {}

vokEvent::vokEvent(int id, std::string module, bool isService, std::string time, Json::Value variableData,
                   std::string source)
    : vokEvent(id, std::string(), std::move(module), isService, std::move(time), std::string(),
               std::move(variableData), std::move(source)) {}

vokEvent::vokEvent(int id, std::string phyLoc, std::string module, bool isService, std::string time,
                   std::string partNum, Json::Value variableData, std::string source)
    : eventID(id),
      eventTime(std::move(time)),
      isServiceEvent(isService),
      moduleName(std::move(module)),
      partNumber(std::move(partNum)),
      physicalLocation(std::move(phyLoc)),
      source_(std::move(source)),
      variableData_(std::move(variableData)) {}
