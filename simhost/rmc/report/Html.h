// Texts of unknown origin as HTML.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

namespace simhost {

// The text for element content and for quoted attribute values, of the page's HTML and its inline SVG. Markup
// characters become references. Whatever a browser does not show as a character of its own (controls, marks
// of direction, characters without width, ill-formed UTF-8) becomes visible as "[U+202E]" or "[0xFF]". A text
// of more than `most` bytes is cut, and says so.
inline constexpr std::size_t longestHtmlText = 4000;
std::string escaped(const std::string& text, std::size_t most = longestHtmlText);
// The same for a text of several lines: its newlines stay.
std::string escapedLines(const std::string& text);

// " name="value"", escaped.
std::string attribute(const char* name, const std::string& value);
// "<name attributes>content</name>"; `attributes` and `content` are HTML.
std::string element(const char* name, const std::string& attributes, const std::string& content);

// Replaces each {{name}} of a template by its HTML. What is inserted is not searched. Throws std::logic_error
// for a name without a value.
std::string filled(const std::string& page,
                   std::initializer_list<std::pair<const char*, std::string>> values);

// "1.8 TB", "900.2 GB": powers of 1000, as drives are sold.
std::string capacityText(double bytes);
// "1 drive", "2 drives".
std::string counted(std::size_t count, const std::string& one, const std::string& many);
// With `digits` after the point.
std::string fixed(double value, int digits);

}  // namespace simhost
