// What every target needs: a claim that ends the run when it does not hold, and the input as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

inline void require(bool holds) {
    if (!holds) std::abort();
}

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

// The first line of an input without its newline, and all that follows.
inline std::pair<std::string, std::string> firstLineAndRest(const std::string& input) {
    const std::size_t end = input.find('\n');
    if (end == std::string::npos) return {input, ""};
    return {input.substr(0, end), input.substr(end + 1)};
}
