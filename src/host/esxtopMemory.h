// Reads total and free memory of the host out of esxtop's batch output: a header line of quoted counter names
// and a line of quoted values for each sample, fields parted by commas.
#pragma once

#include <cstdio>

struct esxtopMemory {
    long totalMBytes = 0;
    long freeMBytes = 0;
};

// Reads `file` to its end. A value is 0 when its column or its number was not found.
//
// The header ends with the first field that begins with a newline, so it ends only when its line ends in a
// comma; without that no value is read. Of several samples the last wins, also behind a second header.
esxtopMemory readEsxtopMemory(FILE* file);
