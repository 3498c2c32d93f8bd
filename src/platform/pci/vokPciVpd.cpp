#include "platform/pci/vokPciVpd.h"

#include <algorithm>

namespace {

constexpr unsigned tagName = 0x82;
constexpr unsigned tagReadOnly = 0x90;
constexpr unsigned tagEnd = 0x78;

// A large resource has this bit, and two bytes of length; a small one its length in the low three bits.
constexpr unsigned largeResource = 0x80;
constexpr std::size_t largeHead = 3;
constexpr unsigned smallLengthMask = 0x07;
constexpr unsigned smallTagMask = 0x78;

constexpr std::size_t keywordLength = 2;
constexpr std::size_t fieldHead = keywordLength + 1;

std::string textAt(const unsigned char* bytes, std::size_t length) {
    return std::string(reinterpret_cast<const char*>(bytes), length);
}

std::size_t largeLength(const unsigned char* resource) {
    return resource[1] | static_cast<std::size_t>(resource[2]) << 8;
}

std::size_t splitFields(const unsigned char* fields, std::size_t length, std::list<pci_vpd_tag>& tags) {
    std::size_t count = 0;
    while (length >= fieldHead && fields[keywordLength] <= length - fieldHead) {
        const std::size_t valueLength = fields[keywordLength];
        tags.push_back({textAt(fields, keywordLength), textAt(fields + fieldHead, valueLength)});
        ++count;
        fields += fieldHead + valueLength;
        length -= fieldHead + valueLength;
    }
    return count;
}

}  // namespace

std::size_t pci_get_vpdname(const unsigned char* vpd, std::size_t length, std::string& name) {
    if (length < largeHead || vpd[0] != tagName || largeLength(vpd) > length - largeHead) return 0;
    name = textAt(vpd + largeHead, largeLength(vpd));
    return largeHead + name.size();
}

std::size_t pci_get_vpdtags(const unsigned char* vpd, std::size_t length, std::string& name,
                            std::list<pci_vpd_tag>& tags) {
    std::size_t count = 0;
    for (std::size_t offset = pci_get_vpdname(vpd, length, name); offset < length;) {
        const unsigned char* const resource = vpd + offset;
        const std::size_t left = length - offset;
        if (!(resource[0] & largeResource)) {
            if ((resource[0] & smallTagMask) == tagEnd) break;
            offset += 1 + (resource[0] & smallLengthMask);
            continue;
        }
        if (left < largeHead) break;
        const std::size_t available = std::min(largeLength(resource), left - largeHead);
        if (resource[0] == tagReadOnly) count += splitFields(resource + largeHead, available, tags);
        offset += largeHead + largeLength(resource);
    }
    return count;
}
