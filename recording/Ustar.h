// tar files in the form ustar (POSIX.1-1988) with regular files only: each member is a header of 512 bytes
// and the content, filled up to a multiple of that; two zero blocks end the file. Every member has mode 0600,
// belongs to user and group 0, and has the same time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace recording {

// True if a header holds `name`: at most 100 bytes, or at most 255 that a "/" parts into 155 and 100.
bool ustarHolds(std::string_view name);

void appendMember(std::string& tar, std::string_view name, std::string_view content, std::int64_t time);
void appendEnd(std::string& tar);

// The time that a header holds: the nearest to `time`.
std::int64_t memberTime(std::int64_t time);

struct TarMember {
    std::string name;
    std::string_view content;  // in the bytes that were read
    std::int64_t time = 0;
};

// Reads member after member and accepts only headers that appendMember() writes.
class UstarReader {
public:
    explicit UstarReader(std::string_view tar) : tar_(tar) {}

    // Nothing at the end, or with a sentence in `error` if there is no valid header or end.
    std::optional<TarMember> next(std::string& error);

private:
    std::string_view rest() const { return tar_.substr(position_); }

    std::string_view tar_;
    std::size_t position_ = 0;
};

}  // namespace recording
