// Builds the content of the firmware's device file: the 32-bit entry point (SMBIOS 3.x, 5.2.1) and, right
// after it, the structure table. For tests, benchmarks and other programs that need a machine's table;
// depends on nothing else of the project.
//
//     SmBiosTable table;
//     table.addSystem("Maker", "7711PID02020001").addSlot("Slot r001u05p2i03", "0000:3b:00.0").addEnd();
//     host.root.writeFile(SmBiosTable::deviceFile, table.contents());
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

// One structure: a formatted part, then its strings.
class SmBiosStructure {
public:
    // `length` bytes of formatted part, all zero but type and length. claimLength sets a wrong length.
    SmBiosStructure(unsigned type, std::size_t length) : formatted_(length, '\0') {
        if (length > 0) formatted_[0] = static_cast<char>(type);
        if (length > 1) formatted_[1] = static_cast<char>(length);
    }

    // Values at a byte of the formatted part, little-endian. Bytes outside it are left out.
    SmBiosStructure& put8(std::size_t at, unsigned value) { return put(at, value, 1); }
    SmBiosStructure& put16(std::size_t at, unsigned value) { return put(at, value, 2); }
    SmBiosStructure& put32(std::size_t at, unsigned value) { return put(at, value, 4); }
    SmBiosStructure& handle(unsigned value) { return put16(2, value); }
    SmBiosStructure& claimLength(unsigned value) { return put8(1, value); }

    // Adds a string and puts its number at a byte.
    SmBiosStructure& text(std::size_t at, const std::string& value) {
        strings_ += value + '\0';
        return put8(at, ++stringCount_);
    }

    // The structure with its regular end: two zero bytes.
    std::string bytes() const {
        return bytesWithoutEnd() + (stringCount_ == 0 ? std::string(2, '\0') : std::string(1, '\0'));
    }
    // Ends with the zero byte of the last string, if there is one.
    std::string bytesWithoutEnd() const { return formatted_ + strings_; }

private:
    SmBiosStructure& put(std::size_t at, unsigned value, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i)
            if (at + i < formatted_.size()) formatted_[at + i] = static_cast<char>(value >> (8 * i) & 0xFF);
        return *this;
    }

    std::string formatted_;
    std::string strings_;
    unsigned stringCount_ = 0;
};

class SmBiosTable {
public:
    static constexpr const char* deviceFile = "/vmfs/devices/char/mem/smbios";
    static constexpr std::size_t entryPointLength = 31;

    SmBiosTable& add(const SmBiosStructure& structure) { return addRaw(structure.bytes()); }
    SmBiosTable& addRaw(const std::string& bytes) {
        structures_ += bytes;
        ++count_;
        return *this;
    }

    // Type 1 with every field. An empty family has no string.
    SmBiosTable& addSystem(const std::string& manufacturer, const std::string& family) {
        SmBiosStructure system(1, 27);
        system.handle(nextHandle()).text(4, manufacturer).text(5, "Product").text(6, "1.0").text(7, "SN0001");
        for (std::size_t i = 0; i < 16; ++i) system.put8(8 + i, static_cast<unsigned>(0x11 * i));
        system.put8(24, 6).text(25, "SKU-1");
        if (!family.empty()) system.text(26, family);
        return add(system);
    }
    // Type 9, and type 41, for one function: "0000:3b:00.0".
    SmBiosTable& addSlot(const std::string& designation, const std::string& pciAddress) {
        return add(slot(designation, pciAddress).handle(nextHandle()));
    }
    SmBiosTable& addOnboardDevice(const std::string& designation, const std::string& pciAddress) {
        return add(onboardDevice(designation, pciAddress).handle(nextHandle()));
    }
    SmBiosTable& addEnd() { return add(SmBiosStructure(127, 4).handle(0xFEFF)); }

    static SmBiosStructure slot(const std::string& designation, const std::string& pciAddress,
                                std::size_t length = 17) {
        const Address address(pciAddress);
        SmBiosStructure structure(9, length);
        structure.text(4, designation).put8(5, 0xB6).put8(6, 0x0D).put8(7, 4).put8(8, 4).put16(9, 1);
        structure.put8(11, 0x0C).put8(12, 1).put16(13, address.segment).put8(15, address.bus);
        return structure.put8(16, address.device << 3 | address.function);
    }
    static SmBiosStructure onboardDevice(const std::string& designation, const std::string& pciAddress) {
        const Address address(pciAddress);
        SmBiosStructure structure(41, 11);
        structure.text(4, designation)
            .put8(5, 0x85)
            .put8(6, 1)
            .put16(7, address.segment)
            .put8(9, address.bus);
        return structure.put8(10, address.device << 3 | address.function);
    }

    std::size_t size() const { return structures_.size(); }
    // Entry point and table; `claimedLength` is the table length in the entry point.
    std::string contents() const { return contents(structures_.size()); }
    std::string contents(std::size_t claimedLength) const { return entryPoint(claimedLength) + structures_; }

private:
    struct Address {
        explicit Address(const std::string& text) {
            if (std::sscanf(text.c_str(), "%x:%x:%x.%x", &segment, &bus, &device, &function) != 4)
                std::abort();
        }
        unsigned segment = 0;
        unsigned bus = 0;
        unsigned device = 0;
        unsigned function = 0;
    };

    unsigned nextHandle() const { return static_cast<unsigned>(count_); }

    std::string entryPoint(std::size_t claimedLength) const {
        // Built like a structure: little-endian values at fixed bytes.
        SmBiosStructure entry(0, entryPointLength);
        const std::string anchors = "_SM_";
        for (std::size_t i = 0; i < anchors.size(); ++i)
            entry.put8(i, static_cast<unsigned char>(anchors[i]));
        const std::string intermediate = "_DMI_";
        for (std::size_t i = 0; i < intermediate.size(); ++i)
            entry.put8(0x10 + i, static_cast<unsigned char>(intermediate[i]));
        entry.put8(5, entryPointLength).put8(6, 3).put8(7, 2).put16(8, 0x0100);
        entry.put16(0x16, static_cast<unsigned>(claimedLength)).put32(0x18, entryPointLength);
        entry.put16(0x1C, static_cast<unsigned>(count_)).put8(0x1E, 0x32);
        entry.put8(0x15, checksum(entry.bytesWithoutEnd(), 0x10));
        entry.put8(4, checksum(entry.bytesWithoutEnd(), 0));
        return entry.bytesWithoutEnd();
    }
    // The value that makes the bytes from `from` on add up to zero.
    static unsigned checksum(const std::string& bytes, std::size_t from) {
        unsigned sum = 0;
        for (std::size_t i = from; i < bytes.size(); ++i) sum += static_cast<unsigned char>(bytes[i]);
        return (0u - sum) & 0xFF;
    }

    std::string structures_;
    std::size_t count_ = 0;
};
