#include "daemon/vokdConfigReport.h"

#include <iomanip>
#include <ostream>
#include <string>

#include "core/base/vokConfig.h"
#include "core/base/vokModules.h"
#include "daemon/vokdOptions.h"
#include "platform/access/vokHostAccess.h"

namespace {

std::string yesOrNo(bool value) {
    return value ? "true" : "false";
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

struct Setting {
    const char* key;
    std::string (*value)(vokConfig&);
    const char* unit = "";
};

constexpr Setting settings[] = {
    {"EnableResources", [](vokConfig& c) { return joined(c.getEnabledResources()); }},
    {"LoggingLevel", [](vokConfig& c) { return c.getVOKLoggingLevel(); }},
    {"EnableDebugLog", [](vokConfig& c) { return yesOrNo(c.getDebugLogSettings()); }},
    {"VOKLogLocation", [](vokConfig& c) { return c.getVOKLogFileLocation(); }},
    {"DebugLogLocation", [](vokConfig& c) { return c.getVOKDebugLogFileLocation(); }},
    {"CliMode", [](vokConfig& c) { return c.getTestEventSettings(); }},
    {"PushInventoryFrequencyInMinutes",
     [](vokConfig& c) { return std::to_string(c.getInventoryPushIntervalSettings()); }, " minutes"},
    {"IPMIDoorBellMonitorInterval", [](vokConfig& c) { return std::to_string(c.getDoorBellSleepInterval()); },
     " minutes"},
    {"InventoryQueryIntervalInSeconds",
     [](vokConfig& c) { return std::to_string(c.getInventoryQueryInterval()); }, " seconds"},
    {"CaptureUnhandledExceptionStack",
     [](vokConfig& c) { return yesOrNo(c.isUnhandledExceptionStackCaptureEnabled()); }},
    {"SimulateUnhandledException",
     [](vokConfig& c) { return std::to_string(c.getUnhandledExceptionToSimulate()); }},
    {"ForwardAllMegaRAIDCriticalOrHigherEvents",
     [](vokConfig& c) { return yesOrNo(c.isForwardAllMegaRAIDCriticalOrHigherEventsEnabled()); }},
    {"ForwardAllSmartRAIDDegradedOrHigherEvents",
     [](vokConfig& c) { return yesOrNo(c.isForwardAllSmartRAIDDegradedOrHigherEventsEnabled()); }},
    {"DisableMegaRAID9560LoadingInspection",
     [](vokConfig& c) { return yesOrNo(c.isMegaRAID9560LoadingInspectionDisabled()); }},
    {"LogResourceManagerStatistics", [](vokConfig& c) { return yesOrNo(c.isRMStatisticsLoggingEnabled()); }},
    {"MicrochipEventQueueIndex",
     [](vokConfig& c) { return std::to_string(c.getMicrochipEventQueueIndex()); }},
    {"HealthMonitorFlags", [](vokConfig& c) { return std::to_string(c.getHealthMonitorFlags()); }},
};

void printSetting(std::ostream& out, const std::string& key, const std::string& value) {
    out << "  " << std::left << std::setw(42) << key << " " << value << "\n";
}

}  // namespace

int vokdPrintConfigReport(std::ostream& out) {
    std::vector<vokConfigRefusal> refusals;
    const auto config = vokConfig::examine(refusals);
    out << "Settings from " << vokHostAccess().path(vokConfig::configFile) << "\n";
    for (const auto& setting : settings)
        printSetting(out, setting.key, setting.value(*config) + setting.unit);
    for (const vokModule& module : vokModules)
        if (module.hasRefreshInterval)
            printSetting(out, std::string("CacheRefreshInSeconds.") + module.name,
                         std::to_string(config->getrefreshInterval(module.name)) + " seconds");

    if (config->isDefaultSettingsApplied()) {
        for (const auto& refusal : refusals)
            out << "\nThe file is not used: " << refusal.reason << ". Used instead: " << refusal.used
                << ".\n";
        return vokdOptions::configUnusable;
    }
    if (refusals.empty()) {
        out << "\nEvery value in the file was accepted.\n";
        return vokdOptions::graceful;
    }
    out << "\nRefused:\n";
    for (const auto& refusal : refusals)
        out << "  " << refusal.key << " = " << refusal.written << ": " << refusal.reason
            << "; used instead: " << refusal.used << "\n";
    return vokdOptions::configRefused;
}
