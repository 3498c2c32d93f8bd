// The firmware of the chipset's SATA RAID functions, as mdadm reports it.
#pragma once

#include <array>
#include <cstddef>
#include <string>

// The versions of all functions.
class vokIMSMFirmware {
public:
    // Asks mdadm. No versions if it is missing or can't be run.
    vokIMSMFirmware() : vokIMSMFirmware(platformDetails()) {}
    // Those in the lines that mdadm has printed.
    explicit vokIMSMFirmware(std::string details);

    // The version of the first function whose line contains `pciLocation`, or null. Empty for a function that
    // shares its version with the one listed before it: mdadm prints a version once, and the first takes it.
    const char* versionOf(const std::string& pciLocation) const;

private:
    struct Function {
        std::string controller;
        std::string version;
    };

    static std::string platformDetails();

    std::array<Function, 10> functions_;
    std::size_t count_ = 0;
};

// The same from the one look that the process takes, at its first call. Called on the resource manager's
// thread.
const char* getIMSMFirmwareVersion(const std::string& pciLocation);
