// Writing and reading the fields of a message, little-endian and without padding, so that programs of both
// ABIs understand one another. The reader never goes beyond its bytes: it says "bad" instead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace simhost {

using Bytes = std::vector<std::uint8_t>;

class ByteWriter {
public:
    template <class Integer>
    ByteWriter& number(Integer value) {
        using Unsigned = std::make_unsigned_t<Integer>;
        auto rest = static_cast<std::uint64_t>(static_cast<Unsigned>(value));
        for (std::size_t i = 0; i < sizeof(Integer); ++i, rest >>= 8)
            bytes_ += static_cast<char>(static_cast<unsigned char>(rest & 0xFF));
        return *this;
    }
    ByteWriter& raw(const void* data, std::size_t size) {
        if (size > 0) bytes_.append(static_cast<const char*>(data), size);
        return *this;
    }
    // Its length in 32 bits, then the bytes.
    ByteWriter& text(const std::string& text) {
        number(static_cast<std::uint32_t>(text.size()));
        return raw(text.data(), text.size());
    }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

class ByteReader {
public:
    ByteReader(const void* data, std::size_t size) : at_(static_cast<const char*>(data)), left_(size) {}

    template <class Integer>
    Integer number() {
        std::uint64_t value = 0;
        if (take(sizeof(Integer)))
            for (std::size_t i = 0; i < sizeof(Integer); ++i)
                value |= static_cast<std::uint64_t>(static_cast<unsigned char>(taken_[i])) << (8 * i);
        return static_cast<Integer>(value);
    }
    std::string text() {
        const auto size = number<std::uint32_t>();
        return take(size) ? std::string(taken_, size) : std::string();
    }
    Bytes rest() {
        const std::size_t size = left_;
        return take(size) ? Bytes(taken_, taken_ + size) : Bytes();
    }
    // True when every field asked for was there.
    bool good() const { return good_; }
    bool atEnd() const { return left_ == 0; }

private:
    bool take(std::size_t size) {
        if (!good_ || size > left_) {
            good_ = false;
            return false;
        }
        taken_ = at_;
        at_ += size;
        left_ -= size;
        return true;
    }

    const char* at_;
    std::size_t left_;
    const char* taken_ = nullptr;
    bool good_ = true;
};

}  // namespace simhost
