// The Ethernet manager's queries to the host: the list of its network interfaces, and whether a link has
// changed.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "core/base/vokLog.h"
#include "nic/NICResourceManager.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokWorkFile.h"

namespace {

constexpr char listFile[] = "/opt/mev/vok/data/vok_niclist.txt";

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(std::move(word));
    return words;
}

}  // namespace

void NICResourceManager::getInterfaceDetails(std::vector<std::vector<std::string>>& out) {
    const vokWorkFile list(listFile);
    if (list.appendOutputOf("localcli network nic list") != 0) {
        VOK_LOG_ERROR("NIC_RM", "Error occurred in gathering network interface information.");
        return;
    }
    std::ifstream file(list.hostPath());
    if (!file) {
        VOK_LOG_ERROR("NIC_RM", "An error occurred while trying to fetch NIC information");
        return;
    }
    std::string line;
    if (!std::getline(file, line) || line.find("Name") == std::string::npos) {
        VOK_LOG_DEBUG("NIC_RM", "Unable to find NIC information.");
        return;
    }
    std::getline(file, line);  // the line below the headings
    while (std::getline(file, line))
        if (auto words = wordsOf(line); !words.empty()) out.push_back(std::move(words));
}

bool NICResourceManager::checkLinkState() {
    VOK_LOG_DEBUG("NIC_RM", "Getting list of interfaces");
    const vokWorkFile list(listFile);
    if (vokHostAccess().runCommand("localcli network nic list | /usr/bin/awk '{print$1, $5}' >>" +
                                   list.shellQuoted()) != 0) {
        const int reason = errno;
        VOK_LOG_ERROR("NIC_RM", "Error occurred in checking link state information : %s",
                      std::strerror(reason));
        return false;
    }
    std::ifstream file(list.hostPath());
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
