// What a description says of the firmware's table and of the PCI functions, and whether the hosts that come
// with the project agree with themselves.
#include "host/HostDescription.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <algorithm>
#include <regex>
#include <set>
#include <sstream>

#include "common/Text.h"
#include "modules/nic/NetworkAdapters.h"
#include "modules/pci/PciFunctions.h"
#include "modules/smbios/SmBios.h"
#include "modules/storage/StorageAdapters.h"
#include "simhost/SmBiosTable.h"
#include "support/TemporaryDirectory.h"

namespace HostDescriptionTest {

using namespace simhost;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

HostDescription describe(const std::string& text, const std::string& directory = ".") {
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return parseHostDescription(value, directory);
}

std::string complaint(const std::string& text) {
    try {
        describe(text);
    } catch (const std::exception& problem) {
        return problem.what();
    }
    return "";
}

std::vector<SmBiosEntry> entriesOf(const std::string& smbios) {
    return smBiosEntries(describe("{\"smbios\":" + smbios + "}").part<SmBios>().deviceFile);
}

TEST(FirmwareDescription, AHostHasNoTableUnlessItIsDescribed) {
    EXPECT_EQ(describe("{}").part<SmBios>().deviceFile, "");
    EXPECT_EQ(entriesOf("{}").size(), 1u);
}

TEST(FirmwareDescription, HasItsStructuresInTheOrderInWhichTheyAreDescribed) {
    const auto entries = entriesOf(R"({"version":"3.5","structures":[
        {"kind":"bios","vendor":"V","version":"1","date":"01/02/2024"},
        {"kind":"other","type":2,"data":"01 00","strings":["Board"]},
        {"kind":"system","manufacturer":"M","product":"P","version":"2","serial":"S","sku":"K","family":"F",
         "uuid":"00112233-4455-6677-8899-aabbccddeeff","wakeUp":7},
        {"kind":"slot","designation":"Slot 3","address":"0001:3b:02.1","id":3,"slotType":182,"dataBusWidth":8,
         "usage":3,"slotLength":2},
        {"kind":"onboardDevice","designation":"LAN1","address":"0000:18:00.1","deviceType":9,"instance":4},
        {"kind":"raw","bytes":"30 04 00 00 00 00"}]})");
    ASSERT_EQ(entries.size(), 7u);
    EXPECT_EQ(entries[0].type, 0u);
    EXPECT_THAT(entries[0].strings, ElementsAre("V", "1", "01/02/2024"));
    EXPECT_EQ(entries[1].type, 2u);
    EXPECT_EQ(entries[1].text(4), "Board");
    EXPECT_EQ(entries[2].type, 1u);
    EXPECT_THAT(entries[2].strings, ElementsAre("M", "P", "2", "S", "K", "F"));
    EXPECT_EQ(entries[2].formatted.substr(8, 16),
              "\x33\x22\x11" + std::string(1, '\0') + "\x55\x44\x77\x66\x88\x99\xaa\xbb\xcc\xdd\xee\xff");
    EXPECT_EQ(entries[2].byte(24), 7u);
    EXPECT_EQ(entries[3].formatted,
              std::string("\x09\x11\x04\0\x01\xb6\x08\x03\x02\x03\0\x04\x01\x01\0\x3b\x11", 17));
    EXPECT_EQ(entries[4].formatted, std::string("\x29\x0b\x05\0\x01\x89\x04\0\0\x18\x01", 11));
    EXPECT_EQ(entries[5].type, 48u);
    EXPECT_EQ(entries[6].type, 127u);
}

TEST(FirmwareDescription, CanLieAboutLengths) {
    const auto entries = entriesOf(R"({"structures":[
        {"kind":"slot","designation":"A","address":"0000:3b:00.0","length":13},
        {"kind":"system","family":"F","length":26,"handle":770}]})");
    EXPECT_EQ(entries[0].byte(1), 13u);
    EXPECT_EQ(entries[0].formatted.size(), 13u);
    EXPECT_EQ(entries[0].text(4), "A");
    EXPECT_EQ(entries[1].byte(1), 26u);
    EXPECT_EQ(entries[1].formatted.substr(2, 2), "\x02\x03");
    const HostDescription host =
        describe(R"({"smbios":{"structures":[{"kind":"other","type":2,"statedLength":1}],
        "endOfTable":false,"zerosBehind":5,"tableLength":60000}})");
    const std::string& table = host.part<SmBios>().deviceFile;
    EXPECT_EQ(table.substr(31), std::string("\x02\x01\x01\0\0\0\0\0\0\0\0", 11));
    EXPECT_EQ(table.substr(22, 2), "\x60\xea");
}

