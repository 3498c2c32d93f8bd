#include "recording/Ustar.h"

#include <algorithm>

#include "recording/ArchiveText.h"

namespace recording {
namespace {

constexpr std::size_t blockLength = 512;

struct Range {
    std::size_t offset;
    std::size_t length;
};
constexpr Range nameField{0, 100};
constexpr Range modeField{100, 8};
constexpr Range userField{108, 8};
constexpr Range groupField{116, 8};
constexpr Range sizeField{124, 12};
constexpr Range timeField{136, 12};
constexpr Range checksumField{148, 8};
constexpr Range typeField{156, 1};
constexpr Range magicField{257, 8};
constexpr Range prefixField{345, 155};

constexpr char regularFile = '0';
constexpr std::string_view magic("ustar\00000", 8);  // with the version, "00"
constexpr std::int64_t greatestTime = 077777777777;  // eleven octal digits

std::size_t padding(std::size_t length) {
    return (blockLength - length % blockLength) % blockLength;
}

void put(std::string& header, Range field, std::string_view text) {
    header.replace(field.offset, std::min(text.size(), field.length), text.substr(0, field.length));
}

// Octal digits up to a terminating NUL.
void putNumber(std::string& header, Range field, std::uint64_t number) {
    for (std::size_t at = field.offset + field.length - 1; at-- > field.offset; number >>= 3)
        header[at] = static_cast<char>('0' + (number & 7));
}

std::string_view textOf(std::string_view header, Range field) {
    const std::string_view text = header.substr(field.offset, field.length);
    return text.substr(0, text.find('\0'));
}

// Of digits alone; anything else gives a number whose header differs from the one that was read.
std::uint64_t numberOf(std::string_view header, Range field) {
    std::uint64_t number = 0;
    for (const char each : textOf(header, field)) number = number << 3 | (static_cast<unsigned>(each) & 7);
    return number;
}

// Where the prefix ends: at the first "/" that leaves at most 100 bytes. 0 for a name without prefix.
std::optional<std::size_t> prefixLength(std::string_view name) {
    if (name.empty()) return std::nullopt;
    if (name.size() <= nameField.length) return 0;
    const std::size_t slash = name.find('/', name.size() - nameField.length - 1);
    if (slash == std::string_view::npos || slash == 0 || slash > prefixField.length ||
        slash + 1 == name.size())
        return std::nullopt;
    return slash;
}

std::string header(std::string_view name, std::uint64_t size, std::int64_t time) {
    std::string block(blockLength, '\0');
    const std::size_t prefix = prefixLength(name).value_or(0);
    put(block, nameField, prefix ? name.substr(prefix + 1) : name);
    put(block, prefixField, name.substr(0, prefix));
    putNumber(block, modeField, 0600);
    putNumber(block, userField, 0);
    putNumber(block, groupField, 0);
    putNumber(block, sizeField, size);
    putNumber(block, timeField, static_cast<std::uint64_t>(memberTime(time)));
    block[typeField.offset] = regularFile;
    put(block, magicField, magic);
    // The sum is taken with blanks in its own field, and has six digits, a NUL and a blank.
    put(block, checksumField, std::string(checksumField.length, ' '));
    std::uint64_t sum = 0;
    for (const char each : block) sum += static_cast<unsigned char>(each);
    putNumber(block, Range{checksumField.offset, checksumField.length - 1}, sum);
    block[checksumField.offset + checksumField.length - 2] = '\0';
    return block;
}

bool isZero(std::string_view bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char each) { return each == '\0'; });
}

}  // namespace

bool ustarHolds(std::string_view name) {
    return prefixLength(name).has_value();
}

std::int64_t memberTime(std::int64_t time) {
    return std::clamp<std::int64_t>(time, 0, greatestTime);
}

void appendMember(std::string& tar, std::string_view name, std::string_view content, std::int64_t time) {
    tar += header(name, content.size(), time);
    tar += content;
    tar.append(padding(content.size()), '\0');
}

void appendEnd(std::string& tar) {
    tar.append(2 * blockLength, '\0');
}

std::optional<TarMember> UstarReader::next(std::string& error) {
    const std::string_view block = rest().substr(0, blockLength);
    const std::string where = "at byte " + std::to_string(position_);
    if (block.size() < blockLength) {
        error = "The archive is cut off " + where + ".";
        return std::nullopt;
    }
    if (block[0] == '\0') {
        if (rest().size() != 2 * blockLength || !isZero(rest()))
            error = "The end of the archive " + where + " is not two zero blocks.";
        return std::nullopt;
    }
    TarMember member;
    const std::string_view prefix = textOf(block, prefixField);
    member.name = std::string(prefix) + (prefix.empty() ? "" : "/") + std::string(textOf(block, nameField));
    const std::uint64_t size = numberOf(block, sizeField);
    member.time = static_cast<std::int64_t>(numberOf(block, timeField));
    if (block != header(member.name, size, member.time)) {
        error = "The header " + where + ", of member " + shownText(member.name) +
                ", is not one of a regular file in an archive of a host.";
        return std::nullopt;
    }
    position_ += blockLength;
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(size, rest().size()));
    const std::size_t filled = length + padding(length);
    if (length < size || rest().size() < filled) {
        error = "The archive is cut off in member " + shownText(member.name) + ".";
        return std::nullopt;
    }
    member.content = rest().substr(0, length);
    if (!isZero(rest().substr(length, filled - length))) {
        error = "The bytes after member " + shownText(member.name) + " are not zero.";
        return std::nullopt;
    }
    position_ += filled;
    return member;
}

}  // namespace recording
