// Why a disk refuses a command: its sense data (SPC-5, 4.4).
#pragma once

#include <cstdint>
#include <string>

#include "modules/storage/Disks.h"

namespace simhost {

struct SenseCode {
    std::uint8_t key;
    std::uint8_t code;
    std::uint8_t qualifier;
};
inline constexpr SenseCode invalidCommand = {0x05, 0x20, 0x00};
inline constexpr SenseCode invalidField = {0x05, 0x24, 0x00};
inline constexpr SenseCode savingNotSupported = {0x05, 0x39, 0x00};

// The registers of an ATA command that the device has aborted (ACS-4), as SAT-4 reports them.
struct AtaResult {
    std::uint8_t error = 0x04;   // ABRT
    std::uint8_t status = 0x51;  // ready, error
    std::uint8_t device = 0x40;
    std::uint64_t count = 0;
    std::uint64_t address = 0;
};

// 18 bytes of fixed format, 8 of descriptor format.
std::string senseData(SenseForm form, const SenseCode& code);
// 18 bytes of fixed format, 22 of descriptor format with the ATA status return descriptor.
std::string ataSenseData(SenseForm form, const AtaResult& result);

}  // namespace simhost
