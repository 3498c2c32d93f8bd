// The time stamp of the log, apart from everything else, because the logger writes it into each line.
#pragma once

#include <string>

// Local time now in the form of "Nov 5 08:38:22": English month, day without a leading zero. Does not log.
std::string vokLogTimeStamp();
