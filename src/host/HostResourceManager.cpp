#include "host/HostResourceManager.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include "core/vokConfig.h"
#include "core/vokLog.h"
#include "core/vokVersion.h"
#include "events/vokEvent.h"
#include "events/vokEventHandler.h"
#include "host/esxtopMemory.h"
#include "platform/vokHostAccess.h"
#include "platform/vokUtils.h"

namespace {

constexpr char tag[] = "HOST_RM";
constexpr long refreshSeconds = 60;  // fixed: the configuration is not asked
constexpr char remoteSupport[] = "RemoteSupport";
constexpr char noAddress[] = "127.0.0.1";
constexpr long mebibytesPerGibibyte = 1024;

constexpr vokManagerTraits traits = {
    tag,
    "HostOSInfo",
    "Starting Host resource manager cache build.",
    "Exiting CacheBuild",
    "hostRM Requesting cache push",
    "Cache build is in progress. Returning previous copy of inventory.",
    "cache was recently refreshed. skipping the current refresh cycle",
    "Host cache ready",
    "HostInventory",
    "",
    3,
    false,
};

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

// esxtop's output is appended to the file, so it must not outlive its use.
class RemovedAtEnd {
public:
    explicit RemovedAtEnd(std::string place) : place_(std::move(place)) {}
    ~RemovedAtEnd() { std::remove(place_.c_str()); }
    RemovedAtEnd(const RemovedAtEnd&) = delete;
    RemovedAtEnd& operator=(const RemovedAtEnd&) = delete;
    const std::string& place() const { return place_; }

private:
    std::string place_;
};

}  // namespace

std::atomic<bool> HostResourceManager::stopHost{false};
bool HostResourceManager::getTotalPhysicalMemoryFailureLogged = false;

HostResourceManager::HostResourceManager() : vokCachedResourceManager(traits, stopHost) {}

HostResourceManager* HostResourceManager::getInstance() {
    static HostResourceManager* const instance = new HostResourceManager;
    return instance;
}

void HostResourceManager::init() {
    VOK_LOG_DEBUG(tag, "Entry init()");
    if (!getHostInventory().empty()) {
        VOK_LOG_DEBUG(tag, "VOK thread for host already active. Cannot spawn another one.");
        return;
    }
    genOSBootLogic();
    startInventory();
}

long HostResourceManager::refreshInterval() {
    return refreshSeconds;
}

void HostResourceManager::onTimeOut(time_t now, long) {
    const long long elapsed = static_cast<long long>(now) - lastRefreshTime;
    if (elapsed + refreshSeconds > refreshSeconds - 1) refreshCache = true;
}

void HostResourceManager::destroyRecords() {
    HostInventory.clear();
}

vokCachedResourceManager::gathered HostResourceManager::gather() {
    populateHostInfo();
    populateCollectionInfo();
    return gathered::complete;
}

std::size_t HostResourceManager::recordCount() {
    return HostInventory.size();
}

std::vector<vokHostOSInfo> HostResourceManager::getHostInventory() {
    const std::lock_guard<std::mutex> lock(mlock);
    return HostInventory;
}

void HostResourceManager::populateHostInfo() {
    VOK_LOG_DEBUG(tag, " Populating host information.");
    vokHostOSInfo record;
    record.setHostName(vokUtils::readHostName());
    record.setOSName(vokUtils::readHostOSName());
    record.setOSVersion(vokUtils::readHostOSVersion());
    record.setOSDescription(vokUtils::readHostOSDescription());
    record.setVokSwVersion(VOK_VERSION);
    record.setOSType(vokUtils::getOSType());
    record.setIPv4Addresses(vokUtils::updateAndFetchIPAddresses());
    const std::vector<double> memory = getTotalPhysicalMemory();
    if (memory.size() >= 2)
        record.setOSMemorySummary(memory[0], memory[1]);
    else
        record.setOSMemorySummary(0.0, 0.0);
    HostInventory.push_back(record);
}

void HostResourceManager::populateCollectionInfo() {
    collectionInfo.setCollectionType(remoteSupport);
    collectionInfo.setCollectionFrequencyMin(vokConfig::getInstance()->getInventoryPushIntervalSettings());
    collectionInfo.setLastCollection(vokUtils::getDateTime());
}

std::vector<double> HostResourceManager::getTotalPhysicalMemory() {
    const RemovedAtEnd sample(vokHostAccess().path(hostMemFile));
    const int status = vokHostAccess().runCommand("esxtop -c " + vokHostAccess().commandPath(esxtopconf) +
                                                  " -b -n 1 >> " + vokHostAccess().commandPath(hostMemFile));
    if (status != 0) {
        const int error = errno;
        if (!getTotalPhysicalMemoryFailureLogged) {
            VOK_LOG_ERROR(tag, "Error occurred in fetching physical memory information : %s",
                          vokUtils::getErrorDescription(error).c_str());
            getTotalPhysicalMemoryFailureLogged = true;
        }
        return {};
    }
    const std::unique_ptr<FILE, FileCloser> file(std::fopen(sample.place().c_str(), "re"));
    if (!file) {
        VOK_LOG_ERROR(tag, "Unable to fetch physical memory information.");
        return {};
    }
    const esxtopMemory memory = readEsxtopMemory(file.get());
    return {static_cast<double>(memory.totalMBytes / mebibytesPerGibibyte),
            static_cast<double>(memory.freeMBytes / mebibytesPerGibibyte)};
}

void HostResourceManager::createJsonStringUsingJsonCpp() {
    if (HostInventory.empty()) return;
    currentInventory.clear();
    const vokHostOSInfo& record = HostInventory.front();

    Json::Value host(Json::objectValue);
    host["HostName"] = record.getHostName();
    host["OSName"] = record.getOSName();
    host["OSVersion"] = record.getOSVersion();
    host["OSDescription"] = record.getOSDescription();
    host["OSType"] = record.getOSType();
    host["OSSoftwareSummary"]["VokSwVersion"] = record.getVokSwVersion();
    Json::Value& memory = host["OSMemorySummary"];
    memory["TotalSystemMemoryGiB"] = record.getOSMemorySummary().getTotalSystemMemGiB();
    memory["TotalFreeSystemMemoryGiB"] = record.getOSMemorySummary().getTotalFreeSystemMemGiB();
    Json::Value& addresses = host["IPv4Addresses"] = Json::Value(Json::arrayValue);
    for (const std::string& address : record.getIPv4Addresses().getAddresses()) {
        Json::Value entry;
        entry["Address"] = address;
        addresses.append(entry);
    }
    if (addresses.empty()) {
        Json::Value entry;
        entry["Address"] = noAddress;
        addresses.append(entry);
    }

    Json::Value element(Json::objectValue);
    element["HostOSInfo"] = host;
    if (collectionInfo.getCollectionType() == remoteSupport) {
        Json::Value& collection = element["CollectionInfo"];
        collection["CollectionType"] = collectionInfo.getCollectionType();
        collection["CollectionFrequencyMin"] = collectionInfo.getCollectionFrequencyMin();
        collection["LastCollection"] = collectionInfo.getLastCollection();
    }
    currentInventory.push_back(element);
}

void HostResourceManager::generateTestEvent(int id) {
    vokEventHandler().generateEvent(vokEvent(id, "NotApplicable", "Host", false, vokUtils::getTime(),
                                             "Not-Available", Json::Value(), "VOK-CLI"));
}
