#include "daemon/vokdLogLimits.h"

#include "core/base/Logger.h"
#include "core/base/vokConfig.h"
#include "core/base/vokSettingRules.h"

void vokdEnforceLogLimits() {
    const vokConfig& config = *vokConfig::getInstance();
    for (const std::string& path : {config.getVOKLogFileLocation(), config.getVOKDebugLogFileLocation()})
        if (!vokSettingRules::isEquals(path, "syslog")) Logging::Logger::getInstance()->isFileExceeded(path);
}
