#include "platform/vokTimeStamp.h"

#include <cstdio>
#include <ctime>

#include "platform/vokHostAccess.h"

std::string vokLogTimeStamp() {
    static constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const time_t now = vokWallClockSeconds();
    tm local{};
    ::tzset();  // as in the other time stamps: a zone that was changed while the agent runs counts
    ::localtime_r(&now, &local);
    char text[64];
    std::snprintf(text, sizeof(text), "%s %d %02d:%02d:%02d", months[local.tm_mon], local.tm_mday,
                  local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}
