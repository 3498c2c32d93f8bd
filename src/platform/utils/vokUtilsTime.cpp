#include <cstdlib>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokTimeStamp.h"
#include "platform/utils/vokUtils.h"

namespace {

tm localNow() {
    return vokLocalTime(vokWallClockSeconds());
}

// The number at the start of a part of the text; 0 if there is none.
int decimal(const std::string& text, std::string::size_type from, std::string::size_type count) {
    return static_cast<int>(std::strtol(text.substr(from, count).c_str(), nullptr, 10));
}

}  // namespace

std::string vokUtils::getTimeZone() {
    const tm fields = localNow();
    return fields.tm_zone ? fields.tm_zone : "";
}

std::string vokUtils::getUTCTime() {
    const time_t now = vokWallClockSeconds();
    tm fields{};
    ::gmtime_r(&now, &fields);
    char text[64];
    return std::string(text, std::strftime(text, sizeof(text), "%FT%TZ", &fields));
}

std::string vokUtils::getTime() {
    const tm fields = localNow();
    char text[64];
    return std::string(text, std::strftime(text, sizeof(text), "%F %T", &fields));
}

std::string vokUtils::getDateTime() {
    return vokLogTimeStamp();
}

long vokUtils::toEpoc(std::string text) {
    if (text.size() <= 19) {
        VOK_LOG_DEBUG("VOK_UTILS", "Invalid time stamp format.");
        return 0;
    }
    tm fields{};
    fields.tm_year = decimal(text, 0, 4) - 1900;
    fields.tm_mon = decimal(text, 5, 2) - 1;
    fields.tm_mday = decimal(text, 8, 2);
    fields.tm_hour = decimal(text, 11, 2);
    fields.tm_min = decimal(text, 14, 2);
    fields.tm_sec = decimal(text, 17, 2);
    // Interpreted as local time although the text ends in a Z, with today's daylight saving.
    fields.tm_isdst = localNow().tm_isdst;
    return static_cast<long>(::mktime(&fields));
}

void vokUtils::diffTimespec(const timespec& a, const timespec& b, timespec& out) {
    const bool borrow = a.tv_nsec < b.tv_nsec;
    const timespec difference{a.tv_sec - (borrow ? 1 : 0) - b.tv_sec,
                              a.tv_nsec + (borrow ? 1000000000L : 0L) - b.tv_nsec};
    out = difference;
}