TEST(FirmwareDescription, TakesARawFileBesideTheDescription) {
    const TemporaryDirectory directory;
    const std::string bytes("_SM_\0\xff raw", 10);
    directory.writeFile("tables/odd.bin", bytes);
    directory.writeFile("host.json", R"({"smbios":{"file":"tables/odd.bin"}})");
    EXPECT_EQ(readHostDescription(directory.path() + "/host.json").part<SmBios>().deviceFile, bytes);
    EXPECT_EQ(describe(R"({"smbios":{"file":")" + directory.path() + R"(/tables/odd.bin"}})")
                  .part<SmBios>()
                  .deviceFile,
              bytes);
}

TEST(FirmwareDescription, RefusesWhatItDoesNotKnow) {
    const auto of = [](const std::string& structure) {
        return complaint(R"({"smbios":{"structures":[)" + structure + "]}}");
    };
    EXPECT_THAT(of(R"({"kind":"sled"})"), HasSubstr("smbios.structures[0] has the kind \"sled\""));
    EXPECT_THAT(of(R"({"kind":"slot","colour":1})"), HasSubstr("\"colour\" that is not known"));
    EXPECT_THAT(of(R"({"kind":"slot","address":"3b:00.0"})"), HasSubstr("address \"3b:00.0\""));
    EXPECT_THAT(of(R"({"kind":"slot","address":"10000:3b:00.0"})"), HasSubstr("address \"10000:3b:00.0\""));
    EXPECT_THAT(of(R"({"kind":"slot","usage":256})"), HasSubstr("usage is more than 255"));
    EXPECT_THAT(of(R"({"kind":"onboardDevice","deviceType":128})"), HasSubstr("deviceType is more than 127"));
    EXPECT_THAT(of(R"({"kind":"slot","length":3})"), HasSubstr("4 to 255 bytes"));
    EXPECT_THAT(of(R"({"kind":"system","uuid":"0011"})"), HasSubstr("uuid"));
    EXPECT_THAT(of(R"({"kind":"other","type":2,"data":"0"})"), HasSubstr("data is not made of pairs"));
    EXPECT_THAT(of(R"({"kind":"raw","bytes":"zz"})"), HasSubstr("bytes is not made of pairs"));
    EXPECT_THAT(of(R"({"kind":"system","family":"a\u0000b"})"), HasSubstr("NUL"));
    EXPECT_THAT(complaint(R"({"smbios":{"version":"2.10"}})"), HasSubstr("version \"2.10\""));
    EXPECT_THAT(complaint(R"({"smbios":{"zerosBehind":65535}})"), HasSubstr("more than the 65535"));
    EXPECT_THAT(complaint(R"({"smbios":{"file":"/no/such/table"}})"), HasSubstr("/no/such/table"));
    const TemporaryDirectory directory;
    directory.writeFile("empty", "");
    directory.writeFile("full", "x");
    const auto ofFile = [&directory](const std::string& more) {
        return complaint(R"({"smbios":{"file":")" + directory.path() + "/" + more + "}}");
    };
    EXPECT_THAT(ofFile("empty\""), HasSubstr("is empty"));
    EXPECT_EQ(ofFile("full\""), "");
    EXPECT_THAT(ofFile("full\",\"version\":\"2.8\""), HasSubstr("\"version\""));
}

