// The output of the client. A text that can't be written is never success.
#pragma once

#include <string>

// Writes `text` and a newline to standard output. Returns true, or false after writing the reason to standard
// error.
bool vokClientPrint(const std::string& text);

// Writes "vokcli: " with `text` to standard error.
void vokClientComplain(const std::string& text);

// The exit status of the program: `exitStatus`, or vokExitFailed for a success during which standard error
// could not be written.
int vokClientEnd(int exitStatus);
