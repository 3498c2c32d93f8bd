// The commands that read what the agent has left on disk. The agent need not run.
#pragma once

#include <cstddef>
#include <string>

enum class vokStatusForm { words, json, prometheus };

// The texts of --help on the exit status.
extern const char vokStatusExitHelp[];
extern const char vokHistoryExitHelp[];

// Each returns the exit status.

// Prints the state of the agent, or writes it to `file` if that is not empty.
int vokClientStatus(vokStatusForm form, const std::string& file);
// Prints the last `most` entries of the history.
int vokClientHistory(std::size_t most, bool asJson);
