// The time stamp of a line of the host's summary log, whatever the line holds. Where the digits are in their
// places the result is the one that the calendar's rule gives, also for the 45th of a 13th month.
#include <cctype>
#include <limits>

#include "FuzzInput.h"
#include "platform/utils/vokUtils.h"
#include "vokFuzzHost.h"

namespace {

bool hasDigits(const std::string& text, std::size_t from, std::size_t count) {
    for (std::size_t at = from; at < from + count; ++at)
        if (!std::isdigit(static_cast<unsigned char>(text[at]))) return false;
    return true;
}

// Days from 1970-01-01 to the first of a month, counted from 0, of the Gregorian calendar.
long long daysBefore(long long year, long long month) {
    year += month < 0 ? -1 : month / 12;
    month = month < 0 ? month + 12 : month % 12;
    static const int before[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const long long past = month > 1 ? year : year - 1;  // whose 29th of February, if any, has passed
    const auto floorOf = [](long long value, long long by) {
        return (value >= 0 ? value : value - by + 1) / by;
    };
    const long long leapDays = floorOf(past, 4) - floorOf(past, 100) + floorOf(past, 400);
    return year * 365 + leapDays + before[month] - 719527;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ::setenv("TZ", "UTC0", 1);
    vokFuzzHost::installQuiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size);
    const long seconds = vokUtils::toEpoc(text);
    if (text.size() <= 19) {
        require(seconds == 0);
        return 0;
    }
    const bool isPlain = hasDigits(text, 0, 4) && hasDigits(text, 5, 2) && hasDigits(text, 8, 2) &&
                         hasDigits(text, 11, 2) && hasDigits(text, 14, 2) && hasDigits(text, 17, 2);
    if (!isPlain) return 0;
    const auto number = [&text](std::size_t from, std::size_t count) {
        return std::stoll(text.substr(from, count));
    };
    const long long days = daysBefore(number(0, 4), number(5, 2) - 1) + number(8, 2) - 1;
    const long long expected = days * 86400 + number(11, 2) * 3600 + number(14, 2) * 60 + number(17, 2);
    const bool fits =
        expected >= std::numeric_limits<long>::min() && expected <= std::numeric_limits<long>::max();
    require(seconds == (fits ? static_cast<long>(expected) : -1));
    return 0;
}
