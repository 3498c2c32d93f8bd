// A machine for tests of physical locations: firmware tables of a platform, and a location library that
// records its calls.
#pragma once

#include <gtest/gtest.h>
#include <array>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"
#include "support/FakeHost.h"
#include "support/FakeLibraries.h"
#include "support/LoggedLines.h"
#include "support/SmBiosTable.h"

inline constexpr char firstFamily[] = "7711PID02020001";
inline constexpr char secondFamily[] = "7711PID03020102";
inline constexpr char otherSecondFamily[] = "7711PID03020101";
inline constexpr char firstLibrary[] = "libvkloc0202.so";
inline constexpr char secondLibrary[] = "libvkloc0302.so";
inline constexpr char unknownLocation[] = "FFFFFFFFFFFFFFFF";

// The library's implementation of the entry points, on plain bytes.
struct LibraryCalls {
    std::mutex guard;
    std::vector<int> versions;
    std::vector<std::array<std::uint8_t, 16>> records;
    std::int32_t result = 0;
    std::uint64_t code = 0x12AB;

    static LibraryCalls& get() {
        static LibraryCalls calls;
        return calls;
    }
    static int initData(void* record, int version) {
        const std::lock_guard<std::mutex> lock(get().guard);
        get().versions.push_back(version);
        std::memset(record, 0, 16);
        return -1;  // ignored by the caller
    }
    static std::int32_t encode(void* record, std::uint64_t* code) {
        const std::lock_guard<std::mutex> lock(get().guard);
        get().records.emplace_back();
        std::memcpy(get().records.back().data(), record, 16);
        *code = get().code;
        return get().result;
    }
};

class PhysLocTest : public testing::Test {
protected:
    using Record = std::array<std::uint8_t, 16>;

    PhysLocTest() { logEverything(host); }

    // GeoIDs of functions in slots, of two on the board, and one function without a GeoID.
    void startFirstPlatform() {
        start(SmBiosTable()
                  .addSystem("Maker of Racks", firstFamily)
                  .addSlot("Slot r001u05p2i03", "0000:3b:00.0")
                  .addSlot("Slot r001u05p1i07", "0000:5e:00.0")
                  .addSlot("Slot r001u06p2i03", "0001:3b:00.0")
                  .addSlot("Slot r002u05p2i03", "0002:3b:00.0")
                  .addSlot("Slot without a GeoID", "0000:86:00.0")
                  .addOnboardDevice("LAN r001u05p2i00", "0000:18:00.0")
                  .addOnboardDevice("LAN r001u05p2i00", "0000:18:00.1")
                  .addEnd());
        provide(firstLibrary);
    }
    void startSecondPlatform(const std::string& family = secondFamily) {
        start(SmBiosTable()
                  .addSystem("Maker of Racks", family)
                  .addSlot("Slot r001i02s03", "0000:3b:00.0")
                  .addSlot("Slot r001i02s07", "0000:5e:00.0")
                  .addSlot("Slot r001i03s03", "0001:3b:00.0")
                  .addSlot("Slot r002i02s03", "0002:3b:00.0")
                  .addSlot("Slot without a GeoID", "0000:86:00.0")
                  .addOnboardDevice("LAN r001i02s00", "0000:18:00.0")
                  .addOnboardDevice("LAN r001i02s00", "0000:18:00.1")
                  .addEnd());
        provide(secondLibrary);
    }
    // In the daemon's order.
    void start(const SmBiosTable& table) {
        host.root.writeFile(SmBiosTable::deviceFile, table.contents());
        platformCheck::setDirectoryPath();
        vokUtils::initializeSMBIOS();
        vokUtils::initGeoIDMap();
    }
    void provide(const char* name) {
        libraries.symbols[name] = {{"physloc_init_data", reinterpret_cast<void*>(LibraryCalls::initData)},
                                   {"physloc_encode", reinterpret_cast<void*>(LibraryCalls::encode)}};
    }
    bool logged(const std::string& line) { return hasLogged(host, line); }
    // The record of the library's only call.
    Record onlyRecord() {
        EXPECT_EQ(library.records.size(), 1u);
        return library.records.empty() ? Record{} : library.records[0];
    }

    FakeHost host;
    FakeLibraries& libraries = host.part<FakeLibraries>();
    LibraryCalls& library = LibraryCalls::get();
};
