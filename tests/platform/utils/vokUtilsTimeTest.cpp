#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include "platform/access/vokTimeStamp.h"
#include "platform/utils/vokUtils.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace vokUtilsTimeTest {
namespace {

constexpr char utc[] = "UTC0";
constexpr char centralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

constexpr time_t november15 = 1794731902;  // 2026-11-15T08:38:22Z
constexpr time_t november5 = 1793865909;   // 2026-11-05T08:05:09Z
constexpr time_t july1 = 1782907200;       // 2026-07-01T12:00:00Z

FakeHost hostAt(time_t now, const char* zone) {
    FakeHost host;
    host.part<FakeClock>().set(now);
    ::setenv("TZ", zone, 1);
    return host;
}

}  // namespace

TEST(TimeZone, IsTheCurrentAbbreviation) {
    const auto host = hostAt(november15, centralEurope);
    EXPECT_EQ(vokUtils::getTimeZone(), "CET");
    host.part<FakeClock>().set(july1);
    EXPECT_EQ(vokUtils::getTimeZone(), "CEST");
    ::setenv("TZ", utc, 1);
    EXPECT_EQ(vokUtils::getTimeZone(), "UTC");
}

TEST(UTCTime, IsNeverLocal) {
    hostAt(november15, centralEurope);
    EXPECT_EQ(vokUtils::getUTCTime(), "2026-11-15T08:38:22Z");
}

TEST(Time, IsLocal) {
    const auto host = hostAt(november15, centralEurope);
    EXPECT_EQ(vokUtils::getTime(), "2026-11-15 09:38:22");
    host.part<FakeClock>().set(july1);
    EXPECT_EQ(vokUtils::getTime(), "2026-07-01 14:00:00");
}

TEST(Time, FollowsAChangeOfTheZoneWhileTheAgentRuns) {
    hostAt(november15, utc);
    EXPECT_EQ(vokUtils::getTime(), "2026-11-15 08:38:22");
    EXPECT_EQ(vokUtils::getDateTime(), "Nov 15 08:38:22");
    ::setenv("TZ", centralEurope, 1);
    EXPECT_EQ(vokUtils::getDateTime(), "Nov 15 09:38:22");
    EXPECT_EQ(vokUtils::getTime(), "2026-11-15 09:38:22");
}

TEST(Time, IsTheEpochIfTheClockCanNotBeRead) {
    const auto host = hostAt(november15, utc);
    host.part<FakeClock>().failReads(2);
    EXPECT_EQ(vokUtils::getTime(), "1970-01-01 00:00:00");
    EXPECT_EQ(vokUtils::getUTCTime(), "1970-01-01T00:00:00Z");
}

TEST(DateTime, TheDayHasNoLeadingZeroAndTheTimeHas) {
    hostAt(november5, utc);
    EXPECT_EQ(vokUtils::getDateTime(), "Nov 5 08:05:09");
}

TEST(DateTime, NamesTheMonthsInEnglishInAnyLocale) {
    const auto host = hostAt(0, utc);
    const char* const days[] = {"Jan 3", "Feb 3", "Mar 3", "Apr 3", "May 3", "Jun 3",
                                "Jul 3", "Aug 3", "Sep 3", "Oct 3", "Nov 3", "Dec 3"};
    // The third of each month of 2025 at noon.
    const time_t noons[] = {1735905600, 1738584000, 1741003200, 1743681600, 1746273600, 1748952000,
                            1751544000, 1754222400, 1756900800, 1759492800, 1762171200, 1764763200};
    for (int i = 0; i < 12; ++i) {
        host.part<FakeClock>().set(noons[i]);
        EXPECT_EQ(vokUtils::getDateTime(), std::string(days[i]) + " 12:00:00");
    }
}

TEST(DateTime, IsTheTimeStampOfTheLog) {
    hostAt(november15, centralEurope);
    EXPECT_EQ(vokUtils::getDateTime(), "Nov 15 09:38:22");
    EXPECT_EQ(vokLogTimeStamp(), "Nov 15 09:38:22");
}

TEST(ToEpoc, InterpretsTheStampAsLocalTimeAlthoughItEndsInZ) {
    hostAt(november15, utc);
    EXPECT_EQ(vokUtils::toEpoc("2026-11-15T08:38:22Z"), 1794731902);
    ::setenv("TZ", centralEurope, 1);
    EXPECT_EQ(vokUtils::toEpoc("2026-11-15T08:38:22Z"), 1794731902 - 3600);
}

