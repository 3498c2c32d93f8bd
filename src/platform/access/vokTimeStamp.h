// The time stamp of the log, in a file of its own that needs nothing but the seam, because the logger uses
// it.
#pragma once

#include <ctime>
#include <string>

// Local time in the current time zone, even if the zone was changed while the agent runs. Safe from any
// thread.
tm vokLocalTime(time_t seconds);

// Local time now in the form of "Nov 5 08:38:22": English month, day without a leading zero. Does not log.
std::string vokLogTimeStamp();
