#include "events/vokEvent.h"

vokEvent::vokEvent(int id, std::string phyLoc, std::string module, bool isService, std::string time,
                   std::string partNum, std::string source)
    : vokEvent(id, std::move(phyLoc), std::move(module), isService, std::move(time), std::move(partNum),
               Json::Value(), std::move(source)) {}

vokEvent::vokEvent(int id, std::string module, bool isService, std::string time, Json::Value variableData,
                   std::string source)
    : vokEvent(id, std::string(), std::move(module), isService, std::move(time), std::string(),
               std::move(variableData), std::move(source)) {}

vokEvent::vokEvent(int id, std::string phyLoc, std::string module, bool isService, std::string time,
                   std::string partNum, Json::Value variableData, std::string source) {
    fields_.id = id;
    fields_.physicalLocation = std::move(phyLoc);
    fields_.module = std::move(module);
    fields_.isService = isService;
    fields_.time = std::move(time);
    fields_.partNumber = std::move(partNum);
    fields_.variableData = std::move(variableData);
    fields_.source = std::move(source);
}