TEST(PciDescription, AFunctionsParentIsTheBridgeOfItsBus) {
    const auto functions = describe(R"({"pci":[
        {"Address":"0000:3a:02.0","Spawned Bus":"0x3b"},
        {"Address":"0001:3a:00.0","Spawned Bus":"0x3c"},
        {"Address":"0000:3b:00.1"}, {"Address":"0000:3c:00.0"}, {"Address":"0000:00:1f.0"},
        {"Address":"0000:3b:00.2","Parent Device":"PCI 0:1:2:3"}]})")
                               .part<PciFunctions>()
                               .all;
    EXPECT_EQ(functions[2].at("Parent Device"), "PCI 0:58:2:0");
    EXPECT_EQ(functions[3].at("Parent Device"), "PCI 0:0:0:0");  // that bridge is of another segment
    EXPECT_EQ(functions[4].at("Parent Device"), "PCI 0:0:0:0");
    EXPECT_EQ(functions[5].at("Parent Device"), "PCI 0:1:2:3");
    EXPECT_EQ(functions[2].at("Dependent Device"), "PCI 0:59:0:1");
}

TEST(PciDescription, RefusesAFunctionThatIsThereTwiceAndDataThatCanNotBe) {
    EXPECT_THAT(complaint(R"({"pci":[{"Address":"0000:3a:00.0"},{"Address":"0000:3A:00.0"}]})"),
                HasSubstr("twice"));
    EXPECT_THAT(complaint(R"({"pci":[{"Address":"0000:3a:00.0","linkWidth":33}]})"), HasSubstr("linkWidth"));
    EXPECT_THAT(complaint(R"({"pci":[{"Address":"0000:3a:00.0","vpd":{"tags":{"PNX":"1"}}}]})"),
                HasSubstr("\"PNX\""));
    EXPECT_THAT(complaint(R"({"pci":[{"Address":"0000:3a:00.0","vpd":{"name":"1"}}]})"),
                HasSubstr("\"name\""));
}

// --- the hosts that come with the project ---

struct Known {
    const char* host;
    const char* family;
    const char* grammar;   // of a place in a designation
    const char* location;  // how a designation and its place stand together
};

class KnownHosts : public testing::TestWithParam<Known> {
protected:
    HostDescription host = readHostDescription(VOK_HOSTS "/" + std::string(GetParam().host) + ".json");
    std::vector<SmBiosEntry> entries = smBiosEntries(host.part<SmBios>().deviceFile);

    static bool hasPlace(const SmBiosEntry& entry) { return entry.type == 9 || entry.type == 41; }
    // Of a slot or an on-board device; empty when no function is told.
    static std::string addressOf(const SmBiosEntry& entry) {
        const std::size_t at = entry.type == 9 ? 13 : 7;
        const unsigned segment = entry.byte(at) | entry.byte(at + 1) << 8, last = entry.byte(at + 3);
        if (segment == 0xffff) return "";
        return formatText("%04x:%02x:%02x.%x", segment, entry.byte(at + 2), last >> 3, last & 7);
    }
};

TEST_P(KnownHosts, TellTheirFamilyInTheSystemRecord) {
    unsigned records = 0;
    for (const auto& entry : entries) {
        if (entry.type != 1) continue;
        ++records;
        EXPECT_EQ(entry.text(26), GetParam().family);
        EXPECT_NE(entry.text(4), "");
    }
    EXPECT_EQ(records, 1u);
    EXPECT_NE(entries.front().type, 1u);  // as in real tables
    EXPECT_EQ(entries.back().type, 127u);
}

TEST_P(KnownHosts, HaveARecordForEachFunctionThatIsNoBridgeAndNoneForOthers) {
    std::set<std::string> listed, told;
    for (const auto& function : host.part<PciFunctions>().all)
        if (function.at("Device Class").compare(0, 4, "0x06") != 0) listed.insert(function.at("Address"));
    for (const auto& entry : entries)
        if (hasPlace(entry) && !addressOf(entry).empty()) {
            EXPECT_TRUE(told.insert(addressOf(entry)).second) << addressOf(entry);
        }
    EXPECT_EQ(told, listed);
}