TEST(ToEpoc, TodaysDaylightSavingAppliesToAStampOfTheOtherSeason) {
    const auto host = hostAt(july1, centralEurope);
    EXPECT_EQ(vokUtils::toEpoc("2026-11-15T08:38:22Z"), 1794731902 - 7200);
    host.part<FakeClock>().set(november15);
    EXPECT_EQ(vokUtils::toEpoc("2026-07-01T12:00:00Z"), 1782907200 - 3600);
}

TEST(ToEpoc, AStampOfExactly19CharactersIsRejected) {
    const auto host = hostAt(november15, utc);
    logEverything(host);
    EXPECT_EQ(vokUtils::toEpoc("2026-11-15 08:38:22"), 0);
    EXPECT_EQ(vokUtils::toEpoc(""), 0);
    EXPECT_EQ(countLogged(host, "DEBUG VOK_UTILS: Invalid time stamp format."), 2);
}

TEST(ToEpoc, AnyTwentiethCharacterMakesItATime) {
    const auto host = hostAt(november15, utc);
    logEverything(host);
    EXPECT_EQ(vokUtils::toEpoc("2026-11-15 08:38:22x"), 1794731902);
    EXPECT_EQ(vokUtils::toEpoc("2026-11-15T08:38:22.123+0100 and more"), 1794731902);
    EXPECT_EQ(vokUtils::toEpoc("2026/11/15_08.38.22\n"), 1794731902);
    EXPECT_TRUE(loggedLines(host).empty());
}

TEST(ToEpoc, FieldsBeyondTheirRangeCarryOver) {
    hostAt(november15, utc);
    // 14 months, 32 days, 25 hours, 61 minutes, 61 seconds of 2026: 2027-03-05T02:02:01Z.
    EXPECT_EQ(vokUtils::toEpoc("2026-14-32T25:61:61Z"), 1804212121);
}

TEST(ToEpoc, AFieldThatIsNotANumberIsZero) {
    hostAt(november15, utc);
    // 30 November of the year -1, which 32-bit time can't represent.
    const long longAgo = sizeof(time_t) == 4 ? -1 : static_cast<long>(-62169984000LL);
    EXPECT_EQ(vokUtils::toEpoc("xxxxxxxxxxxxxxxxxxxx"), longAgo);
    EXPECT_EQ(vokUtils::toEpoc(std::string(20, '\0')), longAgo);
    EXPECT_EQ(vokUtils::toEpoc("2026-1xT1xT0x:3x:2xZ"), 1767225600 + 3 * 60 + 2);
}

TEST(ToEpoc, AYearBeyondTheClockIsMinusOneWith32BitTime) {
    hostAt(november15, utc);
    const long expected = sizeof(time_t) == 4 ? -1 : static_cast<long>(2208988800LL);
    EXPECT_EQ(vokUtils::toEpoc("2040-01-01T00:00:00Z"), expected);
}

TEST(DiffTimespec, IsAPlainDifferenceIfTheNanosecondsSuffice) {
    timespec out{};
    vokUtils::diffTimespec({10, 500}, {7, 200}, out);
    EXPECT_EQ(out.tv_sec, 3);
    EXPECT_EQ(out.tv_nsec, 300);
    vokUtils::diffTimespec({10, 200}, {7, 200}, out);
    EXPECT_EQ(out.tv_sec, 3);
    EXPECT_EQ(out.tv_nsec, 0);
}

TEST(DiffTimespec, BorrowsASecondForTheNanoseconds) {
    timespec out{};
    vokUtils::diffTimespec({10, 0}, {7, 999999999}, out);
    EXPECT_EQ(out.tv_sec, 2);
    EXPECT_EQ(out.tv_nsec, 1);
}

TEST(DiffTimespec, OfALaterInstantIsNegativeOnlyInTheSeconds) {
    timespec out{};
    vokUtils::diffTimespec({7, 100}, {10, 200}, out);
    EXPECT_EQ(out.tv_sec, -4);
    EXPECT_EQ(out.tv_nsec, 999999900);
}

TEST(DiffTimespec, TheResultMayBeOneOfTheOperands) {
    timespec a{10, 100};
    vokUtils::diffTimespec(a, {7, 200}, a);
    EXPECT_EQ(a.tv_sec, 2);
    EXPECT_EQ(a.tv_nsec, 999999900);
}

}  // namespace vokUtilsTimeTest
