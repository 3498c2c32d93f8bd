#include "live/NetworkReader.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <algorithm>
#include <cstring>
#include <tuple>

#include "common/FileDescriptor.h"
#include "common/Hexadecimal.h"

namespace simhost {

namespace {

constexpr char networkClass[] = "/sys/class/net/";
constexpr std::int64_t greatestSpeed = 10000000;  // beyond it stands "not known" in several forms
constexpr std::int64_t greatestMtu = 1 << 30;

std::string attribute(const std::string& interface, const char* name) {
    return networkClass + interface + "/" + name;
}

template <std::size_t Room>
std::string fieldText(const char (&field)[Room]) {
    return std::string(field, ::strnlen(field, Room));
}

}  // namespace

std::optional<DriverFacts> askKernelForDriver(const std::string& interface) {
    const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ethtool_drvinfo facts{};
    facts.cmd = ETHTOOL_GDRVINFO;
    ifreq request{};
    if (!socket || interface.size() >= sizeof(request.ifr_name)) return std::nullopt;
    std::memcpy(request.ifr_name, interface.data(), interface.size());
    request.ifr_data = reinterpret_cast<char*>(&facts);
    if (::ioctl(socket.get(), SIOCETHTOOL, &request) != 0) return std::nullopt;
    return DriverFacts{fieldText(facts.driver), fieldText(facts.fw_version)};
}

std::vector<std::string> NetworkReader::ethernetInterfaces() const {
    std::vector<std::tuple<std::int64_t, std::string>> ordered;
    for (const auto& name : files_.names(networkClass))
        if (files_.number(attribute(name, "type")) == ARPHRD_ETHER)
            ordered.emplace_back(files_.number(attribute(name, "ifindex")).value_or(0), name);
    std::sort(ordered.begin(), ordered.end());
    std::vector<std::string> names(ordered.size());
    std::transform(ordered.begin(), ordered.end(), names.begin(),
                   [](const auto& each) { return std::get<1>(each); });
    return names;
}

std::vector<NetworkAdapter> NetworkReader::adapters() const {
    const std::vector<std::string> all = ethernetInterfaces();
    std::vector<std::string> shown;
    std::copy_if(all.begin(), all.end(), std::back_inserter(shown),
                 [this](const auto& name) { return files_.exists(attribute(name, "device")); });
    if (shown.empty()) shown = all;
    std::vector<NetworkAdapter> adapters(shown.size());
    std::transform(shown.begin(), shown.end(), adapters.begin(),
                   [this](const auto& name) { return read(name); });
    return adapters;
}

std::vector<NetworkAdapter> NetworkReader::adapter(const std::string& name) const {
    for (const auto& each : files_.names(networkClass))
        if (asWord(each) == name && files_.number(attribute(each, "type")) == ARPHRD_ETHER)
            return {read(each)};
    return {};
}

std::string NetworkReader::pciAddress(const std::string& interface) const {
    std::string place = files_.resolved(attribute(interface, "device"));
    while (!place.empty()) {
        const std::size_t slash = place.rfind('/');
        if (slash == std::string::npos) break;
        std::string name = place.substr(slash + 1);
        if (parsePciAddress(name)) return name;
        if (name.compare(0, 3, "usb") == 0) break;
        place.resize(slash);
    }
    return "";
}

NetworkAdapter NetworkReader::read(const std::string& interface) const {
    const std::string address = pciAddress(interface);
    const auto facts = askDriver_(interface);
    std::string driver = files_.resolvedName(attribute(interface, "device/driver"));
    if (driver.empty() && facts) driver = facts->name;
    const bool adminUp = (files_.number(attribute(interface, "flags")).value_or(0) & IFF_UP) != 0;
    const std::int64_t speed = files_.number(attribute(interface, "speed")).value_or(0);
    const std::string duplex = files_.line(attribute(interface, "duplex"));
    const std::int64_t mtu = files_.number(attribute(interface, "mtu")).value_or(0);

    NetworkAdapter made;
    made.name = asWord(interface);
    made.pciDevice = address.empty() ? "Pseudo" : address;
    made.driver = asWord(driver, "None");
    made.adminStatus = adminUp ? "Up" : "Down";
    made.linkStatus = linkStatus(interface, adminUp);
    made.speedMbps = speed > 0 && speed <= greatestSpeed ? static_cast<std::uint64_t>(speed) : 0;
    made.duplex = duplex == "full" ? "Full" : duplex == "half" ? "Half" : "Unknown";
    made.hardwareAddress = asWord(files_.line(attribute(interface, "address")), "00:00:00:00:00:00");
    made.mtu = mtu > 0 && mtu <= greatestMtu ? static_cast<std::uint64_t>(mtu) : 0;
    made.description = description(interface, address);
    if (facts && facts->firmware != "N/A") made.firmwareVersion = asLine(facts->firmware);
    return made;
}

// A driver that does not keep the operational state may still tell whether there is a carrier.
std::string NetworkReader::linkStatus(const std::string& interface, bool adminUp) const {
    const std::string state = files_.line(attribute(interface, "operstate"));
    if (state == "up") return "Up";
    if (!state.empty() && state != "unknown") return "Down";
    if (const auto carrier = files_.number(attribute(interface, "carrier")))
        return *carrier != 0 ? "Up" : "Down";
    return adminUp ? "Unknown" : "Down";
}

std::string NetworkReader::description(const std::string& interface, const std::string& address) const {
    const std::string device = attribute(interface, "device");
    if (!address.empty()) {
        const std::string function = "/sys/bus/pci/devices/" + address;
        const auto vendor = files_.number(function + "/vendor");
        const auto number = files_.number(function + "/device");
        if (vendor && number)
            return names_.vendor(static_cast<std::uint32_t>(*vendor & 0xffff)) + " " +
                   names_.device(static_cast<std::uint32_t>(*vendor & 0xffff),
                                 static_cast<std::uint32_t>(*number & 0xffff));
    }
    if (!files_.exists(device)) return "Virtual adapter";
    // What stands at a USB port: the device is one of its interfaces.
    const std::string place = files_.resolved(device);
    const std::string usb = place.substr(0, std::max<std::size_t>(place.rfind('/'), 1));
    const std::string maker = files_.line(usb + "/manufacturer");
    const std::string product = files_.line(usb + "/product");
    return (maker.empty() ? "Unknown" : maker) + " " + (product.empty() ? "Unknown" : product);
}

}  // namespace simhost
