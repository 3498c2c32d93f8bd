// Makes the device file in which a host shows its firmware's table: the 32-bit entry point of 31 bytes with
// its two checksums, and the structures right behind it (DSP0134, SMBIOS 3.x; the structures in their form
// of version 2.8). Firmware lies, so a structure and the entry point can be made to tell a length that is not
// theirs.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/ByteCodec.h"
#include "common/Hexadecimal.h"

namespace simhost {

// How a structure departs from its kind.
struct SmBiosShape {
    std::optional<std::uint16_t> handle;       // the place in the table, from 1
    std::optional<std::size_t> length;         // of the formatted part, head of 4 bytes included: it is cut
                                               // there, or filled with zeros up to there
    std::optional<std::uint8_t> statedLength;  // what its byte 1 tells; the true length
};

// Type 0, in part.
struct SmBiosBios {
    std::string vendor;
    std::string version;
    std::string date;  // "09/18/2023"
};

// Type 1.
struct SmBiosSystem {
    std::string manufacturer;
    std::string product;
    std::string version;
    std::string serial;
    std::array<std::uint8_t, 16> uuid{};  // in the order of its text
    std::uint8_t wakeUp = 0x06;           // power switch
    std::string sku;
    std::string family;
};

// Type 9.
struct SmBiosSlot {
    std::string designation;
    std::uint8_t slotType = 0xa5;      // PCI Express
    std::uint8_t dataBusWidth = 0x0d;  // 16 lanes
    std::uint8_t usage = 0x04;         // in use
    std::uint8_t slotLength = 0x04;    // long
    std::uint16_t id = 0;
    std::optional<PciAddress> address;  // none: all bits set
};

// Type 41.
struct SmBiosOnboardDevice {
    std::string designation;
    std::uint8_t deviceType = 0x05;  // Ethernet
    bool enabled = true;
    std::uint8_t instance = 1;
    std::optional<PciAddress> address;  // none: all bits set
};

class SmBiosFile {
public:
    void setVersion(std::uint8_t major, std::uint8_t minor);

    // Each puts a structure behind those before it. An empty text becomes no string and the string number 0.
    // Throws std::runtime_error for a text with a NUL in it and for a length beyond 255 bytes.
    void add(const SmBiosBios& bios, const SmBiosShape& shape = {});
    void add(const SmBiosSystem& system, const SmBiosShape& shape = {});
    void add(const SmBiosSlot& slot, const SmBiosShape& shape = {});
    void add(const SmBiosOnboardDevice& device, const SmBiosShape& shape = {});
    // Any type: what stands behind the head, and the strings.
    void add(std::uint8_t type, const std::string& data, const std::vector<std::string>& strings,
             const SmBiosShape& shape = {});
    // Bytes as they are, with no head or end but what they hold.
    void addRaw(const std::string& bytes);
    // Type 127, which closes a table.
    void addEndOfTable();
    // Part of the table as its length goes, but no structure.
    void addZeros(std::size_t count) { table_.append(count, '\0'); }
    // What the entry point tells of the table's length; without it the true one.
    void setStatedTableLength(std::uint16_t length) { statedTableLength_ = length; }

    // The whole file. Throws std::runtime_error when the table is longer than an entry point can tell and no
    // length was stated.
    std::string content() const;

private:
    std::string entryPoint() const;

    std::uint8_t major_ = 2;
    std::uint8_t minor_ = 8;
    std::string table_;
    std::size_t count_ = 0;
    std::size_t longest_ = 0;
    std::optional<std::uint16_t> statedTableLength_;
};

}  // namespace simhost
