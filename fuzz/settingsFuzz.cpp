// Whatever text the settings come in, every setting has a value that the agent can work with, and each value
// that was not taken is named with its reason. The same as vokConfigFuzz, without the file.
#include <memory>
#include <vector>

#include "FuzzInput.h"
#include "core/base/vokConfig.h"
#include "core/base/vokSettingRules.h"

namespace {

void requireUsable(vokConfig& config) {
    require(config.getInventoryPushIntervalSettings() > 0);
    require(config.getDoorBellSleepInterval() > 0);
    require(config.getInventoryQueryInterval() > 0);
    for (const char* module : {"FibreChannelDevices", "StorageControllers", "HostOSInfo", "EthernetDevices"})
        require(config.getrefreshInterval(module) > 0);
    require(config.getMicrochipEventQueueIndex() >= 0 && config.getHealthMonitorFlags() >= 0);
    const std::string level = config.getVOKLoggingLevel();
    require(vokSettingRules::validateString(level, "LoggingLevel") == level);
    const std::string mode = config.getTestEventSettings();
    require(vokSettingRules::validateString(mode, "CliMode") == mode);
    require(!config.getEnabledResources().empty());
    for (const std::string& name : config.getEnabledResources()) require(!name.empty());
    require(!config.getVOKLogFileLocation().empty() && !config.getVOKDebugLogFileLocation().empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<vokConfigFinding> findings;
    const auto config = vokConfig::examineText(textOf(data, size), findings);
    requireUsable(*config);
    for (const vokConfigFinding& finding : findings) {
        require(!finding.reason.empty() && !finding.used.empty());
        require(finding.written.size() <= 63);
    }
    const bool whole = findings.size() == 1 && findings[0].key.empty();
    if (config->isDefaultSettingsApplied()) require(whole);
    return 0;
}
