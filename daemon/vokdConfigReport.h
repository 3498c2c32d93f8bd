// Reports the effective settings, and the findings on the configuration file. All functions report the same
// findings, in the same words (vokConfigFindingText).
#pragma once

#include <iosfwd>

// Prints the report and returns the exit status for it.
int vokdPrintConfigReport(std::ostream& out);

// Warns of each finding on the settings in use on standard error. Needs no log, and so comes before the log
// is opened, which may end the process.
void vokdPrintConfigWarnings();
// The same warnings in the log, which must be open.
void vokdLogConfigWarnings();
