#include "megaraid/vokMegaRAIDEventText.h"

#include <cstdio>

namespace {

constexpr char guide[] = ". Please refer to MegaRAID Software User Guide for further details.";

// "[Msg # 0xfb] DESCRIPTION".
std::string headOf(const VOK_SAS_EVENT_DETAIL& detail) {
    return "[Msg # " + int_to_hex(detail.eventCode) + "] " + detail.description;
}

}  // namespace

std::string int_to_hex(unsigned int value) {
    char text[sizeof("0xffffffff")];
    std::snprintf(text, sizeof(text), "0x%x", value);
    return text;
}

std::string getAddEventInfo(const VOK_SAS_EVENT_DETAIL& detail) {
    return headOf(detail) + guide;
}

std::string getAddEventInfo(const VOK_SAS_EVENT_DETAIL& detail, const std::string& extra) {
    return headOf(detail) + ". " + extra + guide;
}

std::string getAddEventInfoWithOptionalDetail(const VOK_SAS_EVENT_DETAIL& detail, const std::string& extra) {
    return headOf(detail) + (extra.empty() ? "" : ", (" + extra + ")") + guide;
}
