#include "core/base/vokConfig.h"

#include <json/reader.h>
#include <sys/stat.h>
#include <fstream>
#include <sstream>

#include "core/base/vokConfigReader.h"
#include "core/base/vokConfigText.h"
#include "core/base/vokModules.h"
#include "core/base/vokSettingRules.h"
#include "platform/access/vokHostAccess.h"

namespace {

constexpr char defaultLogFileLoc[] = "syslog";
constexpr char defaultDebugLogFileLoc[] = "syslog";

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

// A larger file can't be a configuration of this agent.
constexpr off_t largestFile = 16 * 1024 * 1024;

bool parseText(const std::string& text, Json::Value& root, std::string& reason) {
    std::istringstream stream(text);
    std::string errors;
    try {
        if (Json::parseFromStream(Json::CharReaderBuilder(), stream, &root, &errors)) return true;
    } catch (const std::exception& error) {  // nested deeper than the parser allows
        errors = error.what();
    }
    // The first error: its location and text.
    reason = "not JSON: ";
    for (const char c : errors.substr(0, errors.find('\n', errors.find('\n') + 1)))
        reason += c == '\n' ? ' ' : c;
    return false;
}

bool readFile(const std::string& path, std::string& text, std::string& reason) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
        if (status.st_size > largestFile) {
            reason = "larger than 16 MiB";
            return false;
        }
        std::ifstream stream(path, std::ios::binary);
        text.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
        if (stream) return true;
    }
    reason = "can't be opened";
    return false;
}

// Parses the file's text into `root`; on failure sets `reason`.
bool parseSettings(const std::string& text, Json::Value& root, std::string& reason) {
    std::string ignored;
    if (!parseText(text, root, reason) && !parseText(vokConfigText::withinParserLimits(text), root, ignored))
        return false;
    if (!root.isObject()) {
        reason = "not a JSON object";
        return false;
    }
    if (root.size() < 2) {
        reason = "fewer than two settings";
        return false;
    }
    return true;
}

bool isKnown(const std::string& key) {
    for (const char* known : knownKeys)
        if (key == known) return true;
    return false;
}

}  // namespace

vokConfig* vokConfig::getInstance() {
    static auto* const instance = new vokConfig(nullptr);
    return instance;
}

std::unique_ptr<vokConfig> vokConfig::examine(std::vector<vokConfigRefusal>& refusals) {
    return std::unique_ptr<vokConfig>(new vokConfig(&refusals));
}

std::unique_ptr<vokConfig> vokConfig::examineText(const std::string& text,
                                                  std::vector<vokConfigRefusal>& refusals) {
    std::unique_ptr<vokConfig> config(new vokConfig);
    config->readSettings(text, &refusals);
    return config;
}

vokConfig::vokConfig(std::vector<vokConfigRefusal>* refusals) {
    initConfigSettings(refusals);
}

void vokConfig::initConfigSettings(std::vector<vokConfigRefusal>* refusals) {
    std::string text;
    std::string reason;
    if (readFile(vokHostAccess().path(configFile), text, reason))
        readSettings(text, refusals);
    else
        refuseWhole(reason, refusals);
}

void vokConfig::refuseWhole(const std::string& reason, std::vector<vokConfigRefusal>* refusals) {
    if (refusals) refusals->push_back({"", "", reason, "the built-in settings"});
    setDefaultValues();
}

void vokConfig::readSettings(const std::string& text, std::vector<vokConfigRefusal>* refusals) {
    Json::Value root;
    std::string reason;
    if (!parseSettings(text, root, reason)) {
        refuseWhole(reason, refusals);
        return;
    }

    vokConfigReader reader(root, "", refusals);
    enabledResources = reader.resources("EnableResources");
    loggingLevel = reader.choice("LoggingLevel");
    enableDebugLog = reader.boolean("EnableDebugLog");
    cliMode = reader.choice("CliMode");
    readRefreshIntervals(reader.value("CacheRefreshInSeconds"), refusals);
    pushInterval = reader.number("PushInventoryFrequencyInMinutes", "RMCCacheSendInterval");
    logLocation = reader.text("VOKLogLocation", defaultLogFileLoc);
    if (logLocation.empty()) logLocation = defaultLogFileLoc;
    debugLogLocation = reader.text("DebugLogLocation", defaultDebugLogFileLoc);
    if (debugLogLocation.empty()) debugLogLocation = defaultDebugLogFileLoc;
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
        if (!isKnown(key)) reader.refuse(key, root[key], "not a setting of this agent", "nothing");
}

void vokConfig::readRefreshIntervals(const Json::Value& intervals, std::vector<vokConfigRefusal>* refusals) {
    constexpr char rule[] = "CacheRefreshInterval";
    if (!intervals.isNull() && !intervals.isObject() && refusals)
        vokConfigReader(Json::Value(), "", refusals)
            .refuse("CacheRefreshInSeconds", intervals, "not an object", "3600 for every resource");
    vokConfigReader reader(intervals, "CacheRefreshInSeconds.", refusals);
    // A value of the wrong type counts as invalid, not as absent.
    const Json::Value& global = reader.value("Global");
    if (reader.has("Global") && !(global.isNull() || (global.isString() && global.asString().empty()))) {
        setCommonCacheRefreshInterval(reader.number("Global", rule));
        return;
    }
    for (const vokModule& module : vokModules)
        if (module.hasRefreshInterval) refreshIntervals[module.name] = reader.number(module.name, rule);
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
