#include "rmc/ipmi/vokIpmiReport.h"

#include <map>
#include <mutex>
#include <utility>

#include "core/base/vokLog.h"
#include "rmc/ipmi/vokIpmiExchange.h"

namespace ipmi {
namespace {

// Replaces the outcome of a subject and returns the previous one; empty if there was none or no trouble.
std::string swapOutcome(const std::string& subject, const std::string& outcome) {
    static std::mutex guard;
    static auto& outcomes = *new std::map<std::string, std::string>;  // threads may outlive static objects
    const std::lock_guard<std::mutex> lock(guard);
    return std::exchange(outcomes[subject], outcome);
}

}  // namespace

// The end of a failure has the level of its start, so that a log with the one also has the other.

void reportOpen(int error) {
    const std::string outcome = error == 0 ? std::string() : openFailureText(error);
    if (swapOutcome(devicePath, outcome) == outcome) return;
    if (error != 0)
        VOK_LOG_WARNING("IPMI", "%s can't be opened: %s", devicePath, outcome.c_str());
    else
        VOK_LOG_WARNING("IPMI", "%s can be opened again", devicePath);
}

void reportPoll(const std::string& name, const std::string& trouble) {
    if (swapOutcome(name, trouble) == trouble) return;
    VOK_LOG_WARNING("IPMI", "%s on %s: %s", name.c_str(), devicePath,
                    trouble.empty() ? "answered again" : trouble.c_str());
}

void reportCommand(const std::string& name, const std::string& trouble) {
    const std::string previous = swapOutcome(name, trouble);
    if (!trouble.empty())
        VOK_LOG_WARNING("IPMI", "%s on %s: %s", name.c_str(), devicePath, trouble.c_str());
    else if (!previous.empty())
        VOK_LOG_WARNING("IPMI", "%s on %s: answered again", name.c_str(), devicePath);
}

}  // namespace ipmi
