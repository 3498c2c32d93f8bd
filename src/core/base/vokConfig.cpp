#include "core/base/vokConfig.h"

#include <json/reader.h>

#include "core/base/vokConfigFile.h"
#include "core/base/vokConfigReader.h"
#include "core/base/vokConfigText.h"
#include "core/base/vokModules.h"
#include "core/base/vokSettingRules.h"
#include "platform/access/vokHostAccess.h"

namespace {

constexpr char defaultLogFileLoc[] = "syslog";
constexpr char defaultDebugLogFileLoc[] = "syslog";
constexpr char notASetting[] = "not a setting of this agent";

// Each finding is a line in the log at every start.
constexpr std::size_t mostFindings = 40;

constexpr const char* knownKeys[] = {"EnableResources",
                                     "LoggingLevel",
                                     "EnableDebugLog",
                                     "CliMode",
                                     "CacheRefreshInSeconds",
                                     "PushInventoryFrequencyInMinutes",
                                     "VOKLogLocation",
                                     "DebugLogLocation",
                                     "IPMIDoorBellMonitorInterval",
                                     "InventoryQueryIntervalInSeconds",
                                     "CaptureUnhandledExceptionStack",
                                     "SimulateUnhandledException",
                                     "ForwardAllMegaRAIDCriticalOrHigherEvents",
                                     "ForwardAllSmartRAIDDegradedOrHigherEvents",
                                     "DisableMegaRAID9560LoadingInspection",
                                     "LogResourceManagerStatistics",
                                     "MicrochipEventQueueIndex",
                                     "HealthMonitorFlags"};

bool isKnown(const std::string& key) {
    for (const char* known : knownKeys)
        if (key == known) return true;
    return false;
}

bool isRefreshKey(const std::string& key) {
    if (key == "Global") return true;
    for (const vokModule& module : vokModules)
        if (module.hasRefreshInterval && key == module.name) return true;
    return false;
}

}  // namespace

vokConfig* vokConfig::getInstance() {
    static auto* const instance = [] {
        auto* const config = new vokConfig;
        config->initConfigSettings();
        return config;
    }();
    return instance;
}

std::unique_ptr<vokConfig> vokConfig::examine(std::vector<vokConfigFinding>& findings) {
    std::unique_ptr<vokConfig> config(new vokConfig);
    config->initConfigSettings();
    findings.insert(findings.end(), config->findings.begin(), config->findings.end());
    return config;
}

std::unique_ptr<vokConfig> vokConfig::examineText(const std::string& text,
                                                  std::vector<vokConfigFinding>& findings) {
    std::unique_ptr<vokConfig> config(new vokConfig);
    config->readSettings(text);
    findings.insert(findings.end(), config->findings.begin(), config->findings.end());
    return config;
}

void vokConfig::initConfigSettings() {
    std::string text;
    std::string reason;
    if (vokConfigFile::read(vokHostAccess().path(configFile), text, reason))
        readSettings(text);
    else
        refuseWhole(reason);
}

void vokConfig::refuseWhole(const std::string& reason) {
    findings.push_back({"", "", reason, "the built-in settings"});
    setDefaultValues();
}

void vokConfig::readSettings(const std::string& text) {
    Json::Value root;
    std::string reason;
    std::vector<std::string> repeated;
    if (!vokConfigFile::parse(text, root, repeated, reason)) {
        refuseWhole(reason);
        return;
    }
    readValues(root);
    vokConfigReader reader(root, "", findings);
    for (const std::string& key : repeated) reader.report(key, "written more than once", "the last one");
    if (vokConfigText::hasTextAfterObject(text))
        reader.report("text after the object", "not read", "nothing");
    limitFindings();
}

void vokConfig::readValues(const Json::Value& root) {
    vokConfigReader reader(root, "", findings);
    enabledResources = reader.resources("EnableResources");
    loggingLevel = reader.choice("LoggingLevel");
    enableDebugLog = reader.boolean("EnableDebugLog");
    cliMode = reader.choice("CliMode");
    readRefreshIntervals(reader.value("CacheRefreshInSeconds"));
    pushInterval = reader.number("PushInventoryFrequencyInMinutes", "RMCCacheSendInterval");
    logLocation = reader.logLocation("VOKLogLocation", defaultLogFileLoc);
    debugLogLocation = reader.logLocation("DebugLogLocation", defaultDebugLogFileLoc);
    doorBellInterval = reader.number("IPMIDoorBellMonitorInterval", "IPMIDBSleepInterval");
    queryInterval = reader.number("InventoryQueryIntervalInSeconds", "InventoryQueryIntervalInSeconds");
    captureUnhandledExceptionStack = reader.boolean("CaptureUnhandledExceptionStack");
    simulatedException = reader.number("SimulateUnhandledException", "SimulateUnhandledException");
    forwardAllMegaRAIDCriticalOrHigherEvents = reader.boolean("ForwardAllMegaRAIDCriticalOrHigherEvents");
    forwardAllSmartRAIDDegradedOrHigherEvents = reader.boolean("ForwardAllSmartRAIDDegradedOrHigherEvents");
    disableMegaRAID9560LoadingInspection = reader.boolean("DisableMegaRAID9560LoadingInspection");
    logResourceManagerStatistics = reader.boolean("LogResourceManagerStatistics");
    microchipEventQueueIndex = reader.number("MicrochipEventQueueIndex", "MicrochipEventQueueIndex");
    healthMonitorFlags = reader.number("HealthMonitorFlags", "HealthMonitorFlags");

    for (const auto& key : root.getMemberNames())
        if (!isKnown(key)) reader.report(key, root[key], notASetting, "nothing");
}

