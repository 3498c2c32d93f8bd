#include "platform/access/vokShell.h"

std::string vokShellQuote(const std::string& word) {
    static const char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,:@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    std::string quoted = "'";
    for (const char c : word) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

std::string vokBackquoted(const std::string& word) {
    std::string escaped;
    for (const char c : word) {
        if (c == '`' || c == '\\' || c == '$') escaped += '\\';
        escaped += c;
    }
    return escaped;
}
