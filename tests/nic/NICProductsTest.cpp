// Which model and part number an adapter gets, by its four ids and the machine's family.
// The rows are those of data/nic-products.csv.
#include <gmock/gmock.h>
#include <optional>

#include "nic/NICPhysicalAdapter.h"
#include "platform/places/vokPhysLocPlatform.h"
#include "support/FakeCommands.h"
#include "support/FakeLibraries.h"
#include "support/PlatformTables.h"

namespace NICProductsTest {
namespace {

constexpr char firstFamily[] = "7711PID02020001";
constexpr char secondFamily[] = "7711PID03020102";
constexpr char secondFamilyVariant[] = "7711PID03020101";

struct Ids {
    const char* vendor;
    const char* device;
    const char* subVendor;
    const char* subDevice;
};
constexpr Ids onBoard1GbE = {"0x8086", "0x1521", "0x8086", "0x0001"};
constexpr Ids copper10GbE = {"0x8086", "0x1563", "0x8086", "0x0001"};
constexpr Ids sfp25GbE = {"0x15b3", "0x1015", "0x15b3", "0x0004"};
constexpr Ids noProduct = {"0x8086", "0x1533", "0x15d9", "0x1533"};

class Products : public testing::Test {
protected:
    static constexpr char address[] = "0000:3b:00.1";

    // A host with this firmware, whose hardware list shows these ids for every function.
    void useHost(const SmBiosTable& table, const Ids& of = copper10GbE) {
        ids = of;
        host.emplace(hostWithPlatform(table));
        host->part<FakeCommands>().onCommand = [this](const std::string& command, int&) -> std::string {
            if (command.find("grep -w 'SubVendor ID:") != std::string::npos)
                return line("SubVendor ID", ids.subVendor) + line("SubDevice ID", ids.subDevice);
            if (command.find("grep -w 'Vendor ID:") != std::string::npos)
                return line("Vendor ID", ids.vendor) + line("Device ID", ids.device);
            return "";
        };
    }
    void useHostOf(const std::string& family, const Ids& of = copper10GbE) {
        // A machine without any slot is of no known family.
        useHost(tableOf(family).addSlot("Slot 1 r001u05p2i01", "0000:01:00.0").addEnd(), of);
    }
    static PhyAdapterInventory discovered() {
        PhyAdapterInventory record;
        NICPhysicalAdapter().discoverPhyAdapterInventory(
            record, {"vmnic2", address, "ixgben", "Up", "Up", "10000", "Full", "02:00:5e:10:00:02", "1500"});
        return record;
    }
    // The location library of a platform, which puts kind, last level and sub-location into the code.
    void addLibrary(const char* name) {
        host->part<FakeLibraries>().symbols[name] = {
            {vokPhysLocInitSymbol, reinterpret_cast<void*>(+[](vokPhysLocRecord* record, int) {
                 *record = {};
                 return 0;
             })},
            {vokPhysLocEncodeSymbol,
             reinterpret_cast<void*>(+[](vokPhysLocRecord* record, std::uint64_t* code) -> physloc_rtn_t {
                 *code = static_cast<std::uint64_t>(record->type) << 16 |
                         static_cast<std::uint64_t>(record->lastLevel) << 8 | record->subLocation;
                 return 0;
             })}};
    }

