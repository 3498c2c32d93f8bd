// The physical locations that the controller receives, on a host of each platform family.
#include <sstream>

#include "system/SimulatedSystem.h"

namespace PlacesTest {
namespace {

constexpr char notEncoded[] =
    "PL_FACT: Physical location will be reported by VOK as FFFFFFFFFFFFFFFF for all FRUs.";

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

class PlacesInEvents : public Places {
protected:
    // A host with Ethernet as its only enabled resource, and its controller.
    void startEthernetHost(const std::string& name) {
        Json::Value settings = usualSettings();
        settings["EnableResources"][0] = "EthernetDevices";
        // Links are checked in each build, and just once between two.
        settings["CacheRefreshInSeconds"]["Global"] = "30";
        startHostAlone(settings, usualSpeed, {}, name);
        startController();
    }
    // Takes the links of these adapters down in turn and expects the agent's events.
    void expectPlacesOf(const std::vector<std::string>& adapterNames, const std::vector<Place>& expected) {
        startAgentAndWaitForItsPush();
        for (const auto& name : adapterNames) hostControl({"nic", name, "link", "down"});
        EXPECT_EQ(waitFor("event", static_cast<int>(expected.size())), 0);
        EXPECT_EQ(stopAgent(), 0);
        const std::vector<Json::Value> sent = eventObjects();
        ASSERT_EQ(sent.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(sent[i]["ID"], 1384);
            EXPECT_EQ(sent[i]["PhysicalLocation"], expected[i].location);
            const Json::Value& oem = sent[i]["VariableData"]["Data"]["Oem"];
            EXPECT_EQ(oem["Description"], expected[i].description);
            EXPECT_EQ(oem["PhysicalLocation"], expected[i].location);
        }
        EXPECT_EQ(hostFile("/run/simhost/physloc-violations.log"), "");
    }
};

// On-board adapters of one location differ by the PCI function, ports of one card do not.
TEST_F(Places, OnTheFirstPlatformAreRackUnitPartitionAndInstance) {
    startHost({}, "rack-node");
    expectPlaces({{"PCI 0000:18:00.0 r001u05p2i00", "259A001B05C20000"},
                  {"PCI 0000:18:00.1 r001u05p2i00", "259A001B05C20001"},
                  {"PCI 0000:86:00.0 r001u05p2i06", "203A001B05C20600"},
                  {"PCI 0000:86:00.1 r001u05p2i06", "203A001B05C20600"}});
}

TEST_F(Places, AreKnownAlsoOnASystemThatPrintsNoVMkernelName) {
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

// --- in events ---

TEST_F(PlacesInEvents, OnTheFirstPlatformAreThoseOfTheInventory) {
    startEthernetHost("rack-node");
    expectPlacesOf({"vmnic1", "vmnic2"}, {{"PCI 0000:18:00.1 r001u05p2i00", "259A001B05C20001"},
                                          {"PCI 0000:86:00.0 r001u05p2i06", "203A001B05C20600"}});
}

TEST_F(PlacesInEvents, OnTheSecondPlatformAreThoseOfTheInventory) {
    startEthernetHost("blade-node");
    expectPlacesOf({"vmnic0", "vmnic3"}, {{"PCI 0000:04:00.0 r001i02s00", "348A001B02C00000"},
                                          {"PCI 0000:b3:00.1 r001i02s04", "303A001B02C00400"}});
}

TEST_F(PlacesInEvents, OnTheSecondPlatformsOtherVariantAreThoseOfTheInventory) {
    startEthernetHost("blade-node-b");
    expectPlacesOf({"vmnic0", "vmnic2"}, {{"PCI 0000:04:00.0 r004i07s00", "348A004B07C00000"},
                                          {"PCI 0001:b3:00.0 r004i07s04", "303A004B07C00400"}});
}

TEST_F(PlacesInEvents, OnAnotherFamilyAreNotKnown) {
    startEthernetHost("foreign-node");
    expectPlacesOf({"vmnic0"}, {{"PCI 0000:02:00.0 ", "FFFFFFFFFFFFFFFF"}});
}

TEST_F(PlacesInEvents, HaveNoCodeWithoutTheLibrary) {
    startEthernetHost("rack-node");
    hostControl({"library", "libvkloc0202.so", "absent"});
    expectPlacesOf({"vmnic1", "vmnic2"}, {{"PCI 0000:18:00.1 r001u05p2i00", "FFFFFFFFFFFFFFFF"},
                                          {"PCI 0000:86:00.0 r001u05p2i06", "FFFFFFFFFFFFFFFF"}});
    EXPECT_EQ(timesLogged("TQPL_INTF: Failed to load physical location library [libvkloc0202.so]: "
                          "(libvkloc0202.so: cannot open shared object file: No such file or directory)"),
              1);
    EXPECT_EQ(timesLogged(notEncoded), 1);
}

TEST_F(PlacesInEvents, HaveNoCodeWithALibraryThatLacksItsEncoder) {
    startEthernetHost("blade-node");
    hostControl({"library", "libvkloc0302.so", "without-encoder"});
    expectPlacesOf({"vmnic0", "vmnic3"}, {{"PCI 0000:04:00.0 r001i02s00", "FFFFFFFFFFFFFFFF"},
                                          {"PCI 0000:b3:00.1 r001i02s04", "FFFFFFFFFFFFFFFF"}});
    EXPECT_EQ(timesLogged("PL_INTF: Failed to find address of symbol [physloc_encode]: (" + root() +
                          "/lib/libvkloc0302.so: undefined symbol: physloc_encode)"),
              1);
    EXPECT_EQ(timesLogged(notEncoded), 1);
}

}  // namespace
}  // namespace PlacesTest
