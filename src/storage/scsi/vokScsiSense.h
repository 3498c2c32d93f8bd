// Sense data, in which a disk reports why it refused a command (SPC-5, section 4.4).
#pragma once

#include <cstddef>
#include <optional>

struct vokScsiSense {
    bool isDescriptorFormat = false;  // response code 72h or 73h; otherwise fixed, 70h or 71h
    bool isDeferred = false;          // 71h or 73h: of an earlier command
    // Not set if the bytes end before it.
    std::optional<unsigned char> key;  // four bits
    std::optional<unsigned char> additionalCode;
    std::optional<unsigned char> additionalQualifier;
};

// The sense keys that the agent distinguishes.
inline constexpr unsigned char vokSenseKeyIllegalRequest = 5;
inline constexpr unsigned char vokSenseKeyAbortedCommand = 11;

// Decodes `size` bytes and reads none beyond them, nor any that the additional length excludes. Not set if
// there are none or the response code has no known format.
std::optional<vokScsiSense> vokReadScsiSense(const unsigned char* bytes, std::size_t size);
