// Reports the effective settings, and the findings on the configuration file. Both functions report the same
// findings, in the same words (vokConfigRefusalText).
#pragma once

#include <iosfwd>

// Prints the report and returns the exit status for it.
int vokdPrintConfigReport(std::ostream& out);

// Warns of each finding on the settings in use, on standard error and in the log, which must be open.
void vokdWarnOfConfig();
