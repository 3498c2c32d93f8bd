#include "recording/FormsSystem.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace recording {

namespace {

constexpr std::size_t mostElements = 65536;

Fields failed(int error) {
    return {{"error", std::to_string(error)}};
}

// What a call that is played back returns: 0, or -1 with the recorded errno.
int resultOf(const Fields& answer) {
    const int error = intOf(answer, "error");
    if (error == 0) return 0;
    errno = error;
    return -1;
}

template <std::size_t Room>
void storeText(const Fields& fields, const char* name, char (&to)[Room]) {
    to[copyOf(fields, name, to, Room - 1)] = '\0';
}

// --- sysinfo ---

struct MemoryField {
    const char* name;
    decltype(sysinfo::totalram) sysinfo::*member;
};
constexpr MemoryField memoryFields[] = {
    {"total-ram", &sysinfo::totalram},   {"free-ram", &sysinfo::freeram},
    {"shared-ram", &sysinfo::sharedram}, {"buffer-ram", &sysinfo::bufferram},
    {"total-swap", &sysinfo::totalswap}, {"free-swap", &sysinfo::freeswap},
    {"total-high", &sysinfo::totalhigh}, {"free-high", &sysinfo::freehigh},
};
constexpr const char* loadFields[] = {"load1", "load5", "load15"};

template <typename Number>
Number nearest(std::uint64_t value) {
    return static_cast<Number>(std::min<std::uint64_t>(value, std::numeric_limits<Number>::max()));
}

// By how many bits the sizes have to be shifted to fit into this ABI's fields.
unsigned shiftOf(const Fields& answer) {
    std::uint64_t greatest = 0;
    for (const MemoryField& field : memoryFields)
        greatest = std::max(greatest, unsignedOf(answer, field.name));
    unsigned shift = 0;
    while (greatest >> shift > std::numeric_limits<decltype(sysinfo::totalram)>::max()) ++shift;
    return shift;
}

// --- addresses ---

std::string inetText(int family, const void* address) {
    char text[INET6_ADDRSTRLEN] = {};
    return ::inet_ntop(family, address, text, sizeof(text)) ? text : "";
}

std::string hardwareText(const unsigned char* bytes, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        char pair[4];
        std::snprintf(pair, sizeof(pair), "%s%02x", i == 0 ? "" : ":", bytes[i]);
        text += pair;
    }
    return text;
}

std::size_t hardwareBytes(const std::string& text, unsigned char* bytes, std::size_t room) {
    std::size_t count = 0;
    for (std::size_t at = 0; count < room && at + 1 < text.size(); at += 3) {
        unsigned value = 0;
        if (std::sscanf(text.c_str() + at, "%2x", &value) != 1) break;
        bytes[count++] = static_cast<unsigned char>(value);
    }
    return count;
}

// The text of the address of an element of family AF_INET or AF_INET6; empty for another one.
std::string textOfAddress(const sockaddr* address) {
    if (address->sa_family == AF_INET)
        return inetText(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr);
    if (address->sa_family == AF_INET6)
        return inetText(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
    return "";
}

void addAddress(const std::string& prefix, const sockaddr* address, Fields& fields) {
    switch (address->sa_family) {
        case AF_INET:
            fields[prefix + "family"] = "inet";
            fields[prefix + "address"] = textOfAddress(address);
            break;
        case AF_INET6:
            fields[prefix + "family"] = "inet6";
            fields[prefix + "address"] = textOfAddress(address);
            fields[prefix + "scope"] =
                std::to_string(reinterpret_cast<const sockaddr_in6*>(address)->sin6_scope_id);
            break;
        case AF_PACKET: {
            const auto* const link = reinterpret_cast<const sockaddr_ll*>(address);
            fields[prefix + "family"] = "packet";
            fields[prefix + "address"] =
                hardwareText(link->sll_addr, std::min<std::size_t>(link->sll_halen, sizeof(link->sll_addr)));
            fields[prefix + "index"] = std::to_string(link->sll_ifindex);
            fields[prefix + "type"] = std::to_string(link->sll_hatype);
            break;
        }
        default:
            fields[prefix + "family"] = std::to_string(address->sa_family);
    }
}

// One element of a list, with all that its pointers point to.
struct Element {
    ifaddrs entry{};  // first: the list's pointers are the elements' own
    std::string name;
    sockaddr_storage address{};
    sockaddr_storage mask{};
};

// False if the text is no address of the family.
bool storeAddress(int family, const std::string& text, sockaddr_storage& to) {
    to.ss_family = static_cast<sa_family_t>(family);
    void* const place = family == AF_INET
                            ? static_cast<void*>(&reinterpret_cast<sockaddr_in&>(to).sin_addr)
                            : static_cast<void*>(&reinterpret_cast<sockaddr_in6&>(to).sin6_addr);
    return ::inet_pton(family, text.c_str(), place) == 1;
}

void storeLink(const Fields& answer, const std::string& prefix, sockaddr_storage& to) {
    auto& link = reinterpret_cast<sockaddr_ll&>(to);
    link.sll_family = AF_PACKET;
    link.sll_ifindex = intOf(answer, prefix + "index");
    link.sll_hatype = nearest<unsigned short>(unsignedOf(answer, prefix + "type"));
    link.sll_halen = static_cast<unsigned char>(
        hardwareBytes(textOf(answer, prefix + "address"), link.sll_addr, sizeof(link.sll_addr)));
}

std::unique_ptr<Element> elementOf(const Fields& answer, const std::string& prefix) {
    auto element = std::make_unique<Element>();
    element->name = textOf(answer, prefix + "name");
    element->entry.ifa_name = element->name.data();
    element->entry.ifa_flags = nearest<unsigned>(unsignedOf(answer, prefix + "flags"));
    const std::string& family = textOf(answer, prefix + "family");
    if (family.empty()) return element;
    element->entry.ifa_addr = reinterpret_cast<sockaddr*>(&element->address);
    if (family == "packet") {
        storeLink(answer, prefix, element->address);
    } else if (family == "inet" || family == "inet6") {
        const int number = family == "inet" ? AF_INET : AF_INET6;
        storeAddress(number, textOf(answer, prefix + "address"), element->address);
        if (number == AF_INET6)
            reinterpret_cast<sockaddr_in6&>(element->address).sin6_scope_id =
                nearest<std::uint32_t>(unsignedOf(answer, prefix + "scope"));
        if (storeAddress(number, textOf(answer, prefix + "mask"), element->mask))
            element->entry.ifa_netmask = reinterpret_cast<sockaddr*>(&element->mask);
    } else {
        element->address.ss_family = nearest<sa_family_t>(unsignedOf(answer, prefix + "family"));
    }
    return element;
}

}  // namespace

