// Reports the effective settings, and which values of the file were refused and why.
#pragma once

#include <iosfwd>

// Prints the report and returns the exit status for it.
int vokdPrintConfigReport(std::ostream& out);
