// Bytes of a reply at fixed places; what is put beyond the end is lost.
#pragma once

#include <cstdint>
#include <string>

namespace simhost {

class ReplyBytes {
public:
    explicit ReplyBytes(std::size_t size) : bytes_(size, '\0') {}

    ReplyBytes& put(std::size_t at, std::uint64_t value) {
        if (at < bytes_.size()) bytes_[at] = static_cast<char>(static_cast<unsigned char>(value & 0xFF));
        return *this;
    }
    // Most significant byte first, as SCSI has it.
    ReplyBytes& putBig(std::size_t at, std::size_t size, std::uint64_t value) {
        for (std::size_t i = size; i-- > 0; value >>= 8) put(at + i, value);
        return *this;
    }
    // Least significant byte first, as ATA has it.
    ReplyBytes& putLittle(std::size_t at, std::size_t size, std::uint64_t value) {
        for (std::size_t i = 0; i < size; ++i, value >>= 8) put(at + i, value);
        return *this;
    }
    // Left-aligned, with blanks to `size`.
    ReplyBytes& putText(std::size_t at, std::size_t size, const std::string& text) {
        for (std::size_t i = 0; i < size; ++i)
            put(at + i, static_cast<unsigned char>(i < text.size() ? text[i] : ' '));
        return *this;
    }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

inline unsigned byteAt(const std::string& bytes, std::size_t at) {
    return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
}

inline std::uint64_t bigAt(const std::string& bytes, std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | byteAt(bytes, at + i);
    return value;
}

}  // namespace simhost
