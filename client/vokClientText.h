// Times, durations and wrapped text as the client prints them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Columns of what is written for a person.
constexpr std::size_t vokClientWidth = 80;

// "2026-11-22 10:14:28" in local time; "never" for 0.
std::string vokLocalTimeWords(std::int64_t seconds);
// "2026-11-22T10:14:28Z".
std::string vokIsoTime(std::int64_t seconds);
// A whole number of the largest unit that fits: "40 s", "59 min", "47 h", "12 d". Nothing below 0.
std::string vokSpanWords(std::int64_t seconds);
// "3 min ago"; "in 3 min" for a time after `now`.
std::string vokAgoWords(std::int64_t seconds, std::int64_t now);
// "2026-11-22 10:14:28 (3 min ago)"; "never" for 0.
std::string vokTimeAndAge(std::int64_t seconds, std::int64_t now);
// "0.04 s" of 40 milliseconds, "12.3 s", "340 s".
std::string vokDurationWords(std::uint64_t milliseconds);
// "1 command", "2 commands".
std::string vokCountOf(std::uint64_t count, const std::string& one, const std::string& several);

// Without the bytes that a terminal would act on: each is replaced by '?'.
std::string vokPrintable(const std::string& text);
// `first` and the words of `text`, in lines of at most vokClientWidth columns, each ended by a newline. The
// further lines are indented by the width of `first`. A word that is too long for a line is cut.
std::string vokWrapped(const std::string& first, const std::string& text);
