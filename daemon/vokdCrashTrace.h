// A stack trace of a crash, written by the process that crashes.
#pragma once

#include <string>

// From now on a fatal signal or an exception that nothing catches first writes a trace into a new file in
// `directory`, vokd-crash-<seconds since the Epoch>-<process id>.txt, and then ends the process as it would
// have ended without the trace. False with errno if the directory can't be created.
bool vokdCaptureCrashes(const std::string& directory);
