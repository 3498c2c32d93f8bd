// Whether the host's commands succeed. Most of them run again and again, so only a change is logged.
#pragma once

#include <string>

// How a command failed: "exit status 3", "signal 9", "could not be run: " and the reason. Empty if it
// succeeded. `status` is its wait status, or -1 with the error number.
std::string vokCommandFailure(int status, int error);
// The same for a pipeline that ends in grep, for which exit status 1 means that no line matched.
std::string vokGrepFailure(int status, int error);

// Logs a warning when the command begins to fail or fails in another way than before, and a line of level
// info when it succeeds again. `tag`: of the log lines; `failure`: empty if the command succeeded.
void vokReportCommand(const char* tag, const std::string& command, const std::string& failure);
