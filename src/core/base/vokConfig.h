// The settings of the agent, read once from the configuration file and then kept in memory. An invalid or
// missing value never stops the agent: it is replaced by its default. Nothing is logged here, since the
// logger takes its settings from this class; the program that starts the agent reports getFindings().
#pragma once

#include <json/value.h>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/base/vokConfigFinding.h"

class vokConfig {
public:
    // Read from the configuration file on the first call; never deleted.
    static vokConfig* getInstance();

    // Reads the file again, and adds the findings on it to `findings`.
    static std::unique_ptr<vokConfig> examine(std::vector<vokConfigFinding>& findings);

    // The same for `text` instead of the file's content; reads no file.
    static std::unique_ptr<vokConfig> examineText(const std::string& text,
                                                  std::vector<vokConfigFinding>& findings);

    // The documented path of the file.
    static constexpr char configFile[] = "/etc/config/mev/vok/vok.conf";

    bool getDebugLogSettings() const;
    std::string getTestEventSettings() const;
    bool getSendTestEventSettings(std::string) const;  // always false
    int getInventoryPushIntervalSettings() const;      // minutes
    std::string getVOKDebugLogFileLocation() const;
    std::string getVOKLogFileLocation() const;
    std::string getVOKLoggingLevel() const;
    bool isDefaultSettingsApplied() const;
    int getDoorBellSleepInterval() const;  // minutes
    bool isUnhandledExceptionStackCaptureEnabled() const;
    int getUnhandledExceptionToSimulate() const;
    bool isForwardAllMegaRAIDCriticalOrHigherEventsEnabled() const;
    bool isForwardAllSmartRAIDDegradedOrHigherEventsEnabled() const;
    bool isMegaRAID9560LoadingInspectionDisabled() const;
    bool isRMStatisticsLoggingEnabled() const;
    int getInventoryQueryInterval() const;  // seconds
    int getMicrochipEventQueueIndex() const;
    int getHealthMonitorFlags() const;
    // Seconds; 0 for a module that has no interval.
    long getrefreshInterval(std::string module);
    // True for the ids 0 to 3 when the list of enabled resources holds the resource's name or "All".
    bool isResourceEnabled(int id) const;
    // The list itself, as accepted.
    const std::vector<std::string>& getEnabledResources() const;
    // The findings on the file, in the order in which it is read; of very many only the first, and their
    // number. If the file is not used, one finding without a key.
    const std::vector<vokConfigFinding>& getFindings() const { return findings; }

private:
    vokConfig() = default;

    void initConfigSettings();
    void readSettings(const std::string& text);
    void refuseWhole(const std::string& reason);
    void readValues(const Json::Value& root);
    void readRefreshIntervals(const Json::Value& intervals);
    void limitFindings();
    void setDefaultValues();
    void setCommonCacheRefreshInterval(long seconds);
    bool checkForResourceString(const char* name) const;

    bool enableDebugLog = false;
    std::string cliMode;
    std::vector<std::string> enabledResources;
    std::string debugLogLocation;
    std::string logLocation;
    std::string loggingLevel;
    std::map<std::string, long> refreshIntervals;  // seconds by module name
    bool captureUnhandledExceptionStack = false;
    std::int32_t simulatedException = 0;
    bool forwardAllMegaRAIDCriticalOrHigherEvents = false;
    bool forwardAllSmartRAIDDegradedOrHigherEvents = false;
    bool disableMegaRAID9560LoadingInspection = false;
    bool logResourceManagerStatistics = false;
    std::int32_t doorBellInterval = 0;  // minutes
    std::int32_t pushInterval = 0;      // minutes
    std::int32_t queryInterval = 0;     // seconds
    std::int32_t microchipEventQueueIndex = 0;
    std::int32_t healthMonitorFlags = 0;
    bool defaultSettingsApplied = false;
    std::vector<vokConfigFinding> findings;
};
