#include "host/HostResourceManager.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <cerrno>
#include <cstring>

#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
#include "core/base/vokVersion.h"
#include "host/esxtopMemory.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokInterfaceList.h"
#include "platform/access/vokWorkFile.h"
#include "platform/utils/vokCommandOutcome.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char hostMemFile[] = "/opt/mev/vok/data/vok-mem.txt";
constexpr char esxtopconf[] = "/opt/mev/vok/data/esxtopconf";
constexpr char remoteSupport[] = "RemoteSupport";
constexpr long fixedRefreshSeconds = 60;  // not configurable
constexpr long mbytesInGiB = 1024;

constexpr vokManagerTraits hostTraits = [] {
    vokManagerTraits traits;
    traits.tag = "HOST_RM";
    traits.moduleName = "HostOSInfo";
    traits.activeText = "VOK thread for host already active. Cannot spawn another one.";
    traits.buildText = "Starting Host resource manager cache build.";
    traits.pushText = "hostRM Requesting cache push";
    traits.readyText = "Host cache ready";
    traits.recordsName = "HostInventory";
    return traits;
}();
static_assert(hostTraits.isComplete());

}  // namespace

std::atomic<bool> HostResourceManager::stopHost{false};
bool HostResourceManager::getTotalPhysicalMemoryFailureLogged = false;

HostResourceManager::HostResourceManager() : vokCachedResourceManager(hostTraits, stopHost) {}

HostResourceManager* HostResourceManager::getInstance() {
    static auto* const instance = new HostResourceManager;
    return instance;
}

void HostResourceManager::prepare() {
    genOSBootLogic();
}

long HostResourceManager::refreshInterval() {
    return fixedRefreshSeconds;
}

void HostResourceManager::onTimeOut(time_t now, long refreshSeconds) {
    const long long next = static_cast<long long>(now) + refreshSeconds;
    if (next - lastRefreshTime > 59) refreshCache = true;
}

HostResourceManager::gathered HostResourceManager::gather() {
    populateHostInfo();
    populateCollectionInfo();
    return gathered::complete;
}

std::vector<vokHostOSInfo> HostResourceManager::getHostInventory() {
    const std::lock_guard<std::mutex> lock(mlock);
    return hostInventory.current;
}

void HostResourceManager::populateHostInfo() {
    VOK_LOG_DEBUG("HOST_RM", " Populating host information.");
    vokHostOSInfo info;
    info.setHostName(vokUtils::readHostName());
    info.setOSName(vokUtils::readHostOSName());
    info.setOSVersion(vokUtils::readHostOSVersion());
    info.setOSDescription(vokUtils::readHostOSDescription());
    info.setVokSwVersion(VOK_VERSION);
    info.setOSType(vokUtils::getOSType());
    info.setIPv4Addresses(vokUtils::updateAndFetchIPAddresses());
    const std::vector<double> memory = getTotalPhysicalMemory();
    if (memory.size() >= 2)
        info.setOSMemorySummary(memory[0], memory[1]);
    else
        info.setOSMemorySummary(0.0, 0.0);
    hostInventory.current.push_back(std::move(info));
}

void HostResourceManager::populateCollectionInfo() {
    collectionInfo.setCollectionType(remoteSupport);
    collectionInfo.setCollectionFrequencyMin(vokConfig::getInstance()->getInventoryPushIntervalSettings());
    collectionInfo.setLastCollection(vokUtils::getDateTime());
}

std::vector<double> HostResourceManager::getTotalPhysicalMemory() {
    const vokWorkFile sample(hostMemFile, vokLeftOver::kept);
    const std::string command = "esxtop -c " + vokHostAccess().commandPath(esxtopconf) + " -b -n 1";
    const int status = sample.appendOutputOf(command);
    const int reason = errno;
    if (status != 0) {
        vokReportCommand("HOST_RM", command, vokCommandFailure(status, reason));
        if (!getTotalPhysicalMemoryFailureLogged) {
            VOK_LOG_ERROR("HOST_RM", "Error occurred in fetching physical memory information : %s",
                          vokUtils::getErrorDescription(reason).c_str());
            getTotalPhysicalMemoryFailureLogged = true;
        }
        return {};
    }
    const vokFilePtr file = sample.open();
    if (!file) {
        VOK_LOG_ERROR("HOST_RM", "Unable to fetch physical memory information.");
        vokReportCommand("HOST_RM", command, "exit status 0, but no output");
        return {};
    }
    const EsxtopMemory memory = readEsxtopMemory(file.get());
    const bool hasValues = memory.totalMBytes != 0 && memory.freeMBytes != 0;
    vokReportCommand("HOST_RM", command, hasValues ? "" : "exit status 0, but a memory value is missing");
    return {static_cast<double>(memory.totalMBytes / mbytesInGiB),
            static_cast<double>(memory.freeMBytes / mbytesInGiB)};
}

void HostResourceManager::createJsonStringUsingJsonCpp() {
    if (hostInventory.current.empty()) return;
    const vokHostOSInfo& info = hostInventory.current.front();

    Json::Value element(Json::objectValue);
    Json::Value& host = element["HostOSInfo"];
    host["HostName"] = info.getHostName();
    host["OSName"] = info.getOSName();
    host["OSVersion"] = info.getOSVersion();
    host["OSDescription"] = info.getOSDescription();
    host["OSType"] = info.getOSType();
    host["OSSoftwareSummary"]["VokSwVersion"] = info.getVokSwVersion();
    Json::Value& memory = host["OSMemorySummary"];
    memory["TotalSystemMemoryGiB"] = info.getOSMemorySummary().getTotalSystemMemGiB();
    memory["TotalFreeSystemMemoryGiB"] = info.getOSMemorySummary().getTotalFreeSystemMemGiB();
    std::vector<std::string> addresses = info.getIPv4Addresses().getAddresses();
    if (addresses.empty()) addresses.emplace_back("127.0.0.1");
    for (const auto& address : addresses) {
        Json::Value entry(Json::objectValue);
        entry["Address"] = address;
        host["IPv4Addresses"].append(entry);
    }
    if (collectionInfo.getCollectionType() == remoteSupport) {
        Json::Value& collection = element["CollectionInfo"];
        collection["CollectionType"] = collectionInfo.getCollectionType();
        collection["CollectionFrequencyMin"] = collectionInfo.getCollectionFrequencyMin();
        collection["LastCollection"] = collectionInfo.getLastCollection();
    }
    setInventory({element});
}

std::vector<std::string> HostResourceManager::getIPAddress() {
    std::vector<std::string> addresses;
    const vokInterfaceList interfaces;
    for (const ifaddrs* each = interfaces.first(); each; each = each->ifa_next) {
        if (!each->ifa_addr || !each->ifa_name || std::strcmp(each->ifa_name, "lo") == 0) continue;
        char text[INET6_ADDRSTRLEN] = {};
        const void* address = nullptr;
        if (each->ifa_addr->sa_family == AF_INET)
            address = &reinterpret_cast<const sockaddr_in*>(each->ifa_addr)->sin_addr;
        else if (each->ifa_addr->sa_family == AF_INET6)
            address = &reinterpret_cast<const sockaddr_in6*>(each->ifa_addr)->sin6_addr;
        if (!address || !::inet_ntop(each->ifa_addr->sa_family, address, text, sizeof(text))) continue;
        VOK_LOG_DEBUG("HOST_RM", "%s IP Address %s\n", each->ifa_name, text);
        addresses.emplace_back(text);
    }
    return addresses;
}
