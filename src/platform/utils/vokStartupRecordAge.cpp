#include "platform/utils/vokStartupRecordAge.h"

#include <cerrno>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/utils/vokStartupRecord.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr long secondsInDay = 86400;

}  // namespace

void vokStartupRecordAge::renewDaily() {
    struct sysinfo information {};
    if (vokHostAccess().systemInformation(&information) != 0) return;
    const long upTime = static_cast<long>(information.uptime);
    if (!renewed_) renewed_ = upTime;  // the record has just been written
    if (upTime - *renewed_ < secondsInDay) return;
    renewed_ = upTime;
    if (vokStartupRecord::touch()) return;
    VOK_LOG_WARNING("JOB_MGR", "The modification time of %s can't be set: %s.",
                    vokStartupRecord::recordPath().c_str(), vokUtils::getErrorDescription(errno).c_str());
}