TEST_P(KnownHosts, HaveDesignationsOfTheirFamilysFormWithOnBoardDevicesAtPlace00) {
    const std::regex form(GetParam().location);
    for (const auto& entry : entries) {
        if (!hasPlace(entry)) continue;
        const std::string designation = entry.text(4);
        std::smatch match;
        ASSERT_TRUE(std::regex_match(designation, match, form)) << designation;
        if (std::string(GetParam().grammar).empty()) continue;
        const std::string place = match[1];
        EXPECT_TRUE(std::regex_match(place, std::regex(GetParam().grammar))) << place;
        EXPECT_EQ(place.substr(place.size() - 2) == "00", entry.type == 41) << designation;
    }
}

TEST_P(KnownHosts, HaveAdaptersAndSlotDescriptionsThatAgreeWithTheirFunctions) {
    std::set<std::string> functions;
    for (const auto& function : host.part<PciFunctions>().all) functions.insert(function.at("Address"));
    for (const auto& adapter : host.part<StorageAdapters>().all)
        EXPECT_EQ(functions.count(adapter.description.substr(1, 12)), 1u) << adapter.name;
    for (const auto& adapter : host.part<NetworkAdapters>().all)
        EXPECT_EQ(functions.count(adapter.pciDevice), 1u) << adapter.name;
    for (const auto& function : host.part<PciFunctions>().all) {
        const auto isIt = [&function](const NetworkAdapter& each) {
            return each.pciDevice == function.at("Address");
        };
        const auto& adapters = host.part<NetworkAdapters>().all;
        const auto found = std::find_if(adapters.begin(), adapters.end(), isIt);
        EXPECT_EQ(found != adapters.end(), function.at("Device Class") == "0x0200");
        if (found != adapters.end() && !function.at("VMkernel Name").empty()) {
            EXPECT_EQ(found->name, function.at("VMkernel Name"));
        }
    }
    if (GetParam().host == std::string("large")) return;  // its list has no descriptions of slots
    for (const auto& entry : entries) {
        if (!hasPlace(entry)) continue;
        for (const auto& function : host.part<PciFunctions>().all)
            if (function.at("Address") == addressOf(entry)) {
                EXPECT_EQ(function.at("Slot Description"), entry.text(4));
            }
    }
}

constexpr char rackPlace[] = "r[0-9]{3}u[0-9]{2}p[0-9]i[0-9]{2}";
constexpr char bladePlace[] = "r[0-9]{3}i[0-9]{2}s[0-9]{2}";
INSTANTIATE_TEST_SUITE_P(
    All, KnownHosts,
    testing::Values(
        Known{"rack-node", "7711PID02020001", rackPlace, "(?:Slot [0-9]+|Onboard [A-Z0-9]+) ([^ ]+)"},
        Known{"esxi8-node", "7711PID02020001", rackPlace, "(?:Slot [0-9]+|Onboard [A-Z0-9]+) ([^ ]+)"},
        Known{"large", "7711PID02020001", rackPlace, "(?:Slot [0-9]+|Onboard [a-z0-9]+) ([^ ]+)"},
        Known{"blade-node", "7711PID03020102", bladePlace, "[A-Za-z0-9]+ ([^ ]{10})"},
        Known{"blade-node-b", "7711PID03020101", bladePlace, "(?:[A-Za-z0-9]+) ([^ ]{10})(?: rear)?"},
        Known{"foreign-node", "To be filled by O.E.M.", "", "(?:CPU1 SLOT|Onboard ).+"}),
    [](const auto& each) {
        std::string name = each.param.host;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

TEST(KnownHostsAlone, OnlyANewerSystemLeavesEveryVMkernelNameEmpty) {
    unsigned named = 0;
    const HostDescription rack = readHostDescription(VOK_HOSTS "/rack-node.json");
    for (const auto& function : rack.part<PciFunctions>().all)
        named += function.at("VMkernel Name").empty() ? 0 : 1;
    EXPECT_EQ(named, 11u);
    const HostDescription newer = readHostDescription(VOK_HOSTS "/esxi8-node.json");
    for (const auto& function : newer.part<PciFunctions>().all)
        EXPECT_EQ(function.at("VMkernel Name"), "") << function.at("Address");
    EXPECT_THAT(readHostDescription(VOK_HOSTS "/bare.json").part<SmBios>().deviceFile, IsEmpty());
}

}  // namespace
}  // namespace HostDescriptionTest
