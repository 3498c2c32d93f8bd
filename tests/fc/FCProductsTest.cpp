// Which model, part number, manufacturer and location an adapter gets, by its PCI function and the machine.
// The rows are those of data/fc-products.csv.
#include <gmock/gmock.h>
#include <algorithm>

#include "fc/FCFixture.h"
#include "fc/vokFCProducts.h"
#include "platform/places/PhysLocFixture.h"

namespace FCProductsTest {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class FCProducts : public FCFixture {
protected:
    void useFamily(const std::string& family) {
        start(SmBiosTable()
                  .addSystem("Maker of Racks", family)
                  .addSlot("Slot r001u05p2i03", "0000:3b:00.0")
                  .addEnd());
    }
    void useOnBoardAdapter() {
        start(SmBiosTable()
                  .addSystem("Maker of Racks", firstFamily)
                  .addOnboardDevice("FC r001u05p2i00", "0000:3b:00.0")
                  .addEnd());
    }
    void start(const SmBiosTable& table) {
        host.root.writeFile(SmBiosTable::deviceFile, table.contents());
        platformCheck::setDirectoryPath();
        vokUtils::initializeSMBIOS();
        vokUtils::initGeoIDMap();
        for (const char* name : {firstLibrary, secondLibrary})
            host.part<FakeLibraries>().symbols[name] = {
                {"physloc_init_data", reinterpret_cast<void*>(LibraryCalls::initData)},
                {"physloc_encode", reinterpret_cast<void*>(LibraryCalls::encode)}};
    }
    Json::Value built() {
        manager.cacheBuild();
        const auto elements = inventory();
        EXPECT_THAT(elements, SizeIs(1));
        return elements.empty() ? Json::Value() : elements[0];
    }
    LibraryCalls& physloc = LibraryCalls::get();
};

// --- models and part numbers ---

struct FamilyRow {
    const char* family;
    const char* subDevice;
    const char* partNumber;
};

void PrintTo(const FamilyRow& row, std::ostream* out) {
    *out << row.family << " " << row.subDevice;
}

class FCFamilies : public FCProducts, public testing::WithParamInterface<FamilyRow> {};

TEST_P(FCFamilies, HaveTheirColumnsOfPartNumbers) {
    useFamily(GetParam().family);
    subDevice = GetParam().subDevice;
    const Json::Value element = built();
    EXPECT_EQ(element["PartNumber"], GetParam().partNumber);
    EXPECT_EQ(element["Model"], subDevice == "0xe310" ? "MEV 2-port 32Gb Fibre Channel adapter, SFP28"
                                                      : "MEV 1-port 32Gb Fibre Channel adapter, SFP28")
        << "on every machine";
    EXPECT_EQ(managerLogged("Unable to obtain the PartNumber of Ethernet/Infiniband instance"),
              std::string(GetParam().partNumber) == "Not Available");
}

constexpr FamilyRow familyRows[] = {
    {"7711PID02020001", "0xe310", "MEV-2000-110A"}, {"7711PID03020102", "0xe310", "MEV-2000-310A"},
    {"7711PID03020101", "0xe310", "Not Available"},  // not sold for that one
    {"7711PID02020001", "0xe311", "MEV-2000-120A"}, {"7711PID03020102", "0xe311", "MEV-2000-320A"},
    {"7711PID03020101", "0xe311", "MEV-2000-321A"}, {"Workgroup", "0xe311", "Not Available"},
    {"7711PID0202000", "0xe311", "Not Available"},
};
INSTANTIATE_TEST_SUITE_P(Table, FCFamilies, testing::ValuesIn(familyRows));

TEST_F(FCProducts, AreFoundByAllFourIdsTogether) {
    useFamily(firstFamily);
    EXPECT_EQ(manager.getFcaHostCntlrPartNumber("0x10df", "0xe300", "0x10df", "0xe310"), "MEV-2000-110A");
    EXPECT_EQ(manager.getFcaHostCntlrPartNumber("0x10de", "0xe300", "0x10df", "0xe310"), "");
    EXPECT_EQ(manager.getFcaHostCntlrPartNumber("0x10df", "0xe301", "0x10df", "0xe310"), "");
    EXPECT_EQ(manager.getFcaHostCntlrPartNumber("0x10df", "0xe300", "0x10de", "0xe310"), "");
    EXPECT_EQ(manager.getFcaHostCntlrPartNumber("0x10df", "0xe300", "0x10df", "0xe312"), "");
    EXPECT_EQ(
        countLogged(host, "DEBUG FC_RM: Unable to obtain the PartNumber of Ethernet/Infiniband instance"), 4);
}

TEST_F(FCProducts, AreFoundByIdsAsHexadecimalNumbers) {
    useFamily(firstFamily);
    EXPECT_EQ(manager.getFcaHostCntlrPartNumber("10DF", "E300", "0X10DF", "0x0000e310"), "MEV-2000-110A");
}

TEST(FCProductMap, HasFourNumbersForAKeyAndTheTextsOfTheRow) {
    const auto row = fcPciIdsModelNameMap.find({0x1077, 0x2261, 0x1077, 0x029B});
    ASSERT_NE(row, fcPciIdsModelNameMap.end());
    EXPECT_STREQ(row->second.model, "MEV 2-port 16Gb Fibre Channel adapter, SFP+");
    EXPECT_STREQ(row->second.partNumberFirstPlatform, "MEV-2000-100A");
    EXPECT_STREQ(row->second.partNumberSecondPlatform, "MEV-2000-300A");
    EXPECT_STREQ(row->second.partNumberSecondPlatformVariant, "MEV-2000-301A");
    EXPECT_EQ(fcPciIdsModelNameMap.size(), 3u);
}

TEST_F(FCProducts, WithoutARowKeepTheModelOfTheVendor) {
    useFamily(firstFamily);
    subDevice = "0x0001";
    const Json::Value element = built();
    EXPECT_EQ(element["Model"], "LPe32002-M2");
    EXPECT_EQ(element["PartNumber"], "Not Available");
}

TEST_F(FCProducts, WithAnEmptyIdKeepTheModelOfTheVendorAndTheLineShowsAllFour) {
    useFamily(firstFamily);
    subDevice = "";
    const Json::Value element = built();
    EXPECT_EQ(element["Model"], "LPe32002-M2");
    EXPECT_EQ(element["PartNumber"], "Not Available");
    EXPECT_TRUE(managerLogged(
        "Unable to fetch the Model string for Vendor : 0x10df, Device : 0xe300,SubVendor : 0x10df, "
        "SubDevice : "));
    EXPECT_TRUE(managerLogged("subvendorDev1 =0x10df,subvendorDev2 ="));
    EXPECT_TRUE(managerLogged("vendorDev1 =0x10df,vendorDev2 =0xe300"));
    EXPECT_FALSE(managerLogged("Unable to obtain the PartNumber of Ethernet/Infiniband instance"));
}

TEST_F(FCProducts, AreQueriedOncePerFunction) {
    useFamily(firstFamily);
    built();
    const std::size_t first = commands.texts().size();
    EXPECT_EQ(built()["PartNumber"], "MEV-2000-110A");
    EXPECT_EQ(commands.texts().size(), first);
}

// --- manufacturer and location ---

TEST_F(FCProducts, InASlotHaveItsLocationAndTheNameOfTheirSubsystemVendor) {
    useFamily(firstFamily);
    subVendor = "0x1077";
    const Json::Value element = built();
    EXPECT_EQ(element["Manufacturer"], "QLogic Corp.");
    EXPECT_EQ(element["Oem"]["Description"], "PCI 0000:3b:00.0 r001u05p2i03");
    EXPECT_EQ(element["Oem"]["PhysicalLocation"], "00000000000012AB");
    EXPECT_TRUE(managerLogged("Os Device Name is vmhba1"));
    EXPECT_TRUE(managerLogged("_manufacturer is QLogic Corp."));
    EXPECT_TRUE(managerLogged("Description is PCI 0000:3b:00.0 r001u05p2i03"));
    EXPECT_TRUE(managerLogged("Phy Loc is 00000000000012AB"));
    EXPECT_TRUE(managerLogged("Status of getdata is 0"));
}

TEST_F(FCProducts, OnTheBoardAreEncodedAsSlotDevicesToo) {
    useOnBoardAdapter();
    const Json::Value element = built();
    EXPECT_EQ(element["Manufacturer"], "Maker of Racks");
    EXPECT_EQ(element["Oem"]["Description"], "PCI 0000:3b:00.0 r001u05p2i00");
    EXPECT_EQ(element["Oem"]["PhysicalLocation"], "00000000000012AB");
    ASSERT_THAT(physloc.records, SizeIs(1));
    EXPECT_EQ(physloc.records[0][0], 3) << "a slot";
}

TEST_F(FCProducts, WithoutAKnownManufacturerHaveNone) {
    useFamily(firstFamily);
    subVendor = "0x0a0a";
    EXPECT_EQ(built()["Manufacturer"], "Not Available");
    EXPECT_TRUE(managerLogged("_manufacturer is "));
}

TEST_F(FCProducts, ThatTheHostDoesNotListHaveNoAddress) {
    useFamily(firstFamily);
    library.adapters[0].number = 9;
    const Json::Value element = built();
    EXPECT_TRUE(managerLogged("Os Device Name is NotAvailable"));
    EXPECT_EQ(element["Model"], "LPe32002-M2");
    EXPECT_EQ(element["Oem"]["Description"], "PCI NotAvailable ");
    EXPECT_EQ(element["Oem"]["PhysicalLocation"], "FFFFFFFFFFFFFFFF");
    EXPECT_THAT(physloc.records, IsEmpty());
}

TEST_F(FCProducts, AnEventHasTheLocationOfItsAdapter) {
    useFamily(firstFamily);
    letEventsPass(ipmi);
    buildWith(HBA_PORTSTATE_ONLINE);
    buildWith(HBA_PORTSTATE_LINKDOWN);
    const auto payloads = ipmi.remoteCommandPayloads();
    ASSERT_THAT(payloads, SizeIs(1));
    EXPECT_THAT(payloads[0], HasSubstr(R"("ID":386,)"));
    EXPECT_THAT(payloads[0], HasSubstr(R"("PhysicalLocation":"00000000000012AB","Source":"VOK",)"));
}

}  // namespace
}  // namespace FCProductsTest
