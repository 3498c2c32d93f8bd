#include "modules/pci/PciConfigSpace.h"

#include <cstdlib>
#include <numeric>

namespace simhost {

namespace {

constexpr std::uint16_t bridgeClass = 0x0604;

constexpr std::size_t conventionalSize = 256;
constexpr std::size_t expressSize = 4096;

enum Capability : std::uint8_t {
    powerManagement = 0x01,
    vitalProductData = 0x03,
    subsystemIds = 0x0d,  // of a bridge, whose header has no room for them
    pciExpress = 0x10,
};

class Space {
public:
    explicit Space(std::size_t size) : bytes_(size, '\0') {}

    void put8(std::size_t at, std::uint32_t value) {
        bytes_[at] = static_cast<char>(static_cast<unsigned char>(value & 0xff));
    }
    void put16(std::size_t at, std::uint32_t value) {
        put8(at, value);
        put8(at + 1, value >> 8);
    }
    void put32(std::size_t at, std::uint32_t value) {
        put16(at, value);
        put16(at + 2, value >> 16);
    }
    // Puts a capability's head and chains it to the one before. Gives where it stands.
    std::size_t addCapability(Capability id, std::size_t length) {
        const std::size_t at = next_;
        put8(link_, static_cast<std::uint32_t>(at));
        put8(at, id);
        link_ = at + 1;
        next_ += (length + 3) / 4 * 4;
        return at;
    }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
    std::size_t link_ = 0x34;  // where the place of the next capability is to stand
    std::size_t next_ = 0x40;
};

std::uint32_t listedNumber(const PciFunction& function, const char* key, std::uint32_t otherwise) {
    return parsePrefixedHexadecimal(function.at(key)).value_or(otherwise);
}

void putBridge(Space& space, const PciFunction& function) {
    const std::uint32_t spawned = listedNumber(function, "Spawned Bus", 0);
    space.put8(0x0e, 1);
    space.put8(0x18, function.address.bus);
    space.put8(0x19, spawned);
    space.put8(0x1a, spawned);
    const std::size_t at = space.addCapability(subsystemIds, 8);
    space.put16(at + 4, listedNumber(function, "SubVendor ID", 0));
    space.put16(at + 6, listedNumber(function, "SubDevice ID", 0));
}

// Speed 3 is 8 GT/s; a link runs at all that it can.
void putExpress(Space& space, const PciFunction& function, bool bridge) {
    const std::size_t at = space.addCapability(pciExpress, 60);
    const std::uint32_t link = 3u | static_cast<std::uint32_t>(function.linkWidth) << 4;
    space.put16(at + 2, 2u | (bridge ? 4u << 4 : 0u));  // version 2; a root port or an endpoint
    space.put32(at + 12, link);
    space.put16(at + 18, link);
}

bool hasProductData(const PciFunction& function) {
    return !function.productName.empty() || !function.productTags.empty();
}

void putLength(std::string& data, std::size_t length) {
    data += static_cast<char>(static_cast<unsigned char>(length & 0xff));
    data += static_cast<char>(static_cast<unsigned char>(length >> 8 & 0xff));
}

}  // namespace

std::string pciConfigSpace(const PciFunction& function) {
    Space space(function.linkWidth > 0 ? expressSize : conventionalSize);
    const std::uint32_t deviceClass = listedNumber(function, "Device Class", 0);
    space.put16(0x00, listedNumber(function, "Vendor ID", 0xffff));
    space.put16(0x02, listedNumber(function, "Device ID", 0xffff));
    space.put16(0x04, 0x0406);  // memory and bus master on; interrupts by message
    space.put16(0x06, 0x0010);  // there is a list of capabilities
    space.put8(0x08, listedNumber(function, "Revision ID", 0));
    space.put8(0x09, listedNumber(function, "Programming Interface", 0));
    space.put16(0x0a, deviceClass);
    space.put8(0x3c, listedNumber(function, "Interrupt Line", 0));
    space.put8(0x3d, listedNumber(function, "PCI Pin", 0));
    const bool bridge = deviceClass == bridgeClass;
    if (bridge) {
        putBridge(space, function);
    } else {
        space.put16(0x2c, listedNumber(function, "SubVendor ID", 0));
        space.put16(0x2e, listedNumber(function, "SubDevice ID", 0));
    }
    space.put16(space.addCapability(powerManagement, 8) + 2, 0x0003);
    if (function.linkWidth > 0) putExpress(space, function, bridge);
    if (hasProductData(function)) space.addCapability(vitalProductData, 8);
    return space.bytes();
}

std::string pciProductData(const PciFunction& function) {
    if (!hasProductData(function)) return "";
    std::string data = "\x82";
    putLength(data, function.productName.size());
    data += function.productName;

    std::string tags;
    for (const auto& [keyword, value] : function.productTags) {
        tags += keyword;
        tags += static_cast<char>(static_cast<unsigned char>(value.size()));
        tags += value;
    }
    tags += "RV\x01";
    data += '\x90';
    putLength(data, tags.size() + 1);
    data += tags;
    const unsigned sum = std::accumulate(data.begin(), data.end(), 0u, [](unsigned soFar, char byte) {
        return soFar + static_cast<unsigned char>(byte);
    });
    data += static_cast<char>(static_cast<unsigned char>(0x100 - (sum & 0xff)));
    return data + '\x78';
}

}  // namespace simhost
