// The startup record: three lines in a file from which the next start determines how the last run ended.
//
// Keys: current_start (0 after a graceful stop), last_start, last_stop; each with seconds since the Epoch.
// The file lies in a world-writable directory, so opening it detects a planted link or a wrong file type:
// that is logged as a warning and counts as no record; a write moves it aside, with a warning that names
// where, also from under the name of the temporary file. The record is replaced as a whole, by a rename:
// whenever the process dies, the file holds either the old or the new content. Only its first MiB is read and
// kept.
#pragma once

#include <ctime>
#include <string>

namespace vokStartupRecord {

std::string recordPath();     // host path of /var/tmp/mevVOKStartup.txt
std::string temporaryPath();  // host path of /var/tmp/mevVOKStartuptmp.txt

// True if the record exists and can be read.
bool isReadable();

// Writes "current_start <now>", "last_start 0", "last_stop 0". False if nothing could be written.
bool create(time_t now);

// Replaces each line that holds "current_start", copies the others and, on purpose, appends an empty line.
bool replaceCurrentStart(time_t now);

// Replaces each line that holds "last_start" with `start` and copies the others; 0 leaves those lines too.
bool replaceLastStart(long start);

// Writes "last_start <start>", "last_stop <stop>", "current_start 0".
bool writeGracefulStop(time_t start, time_t stop);

// Sets the modification time of the record to now and leaves its content. False with errno; EPERM if it is
// not a plain file of the agent's own user.
bool touch();

// Reads the number after the key on the first line that holds it; false if the record can't be read. If no
// line holds the key, `value` is 0 and `*found`, unless `found` is null, is false.
bool readValue(const std::string& key, long& value, bool* found = nullptr);

}  // namespace vokStartupRecord
