// Finds names in texts and records and puts others in their place.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace recording {

class Replacer {
public:
    Replacer();
    ~Replacer();

    // Both in lower case and of the same length. Found in any case, which the stand-in then has too;
    // `onlyWord`: only without a letter or digit next to it.
    void addText(const std::string& name, const std::string& standIn, bool onlyWord);
    // The same with hexadecimal digits alone, which are also found with separators between the bytes. Fewer
    // than 16 digits: only as a word.
    void addDigits(const std::string& digits, const std::string& standIn);
    // As they are.
    void addBytes(const std::string& bytes, const std::string& standIn, bool onlyWord);

    // Replaces all names from left to right, the longest first. `cuts`: offsets where a field begins or ends,
    // in ascending order; no name reaches across one, and words end there. Returns whether anything changed.
    bool replace(std::string& bytes, const std::vector<std::size_t>& cuts = {}) const;

private:
    struct Node;
    struct Match;
    Match findText(std::string_view field, std::size_t at) const;
    Match findBytes(std::string_view field, std::size_t at) const;
    Match findDigits(std::string_view field, std::size_t at) const;
    Match find(std::string_view field, std::size_t at) const;

    std::unique_ptr<Node> texts_;
    std::unique_ptr<Node> digits_;
    std::unique_ptr<Node> bytes_;
};

}  // namespace recording
