#include "nic/NICPhysicalAdapter.h"

#include <gmock/gmock.h>

#include "nic/NICFixture.h"
#include "nic/vokNICProducts.h"

namespace NICPhysicalAdapterTest {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

class Adapter : public NICFixture {
protected:
    PhyAdapterInventory discover(const Words& words) {
        PhyAdapterInventory record;
        physical.discoverPhyAdapterInventory(record, words);
        return record;
    }
    static Words line() {
        return {"vmnic0", "0000:81:00.0",      "ixgben", "Up",    "Up",         "10000",
                "Full",   "7c:d3:0a:00:00:01", "1500",   "Intel", "Corporation"};
    }
    NICPhysicalAdapter physical;
};

TEST_F(Adapter, TakesNameAddressLinkAndSpeedFromTheirColumns) {
    const PhyAdapterInventory record = discover(line());
    EXPECT_EQ(record.getIntfName(), "vmnic0");
    EXPECT_EQ(record.getDeviceName(), "vmnic0");
    EXPECT_EQ(record.getMACAddress(), "7c:d3:0a:00:00:01");
    EXPECT_EQ(record.getLinkStatus(), "Up");
    EXPECT_EQ(record.getSpeed(), 10000);
    EXPECT_EQ(record.getState(), "Online");
    EXPECT_EQ(record.getHealth(), "OK");
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: Getting adapter status for vmnic0"));
}

TEST_F(Adapter, WithoutAGeoIdTheDescriptionEndsWithABlankAndTheLocationIsUnknown) {
    const PhyAdapterInventory record = discover(line());
    EXPECT_EQ(record.getPCIDescription(), "PCI 0000:81:00.0 ");
    EXPECT_EQ(record.getPhyLocation(), "FFFFFFFFFFFFFFFF");
}

TEST_F(Adapter, UnknownFieldsAreNotAvailable) {
    const PhyAdapterInventory record = discover(line());
    EXPECT_EQ(record.getSerialNumber(), "Not Available");
    EXPECT_EQ(record.getNICModel(), "Not Available");
    EXPECT_EQ(record.getPartNumber(), "Not Available");
    EXPECT_EQ(record.getManufacturer(), "Not Available");
    EXPECT_TRUE(
        hasLogged(host,
                  "DEBUG NIC_CTRL: Unable to fetch the Model string for Vendor : , Device : ,SubVendor : "
                  ", SubDevice : "));
}

TEST_F(Adapter, ASpeedThatIsNotANumberIsZeroAndLogged) {
    Words words = line();
    words[5] = "Auto";
    EXPECT_EQ(discover(words).getSpeed(), 0);
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: Error occurred in identifying the speed"));
}

TEST_F(Adapter, ASpeedIsTheNumberAtItsStart) {
    Words words = line();
    words[5] = "1000Mbps";
    EXPECT_EQ(discover(words).getSpeed(), 1000);
}

TEST_F(Adapter, ASpeedBeyondIntIsZero) {
    Words words = line();
    words[5] = "99999999999999999999";
    EXPECT_EQ(discover(words).getSpeed(), 0);
}

TEST_F(Adapter, AnEmptyDriverColumnShiftsTheLaterOnes) {
    const PhyAdapterInventory record = discover(
        {"vmnic1", "0000:03:00.0", "Up", "Down", "0", "Half", "5a:5b:03:1b:3a:5b", "1500", "Pensando"});
    EXPECT_EQ(record.getLinkStatus(), "0");
    EXPECT_EQ(record.getMACAddress(), "1500");
    EXPECT_EQ(record.getSpeed(), 0) << "Half";
    EXPECT_EQ(record.getState(), "Other") << "the administrative status reads as Down, the link as 0";
    EXPECT_EQ(record.getHealth(), "Unknown");
}

TEST_F(Adapter, AnyNumberOfWordsIsHandledWithoutReadingPastThem) {
    for (std::size_t count = 0; count < 8; ++count) {
        Words words = line();
        words.resize(count);
        const PhyAdapterInventory record = discover(words);
        EXPECT_EQ(record.getMACAddress(), "Not Available");
        EXPECT_EQ(record.getIntfName(), count > 0 ? "vmnic0" : "Not Available");
        EXPECT_EQ(record.getLinkStatus(), count > 4 ? "Up" : "Not Available");
        EXPECT_EQ(record.getSpeed(), count > 5 ? 10000 : 0);
        EXPECT_EQ(record.getPCIDescription(), count > 1 ? "PCI 0000:81:00.0 " : "Not Available");
        EXPECT_EQ(record.getPhyLocation(), "FFFFFFFFFFFFFFFF");
        // A missing link status counts like any that is not in the table.
        EXPECT_EQ(record.getState(), count > 3 ? "Online" : "Other") << count;
        EXPECT_EQ(record.getHealth(), count > 3 ? "OK" : "Unknown") << count;
        EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: A line of the interface list has only " +
                                        std::to_string(count) + " words"));
    }
}

