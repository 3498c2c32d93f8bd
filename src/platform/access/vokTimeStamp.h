// The time stamp of the log, apart from everything else, because the logger writes it into each line.
#pragma once

#include <ctime>
#include <string>

// Local time by the zone that is set at this moment, also when it was changed while the agent runs. For any
// number of threads at once.
tm vokLocalTime(time_t seconds);

// Local time now in the form of "Nov 5 08:38:22": English month, day without a leading zero. Does not log.
std::string vokLogTimeStamp();
