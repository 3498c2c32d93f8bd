// The output of mdadm, of any length and content, does no harm, and each version is part of it.
#include "FuzzInput.h"
#include "storage/vokIMSMFirmware.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size);
    const vokIMSMFirmware firmware(text);
    for (const char* location : {"", "0000:00:17.0", "0"}) {
        const char* const version = firmware.versionOf(location);
        require(!version || text.find(version) != std::string::npos);
        require(!version || text.find(location) != std::string::npos);
    }
    return 0;
}
