// The interface addresses of the host as getifaddrs(3) lists them, freed through the seam.
#pragma once

#include "platform/access/vokHostAccess.h"

class vokInterfaceList {
public:
    vokInterfaceList() : listed_(vokHostAccess().interfaceAddresses(&first_) == 0) {
        if (!listed_) first_ = nullptr;
    }
    ~vokInterfaceList() {
        if (first_) vokHostAccess().freeInterfaceAddresses(first_);
    }
    vokInterfaceList(const vokInterfaceList&) = delete;
    vokInterfaceList& operator=(const vokInterfaceList&) = delete;

    // False if the addresses can't be listed; errno then says why.
    explicit operator bool() const { return listed_; }
    const ifaddrs* first() const { return first_; }  // null also for an empty list

private:
    ifaddrs* first_ = nullptr;
    bool listed_;
};
