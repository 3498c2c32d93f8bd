// Reads the host's memory from a batch sample of esxtop.
#pragma once

#include <cstdio>

struct EsxtopMemory {
    long totalMBytes = 0;
    long freeMBytes = 0;
};

// Reads a file of comma-separated fields in double quotes to its end: a header line, then values. The
// columns are found by their names in the header, where the first field with a name counts: after a crash
// that cut the header the next sample's one continues its line. A line's first field begins with the newline
// of the previous line, since each line ends in a comma. Without that comma the header never ends, and no
// value is read. A value that can't be found is 0. If the file holds several samples, the last one is used,
// with the columns of the first.
EsxtopMemory readEsxtopMemory(FILE* file);
