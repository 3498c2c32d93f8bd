// The form of texts in an archive: JSON that has exactly one form, so that a reader compares and doesn't
// guess.
//
// A value that is printable UTF-8 text, with tabs and line ends, is a JSON string of it. Any other one is the
// string "hex:" and the lower-case hexadecimal digits of its bytes; so is a text that itself begins with
// "hex:".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace recording {

void appendText(std::string& out, std::string_view value);
// For messages: in quotes as above, cut after some 200 characters.
std::string shownText(std::string_view value);

// Reads what was written in that form, from the front. After the first failure every call fails.
class TextReader {
public:
    explicit TextReader(std::string_view text) : text_(text) {}

    // Takes `expected` if the text goes on with it; no failure otherwise.
    bool next(std::string_view expected);
    // The same, but anything else is a failure.
    bool take(std::string_view expected);
    // A value; empty on failure.
    std::string value();
    // A decimal number from `least` to `most` without leading zeros; `least` on failure.
    std::int64_t number(std::int64_t least, std::int64_t most);
    bool atEnd() const { return position_ == text_.size(); }

    void fail(const std::string& expected);
    bool failed() const { return !failure_.empty(); }
    // "line 3, byte 14: expected ..."
    const std::string& failure() const { return failure_; }

private:
    std::string_view rest() const { return text_.substr(position_); }

    std::string_view text_;
    std::size_t position_ = 0;
    std::string failure_;
};

}  // namespace recording
