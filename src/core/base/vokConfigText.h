// The text of the configuration file before it is parsed. The JSON parser gives up at a number that no
// double can hold and at deep nesting, and then one bad value would cost all settings theirs.
#pragma once

#include <string>

namespace vokConfigText {

// What a number beyond the parser is turned into: a text that starts so. No setting takes it.
inline constexpr char beyondEveryNumber[] = "beyond every number: ";

// The text with each number beyond a double turned into such a text, and with nothing left of what lies
// deeper than any setting does. What is no JSON stays none.
std::string withinTheParsersReach(const std::string& text);

}  // namespace vokConfigText
