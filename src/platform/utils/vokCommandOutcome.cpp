#include "platform/utils/vokCommandOutcome.h"

#include <sys/wait.h>
#include <map>
#include <mutex>

#include "core/base/vokLog.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokWorkScope.h"
#include "platform/utils/vokUtils.h"

namespace {

// More than the commands of a host with hundreds of adapters. Names in a garbled list could make ever new
// ones.
constexpr std::size_t mostRemembered = 1024;

std::mutex guard;
std::map<std::string, std::string> failures;  // by command

}  // namespace

std::string vokCommandFailure(int status, int error) {
    if (status == 0) return "";
    if (status == -1) return "could not be run: " + vokUtils::getErrorDescription(error);
    if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

std::string vokGrepFailure(int status, int error) {
    const bool noMatch = status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 1;
    return noMatch ? "" : vokCommandFailure(status, error);
}

void vokReportCommand(const char* tag, const std::string& command, const std::string& failure) {
    if (!failure.empty()) vokNoteFailedCommand(vokWorkScope::current());
    const std::lock_guard<std::mutex> lock(guard);
    const auto known = failures.find(command);
    if (failure.empty()) {
        if (known == failures.end()) return;
        failures.erase(known);
        VOK_LOG_INFO(tag, "Command succeeds again : %s", command.c_str());
        return;
    }
    if (known != failures.end() && known->second == failure) return;
    if (known == failures.end() && failures.size() == mostRemembered) failures.erase(failures.begin());
    failures[command] = failure;
    VOK_LOG_WARNING(tag, "Command failed (%s) : %s", failure.c_str(), command.c_str());
}
