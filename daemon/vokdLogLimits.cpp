#include "daemon/vokdLogLimits.h"

#include "core/Logger.h"
#include "core/vokConfig.h"
#include "core/vokSettingRules.h"

void vokdEnforceLogLimits() {
    const vokConfig& config = *vokConfig::getInstance();
    for (const std::string& path : {config.getVOKLogFileLocation(), config.getVOKDebugLogFileLocation()})
        if (!vokSettingRules::isEquals(path, "syslog")) Logging::Logger::getInstance()->isFileExceeded(path);
}
