// The text of the startup record: how its lines are written, replaced and read. Pure functions;
// vokStartupRecord reads and writes the file.
#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace vokStartupRecordText {

// The record of a first start, and of a graceful stop.
std::string ofFirstStart(time_t now);
std::string ofGracefulStop(time_t start, time_t stop);

// `content` with each line that holds "current_start" replaced, and an empty line after the last one.
std::string withCurrentStart(const std::string& content, time_t now);

// `content` with each line that holds "last_start" replaced; unchanged if `start` is 0.
std::string withLastStart(const std::string& content, long start);

// The number after the key on the first line that holds it; nothing without such a line.
std::optional<long> valueOf(const std::string& content, const std::string& key);

}  // namespace vokStartupRecordText
