// Reports how the agent identifies the machine, as a table for its administrator, which shows whether the
// firmware's tables are right.
#pragma once

#include <iosfwd>

// Prints platform family, manufacturer and location library, and a row for each PCI function that the
// stored hardware list or the firmware names. The platform's tables must have been read.
void vokdPrintPlatformReport(std::ostream& out);
