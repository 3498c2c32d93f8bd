// A quoted word of any bytes is one word of a shell command, and the same one; between backquotes too.
#include "FuzzInput.h"
#include "platform/access/vokShell.h"

namespace {

// The word that a POSIX shell reads (2.2, Quoting). The run ends at anything that would end or change the
// word.
std::string readByShell(const std::string& command) {
    static const std::string special = " \t\n|&;<>()$`\\\"'*?[]#~=!{}";
    require(!command.empty());
    std::string word;
    for (std::size_t at = 0; at < command.size(); ++at) {
        if (command[at] == '\'') {
            const std::size_t end = command.find('\'', at + 1);
            require(end != std::string::npos);
            word.append(command, at + 1, end - at - 1);
            at = end;
        } else if (command[at] == '\\') {
            require(at + 1 < command.size() && command[at + 1] != '\n');
            word += command[++at];
        } else {
            require(special.find(command[at]) == std::string::npos && command[at] > ' ');
            word += command[at];
        }
    }
    return word;
}

// What is left of the text between two backquotes (2.6.3, Command Substitution).
std::string readBetweenBackquotes(const std::string& text) {
    std::string command;
    for (std::size_t at = 0; at < text.size(); ++at) {
        require(text[at] != '`');
        const bool isEscape = text[at] == '\\' && at + 1 < text.size() &&
                              std::string("$`\\").find(text[at + 1]) != std::string::npos;
        command += isEscape ? text[++at] : text[at];
    }
    return command;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string word = textOf(data, size);
    const std::string quoted = vokShellQuote(word);
    require(readByShell(quoted) == word);
    require(readBetweenBackquotes(vokBackquoted(quoted)) == quoted);
    require(readBetweenBackquotes(vokBackquoted(word)) == word);
    return 0;
}
