#include "storage/scsi/vokScsiSense.h"

#include <algorithm>

namespace {

// Where each field lies.
struct Format {
    bool isDescriptor;
    std::size_t key;
    std::size_t additionalCode;
    std::size_t additionalQualifier;
};
constexpr Format fixedFormat = {false, 2, 12, 13};
constexpr Format descriptorFormat = {true, 1, 2, 3};

// In both formats: the number of bytes after it.
constexpr std::size_t additionalLengthAt = 7;

}  // namespace

std::optional<vokScsiSense> vokReadScsiSense(const unsigned char* bytes, std::size_t size) {
    if (!bytes || size == 0) return std::nullopt;
    const unsigned responseCode = bytes[0] & 0x7Fu;  // the top bit of the fixed format is another field
    if (responseCode < 0x70 || responseCode > 0x73) return std::nullopt;
    const Format& format = responseCode < 0x72 ? fixedFormat : descriptorFormat;
    if (size > additionalLengthAt)
        size = std::min<std::size_t>(size, additionalLengthAt + 1 + bytes[additionalLengthAt]);

    const auto field = [bytes, size](std::size_t at, unsigned mask) -> std::optional<unsigned char> {
        if (at >= size) return std::nullopt;
        return static_cast<unsigned char>(bytes[at] & mask);
    };
    vokScsiSense sense;
    sense.isDescriptorFormat = format.isDescriptor;
    sense.isDeferred = (responseCode & 1) != 0;
    sense.key = field(format.key, 0x0F);
    sense.additionalCode = field(format.additionalCode, 0xFF);
    sense.additionalQualifier = field(format.additionalQualifier, 0xFF);
    return sense;
}