    std::optional<FakeHost> host;
    Ids ids{};

private:
    static std::string line(const char* key, const char* value) {
        return *value ? "   " + std::string(key) + ": " + value + "\n" : "";
    }
};

// --- part numbers by family ---

struct PartNumber {
    const char* family;
    Ids ids;
    const char* model;
    const char* partNumber;
};

void PrintTo(const PartNumber& row, std::ostream* out) {
    *out << row.family << " " << row.ids.device;
}

class EachFamily : public Products, public testing::WithParamInterface<PartNumber> {};

TEST_P(EachFamily, HasItsOwnColumnOfPartNumbers) {
    const PartNumber& expected = GetParam();
    useHostOf(expected.family, expected.ids);
    const PhyAdapterInventory record = discovered();
    EXPECT_EQ(record.getNICModel(), expected.model);
    EXPECT_EQ(record.getPartNumber(), expected.partNumber);
}

constexpr char onBoardModel[] = "MEV 4-port 1GbE on-board adapter, copper";
constexpr char copperModel[] = "MEV 2-port 10GbE adapter, copper";
constexpr char sfpModel[] = "MEV 2-port 25GbE adapter, SFP28";

constexpr PartNumber partNumbers[] = {
    {firstFamily, onBoard1GbE, onBoardModel, "MEV-1000-100A"},
    {secondFamily, onBoard1GbE, onBoardModel, "MEV-1000-300A"},
    {secondFamilyVariant, onBoard1GbE, onBoardModel, "MEV-1000-301A"},
    {firstFamily, copper10GbE, copperModel, "MEV-1000-110A"},
    {secondFamily, copper10GbE, copperModel, "MEV-1000-310A"},
    {secondFamilyVariant, copper10GbE, copperModel, "Not Available"},  // not sold for that one
    {firstFamily, sfp25GbE, sfpModel, "MEV-1000-120A"},
    {secondFamily, sfp25GbE, sfpModel, "MEV-1000-320A"},
    {secondFamilyVariant, sfp25GbE, sfpModel, "MEV-1000-321A"},
    // Unknown families, also such that begin or end like a known one.
    {"", sfp25GbE, sfpModel, "Not Available"},
    {"Workgroup", sfp25GbE, sfpModel, "Not Available"},
    {"7711PID02020001A", sfp25GbE, sfpModel, "Not Available"},
    {"7711PID0202000", sfp25GbE, sfpModel, "Not Available"},
    {"7711pid02020001", sfp25GbE, sfpModel, "Not Available"},
    // Not a product on any family.
    {firstFamily, noProduct, "Not Available", "Not Available"},
    {secondFamily, noProduct, "Not Available", "Not Available"},
    {secondFamilyVariant, noProduct, "Not Available", "Not Available"},
};

INSTANTIATE_TEST_SUITE_P(Table, EachFamily, testing::ValuesIn(partNumbers));

TEST_F(Products, OnAMachineWhoseFirmwareNamesNoSlotHaveNoPartNumberSinceItsFamilyIsReadTooLate) {
    useHost(tableOf(firstFamily).addEnd(), sfp25GbE);
    const PhyAdapterInventory record = discovered();
    EXPECT_EQ(record.getNICModel(), sfpModel);
    EXPECT_EQ(record.getPartNumber(), "Not Available");
}

TEST_F(Products, OnAMachineWithoutAFirmwareTableHaveOnlyTheirModel) {
    useHost(SmBiosTable().addRaw("no table"), sfp25GbE);
    const PhyAdapterInventory record = discovered();
    EXPECT_EQ(record.getNICModel(), sfpModel);
    EXPECT_EQ(record.getPartNumber(), "Not Available");
    EXPECT_EQ(record.getManufacturer(), "Not Available");
    EXPECT_EQ(record.getPhyLocation(), "FFFFFFFFFFFFFFFF");
}

// --- the four ids ---

TEST_F(Products, AreFoundByAllFourIdsTogether) {
    for (const Ids& other :
         {Ids{"0x8087", "0x1563", "0x8086", "0x0001"}, Ids{"0x8086", "0x1564", "0x8086", "0x0001"},
          Ids{"0x8086", "0x1563", "0x8087", "0x0001"}, Ids{"0x8086", "0x1563", "0x8086", "0x0002"}}) {
        useHostOf(firstFamily, other);
        const PhyAdapterInventory record = discovered();
        EXPECT_EQ(record.getNICModel(), "Not Available");
        EXPECT_EQ(record.getPartNumber(), "Not Available");
        EXPECT_TRUE(hasLogged(*host, "DEBUG NIC_CTRL: Unable to fetch the Model string for vmnic2"));
    }
}

TEST_F(Products, AreFoundInEitherCase) {
    useHostOf(firstFamily, {"0x15B3", "0x1015", "0x15B3", "0x0004"});
    EXPECT_EQ(discovered().getPartNumber(), "MEV-1000-120A");
}

TEST_F(Products, HaveNoModelWhenAnIdIsEmptyAndTheLineShowsAllFour) {
    constexpr struct {
        Ids ids;
        const char* line;
    } rows[] = {
        {{"", "0x1563", "0x8086", "0x0001"},
         "Vendor : , Device : 0x1563,SubVendor : 0x8086, SubDevice : 0x0001"},
        {{"0x8086", "", "0x8086", "0x0001"},
         "Vendor : 0x8086, Device : ,SubVendor : 0x8086, SubDevice : 0x0001"},
        {{"0x8086", "0x1563", "", "0x0001"},
         "Vendor : 0x8086, Device : 0x1563,SubVendor : , SubDevice : 0x0001"},
        {{"0x8086", "0x1563", "0x8086", ""},
         "Vendor : 0x8086, Device : 0x1563,SubVendor : 0x8086, SubDevice : "},
    };
    for (const auto& row : rows) {
        useHostOf(firstFamily, row.ids);
        const PhyAdapterInventory record = discovered();
        EXPECT_EQ(record.getNICModel(), "Not Available") << row.line;
        EXPECT_EQ(record.getPartNumber(), "Not Available") << row.line;
        EXPECT_TRUE(
            hasLogged(*host, std::string("DEBUG NIC_CTRL: Unable to fetch the Model string for ") + row.line))
            << row.line;
        EXPECT_FALSE(hasLogged(*host, "DEBUG NIC_CTRL: Unable to fetch the Model string for vmnic2"));
    }
}

TEST_F(Products, AMissingProductIsReportedByTheResult) {
    useHostOf(secondFamily);
    NICPhysicalAdapter adapter;
    std::string model = "as it was";
    EXPECT_FALSE(adapter.getNICModel("0x8086", "0x1533", "0x15d9", "0x1533", model));
    EXPECT_EQ(model, "as it was");
    EXPECT_TRUE(adapter.getNICModel("0x8086", "0x1521", "0x8086", "0x0001", model));
    EXPECT_EQ(model, "MEV 4-port 1GbE on-board adapter, copper");
    EXPECT_EQ(adapter.getPartNumValue("0x8086", "0x1521", "0x8086", "0x0001"), "MEV-1000-300A");
    EXPECT_EQ(adapter.getPartNumValue("0x8086", "0x1533", "0x15d9", "0x1533"), "Not Available");
}

// --- locations ---

class SecondPlatform : public Products, public testing::WithParamInterface<const char*> {};

TEST_P(SecondPlatform, HasItsOwnKindOfLocationForOnBoardAdapters) {
    useHost(tableOf(GetParam()).addOnboardDevice("LAN2 r001i02s00", address).addEnd(), onBoard1GbE);
    addLibrary("libvkloc0302.so");
    const PhyAdapterInventory record = discovered();
    EXPECT_EQ(record.getPCIDescription(), "PCI 0000:3b:00.1 r001i02s00");
    EXPECT_EQ(record.getPhyLocation(), "0000000000300001") << "kind 48, function 1";
    EXPECT_EQ(record.getManufacturer(), "Maker of servers");
}

INSTANTIATE_TEST_SUITE_P(Families, SecondPlatform, testing::Values(secondFamily, secondFamilyVariant));

}  // namespace
}  // namespace NICProductsTest
