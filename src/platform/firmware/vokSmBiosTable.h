// The firmware's structure table (SMBIOS 3.x, 6.1) over bytes that the caller owns: the walk over its
// structures and the decoding of three types. It reads no file, takes no lock and does not log. A structure
// is identified by the offset of its first byte; nothing outside the bytes is ever read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/firmware/vokSmBiosStructures.h"

class vokSmBiosTable {
public:
    vokSmBiosTable() = default;

    // Finds the table of the first 32-bit entry point; a length beyond the data is clamped to it. False
    // without an entry point. The table refers to `data`.
    static bool find(unsigned char* data, std::size_t length, vokSmBiosTable& found);

    std::size_t size() const { return length_; }
    // False for a structure whose head is cut off by the table's end.
    bool hasStructure(std::size_t at) const;
    unsigned char typeOf(std::size_t at) const { return byte(at); }
    // The offset of the next structure, always greater than `at`: after the first two zero bytes that follow
    // the formatted part, or the table's end if there are none.
    std::size_t next(std::size_t at) const;
    std::size_t countOf(unsigned char type) const;

    // Fills a cleared record. Makes the strings that it reads printable in the table itself: those of a
    // structure with a wrong length may overlap its own head, so next() is called first.
    void decode(std::size_t at, DmiSystemSlot& slot) const;
    void decode(std::size_t at, DmiOnboardDeviceEx& device) const;
    void decode(std::size_t at, DmiSystemInfo& system) const;

private:
    // Reads zero outside the bytes.
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
