// A host with the fake RAID library, and the interface to it, whose every log line is kept.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "megaraid/storelib/vokStoreLibInterface.h"
#include "support/FakeHost.h"
#include "support/FakeLibraries.h"
#include "support/FakeStoreLib.h"
#include "support/LoggedLines.h"

class StoreLibFixture : public testing::Test {
protected:
    StoreLibFixture() { logEverything(host); }

    FakeRaidController& addController(std::uint32_t id) {
        library.controllers.emplace_back();
        library.controllers.back().id = id;
        return library.controllers.back();
    }
    // Of the controller added last.
    FakeRaidDisk& addDisk(std::uint16_t deviceId, const std::string& serial) {
        auto& disks = library.controllers.back().disks;
        disks.emplace_back();
        disks.back().deviceId = deviceId;
        disks.back().slot = static_cast<std::uint8_t>(deviceId);
        disks.back().serial = serial;
        return disks.back();
    }
    FakeRaidVolume& addVolume(std::uint8_t target, std::vector<std::uint16_t> disks) {
        auto& volumes = library.controllers.back().volumes;
        volumes.emplace_back();
        volumes.back().target = target;
        volumes.back().disks = std::move(disks);
        return volumes.back();
    }
    // Loads the library, whose controllers have been added, and builds all caches.
    void start() {
        ASSERT_TRUE(store->vokStoreInit());
        store->cacheBuild("All");
    }
    // A line of the log, from its level on.
    long count(const std::string& level, const std::string& text) const {
        return countLogged(host, level + " LSI_INTERF: " + text);
    }
    long debug(const std::string& text) const { return count("DEBUG", text); }

    FakeHost host;
    FakeStoreLib library{host};
    vokStoreLibInterface* const store = vokStoreLibInterface::getInstance();
};

// Text of exactly this many bytes, filled up with NULs.
inline std::string storeLibBytes(std::string text, std::size_t size) {
    text.resize(size, '\0');
    return text;
}
