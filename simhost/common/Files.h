// Whole files. Each failure is a std::runtime_error that names the file and the system's reason.
#pragma once

#include <sys/types.h>
#include <exception>
#include <string>
#include <vector>

namespace simhost {

std::string readFile(const std::string& file);
// Replaces the content; does not follow a link at the last name of the path.
void writeFile(const std::string& file, const std::string& content, mode_t mode = 0600);
// Adds a line. A file that the line does not fit into keeps its length.
void appendLine(const std::string& file, const std::string& line);
// Makes a directory and those above it; nothing if it exists.
void makeDirectories(const std::string& directory);
// The names, sorted, of the .json files without that ending and of the directories; none if it can't be read.
std::vector<std::string> jsonNamesIn(const std::string& directory);

// Writes to standard output at once. Throws std::system_error.
void printOut(const std::string& text);

// What an exception says, in one line; of std::filesystem the path and the system's reason.
std::string reasonOf(const std::exception& error);

}  // namespace simhost
