// Takes the texts of a scenario out of its JSON. Each ${name} in them must be a value that is set before.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/DescriptionSection.h"
#include "scenario/OutputTable.h"

namespace simhost {

class ScenarioTexts {
public:
    explicit ScenarioTexts(std::set<std::string> known) : known_(std::move(known)) {}

    // A further value is set from here on.
    void add(const std::string& name) { known_.insert(name); }
    bool knows(const std::string& name) const { return known_.count(name) != 0; }

    // What is wrong with the ${name}s of a text; nothing: "".
    std::string complaint(const std::string& text) const;
    // Each returns what the key has: nothing when it is not there.
    std::string text(Section& section, const char* key) const;
    std::vector<std::string> list(Section& section, const char* key) const;
    // A list that names values.
    std::vector<std::string> names(Section& section, const char* key) const;
    // An object of texts, or of lists of texts.
    RowFilter filter(Section& section, const char* key) const;
    std::map<std::string, std::string> texts(Section& section, const char* key) const;

private:
    std::set<std::string> known_;
};

// A number with a fraction, 0 or more; 0 when it is not there.
double fraction(Section& section, const char* key);

}  // namespace simhost