// --- uname ---

Fields systemNameAnswer(const struct utsname& name, int error) {
    if (error != 0) return failed(error);
    return {{"error", "0"},
            {"system", name.sysname},
            {"node", name.nodename},
            {"release", name.release},
            {"version", name.version},
            {"machine", name.machine}};
}

int playSystemName(const Fields& answer, struct utsname& name) {
    if (resultOf(answer) != 0) return -1;
    name = {};
    storeText(answer, "system", name.sysname);
    storeText(answer, "node", name.nodename);
    storeText(answer, "release", name.release);
    storeText(answer, "version", name.version);
    storeText(answer, "machine", name.machine);
    return 0;
}

// --- sysinfo ---

Fields systemInformationAnswer(const struct sysinfo& information, int error) {
    if (error != 0) return failed(error);
    Fields fields{{"error", "0"},
                  {"uptime", std::to_string(information.uptime)},
                  {"processes", std::to_string(information.procs)},
                  {"unit", std::to_string(information.mem_unit)}};
    for (std::size_t i = 0; i < std::size(loadFields); ++i)
        fields[loadFields[i]] = std::to_string(information.loads[i]);
    for (const MemoryField& field : memoryFields)
        fields[field.name] = std::to_string(information.*field.member);
    return fields;
}

int playSystemInformation(const Fields& answer, struct sysinfo& information) {
    if (resultOf(answer) != 0) return -1;
    information = {};
    const unsigned shift = shiftOf(answer);
    information.uptime = nearest<decltype(information.uptime)>(unsignedOf(answer, "uptime"));
    information.procs = nearest<decltype(information.procs)>(unsignedOf(answer, "processes"));
    const std::uint64_t unit = nearest<std::uint32_t>(unsignedOf(answer, "unit"));
    information.mem_unit = nearest<decltype(information.mem_unit)>(unit << shift);
    for (std::size_t i = 0; i < std::size(loadFields); ++i)
        information.loads[i] = nearest<std::remove_reference_t<decltype(information.loads[0])>>(
            unsignedOf(answer, loadFields[i]));
    for (const MemoryField& field : memoryFields)
        information.*field.member =
            static_cast<decltype(sysinfo::totalram)>(unsignedOf(answer, field.name) >> shift);
    return 0;
}

// --- getifaddrs ---

Fields interfaceAddressesAnswer(const struct ifaddrs* addresses, int error) {
    if (error != 0) return failed(error);
    Fields fields{{"error", "0"}};
    std::size_t count = 0;
    for (; addresses && count < mostElements; addresses = addresses->ifa_next, ++count) {
        const std::string prefix = std::to_string(count) + ".";
        fields[prefix + "name"] = addresses->ifa_name ? addresses->ifa_name : "";
        fields[prefix + "flags"] = std::to_string(addresses->ifa_flags);
        if (addresses->ifa_addr) addAddress(prefix, addresses->ifa_addr, fields);
        if (addresses->ifa_netmask) {
            const std::string mask = textOfAddress(addresses->ifa_netmask);
            if (!mask.empty()) fields[prefix + "mask"] = mask;
        }
    }
    fields["count"] = std::to_string(count);
    return fields;
}

int playInterfaceAddresses(const Fields& answer, struct ifaddrs*& addresses) {
    addresses = nullptr;
    if (resultOf(answer) != 0) return -1;
    const std::size_t count =
        std::min<std::size_t>(nearest<std::uint32_t>(unsignedOf(answer, "count")), mostElements);
    ifaddrs** last = &addresses;
    for (std::size_t i = 0; i < count; ++i) {
        *last = &elementOf(answer, std::to_string(i) + ".").release()->entry;
        last = &(*last)->ifa_next;
    }
    return 0;
}

void freePlayedAddresses(struct ifaddrs* addresses) {
    while (addresses) {
        ifaddrs* const next = addresses->ifa_next;
        delete reinterpret_cast<Element*>(addresses);
        addresses = next;
    }
}

}  // namespace recording
