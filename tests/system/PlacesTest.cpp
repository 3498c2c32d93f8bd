// Where the controller is told that things are, on a host of each platform family.
#include <sstream>

#include "system/SimulatedSystem.h"

namespace {

struct Place {
    const char* description;
    const char* location;
};

class Places : public SimulatedSystem {
protected:
    // The Ethernet adapters of the one inventory, in its order.
    std::vector<Json::Value> adapters() {
        const Ran ran = runAgent({"--print-inventory"});
        EXPECT_EQ(ran.status, 0) << ran.output;
        Json::Value document;
        std::istringstream stream(ran.output);
        stream >> document;
        const Json::Value& found = document["HostDataCollection"]["EthernetDevices"];
        return {found.begin(), found.end()};
    }

    void expectPlaces(const std::vector<Place>& expected) {
        const std::vector<Json::Value> found = adapters();
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(found[i]["Oem"]["Description"], expected[i].description);
            EXPECT_EQ(found[i]["Oem"]["PhysicalLocation"], expected[i].location);
        }
    }
};

// On-board adapters of one place differ by the PCI function, ports of one card do not.
TEST_F(Places, OnTheFirstPlatformAreRackUnitPartitionAndInstance) {
    startHost({}, "rack-node");
    expectPlaces({{"PCI 0000:18:00.0 r001u05p2i00", "259A001B05C20000"},
                  {"PCI 0000:18:00.1 r001u05p2i00", "259A001B05C20001"},
                  {"PCI 0000:86:00.0 r001u05p2i06", "203A001B05C20600"},
                  {"PCI 0000:86:00.1 r001u05p2i06", "203A001B05C20600"}});
}

TEST_F(Places, AreKnownAlsoUnderASystemThatTellsNoVMkernelName) {
    startHost({}, "esxi8-node");
    expectPlaces({{"PCI 0000:18:00.0 r001u06p2i00", "259A001B06C20000"},
                  {"PCI 0000:18:00.1 r001u06p2i00", "259A001B06C20001"},
                  {"PCI 0000:86:00.0 r001u06p2i06", "203A001B06C20600"},
                  {"PCI 0000:86:00.1 r001u06p2i06", "203A001B06C20600"}});
}

TEST_F(Places, OnTheSecondPlatformAreRackInstanceAndSlot) {
    startHost({}, "blade-node");
    expectPlaces({{"PCI 0000:04:00.0 r001i02s00", "348A001B02C00000"},
                  {"PCI 0000:04:00.1 r001i02s00", "348A001B02C00001"},
                  {"PCI 0000:b3:00.0 r001i02s04", "303A001B02C00400"},
                  {"PCI 0000:b3:00.1 r001i02s04", "303A001B02C00400"}});
}

TEST_F(Places, OnTheSecondPlatformsOtherVariantAreTheTenCharactersOfAnOnBoardDesignation) {
    startHost({}, "blade-node-b");
    expectPlaces({{"PCI 0000:04:00.0 r004i07s00", "348A004B07C00000"},
                  {"PCI 0000:04:00.1 r004i07s00", "348A004B07C00001"},
                  {"PCI 0001:b3:00.0 r004i07s04", "303A004B07C00400"},
                  {"PCI 0001:b3:00.1 r004i07s04", "303A004B07C00400"}});
}

TEST_F(Places, OnAnotherFamilyAreNotKnown) {
    startHost({}, "foreign-node");
    expectPlaces({{"PCI 0000:02:00.0 ", "FFFFFFFFFFFFFFFF"}});
}

TEST_F(Places, HaveNoCodeWithoutTheLibraryOrWithOneThatLacksItsEncoder) {
    startHost({}, "blade-node");
    for (const char* form : {"absent", "without-encoder"}) {
        hostControl({"library", "libvkloc0302.so", form});
        expectPlaces({{"PCI 0000:04:00.0 r001i02s00", "FFFFFFFFFFFFFFFF"},
                      {"PCI 0000:04:00.1 r001i02s00", "FFFFFFFFFFFFFFFF"},
                      {"PCI 0000:b3:00.0 r001i02s04", "FFFFFFFFFFFFFFFF"},
                      {"PCI 0000:b3:00.1 r001i02s04", "FFFFFFFFFFFFFFFF"}});
    }
}

}  // namespace
