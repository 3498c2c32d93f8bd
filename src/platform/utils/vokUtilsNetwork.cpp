#include <arpa/inet.h>
#include <netinet/in.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokInterfaceList.h"
#include "platform/utils/vokUtils.h"

std::mutex vokUtils::mutex_lock;
std::string vokUtils::primaryIPv4Address;
std::string vokUtils::auxIPv4Address;

namespace {

constexpr char loopback[] = "127.0.0.1";

std::string firstOrLoopback(const std::vector<std::string>& addresses) {
    return addresses.empty() ? loopback : addresses.front();
}

}  // namespace

std::vector<std::string> vokUtils::getIPAddresses() {
    std::vector<std::string> addresses;
    {
        const vokInterfaceList interfaces;
        if (!interfaces) {
            const int reason = errno;
            VOK_LOG_WARNING("VOK_UTILS", "Error(%s) occurred while reading the network interfaces",
                            std::strerror(reason));
        }
        for (const ifaddrs* each = interfaces.first(); each; each = each->ifa_next) {
            if (!each->ifa_addr || each->ifa_addr->sa_family != AF_INET) continue;
            const auto* const address = reinterpret_cast<const sockaddr_in*>(each->ifa_addr);
            char text[16] = {};
            if (!::inet_ntop(AF_INET, &address->sin_addr, text, sizeof(text))) continue;
            const std::string name = each->ifa_name ? each->ifa_name : "";
            VOK_LOG_DEBUG("VOK_UTILS", "%s IP Address %s\n", name.c_str(), text);
            if (name != "lo" && std::string(text) != loopback) addresses.emplace_back(text);
        }
    }
    const std::lock_guard<std::mutex> lock(mutex_lock);
    // Sticky: kept as long as an interface has it.
    if (std::find(addresses.begin(), addresses.end(), auxIPv4Address) == addresses.end())
        auxIPv4Address = firstOrLoopback(addresses);
    return addresses;
}

std::string vokUtils::getPrimaryIPAddress() {
    std::unique_lock<std::mutex> lock(mutex_lock);
    if (!primaryIPv4Address.empty()) return primaryIPv4Address;
    if (auxIPv4Address.empty()) {
        lock.unlock();
        VOK_LOG_DEBUG("VOK_UTILS", "Get aux IPv4 address populated");
        getIPAddresses();
        lock.lock();
    }
    primaryIPv4Address = auxIPv4Address;
    std::string primary = primaryIPv4Address;
    const std::string auxiliary = auxIPv4Address;
    lock.unlock();
    VOK_LOG_DEBUG("VOK_UTILS", "primaryIPv4Address= %s auxIPv4Address=%s tempIP=%s", primary.c_str(),
                  auxiliary.c_str(), primary.c_str());
    return primary;
}

std::vector<std::string> vokUtils::updateAndFetchIPAddresses() {
    std::vector<std::string> addresses = getIPAddresses();
    setPrimaryIPAddress(addresses);
    return addresses;
}

int vokUtils::setPrimaryIPAddress(std::vector<std::string> addresses) {
    const std::lock_guard<std::mutex> lock(mutex_lock);
    primaryIPv4Address = firstOrLoopback(addresses);
    return 1;
}

bool vokUtils::is_ipv4_address(std::string text) {
    in_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1 && text != "0.0.0.0";
}
