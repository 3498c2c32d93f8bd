// The startup record: three lines in a file from which the next start tells how the last run ended.
//
// Keys: current_start (0 after a graceful stop), last_start, last_stop; each with seconds since the Epoch.
// The file lies in a directory that everybody may write to, so it is opened in a way that notices a
// planted link or a wrong file type, and it is always replaced as a whole: whenever the process dies,
// either the old or the new content is there.
#pragma once

#include <ctime>
#include <string>

namespace vokStartupRecord {

std::string recordPath();     // the host's place of /var/tmp/mevVOKStartup.txt
std::string temporaryPath();  // the host's place of /var/tmp/mevVOKStartuptmp.txt

// True when the record is there and can be read.
bool isReadable();

// Writes "current_start <now>", "last_start 0", "last_stop 0". False when nothing could be written.
bool create(time_t now);

// Replaces each line that holds "current_start" and copies the others; an empty line comes behind the
// last, as it always has.
bool replaceCurrentStart(time_t now);

// Replaces each line that holds "last_start" with `start` and copies the others.
bool replaceLastStart(long start);

// Writes "last_start <start>", "last_stop <stop>", "current_start 0".
bool writeGracefulStop(time_t start, time_t stop);

// The number behind the key on the first line that holds it; false when the record can't be opened.
// `value` is 0 when no line holds the key.
bool readValue(const std::string& key, long& value);

}  // namespace vokStartupRecord
