#include "platform/access/vokTimeStamp.h"

#include <cstdio>
#include <mutex>

#include "platform/access/vokHostAccess.h"

tm vokLocalTime(time_t seconds) {
    static std::mutex zoneMutex;  // tzset replaces the time zone that the threads share
    const std::lock_guard<std::mutex> lock(zoneMutex);
    ::tzset();  // localtime_r alone may not notice a changed time zone
    tm fields{};
    ::localtime_r(&seconds, &fields);
    return fields;
}

std::string vokLogTimeStamp() {
    static constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const tm local = vokLocalTime(vokWallClockSeconds());
    char text[64];
    std::snprintf(text, sizeof(text), "%s %d %02d:%02d:%02d", months[local.tm_mon], local.tm_mday,
                  local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}
