#include "recording/FormsCommands.h"

#include <algorithm>

#include "platform/access/vokShell.h"

namespace recording {

namespace {

constexpr char filePrefix[] = "file:";

std::string withoutSlashAtEnd(std::string path) {
    while (!path.empty() && path.back() == '/') path.pop_back();
    return path;
}

bool isPathCharacter(char c) {
    return vokShellQuote(std::string(1, c)) == std::string(1, c);
}

// Whether the word at `at` ends there: it isn't the beginning of a longer path.
bool endsAt(const std::string& text, std::size_t at) {
    return at == text.size() || !isPathCharacter(text[at]);
}

std::size_t findWord(const std::string& text, const std::string& word, std::size_t from) {
    for (std::size_t at = text.find(word, from); at != std::string::npos; at = text.find(word, at + 1))
        if (endsAt(text, at + word.size())) return at;
    return std::string::npos;
}

void replaceWords(std::string& text, const std::string& word, const std::string& by) {
    if (word.empty() || word == by) return;
    for (std::size_t at = findWord(text, word, 0); at != std::string::npos;
         at = findWord(text, word, at + by.size()))
        text.replace(at, word.size(), by);
}

void removeAll(std::string& text, const std::string& part) {
    if (part.empty()) return;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at))
        text.erase(at, part.size());
}

}  // namespace

HostTexts::HostTexts(const IvokHostAccess& access)
    : access_(access), root_(withoutSlashAtEnd(access.path("/"))) {}

void HostTexts::asked(const std::string& absolute) {
    const std::lock_guard<std::mutex> lock(mutex_);
    asked_.insert(absolute);
}

std::string HostTexts::ofHost(std::string text) const {
    if (root_.empty()) return text;
    std::set<std::string> asked;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        asked = asked_;
    }
    for (const std::string& absolute : asked) {
        const std::string word = access_.commandPath(absolute);
        replaceWords(text, vokBackquoted(word), absolute);
        replaceWords(text, word, absolute);
    }
    removeAll(text, root_);
    return text;
}

std::vector<std::string> HostTexts::pathsIn(const std::string& text) const {
    std::set<std::string> asked;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        asked = asked_;
    }
    std::vector<std::string> found;
    for (const std::string& absolute : asked) {
        const std::string word = access_.commandPath(absolute);
        if (findWord(text, word, 0) != std::string::npos ||
            findWord(text, vokBackquoted(word), 0) != std::string::npos)
            found.push_back(absolute);
    }
    return found;
}

Fields commandQuestion(const std::string& text) {
    return {{"text", text}};
}

Fields commandFields(const CommandAnswer& answer, bool isRead) {
    Fields fields{{"status", std::to_string(answer.status)}, {"error", std::to_string(answer.error)}};
    if (isRead) {
        fields["opened"] = answer.opened ? "1" : "0";
        fields["output"] = answer.output;
    }
    for (const auto& [path, content] : answer.files) fields[filePrefix + path] = content;
    return fields;
}

CommandAnswer commandAnswer(const Fields& fields) {
    constexpr std::size_t prefix = sizeof(filePrefix) - 1;
    CommandAnswer answer;
    answer.status = intOf(fields, "status");
    answer.error = intOf(fields, "error");
    answer.opened = textOf(fields, "opened") != "0";
    answer.output = textOf(fields, "output");
    for (const auto& [name, content] : fields)
        if (name.compare(0, prefix, filePrefix) == 0) answer.files[name.substr(prefix)] = content;
    return answer;
}

}  // namespace recording
