#include "recording/Redaction.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "recording/Forms.h"
#include "recording/Identities.h"
#include "recording/IdentityFields.h"
#include "recording/Replacer.h"

namespace recording {
namespace {

bool endsWith(const std::string& text, std::string_view end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isIdentify(const Exchange& exchange, const std::string& name) {
    const std::string& command = textOf(exchange.question, "command");
    return exchange.kind == kinds::scsi && name == "data" && command.size() == 16 &&
           command.compare(0, 1, "\x85") == 0 && command.compare(14, 1, "\xEC") == 0;
}

// Where the fields of a record begin and end.
std::vector<std::size_t> cutsOf(const IdentityFields& fields) {
    std::vector<std::size_t> cuts;
    for (const IdentityField& field : fields) {
        cuts.push_back(field.offset);
        cuts.push_back(field.offset + field.length);
    }
    std::sort(cuts.begin(), cuts.end());
    return cuts;
}

// The digits of a disk's name in the inventory: 16 bytes of page 83h from the ninth on, whatever they are.
std::string durableName(std::string page) {
    constexpr char digits[] = "0123456789abcdef";
    constexpr std::size_t first = 8;
    constexpr std::size_t length = 16;
    page.resize(std::max(page.size(), first + length));
    std::string name;
    for (const char each : page.substr(first, length)) {
        const auto byte = static_cast<unsigned char>(each);
        name += digits[byte >> 4];
        name += digits[byte & 0xF];
    }
    return name;
}

// Adds the keys of a document, and the values that are one word, unless a key says that they are an identity.
void leaveWordsOfDocument(std::string_view document, Identities& identities) {
    std::set<std::size_t> identityOffsets;
    for (const IdentityField& field : fieldsOfText(document)) identityOffsets.insert(field.offset);
    const auto isLetter = [](char each) { return std::isalpha(static_cast<unsigned char>(each)) != 0; };
    for (std::size_t open = document.find('"'); open != std::string_view::npos;) {
        const std::size_t close = document.find('"', open + 1);
        if (close == std::string_view::npos) return;
        const std::string_view text = document.substr(open + 1, close - open - 1);
        const bool isKey = document.substr(close + 1, 1) == ":";
        const bool isWord = std::all_of(text.begin(), text.end(), isLetter);
        if (isKey || (isWord && identityOffsets.count(open + 1) == 0)) identities.leaveWords(text);
        open = document.find('"', close + 1);
    }
}

// Adds the keys in the output of a command: what stands before the first colon of a line.
void leaveWordsOfOutput(std::string_view output, Identities& identities) {
    for (std::size_t start = 0; start < output.size();) {
        const std::size_t end = std::min(output.find('\n', start), output.size());
        const std::string_view line = output.substr(start, end - start);
        const std::size_t colon = line.find(':');
        if (colon != std::string_view::npos) identities.leaveWords(line.substr(0, colon));
        start = end + 1;
    }
}

class Redactor {
public:
    Redactor(Recording& recording, std::uint64_t seed) : recording_(recording), seed_(seed) {}

    void run() {
        leaveWords();
        collectRecords();
        leaveDurableNames();
        collectTexts();
        identities_.replaceWith(replacer_, seed_);
        addDurableNames();
        replaceFiles();
        replaceExchanges();
        replacer_.replace(recording_.document);
        for (std::string& remark : recording_.remarks) replacer_.replace(remark);
        recording_.redacted = true;
        recording_.replaced = identities_.replacedByKind();
        if (const unsigned left = identities_.unchanged())
            recording_.remarks.push_back(
                std::to_string(left) +
                " identities are left as they were: so many are alike that nothing else "
                "of their form sorts as they do");
        for (const std::string& name : identities_.leftNames())
            recording_.remarks.push_back("the name \"" + name +
                                         "\" is left as it was: it is short or also another word");
    }

private:
    void add(const std::string& value, const IdentityFields& fields) {
        for (const IdentityField& field : fields) identities_.add(value, field);
    }

    // What the agent asks with, and what it looks for in the answers, has to stay, or the playback is asked
    // for something else: a host may be called "data", as a directory of the agent is, or "sata".
    void leaveWords() {
        for (const auto& [path, entry] : recording_.files)
            if (entry.asked) identities_.leaveWords(path);
        for (const Exchange& exchange : recording_.exchanges) {
            for (const char* name : {"text", "symbol", "library", "entry"})
                identities_.leaveWords(textOf(exchange.question, name));
            for (const Fields& answer : exchange.answers)
                leaveWordsOfOutput(textOf(answer, "output"), identities_);
        }
        leaveWordsOfDocument(recording_.document, identities_);
    }

    // Records first: their identities are certain, and what is found in texts may be one of them.
    void collectRecords() {
        for (const auto& [path, entry] : recording_.files)
            add(entry.content, fieldsOfFile(path, entry.content));
        for (const Exchange& exchange : recording_.exchanges)
            for (const Fields& answer : exchange.answers)
                for (const auto& [name, value] : answer) {
                    add(value, fieldsOfAnswer(exchange, answer, name));
                    if (isIdentify(exchange, name)) identities_.addSwapped(serialNumberOfIdentify(value));
                }
    }

    void collectTexts() {
        const auto collect = [&](const std::string& text) { add(text, fieldsOfText(text)); };
        collect(recording_.document);
        for (const auto& [path, entry] : recording_.files) {
            collect(path);
            collect(entry.content);
            collect(entry.target);
            for (const auto& [name, kind] : entry.children) collect(name);
        }
        for (const Exchange& exchange : recording_.exchanges) {
            for (const auto& [name, value] : exchange.question) collect(value);
            for (const Fields& answer : exchange.answers)
                for (const auto& [name, value] : answer) collect(value);
        }
    }

    // Before texts are looked at, which have such a name after a key.
    void leaveDurableNames() {
        for (const auto& [path, entry] : recording_.files)
            if (endsWith(path, "/vpd_pg83")) identities_.leaveToRecords(durableName(entry.content));
    }

    // A name that is part of a page, and not an identity by itself, has to follow from the redacted page.
    void addDurableNames() {
        std::vector<std::pair<std::string, std::string>> names;
        for (const auto& [path, entry] : recording_.files) {
            if (!endsWith(path, "/vpd_pg83")) continue;
            std::string page = entry.content;
            if (replacer_.replace(page, cutsOf(fieldsOfFile(path, page))))
                names.emplace_back(durableName(entry.content), durableName(page));
        }
        for (const auto& [name, standIn] : names)
            if (name != standIn) replacer_.addDigits(name, standIn);
    }

    void replaceFiles() {
        std::map<std::string, FileEntry> files;
        for (auto& [path, entry] : recording_.files) {
            const std::string before = entry.content;
            const IdentityFields fields = fieldsOfFile(path, before);
            if (replacer_.replace(entry.content, cutsOf(fields)) && endsWith(path, "/vpd"))
                mendPciVpdSum(before, entry.content);
            replacer_.replace(entry.target);
            std::map<std::string, FileEntry::Kind> children;
            for (const auto& [name, kind] : entry.children) children.emplace(replaced(name), kind);
            entry.children = std::move(children);
            files.emplace(replaced(path), std::move(entry));
        }
        recording_.files = std::move(files);
    }

    void replaceExchanges() {
        for (Exchange& exchange : recording_.exchanges) {
            for (Fields& answer : exchange.answers) {
                const Fields before = answer;
                Fields after;
                for (auto& [name, value] : answer) {
                    const bool changed =
                        replacer_.replace(value, cutsOf(fieldsOfAnswer(exchange, before, name)));
                    if (changed && isIdentify(exchange, name)) mendIdentifySum(before.at(name), value);
                    after.emplace(replaced(name), std::move(value));
                }
                answer = std::move(after);
            }
            for (auto& [name, value] : exchange.question) replacer_.replace(value);
        }
    }

    std::string replaced(std::string text) const {
        replacer_.replace(text);
        return text;
    }

    Recording& recording_;
    std::uint64_t seed_;
    Identities identities_;
    Replacer replacer_;
};

}  // namespace

void redact(Recording& recording, std::uint64_t seed) {
    Redactor(recording, seed).run();
}

}  // namespace recording
