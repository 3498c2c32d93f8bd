// The values of a scenario: named texts, and lists of texts, that its steps write as ${name}.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace simhost {

class Values {
public:
    void set(const std::string& name, std::vector<std::string> texts) { texts_[name] = std::move(texts); }
    void set(const std::string& name, const std::string& text) { texts_[name] = {text}; }

    // Why a value that is empty could not be determined.
    void setReason(const std::string& name, const std::string& reason) { reasons_[name] = reason; }
    // Empty if its source said nothing.
    std::string reason(const std::string& name) const;

    // The elements of a value; none when it was never set.
    const std::vector<std::string>& list(const std::string& name) const;
    // True when it was never set, or holds nothing but empty texts.
    bool isEmpty(const std::string& name) const;

    // The text with each ${name} replaced; the elements of a list are joined by blanks.
    std::string filled(const std::string& text) const;
    // Each of the texts filled; one that is ${name} and nothing else becomes all elements of that value.
    std::vector<std::string> filledList(const std::vector<std::string>& texts) const;

private:
    std::map<std::string, std::vector<std::string>> texts_;
    std::map<std::string, std::string> reasons_;
};

// The names in a text's ${...}. Throws std::runtime_error when a "${" has no "}".
std::vector<std::string> valueNames(const std::string& text);

}  // namespace simhost
