// The folders that the agent keeps its own files in, apart from those of the logs.
#pragma once

#include <string>
#include <vector>

// Output of the host's commands, on its way to their readers.
inline constexpr char vokDataFolder[] = "/opt/mev/vok/data";

// Makes the data folder and the folder of the log links with mode 0700, parents as needed. An existing folder
// of this process's user loses the access of other users; that, a link and a folder of another user are
// logged as warnings. Returns a line for each folder that can't be used, with the system's reason; each is
// also logged as an error. Called before the first log line, as the logger needs the second folder.
std::vector<std::string> vokPrepareWorkFolders();
