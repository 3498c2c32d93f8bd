// The network addresses of a fake host, as getifaddrs() lists them.
#pragma once

#include <ifaddrs.h>
#include <string>
#include <utility>
#include <vector>

class FakeNetwork {
public:
    virtual ~FakeNetwork() = default;

    // --- what a test sets ---
    // Name and address of each interface, in the order of getifaddrs(). An address with a colon is IPv6, any
    // other IPv4; an empty one is an entry without an address.
    std::vector<std::pair<std::string, std::string>> interfaces{{"lo", "127.0.0.1"}, {"vmk0", "10.1.2.3"}};
    bool fails = false;  // with EMFILE

    // --- the operations of the seam ---
    virtual int addresses(ifaddrs** list);
    virtual void freeAddresses(ifaddrs* list);
};
