// The look at the settings for a person: what is in force, and what in the file was not taken and why.
#pragma once

#include <iosfwd>

// Prints the report and gives the exit status that goes with it.
int vokdPrintConfigReport(std::ostream& out);
