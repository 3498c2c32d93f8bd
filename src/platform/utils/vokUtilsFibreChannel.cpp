#include <cerrno>
#include <functional>
#include <sstream>

#include "core/base/vokLog.h"
#include "platform/access/vokCommandStream.h"
#include "platform/access/vokWorkFile.h"
#include "platform/utils/vokCommandOutcome.h"
#include "platform/utils/vokUtils.h"

std::map<std::string, std::pair<std::string, std::string>> vokUtils::fcGeoIDMap;
std::map<std::string, std::string> vokUtils::fcNameMap;

namespace {

constexpr const char* notAvailable = "NotAvailable";

// Both values of a pair start two characters after their line's first ":", except for the VMkernel name.
std::string valueAfterColon(const std::string& line) {
    const auto from = line.find(':') + 2;
    return from < line.size() ? line.substr(from) : "";
}

// Every VMkernel name begins with "v". For a function without one, nothing follows the key.
std::string vmkernelName(const std::string& line) {
    const auto blank = line.find(" v");
    return blank == std::string::npos ? "" : line.substr(blank + 1);
}

// A host command whose lines are read as pairs: one line with the first key, a later one with the second.
struct PairList {
    const char* command;  // writes to `file`
    const char* file;
    const char* firstKey;
    const char* secondKey;
    std::string (*secondValue)(const std::string& line);
    const char* failure;
    const char* nothingFound;
};

constexpr PairList hardwarePairs = {
    "localcli hardware pci list | grep -e 'Address: ' -e 'VMkernel Name:'>> ",
    "/opt/mev/vok/data/fc_topology.txt",
    "Address: ",
    "VMkernel Name:",
    vmkernelName,
    "Error occurred in gathering FC topology information.",
    "Unable to find FC topology information.",
};

constexpr PairList fibreChannelPairs = {
    "localcli storage san fc list | grep -e 'Adapter: ' -e 'Node Name:'>> ",
    "/opt/mev/vok/data/fc_name.txt",
    "Adapter: ",
    "Node Name:",
    valueAfterColon,
    "Error occurred in gathering localcli storage SAN information",
    "Unable to find localcli storage SAN information.",
};

using TakePair = std::function<void(const std::string& first, const std::string& second)>;

void readPairs(const PairList& list, std::istream& lines, const TakePair& take) {
    std::string first;
    std::string second;
    bool useful = false;
    for (std::string line; std::getline(lines, line);) {
        const bool holdsFirst = line.find(list.firstKey) != std::string::npos;
        if (!useful && !holdsFirst) break;
        useful = true;
        if (holdsFirst) first = valueAfterColon(line);
        if (line.find(list.secondKey) != std::string::npos) {
            const std::string value = list.secondValue(line);
            if (!value.empty()) second = value;
        }
        if (first.empty() || second.empty()) continue;
        take(first, second);
        first.clear();
        second.clear();
    }
    if (!useful) VOK_LOG_DEBUG("VOK_UTILS", "%s", list.nothingFound);
}

// False if the command failed or its file can't be opened. The content that an interrupted run has left in
// the file is read together with what the command appends.
bool gatherPairs(const PairList& list, const TakePair& take) {
    const vokWorkFile file(list.file, vokLeftOver::kept);
    bool gathered = false;
    const std::string command = list.command + file.shellQuoted();
    const int status = vokRunCommand(command);
    vokReportCommand("VOK_UTILS", command, vokCommandFailure(status, errno));
    if (status == 0) {
        std::string content;
        gathered = file.read(content);
        std::istringstream lines(content);
        if (gathered) readPairs(list, lines, take);
    }
    if (!gathered) VOK_LOG_ERROR("VOK_UTILS", "%s", list.failure);
    return gathered;
}

}  // namespace

void vokUtils::initFcInfoMap() {
    const bool gathered = gatherPairs(hardwarePairs, [](const std::string& address, const std::string& name) {
        fcGeoIDMap[name] = {address, name};
    });
    if (!gathered) return;
    VOK_LOG_DEBUG("VOK_UTILS", "-----Printing FcGEoID PCIe location map-----");
    for (const auto& entry : fcGeoIDMap)
        VOK_LOG_DEBUG("VOK_UTILS", "%s : %s, %s", entry.first.c_str(), entry.second.first.c_str(),
                      entry.second.second.c_str());
}

void vokUtils::initFcNameMap() {
    const bool gathered =
        gatherPairs(fibreChannelPairs, [](const std::string& adapter, const std::string& node) {
            if (OsNameInHardwarePciList(adapter)) fcNameMap[node] = adapter;
        });
    if (!gathered) return;
    VOK_LOG_DEBUG("VOK_UTILS", "-----Printing FcNameMap-----");
    for (const auto& entry : fcNameMap)
        VOK_LOG_DEBUG("VOK_UTILS", "%s : %s", entry.first.c_str(), entry.second.c_str());
}

std::pair<std::string, std::string> vokUtils::getFcGeoIDPciStr(std::string adapter) {
    const auto found = fcGeoIDMap.find(adapter);
    if (found == fcGeoIDMap.end()) return {notAvailable, notAvailable};
    return found->second;
}

std::string vokUtils::getFcPciStr(std::string adapter) {
    return getFcGeoIDPciStr(adapter).first;
}

std::string vokUtils::getFcOsDevicename(std::string nodeName) {
    const auto found = fcNameMap.find(nodeName);
    return found == fcNameMap.end() ? notAvailable : found->second;
}

bool vokUtils::OsNameInHardwarePciList(std::string adapter) {
    return fcGeoIDMap.count(adapter) > 0;
}