void vokConfig::readRefreshIntervals(const Json::Value& intervals) {
    constexpr char rule[] = "CacheRefreshInterval";
    if (!intervals.isNull() && !intervals.isObject())
        vokConfigReader(intervals, "", findings)
            .report("CacheRefreshInSeconds", intervals, "not an object", "3600 for every resource");
    vokConfigReader reader(intervals, "CacheRefreshInSeconds.", findings);
    if (intervals.isObject())
        for (const auto& key : intervals.getMemberNames())
            if (!isRefreshKey(key)) reader.report(key, intervals[key], notASetting, "nothing");
    // A value of the wrong type counts as invalid, not as absent.
    const Json::Value& global = reader.value("Global");
    if (reader.has("Global") && !(global.isNull() || (global.isString() && global.asString().empty()))) {
        const std::int32_t seconds = reader.number("Global", rule);
        setCommonCacheRefreshInterval(seconds);
        for (const vokModule& module : vokModules)
            if (module.hasRefreshInterval && reader.has(module.name))
                reader.report(module.name, reader.value(module.name), "not read, as there is Global",
                              std::to_string(seconds));
        return;
    }
    for (const vokModule& module : vokModules)
        if (module.hasRefreshInterval) refreshIntervals[module.name] = reader.number(module.name, rule);
}

void vokConfig::limitFindings() {
    if (findings.size() <= mostFindings) return;
    const std::string left = std::to_string(findings.size() - mostFindings);
    findings.resize(mostFindings);
    findings.push_back({left + " more", "", "too many to list", "what each of them has by default"});
}

void vokConfig::setCommonCacheRefreshInterval(long seconds) {
    for (const vokModule& module : vokModules)
        if (module.hasRefreshInterval) refreshIntervals[module.name] = seconds;
}

void vokConfig::setDefaultValues() {
    enableDebugLog = false;
    setCommonCacheRefreshInterval(30);
    pushInterval = 1440;
    loggingLevel = "Warning";
    logLocation = defaultLogFileLoc;
    debugLogLocation = defaultDebugLogFileLoc;
    enabledResources.push_back("All");
    doorBellInterval = 10;
    queryInterval = 10;
    captureUnhandledExceptionStack = false;
    simulatedException = 0;
    forwardAllMegaRAIDCriticalOrHigherEvents = false;
    forwardAllSmartRAIDDegradedOrHigherEvents = false;
    disableMegaRAID9560LoadingInspection = false;
    logResourceManagerStatistics = false;
    microchipEventQueueIndex = 0;
    healthMonitorFlags = 0;
    cliMode = "test";
    defaultSettingsApplied = true;
}

bool vokConfig::getDebugLogSettings() const {
    return enableDebugLog;
}
std::string vokConfig::getTestEventSettings() const {
    return cliMode;
}
bool vokConfig::getSendTestEventSettings(std::string) const {
    return false;
}
int vokConfig::getInventoryPushIntervalSettings() const {
    return pushInterval;
}
std::string vokConfig::getVOKDebugLogFileLocation() const {
    return debugLogLocation;
}
std::string vokConfig::getVOKLogFileLocation() const {
    return logLocation;
}
std::string vokConfig::getVOKLoggingLevel() const {
    return loggingLevel;
}
bool vokConfig::isDefaultSettingsApplied() const {
    return defaultSettingsApplied;
}
int vokConfig::getDoorBellSleepInterval() const {
    return doorBellInterval;
}
bool vokConfig::isUnhandledExceptionStackCaptureEnabled() const {
    return captureUnhandledExceptionStack;
}
int vokConfig::getUnhandledExceptionToSimulate() const {
    return simulatedException;
}
bool vokConfig::isForwardAllMegaRAIDCriticalOrHigherEventsEnabled() const {
    return forwardAllMegaRAIDCriticalOrHigherEvents;
}
bool vokConfig::isForwardAllSmartRAIDDegradedOrHigherEventsEnabled() const {
    return forwardAllSmartRAIDDegradedOrHigherEvents;
}
bool vokConfig::isMegaRAID9560LoadingInspectionDisabled() const {
    return disableMegaRAID9560LoadingInspection;
}
bool vokConfig::isRMStatisticsLoggingEnabled() const {
    return logResourceManagerStatistics;
}
int vokConfig::getInventoryQueryInterval() const {
    return queryInterval;
}
int vokConfig::getMicrochipEventQueueIndex() const {
    return microchipEventQueueIndex;
}
int vokConfig::getHealthMonitorFlags() const {
    return healthMonitorFlags;
}
const std::vector<std::string>& vokConfig::getEnabledResources() const {
    return enabledResources;
}

long vokConfig::getrefreshInterval(std::string module) {
    return refreshIntervals[module];
}

bool vokConfig::isResourceEnabled(int id) const {
    const vokModule* const module = vokFindModule(id);
    return module && module->canBeEnabled && checkForResourceString(module->name);
}

bool vokConfig::checkForResourceString(const char* name) const {
    for (const auto& entry : enabledResources)
        if (vokSettingRules::isEquals(entry, name) || vokSettingRules::isEquals(entry, "All")) return true;
    return false;
}
