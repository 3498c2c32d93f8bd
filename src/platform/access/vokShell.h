// Quoting of words from outside, so that they can't change the meaning of a POSIX shell command.
#pragma once

#include <string>

// Returns `word` in a form that the shell reads as one word, byte for byte, anywhere in a command: unchanged
// if it holds only letters, digits and "/._-+,:@%", otherwise in single quotes.
std::string vokShellQuote(const std::string& word);

// Returns a quoted word in the form for use between two backquotes, where the shell first removes a backslash
// before "$", "`" and "\".
std::string vokBackquoted(const std::string& word);
