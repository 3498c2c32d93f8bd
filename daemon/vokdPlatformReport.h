// What the agent takes the machine for, as a table for who looks after it: the one look by which it is seen
// whether the firmware's tables are right.
#pragma once

#include <iosfwd>

// Prints platform family, manufacturer and location library, and a row for each PCI function that the stored
// hardware list or the firmware names. The platform's tables have been read.
void vokdPrintPlatformReport(std::ostream& out);
