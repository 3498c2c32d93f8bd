// Putting words from outside into the text of a POSIX shell command without changing its meaning.
#pragma once

#include <string>

// `word` so that the shell takes it as one word, byte for byte, anywhere in a command: bare when it holds
// only letters, digits and "/._-+,:@%", otherwise in single quotes.
std::string vokShellQuote(const std::string& word);

// A quoted word as it has to be written between two backquotes, where the shell first takes a backslash
// away from before "$", "`" and "\".
std::string vokBackquoted(const std::string& word);