TEST_F(Adapter, EightWordsAreACompleteLine) {
    Words words = line();
    words.resize(8);
    EXPECT_EQ(discover(words).getMACAddress(), "7c:d3:0a:00:00:01");
    for (const std::string& each : loggedLines(host))
        EXPECT_THAT(each, Not(HasSubstr("interface list has only")));
}

TEST_F(Adapter, APseudoDeviceIsRecordedWithoutALocation) {
    const PhyAdapterInventory record = discover(
        {"vusb0", "Pseudo", "ax88179_178a", "Up", "Up", "1000", "Full", "00:0a:cd:00:23:6a", "1500"});
    EXPECT_EQ(record.getPCIDescription(), "PCI Pseudo ");
    EXPECT_EQ(record.getPhyLocation(), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(record.getState(), "Online");
    for (const std::string& command : commands.texts()) EXPECT_THAT(command, Not(HasSubstr("Pseudo")));
}

// --- firmware ---

TEST_F(Adapter, TheFirmwareVersionMayHoldBlanksAndColonsAndHasNoNewline) {
    firmware = "         Firmware Version: FFV7.10.18 bc: 7.10.11\n";
    EXPECT_EQ(discover(line()).getFirmVersion(), "FFV7.10.18 bc: 7.10.11");
    EXPECT_EQ(commandCount("localcli network nic get -n vmnic0 > /opt/mev/vok/data/vok_nicAddDetails.txt"),
              1);
    EXPECT_EQ(commandCount("grep \"Firmware Version\" /opt/mev/vok/data/vok_nicAddDetails.txt"), 1);
    EXPECT_TRUE(workFilesAreGone());
}

TEST_F(Adapter, TheVersionStartsTwoCharactersAfterTheFirstColon) {
    constexpr struct {
        const char* line;
        const char* version;
    } rows[] = {
        {"   Firmware Version:6.80\n", ".80"},  // its first character is taken for the blank
        {"   Firmware Version:  6.80 \n", " 6.80 "},
        {"   Firmware Version: \n", ""},
        {"   Firmware Version:\n", ""},
        {"   Firmware Version: 6.80\r\n", "6.80"},
        {"   Firmware Version: 6.80", "6.80"},
        {"   Firmware Version: 6.80\n   Old Firmware Version: 6.70\n", "6.80"},
        {"   Firmware Version 6.80\n", "Not Available"},
    };
    for (const auto& row : rows) {
        firmware = row.line;
        EXPECT_EQ(discover(line()).getFirmVersion(), row.version) << row.line;
    }
}

TEST_F(Adapter, TheDetailsAreCompleteWhenTheyAreSearched) {
    int runningAtSearch = -1;
    const auto others = commands.onCommand;
    commands.onCommand = [&](const std::string& command, int& status) {
        if (command.rfind("grep \"Firmware Version\"", 0) == 0) runningAtSearch = commands.openStreams();
        return others(command, status);
    };
    discover(line());
    EXPECT_EQ(runningAtSearch, 0);
    EXPECT_EQ(commands.openStreams(), 0);
}

TEST_F(Adapter, WithoutAFirmwareLineTheVersionIsNotAvailable) {
    firmware = "";
    EXPECT_EQ(discover(line()).getFirmVersion(), "Not Available");
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: Error occurred in identifying fw version."));
    EXPECT_TRUE(workFilesAreGone());
}

TEST_F(Adapter, ACommandThatCannotBeStartedLeavesTheVersionNotAvailable) {
    commands.failToStart = true;
    EXPECT_EQ(discover(line()).getFirmVersion(), "Not Available");
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: Error occurred in identifying fw version."));
}

TEST_F(Adapter, AFailingFirmwareQueryIsLoggedOnceWithItsStatus) {
    const auto others = commands.onCommand;
    int queryStatus = 1 << 8;
    commands.onCommand = [&](const std::string& command, int& status) {
        const std::string text = others(command, status);
        if (command.rfind("localcli network nic get", 0) == 0) status = queryStatus;
        return text;
    };
    const std::string command = std::string(" : localcli network nic get -n vmnic0 > ") + detailsFile;
    for (int build = 0; build < 3; ++build) discover(line());
    EXPECT_EQ(countLogged(host, "WARNING NIC_CTRL: Command failed (exit status 1)" + command), 1);
    queryStatus = 0;
    for (int build = 0; build < 3; ++build) discover(line());
    EXPECT_EQ(countLogged(host, "INFO NIC_CTRL: Command succeeds again" + command), 1);
}

TEST_F(Adapter, AFirmwareLineOfAnyLengthIsCutToTheBuffer) {
    firmware = "Firmware Version: " + std::string(5000, 'x') + "\n";
    EXPECT_EQ(discover(line()).getFirmVersion(), std::string(511 - 18, 'x'));
}

TEST_F(Adapter, ANameThatIsNotAnInterfaceNameIsUsedInNoCommand) {
    for (const std::string& name :
         {std::string("vmnic0;reboot"), std::string("$(reboot)"), std::string("-n"), std::string("a b"),
          std::string("vm'nic"), std::string("`x`"), std::string("a|b"), std::string("a/b"),
          std::string("vmnic0\0", 7), std::string("vmnic0\n"), std::string("vmnic0>x"), std::string()}) {
        Words words = line();
        words[0] = name;
        EXPECT_EQ(discover(words).getFirmVersion(), "Not Available") << name;
    }
    for (const std::string& command : commands.texts())
        EXPECT_THAT(command, Not(HasSubstr("nic get"))) << command;
}

TEST_F(Adapter, ANameOfFifteenCharactersIsQueried) {
    Words words = line();
    words[0] = "enp129s0f0np0.4";
    EXPECT_EQ(discover(words).getFirmVersion(), "6.80 0x80003ce6 1.2074.0");
}

// --- ids and products ---

class KnownAdapter : public Adapter {
protected:
    KnownAdapter() {
        const auto others = commands.onCommand;
        commands.onCommand = [this, others](const std::string& command, int& status) -> std::string {
            if (command.find("grep -w 'SubVendor ID:") != std::string::npos)
                return "   SubVendor ID: 0x8086\n" + subDeviceLine;
            if (command.find("grep -w 'Vendor ID:") != std::string::npos)
                return vendorLine + "   Device ID: " + device + "\n";
            return others(command, status);
        };
    }
    std::string vendorLine = "   Vendor ID: 0x8086\n";
    std::string subDeviceLine = "   SubDevice ID: 0x0001\n";
    std::string device = "0x1563";
};

TEST_F(KnownAdapter, WithOneIdMissingTheOtherThreeAreLoggedAndNoModelIsLookedUp) {
    vendorLine = "";
    EXPECT_EQ(discover(line()).getNICModel(), "Not Available");
    EXPECT_TRUE(
        hasLogged(host,
                  "DEBUG NIC_CTRL: Unable to fetch the Model string for Vendor : , Device : 0x1563,SubVendor "
                  ": 0x8086, SubDevice : 0x0001"));
    EXPECT_FALSE(hasLogged(host, "DEBUG NIC_CTRL: Unable to fetch the Model string for vmnic0"));
}

TEST_F(KnownAdapter, WithoutADeviceIdItIsTheSame) {
    device = "none";
    EXPECT_EQ(discover(line()).getNICModel(), "Not Available");
    EXPECT_TRUE(
        hasLogged(host,
                  "DEBUG NIC_CTRL: Unable to fetch the Model string for Vendor : 0x8086, Device : ,SubVendor "
                  ": 0x8086, SubDevice : 0x0001"));
}

TEST_F(KnownAdapter, WithoutASubsystemDeviceIdItIsTheSame) {
    subDeviceLine = "";
    EXPECT_EQ(discover(line()).getNICModel(), "Not Available");
    EXPECT_TRUE(hasLogged(host,
                          "DEBUG NIC_CTRL: Unable to fetch the Model string for Vendor : 0x8086, Device : "
                          "0x1563,SubVendor : 0x8086, SubDevice : "));
}

TEST_F(KnownAdapter, AModelThatIsNotFoundLeavesTheTextUnchanged) {
    std::string model = "as before";
    EXPECT_FALSE(physical.getNICModel("0x8086", "0x1563", "0x8086", "0xffff", model));
    EXPECT_EQ(model, "as before");
    EXPECT_TRUE(physical.getNICModel("0x8086", "0x1563", "0x8086", "0x0001", model));
    EXPECT_EQ(model, "MEV 2-port 10GbE adapter, copper");
}

TEST_F(KnownAdapter, TheModelIsThatOfTheProductTable) {
    EXPECT_EQ(discover(line()).getNICModel(), "MEV 2-port 10GbE adapter, copper");
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: subvendorDev1 =0x8086,subvendorDev2 =0x0001"));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: vendorDev1 =0x8086,vendorDev2 =0x1563"));
}

