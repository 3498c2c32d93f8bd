// The startup record: three lines in a file from which the next start tells how the last run ended.
//
// Keys: current_start (0 after a graceful stop), last_start, last_stop; each with seconds since the Epoch.
// The file lies in a directory that everybody may write to, so it is opened in a way that notices a
// planted link or a wrong file type: such a thing gets a warning, counts as no record and is replaced. The
// record is replaced as a whole, by a rename: whenever the process dies, either the old or the new content
// is there. No more than its first mebibyte is looked at or kept.
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

// Replaces each line that holds "last_start" with `start` and copies the others; 0 leaves those lines too.
bool replaceLastStart(long start);

// Writes "last_start <start>", "last_stop <stop>", "current_start 0".
bool writeGracefulStop(time_t start, time_t stop);

// The number behind the key on the first line that holds it; false when the record can't be opened.
// `value` is 0 when no line holds the key, and `found`, if given, tells that from a number that is 0.
bool readValue(const std::string& key, long& value, bool* found = nullptr);

}  // namespace vokStartupRecord
