// The Ethernet manager's queries to the host: the list of its network interfaces, and whether a link has
// changed.
#include <cerrno>
#include <cstring>
#include <sstream>

#include "core/base/vokLog.h"
#include "nic/NICResourceManager.h"
#include "platform/access/vokCommandStream.h"
#include "platform/access/vokWorkFile.h"
#include "platform/utils/vokCommandOutcome.h"

namespace {

constexpr char listCommand[] = "localcli network nic list";
constexpr char listFile[] = "/opt/mev/vok/data/vok_niclist.txt";

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(std::move(word));
    return words;
}

// The build has no adapters then, which looks as if all of them were gone.
void warnOfLoss(const std::string& failure) {
    VOK_LOG_WARNING("NIC_RM", "No Ethernet adapter is known until the next build (%s) : %s", failure.c_str(),
                    listCommand);
}

}  // namespace

void NICResourceManager::getInterfaceDetails(std::vector<std::vector<std::string>>& out) {
    const vokWorkFile list(listFile);
    const int status = list.appendOutputOf(listCommand);
    const int reason = errno;
    if (status != 0) {
        VOK_LOG_ERROR("NIC_RM", "Error occurred in gathering network interface information.");
        warnOfLoss(vokCommandFailure(status, reason));
        return;
    }
    std::string content;
    if (!list.read(content)) {
        VOK_LOG_ERROR("NIC_RM", "An error occurred while trying to fetch NIC information");
        warnOfLoss("exit status 0, but no output");
        return;
    }
    std::istringstream file(content);
    std::string line;
    if (!std::getline(file, line) || line.find("Name") == std::string::npos) {
        VOK_LOG_DEBUG("NIC_RM", "Unable to find NIC information.");
        warnOfLoss("exit status 0, but no heading in its output");
        return;
    }
    std::getline(file, line);  // the line below the headings
    while (std::getline(file, line))
        if (auto words = wordsOf(line); !words.empty()) out.push_back(std::move(words));
}

bool NICResourceManager::checkLinkState() {
    VOK_LOG_DEBUG("NIC_RM", "Getting list of interfaces");
    const vokWorkFile list(listFile);
    const std::string command =
        std::string(listCommand) + " | /usr/bin/awk '{print$1, $5}' >>" + list.shellQuoted();
    const int status = vokRunCommand(command);
    const int reason = errno;
    vokReportCommand("NIC_RM", command, vokCommandFailure(status, reason));
    if (status != 0) {
        VOK_LOG_ERROR("NIC_RM", "Error occurred in checking link state information : %s",
                      std::strerror(reason));
        return false;
    }
    std::string content;
    list.read(content);
    std::istringstream file(content);
    bool changed = false;
    const std::lock_guard<std::mutex> lock(mlock);
    for (std::string line; !changed && std::getline(file, line);) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() != 2) continue;
        const PhyAdapterInventory* const record = findRecord(words[0]);
        changed = record && record->getLinkStatus() != words[1];
    }
    VOK_LOG_DEBUG("NIC_RM", "%s", changed ? "Found a status change" : "No status change");
    return changed;
}
