#include "recording/Forms.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace recording {

const std::string& textOf(const Fields& fields, const std::string& name) {
    static const std::string none;
    const auto found = fields.find(name);
    return found == fields.end() ? none : found->second;
}

std::int64_t numberOf(const Fields& fields, const std::string& name) {
    return std::strtoll(textOf(fields, name).c_str(), nullptr, 10);
}

std::uint64_t unsignedOf(const Fields& fields, const std::string& name) {
    const std::string& text = textOf(fields, name);
    // strtoull() takes "-1" for the greatest number.
    return text.find('-') == std::string::npos ? std::strtoull(text.c_str(), nullptr, 10) : 0;
}

int intOf(const Fields& fields, const std::string& name) {
    return static_cast<int>(std::clamp<std::int64_t>(numberOf(fields, name), std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

std::size_t copyOf(const Fields& fields, const std::string& name, void* to, std::size_t room) {
    const std::string& bytes = textOf(fields, name);
    const std::size_t count = std::min(bytes.size(), room);
    if (count > 0) std::memcpy(to, bytes.data(), count);
    return count;
}

std::string withoutZerosAtEnd(std::string_view bytes, std::size_t least) {
    const std::size_t last = bytes.find_last_not_of('\0');
    const std::size_t length = last == std::string_view::npos ? 0 : last + 1;
    return std::string(bytes.substr(0, std::max(length, std::min(least, bytes.size()))));
}

}  // namespace recording