TEST_F(KnownAdapter, ADeviceThatIsNoProductHasNoModelAndNoPartNumber) {
    device = "0xffff";
    const PhyAdapterInventory record = discover(line());
    EXPECT_EQ(record.getNICModel(), "Not Available");
    EXPECT_EQ(record.getPartNumber(), "Not Available");
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: Unable to fetch the Model string for vmnic0"));
}

TEST_F(KnownAdapter, OnAnUnknownPlatformAProductHasNoPartNumber) {
    EXPECT_EQ(discover(line()).getPartNumber(), "Not Available");
}

TEST_F(KnownAdapter, TheIdsOfAFunctionAreQueriedOnce) {
    discover(line());
    const std::size_t first = commands.texts().size();
    discover(line());
    for (std::size_t i = first; i < commands.texts().size(); ++i)
        EXPECT_THAT(commands.texts()[i], Not(HasSubstr("grep -w"))) << commands.texts()[i];
}

TEST(EthernetProducts, AreFoundInEitherCaseByAllFourIds) {
    const vokNICProduct* const product = vokFindNICProduct("0x15B3", "0x1015", "0x15b3", "0x0004");
    ASSERT_NE(product, nullptr);
    EXPECT_STREQ(product->model, "MEV 2-port 25GbE adapter, SFP28");
    EXPECT_STREQ(product->partNumberFirstPlatform, "MEV-1000-120A");
    EXPECT_STREQ(product->partNumberSecondPlatform, "MEV-1000-320A");
    EXPECT_STREQ(product->partNumberSecondPlatformVariant, "MEV-1000-321A");
    EXPECT_EQ(vokFindNICProduct("0x15b3", "0x1015", "0x15b3", "0x0005"), nullptr);
    EXPECT_EQ(vokFindNICProduct("", "", "", ""), nullptr) << "the row after the last is not a product";
}

