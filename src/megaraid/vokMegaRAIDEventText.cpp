#include "megaraid/vokMegaRAIDEventText.h"

std::string int_to_hex(unsigned int) {
    return "";
}

std::string getAddEventInfo(const VOK_SAS_EVENT_DETAIL&) {
    return "";
}

std::string getAddEventInfo(const VOK_SAS_EVENT_DETAIL&, const std::string&) {
    return "";
}

std::string getAddEventInfoWithOptionalDetail(const VOK_SAS_EVENT_DETAIL&, const std::string&) {
    return "";
}
