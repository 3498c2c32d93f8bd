// The words of a request, taken one by one: values in order, options by name. A word that does not fit is a
// UsageError with a sentence for the person who typed it.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace simhost {

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Words {
public:
    explicit Words(std::vector<std::string> words) : words_(std::move(words)) {}

    // Takes "--name" out, wherever it stands; false when it is not there.
    bool flag(const std::string& name);
    // Takes "--name VALUE" or "--name=VALUE" out, wherever it stands.
    std::optional<std::string> option(const std::string& name);
    // The same as a whole number from `least` to `most`.
    std::optional<long long> numberOption(const std::string& name, long long least, long long most);

    bool empty() const { return words_.empty(); }
    // The next word, which must be there; `what` names it in the message when it is not.
    std::string next(const std::string& what);
    long long nextNumber(const std::string& what, long long least, long long most);
    double nextFraction(const std::string& what, double least, double most);
    // Fails when a word is left over.
    void end() const;

private:
    std::vector<std::string> words_;
};

// A whole number in decimal, or in hexadecimal after "0x"; fails outside of `least` to `most`.
long long toNumber(const std::string& text, const std::string& what, long long least, long long most);
double toFraction(const std::string& text, const std::string& what, double least, double most);

}  // namespace simhost