// --- status, state and health ---

TEST(EthernetStatus, FollowsItsTable) {
    constexpr struct {
        const char* admin;
        const char* link;
        int status;
    } rows[] = {
        {"up", "down", 4}, {"up", "unknown", 3}, {"up", "up", 1},     {"up", "", 1},
        {"Up", "Down", 4}, {"UP", "UNKNOWN", 3}, {"down", "down", 5}, {"Down", "DOWN", 5},
        {"down", "up", 6}, {"", "down", 5},      {"", "", 6},         {"down", "unknown", 6},
    };
    for (const auto& row : rows)
        EXPECT_EQ(NICPhysicalAdapter::get_adapter_status(row.link, row.admin), row.status)
            << row.admin << " " << row.link;
}

TEST(EthernetStatus, APortWhoseLinkIsDownIsStillHealthy) {
    constexpr struct {
        int status;
        const char* state;
        const char* health;
    } rows[] = {
        {1, "Online", "OK"},     {2, "Online", "OK"},      {3, "Offline", "Critical"},
        {4, "Linkdown", "OK"},   {5, "Offline", "OK"},     {6, "Other", "Unknown"},
        {0, "Other", "Unknown"}, {-1, "Other", "Unknown"}, {7, "Other", "Unknown"},
    };
    for (const auto& row : rows) {
        VOK_RESOURCE_STATE state = VOK_STATE_BYPASSED;
        VOK_RESOURCE_HEALTH health = VOK_HEALTH_WARNING;
        NICPhysicalAdapter::setNICStateHealthValues(row.status, state, health);
        EXPECT_STREQ(vokResourceStateMap[state], row.state) << row.status;
        EXPECT_STREQ(vokResourceHealthMap[health], row.health) << row.status;
    }
}

