#include "common/Words.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "common/Text.h"

namespace simhost {

bool Words::flag(const std::string& name) {
    const auto found = std::find(words_.begin(), words_.end(), name);
    if (found == words_.end()) return false;
    words_.erase(found);
    return true;
}

std::optional<std::string> Words::option(const std::string& name) {
    for (auto each = words_.begin(); each != words_.end(); ++each) {
        if (*each == name) {
            if (each + 1 == words_.end()) throw UsageError(name + " needs a value");
            const std::string value = *(each + 1);
            words_.erase(each, each + 2);
            return value;
        }
        if (each->compare(0, name.size() + 1, name + "=") == 0) {
            const std::string value = each->substr(name.size() + 1);
            words_.erase(each);
            return value;
        }
    }
    return std::nullopt;
}

std::optional<long long> Words::numberOption(const std::string& name, long long least, long long most) {
    const auto text = option(name);
    if (!text) return std::nullopt;
    return toNumber(*text, name, least, most);
}

std::string Words::next(const std::string& what) {
    if (words_.empty()) throw UsageError(what + " is missing");
    std::string word = words_.front();
    words_.erase(words_.begin());
    return word;
}

long long Words::nextNumber(const std::string& what, long long least, long long most) {
    return toNumber(next(what), what, least, most);
}

double Words::nextFraction(const std::string& what, double least, double most) {
    return toFraction(next(what), what, least, most);
}

void Words::end() const {
    if (!words_.empty()) throw UsageError("\"" + words_.front() + "\" is not understood here");
}

long long toNumber(const std::string& text, const std::string& what, long long least, long long most) {
    char* end = nullptr;
    errno = 0;
    const bool hexadecimal = text.compare(0, 2, "0x") == 0;
    const long long value = std::strtoll(text.c_str(), &end, hexadecimal ? 16 : 10);
    if (text.empty() || *end != '\0' || errno != 0 || value < least || value > most)
        throw UsageError(what + ": \"" + text + "\" is not a whole number from " + std::to_string(least) +
                         " to " + std::to_string(most));
    return value;
}

double toFraction(const std::string& text, const std::string& what, double least, double most) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(value) || value < least || value > most)
        throw UsageError(what + ": \"" + text + "\" is not a number from " +
                         formatText("%g to %g", least, most));
    return value;
}

}  // namespace simhost
