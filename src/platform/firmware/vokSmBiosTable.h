// The firmware's structure table (SMBIOS 3.x, 6.1) over bytes that its user holds: the walk over its
// structures and the decoding of three types. It reads no file, takes no lock and does not log. A structure
// is named by the offset of its first byte; nothing outside the bytes is ever read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/firmware/vokSmBiosStructures.h"

class vokSmBiosTable {
public:
    vokSmBiosTable() = default;

    // The table that the first 32-bit entry point names; of a length beyond the data, as much as came. False
    // without an entry point. The table refers to `data`.
    static bool find(unsigned char* data, std::size_t length, vokSmBiosTable& found);

    std::size_t size() const { return length_; }
    // False for a structure whose head is cut off by the table's end.
    bool hasStructure(std::size_t at) const;
    unsigned char typeOf(std::size_t at) const { return byte(at); }
    // Where the structure after this one starts, always further on: after the first two zero bytes that
    // follow the formatted part, or the table's end when there are none.
    std::size_t next(std::size_t at) const;
    std::size_t countOf(unsigned char type) const;

    // Fills a cleared record. Makes the strings that it reads printable in the table itself: those of a
    // structure with a wrong length may be its own head, so next() is asked first.
    void decode(std::size_t at, DmiSystemSlot& slot) const;
    void decode(std::size_t at, DmiOnboardDeviceEx& device) const;
    void decode(std::size_t at, DmiSystemInfo& system) const;

private:
    // What lies outside the bytes reads as zero.
    std::uint8_t byte(std::size_t at) const { return at < length_ ? start_[at] : std::uint8_t{0}; }
    std::uint16_t word(std::size_t at) const;
    std::uint32_t doubleWord(std::size_t at) const;
    std::string_view text(std::size_t at, unsigned number) const;
    std::string_view printable(std::size_t from, std::size_t end) const;
    template <typename Record>
    void decodeHead(std::size_t at, Record& record) const;
    void formatUuid(std::size_t at, DmiSystemInfo& system) const;

    unsigned char* start_ = nullptr;
    std::size_t length_ = 0;
};
