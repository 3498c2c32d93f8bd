#include "daemon/vokdConfigReport.h"

#include <cstdio>
#include <iomanip>
#include <ostream>
#include <string>
#include <vector>

#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
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

void printResources(std::ostream& out, const vokConfig& config) {
    std::vector<std::string> running;
    for (const vokModule& module : vokModules)
        if (config.isResourceEnabled(module.id)) running.emplace_back(module.name);
    out << "\nResources that run: " << (running.empty() ? "none" : joined(running)) << "\n";
}

std::vector<std::string> warnings() {
    const std::string file = vokHostAccess().path(vokConfig::configFile);
    std::vector<std::string> texts;
    for (const auto& finding : vokConfig::getInstance()->getFindings())
        texts.push_back(file + ": " + vokConfigFindingText(finding));
    return texts;
}

}  // namespace

int vokdPrintConfigReport(std::ostream& out) {
    std::vector<vokConfigFinding> findings;
    const auto config = vokConfig::examine(findings);
    out << "Settings from " << vokHostAccess().path(vokConfig::configFile) << "\n";
    for (const auto& setting : settings)
        printSetting(out, setting.key, setting.value(*config) + setting.unit);
    for (const vokModule& module : vokModules)
        if (module.hasRefreshInterval)
            printSetting(out, std::string("CacheRefreshInSeconds.") + module.name,
                         std::to_string(config->getrefreshInterval(module.name)) + " seconds");
    printResources(out, *config);

    out << (findings.empty() ? "\nEvery value in the file was accepted.\n"
                             : "\nNot accepted, or not used as it is written:\n");
    for (const auto& finding : findings) out << "  " << vokConfigFindingText(finding) << "\n";
    if (config->isDefaultSettingsApplied()) return vokdOptions::configUnusable;
    return findings.empty() ? vokdOptions::graceful : vokdOptions::configRefused;
}

void vokdPrintConfigWarnings() {
    for (const std::string& text : warnings()) std::fprintf(stderr, "vokd: %s\n", text.c_str());
}

void vokdLogConfigWarnings() {
    for (const std::string& text : warnings()) VOK_LOG_WARNING("VOKD", "%s", text.c_str());
}