TEST(EthernetCondition, TheFirstMatchingRuleApplies) {
    const FakeHost host;
    constexpr struct {
        VOK_RESOURCE_STATE curState;
        VOK_RESOURCE_HEALTH curHealth;
        VOK_RESOURCE_STATE prevState;
        VOK_RESOURCE_HEALTH prevHealth;
        int condition;
    } rows[] = {
        {VOK_STATE_LINKDOWN, VOK_HEALTH_OK, VOK_STATE_ONLINE, VOK_HEALTH_OK, 4},
        {VOK_STATE_LINKDOWN, VOK_HEALTH_OK, VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL, 4},
        {VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL, VOK_STATE_LINKDOWN, VOK_HEALTH_OK, 3},
        {VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL, VOK_STATE_ONLINE, VOK_HEALTH_OK, 3},
        {VOK_STATE_ONLINE, VOK_HEALTH_OK, VOK_STATE_LINKDOWN, VOK_HEALTH_OK, 2},
        {VOK_STATE_ONLINE, VOK_HEALTH_OK, VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL, 1},
        {VOK_STATE_ONLINE, VOK_HEALTH_OK, VOK_STATE_OFFLINE, VOK_HEALTH_OK, -1},
        {VOK_STATE_OFFLINE, VOK_HEALTH_OK, VOK_STATE_ONLINE, VOK_HEALTH_OK, -1},
        {VOK_STATE_OFFLINE, VOK_HEALTH_OK, VOK_STATE_LINKDOWN, VOK_HEALTH_OK, -1},
        {VOK_STATE_OTHER, VOK_HEALTH_UNKNOWN, VOK_STATE_ONLINE, VOK_HEALTH_OK, -1},
        {VOK_STATE_ONLINE, VOK_HEALTH_OK, VOK_STATE_OTHER, VOK_HEALTH_UNKNOWN, -1},
    };
    for (const auto& row : rows) {
        int condition = 99;
        NICPhysicalAdapter::fetchNICAdapterCondition(row.curState, row.curHealth, row.prevState,
                                                     row.prevHealth, "vmnic0", condition);
        EXPECT_EQ(condition, row.condition) << row.prevState << " to " << row.curState;
    }
}

TEST(EthernetCondition, AChangeWithoutARuleIsLogged) {
    const FakeHost host;
    logEverything(host);
    int condition = 0;
    NICPhysicalAdapter::fetchNICAdapterCondition(VOK_STATE_OFFLINE, VOK_HEALTH_OK, VOK_STATE_ONLINE,
                                                 VOK_HEALTH_OK, "vmnic3", condition);
    EXPECT_TRUE(hasLogged(host,
                          "DEBUG NIC_CTRL: State change for vmnic3 card noticed fromPrevState : Online, "
                          "PrevHealth : OK toCurrentState : Offline, CurrentHealth : OK"));
}

TEST(EthernetCondition, MapsToItsEvent) {
    constexpr struct {
        int condition;
        int event;
        bool isService;
    } rows[] = {{4, 1384, true}, {3, 678, true}, {2, 1390, false}, {1, 680, false},
                {0, 0, false},   {-1, 0, false}, {5, 0, false}};
    for (const auto& row : rows) {
        int event = 99;
        bool isService = true;
        NICPhysicalAdapter::setEventAttributes(row.condition, event, isService);
        EXPECT_EQ(event, row.event) << row.condition;
        EXPECT_EQ(isService, row.isService) << row.condition;
    }
}

}  // namespace
}  // namespace NICPhysicalAdapterTest
