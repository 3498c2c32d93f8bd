// Whatever the settings' file holds, every setting has a value that the agent can work with, and each value
// that was not taken is named with its reason.
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "core/base/vokConfig.h"
#include "core/base/vokSettingRules.h"
#include "vokFuzzHost.h"

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::install();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string place = vokHostAccess().path(vokConfig::configFile);
    std::ofstream(place, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    std::vector<vokConfigFinding> findings;
    const auto config = vokConfig::examine(findings);

    check(config->getInventoryPushIntervalSettings() > 0);
    check(config->getDoorBellSleepInterval() > 0);
    check(config->getInventoryQueryInterval() > 0);
    for (const char* module : {"FibreChannelDevices", "StorageControllers", "HostOSInfo", "EthernetDevices"})
        check(config->getrefreshInterval(module) > 0);
    const std::string level = config->getVOKLoggingLevel();
    check(!level.empty());
    const std::string mode = config->getTestEventSettings();
    // Kept as written, so in any case.
    check(vokSettingRules::isEquals(mode, "test") || vokSettingRules::isEquals(mode, "inject"));
    for (const auto& finding : findings) check(!finding.reason.empty());
    return 0;
}
