#include "recording/Replacer.h"

#include <algorithm>

namespace recording {
namespace {

constexpr std::size_t digitsOfAWwn = 16;

bool isDigit(char each) {
    return each >= '0' && each <= '9';
}
bool isUpper(char each) {
    return each >= 'A' && each <= 'Z';
}
bool isLower(char each) {
    return each >= 'a' && each <= 'z';
}
bool isWordCharacter(char each) {
    return isDigit(each) || isUpper(each) || isLower(each);
}
char lower(char each) {
    return isUpper(each) ? static_cast<char>(each - 'A' + 'a') : each;
}
char upper(char each) {
    return isLower(each) ? static_cast<char>(each - 'a' + 'A') : each;
}
bool isHexDigit(char each) {
    return isDigit(each) || (lower(each) >= 'a' && lower(each) <= 'f');
}
bool isSeparator(char each) {
    return each == ':' || each == '-' || each == '.' || each == '_' || each == ' ';
}

// No word character on either side; a name that itself begins or ends with another character is one anyway.
bool isWord(std::string_view field, std::size_t at, std::size_t end) {
    const bool begins = at == 0 || !isWordCharacter(field[at - 1]) || !isWordCharacter(field[at]);
    const bool ends = end == field.size() || !isWordCharacter(field[end]) || !isWordCharacter(field[end - 1]);
    return begins && ends;
}

// A number may have "0x" before it.
bool isNumberWord(std::string_view field, std::size_t at, std::size_t end) {
    if (at >= 2 && field[at - 2] == '0' && lower(field[at - 1]) == 'x')
        return isWord(field.substr(at), 0, end - at);
    return isWord(field, at, end);
}

// `standIn` in the case of what it replaces; a letter for a digit in that of the letters around it.
void putInCaseOf(std::string_view original, std::string& standIn) {
    const bool anyLower = std::any_of(original.begin(), original.end(), isLower);
    for (std::size_t index = 0; index < standIn.size(); ++index) {
        const char each = original[index];
        if (isUpper(each) || (!isLower(each) && !anyLower)) standIn[index] = upper(standIn[index]);
    }
}

}  // namespace

struct Replacer::Node {
    std::map<char, std::unique_ptr<Node>> below;
    std::string standIn;  // empty: no name ends here
    bool onlyWord = false;

    void add(std::string_view name, const std::string& instead, bool asWord) {
        Node* node = this;
        for (const char each : name) {
            auto& next = node->below[each];
            if (!next) next = std::make_unique<Node>();
            node = next.get();
        }
        if (!node->standIn.empty()) return;
        node->standIn = instead;
        node->onlyWord = asWord;
    }
    const Node* next(char each) const {
        const auto found = below.find(each);
        return found == below.end() ? nullptr : found->second.get();
    }
};

struct Replacer::Match {
    std::size_t length = 0;  // 0: none
    std::string standIn;     // of that length
};

Replacer::Replacer()
    : texts_(std::make_unique<Node>()), digits_(std::make_unique<Node>()), bytes_(std::make_unique<Node>()) {}
Replacer::~Replacer() = default;

void Replacer::addText(const std::string& name, const std::string& standIn, bool onlyWord) {
    if (!name.empty()) texts_->add(name, standIn, onlyWord);
}

void Replacer::addDigits(const std::string& digits, const std::string& standIn) {
    if (!digits.empty()) digits_->add(digits, standIn, digits.size() < digitsOfAWwn);
}

void Replacer::addBytes(const std::string& bytes, const std::string& standIn, bool onlyWord) {
    if (!bytes.empty()) bytes_->add(bytes, standIn, onlyWord);
}

Replacer::Match Replacer::findText(std::string_view field, std::size_t at) const {
    Match best;
    const Node* node = texts_.get();
    for (std::size_t end = at; end < field.size();) {
        node = node->next(lower(field[end++]));
        if (!node) break;
        if (node->standIn.empty() || (node->onlyWord && !isWord(field, at, end))) continue;
        best = {end - at, node->standIn};
        putInCaseOf(field.substr(at, end - at), best.standIn);
    }
    return best;
}

Replacer::Match Replacer::findBytes(std::string_view field, std::size_t at) const {
    Match best;
    const Node* node = bytes_.get();
    for (std::size_t end = at; end < field.size();) {
        node = node->next(field[end++]);
        if (!node) break;
        if (node->standIn.empty() || (node->onlyWord && !isWord(field, at, end))) continue;
        best = {end - at, node->standIn};
    }
    return best;
}

Replacer::Match Replacer::findDigits(std::string_view field, std::size_t at) const {
    Match best;
    const Node* node = digits_.get();
    std::string digits;
    for (std::size_t end = at; end < field.size();) {
        const bool afterByte = !digits.empty() && digits.size() % 2 == 0;
        if (afterByte && isSeparator(field[end]) && ++end == field.size()) break;
        node = isHexDigit(field[end]) ? node->next(lower(field[end])) : nullptr;
        if (!node) break;
        digits += field[end++];
        if (node->standIn.empty() || (node->onlyWord && !isNumberWord(field, at, end))) continue;
        std::string standIn = node->standIn;
        putInCaseOf(digits, standIn);
        best = {end - at, std::string(field.substr(at, end - at))};
        std::size_t next = 0;
        for (char& each : best.standIn)
            if (isHexDigit(each)) each = standIn[next++];
    }
    return best;
}

Replacer::Match Replacer::find(std::string_view field, std::size_t at) const {
    Match best = findText(field, at);
    for (const Match& other : {findBytes(field, at), findDigits(field, at)})
        if (other.length > best.length) best = other;
    return best;
}

bool Replacer::replace(std::string& bytes, const std::vector<std::size_t>& cuts) const {
    bool changed = false;
    std::size_t start = 0;
    std::vector<std::size_t> ends = cuts;
    ends.push_back(bytes.size());
    for (std::size_t end : ends) {
        end = std::min(end, bytes.size());
        if (end <= start) continue;
        // Words are looked for in the originals, not next to stand-ins.
        const std::string field = bytes.substr(start, end - start);
        for (std::size_t at = 0; at < field.size();) {
            const Match match = find(field, at);
            if (match.length == 0) {
                ++at;
                continue;
            }
            changed = changed || bytes.compare(start + at, match.length, match.standIn) != 0;
            bytes.replace(start + at, match.length, match.standIn);
            at += match.length;
        }
        start = end;
    }
    return changed;
}

}  // namespace recording
