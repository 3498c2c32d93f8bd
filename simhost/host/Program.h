// vok-simhost: a whole host, simulated. "run" is the host; "control" changes one that runs.
#pragma once

namespace simhost {

// The program with its command line: its exit status.
int runVokSimhost(int count, char** arguments);

}  // namespace simhost
