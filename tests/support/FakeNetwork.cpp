#include "support/FakeNetwork.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

// Null for an empty text.
sockaddr* newSocketAddress(const std::string& text) {
    if (text.empty()) return nullptr;
    auto* storage = new sockaddr_storage{};
    if (text.find(':') == std::string::npos) {
        auto* address = reinterpret_cast<sockaddr_in*>(storage);
        address->sin_family = AF_INET;
        ::inet_pton(AF_INET, text.c_str(), &address->sin_addr);
    } else {
        auto* address = reinterpret_cast<sockaddr_in6*>(storage);
        address->sin6_family = AF_INET6;
        ::inet_pton(AF_INET6, text.c_str(), &address->sin6_addr);
    }
    return reinterpret_cast<sockaddr*>(storage);
}

}  // namespace

int FakeNetwork::addresses(ifaddrs** list) {
    if (fails) {
        errno = EMFILE;
        return -1;
    }
    *list = nullptr;
    for (auto each = interfaces.rbegin(); each != interfaces.rend(); ++each) {
        auto* entry = new ifaddrs{};
        entry->ifa_name = ::strdup(each->first.c_str());
        entry->ifa_addr = newSocketAddress(each->second);
        entry->ifa_next = *list;
        *list = entry;
    }
    return 0;
}

void FakeNetwork::freeAddresses(ifaddrs* list) {
    while (list) {
        ifaddrs* const next = list->ifa_next;
        std::free(list->ifa_name);
        delete reinterpret_cast<sockaddr_storage*>(list->ifa_addr);
        delete list;
        list = next;
    }
}
