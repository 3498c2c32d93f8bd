// A machine with slots in three chassis, for the tests of the loading rules: a card is added by its board and
// its slot, as the inventory of the vendor's library would list it.
#pragma once

#include <gtest/gtest.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "megaraid/storelib/vokStoreLibInventory.h"
#include "megaraid/vokIOLoadingHelper.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokUtils.h"
#include "support/FakeHost.h"
#include "support/FakeLibraries.h"
#include "support/LoggedLines.h"
#include "support/SmBiosTable.h"

// The steps of an update, and the table.
class TestIOLoadingHelper : public vokIOLoadingHelper {
public:
    using vokIOLoadingHelper::ioLoadingHelperMutex;
    using vokIOLoadingHelper::ioLoadingTable;

    static void add(const CTRL_INFO& info, vokPhysLocInterface& places) {
        const std::lock_guard<std::mutex> locker(ioLoadingHelperMutex);
        addController(info, places);
    }
    static void applyRules() {
        const std::lock_guard<std::mutex> locker(ioLoadingHelperMutex);
        applyMegaRAID9560LoadingRules();
    }
};

class IOLoadingFixture : public testing::Test {
protected:
    static constexpr char firstFamily[] = "7711PID02020001";
    static constexpr char secondFamily[] = "7711PID03020102";
    static constexpr std::uint32_t chipset = 0x10E21000;
    static constexpr std::uint32_t narrow = 0x40101000;
    static constexpr std::uint32_t wide = 0x40001000;
    // The only chassis of most tests, and the locations of its slots.
    static constexpr char chassis[] = "r001u05";
    static constexpr char slot03[] = "0000:3b:00.0";
    static constexpr char slot05[] = "0000:5e:00.0";
    static constexpr char slot08[] = "0000:86:00.0";
    // Slots of other chassis.
    static constexpr char otherUnit03[] = "0001:3b:00.0";
    static constexpr char otherUnit08[] = "0001:86:00.0";
    static constexpr char otherRack03[] = "0002:3b:00.0";
    static constexpr char withoutGeoId[] = "0000:af:00.0";

    // Reads the settings and the firmware table, as the agent does at its start, and offers the libraries of
    // locations.
    void start(const std::string& settings = "", const std::string& manufacturer = "MEV",
               const std::string& family = firstFamily) {
        logEverything(host, settings);
        const bool isFirst = family == firstFamily;
        host.root.writeFile(SmBiosTable::deviceFile,
                            SmBiosTable()
                                .addSystem(manufacturer, family)
                                .addSlot(isFirst ? "Slot r001u05p2i03" : "Slot r001i05s03", slot03)
                                .addSlot("Slot r001u05p2i05", slot05)
                                .addSlot("Slot r001u05p1i08", slot08)
                                .addSlot("Slot r001u07p2i03", otherUnit03)
                                .addSlot("Slot r001u07p2i08", otherUnit08)
                                .addSlot("Slot r002u05p2i03", otherRack03)
                                .addSlot("Slot without a GeoID", withoutGeoId)
                                .addEnd()
                                .contents());
        vokUtils::initializeSMBIOS();
        vokUtils::initGeoIDMap();
        for (const char* name : {"libvkloc0202.so", "libvkloc0302.so"})
            host.part<FakeLibraries>().symbols[name] = {
                {"physloc_init_data", reinterpret_cast<void*>(initLocation)},
                {"physloc_encode", reinterpret_cast<void*>(encodeLocation)}};
    }

    static CTRL_INFO card(std::uint32_t board, const std::string& location) {
        CTRL_INFO info;
        info.chipsetId = chipset;
        info.subsystemId = board;
        info.pciLocation = location;
        return info;
    }
    static void add(std::uint32_t board, const std::string& location) {
        TestIOLoadingHelper::add(card(board, location), *vokPhysLocFactory::getPhysLocInterface());
    }
    // The rule that a chassis follows, by the log; empty without one.
    std::string appliedRule(const std::string& where = chassis) const {
        for (const auto& rule : TQ_MEGARAID_9560_IO_LOADING_RULEBOOK)
            if (hasLogged(host, std::string("INFO IO_LOADING: Successfully applied I/O loading rule [") +
                                    rule.ruleName + "] for chassis [" + where + "]."))
                return rule.ruleName;
        return "";
    }
    static bool isCompliant(const std::string& location) {
        return vokIOLoadingHelper::isDeviceAndChassisIOLoadingRulesCompliant(location);
    }
    // "box/offset", or "none" if they are not known.
    static std::string boxAndOffset(const std::string& location) {
        int box = 99;
        int offset = 99;
        if (vokIOLoadingHelper::getTQStorageEnclosureBoxNumberAndDriveBayOffset(location, box, offset))
            return std::to_string(box) + "/" + std::to_string(offset);
        EXPECT_EQ(box, -1) << location;
        EXPECT_EQ(offset, 0) << location;
        return "none";
    }
    long countDebug(const std::string& text) const { return countLogged(host, "DEBUG IO_LOADING: " + text); }
    bool hasWarned(const std::string& text) const { return hasLogged(host, "WARNING IO_LOADING: " + text); }
    // The lines of the loading rules without the first `skipped`.
    std::vector<std::string> lines(std::size_t skipped = 0) const {
        std::vector<std::string> ours;
        for (const std::string& line : loggedLines(host))
            if (line.find(" IO_LOADING: ") != std::string::npos) ours.push_back(line);
        ours.erase(ours.begin(), ours.begin() + static_cast<std::ptrdiff_t>(std::min(skipped, ours.size())));
        return ours;
    }
    static std::size_t cardCount() {
        std::size_t count = 0;
        for (const auto& [where, cards] : TestIOLoadingHelper::ioLoadingTable) count += cards.entries.size();
        return count;
    }

    FakeHost host;

private:
    static int initLocation(void* record, int) {
        std::memset(record, 0, 16);
        return 0;
    }
    static std::int32_t encodeLocation(void*, std::uint64_t*) { return 1; }
};
