// The stand-ins of the HBA libraries against a running simulated host: what they list, and how it changes.
#include <filesystem>

#include "simhost/HbaLibrary.h"

namespace SimulatedFcTest {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::vector<int> bytesOf(const fc::Wwn& wwn) {
    return {std::begin(wwn.bytes), std::end(wwn.bytes)};
}

class SimulatedFc : public FibreChannelMachine {};

TEST_F(SimulatedFc, TheRootHasTheLibrariesAndTheirList) {
    startDescribed();
    EXPECT_EQ(directory.readFile("/it's a \"host\"/etc/config/mev/vok/hba.conf"),
              "# HBA libraries: name, library\nvokfca\tlibvokfca.so\nvokfcb\t/lib/libvokfcb.so\n");
    EXPECT_TRUE(fs::exists(root() + "/lib/libvokfca.so"));
    EXPECT_TRUE(fs::exists(root() + "/lib/libvokfcb.so"));
}

TEST_F(SimulatedFc, AHostWithoutTheKeyHasNeitherAlsoInARootThatHadThem) {
    startDescribed();
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startHost({}, "bare");
    EXPECT_FALSE(fs::exists(root() + "/etc/config/mev/vok/hba.conf"));
    EXPECT_FALSE(fs::is_symlink(root() + "/lib/libvokfca.so"));
    EXPECT_FALSE(fs::is_symlink(root() + "/lib/libvokfcb.so"));
    EXPECT_EQ(hostState()["fibreChannelLibraries"].size(), 0u);
}

TEST_F(SimulatedFc, EachLibraryListsItsAdaptersPerPortOrAsAWhole) {
    startDescribed();
    const auto a = first(), b = second();
    EXPECT_EQ(a->registered, 0u);
    EXPECT_EQ(a->table.getVersion(), 1u);
    EXPECT_EQ(a->table.loadLibrary(), 0u);
    EXPECT_THAT(a->names(), ElementsAre("vokfca-vmhba2", "vokfca-vmhba3"));
    EXPECT_THAT(b->names(), ElementsAre("vokfcb-vmhba4", "vokfcb-vmhba6"));
    char name[fc::nameSize];
    EXPECT_EQ(a->table.getAdapterName(2, name), 6u);
    EXPECT_EQ(a->table.freeLibrary(), 0u);
}

TEST_F(SimulatedFc, AnAdaptersAttributesAreThoseOfItsCardAndItsDriver) {
    startDescribed();
    const auto a = first();
    const fc::AdapterAttributes card = a->attributesOf(a->open("vokfca-vmhba2"));
    EXPECT_STREQ(card.manufacturer, "Maker A");
    EXPECT_STREQ(card.serialNumber, "FC1");
    EXPECT_STREQ(card.model, "A32002");
    EXPECT_STREQ(card.modelDescription, "A card");
    EXPECT_STREQ(card.hardwareVersion, "0c");
    EXPECT_STREQ(card.driverVersion, "14");
    EXPECT_STREQ(card.optionRomVersion, "12.8");
    EXPECT_STREQ(card.firmwareVersion, "12.9");
    EXPECT_STREQ(card.driverName, "lpfc");
    EXPECT_THAT(bytesOf(card.nodeWwn), ElementsAre(0x20, 0, 0, 0x90, 0xfa, 0x7c, 0x41, 0xd0));
    EXPECT_EQ(card.numberOfPorts, 1u);

    const auto b = second();
    const fc::AdapterAttributes whole = b->attributesOf(b->open("vokfcb-vmhba4"));
    EXPECT_STREQ(whole.manufacturer, "Maker B");
    EXPECT_STREQ(whole.serialNumber, "SB");
    EXPECT_STREQ(whole.model, "B2");
    EXPECT_EQ(whole.numberOfPorts, 2u);
    EXPECT_STREQ(b->attributesOf(b->open("vokfcb-vmhba6")).serialNumber, "FC210000e08b4a2000");
}

TEST_F(SimulatedFc, APortsAttributesAgreeWithTheListOfLocalcli) {
    startDescribed();
    const auto a = first(), b = second();
    const fc::PortAttributes up = a->portOf(a->open("vokfca-vmhba2"));
    EXPECT_THAT(bytesOf(up.nodeWwn), ElementsAre(0x20, 0, 0, 0x90, 0xfa, 0x7c, 0x41, 0xd0));
    EXPECT_THAT(bytesOf(up.portWwn), ElementsAre(0x10, 0, 0, 0x90, 0xfa, 0x7c, 0x41, 0xd0));
    EXPECT_EQ(up.portFcId, 0x010200u);
    EXPECT_EQ(up.portType, 5u);
    EXPECT_EQ(up.portState, 2u);
    EXPECT_EQ(up.supportedSpeed, 0x40u);
    EXPECT_EQ(up.speed, 0x40u);
    EXPECT_STREQ(up.osDeviceName, "vmhba2");
    EXPECT_THAT(portBlock("vmhba2"), HasSubstr("   Node Name: 20:00:00:90:fa:7c:41:d0\n"
                                               "   Port Name: 10:00:00:90:fa:7c:41:d0\n"
                                               "   Speed: 32 Gbps\n"
                                               "   Port Type: NPort\n"
                                               "   Port State: ONLINE\n"));

    const fc::PortAttributes down = a->portOf(a->open("vokfca-vmhba3"));
    EXPECT_EQ(down.portState, 6u);
    EXPECT_EQ(down.portFcId, 0u);
    EXPECT_EQ(down.supportedSpeed, 0x20u);
    EXPECT_EQ(down.speed, 0u);
    EXPECT_THAT(portBlock("vmhba3"), HasSubstr("   Port State: LINKDOWN\n"));

    const fc::Handle whole = b->open("vokfcb-vmhba4");
    EXPECT_THAT(bytesOf(b->portOf(whole, 0).portWwn), ElementsAre(0x21, 0, 0, 0xe0, 0x8b, 0x4a, 0x10, 0));
    EXPECT_THAT(bytesOf(b->portOf(whole, 1).portWwn), ElementsAre(0x21, 1, 0, 0xe0, 0x8b, 0x4a, 0x10, 0));
    EXPECT_EQ(b->portStatus(whole, 2), 6u);
}

TEST_F(SimulatedFc, EveryStateOfAPortIsThatOfTheLibraryAndOfLocalcli) {
    startDescribed();
    const auto a = first();
    const fc::Handle handle = a->open("vokfca-vmhba2");
    constexpr struct {
        const char* word;
        std::uint32_t state;
        const char* text;
        const char* link;
    } rows[] = {
        {"unknown", 1, "UNKNOWN", "link-down"},
        {"online", 2, "ONLINE", "link-up"},
        {"offline", 3, "OFFLINE", "link-down"},
        {"bypassed", 4, "BYPASSED", "link-down"},
        {"diagnostics", 5, "DIAGNOSTICS", "link-down"},
        {"linkdown", 6, "LINKDOWN", "link-down"},
        {"error", 7, "ERROR", "link-down"},
        {"loopback", 8, "LOOPBACK", "link-down"},
        {"degraded", 9, "DEGRADED", "link-down"},
        {"7", 7, "ERROR", "link-down"},
        {"4294967295", 4294967295, "4294967295", "link-down"},
        {"0", 0, "0", "link-down"},
        {"2", 2, "ONLINE", "link-up"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(hostControl({"fc", "vmhba2", row.word}), "ok\n");
        EXPECT_EQ(a->portOf(handle).portState, row.state) << row.word;
        const bool online = row.state == 2;
        EXPECT_THAT(portBlock("vmhba2"),
                    HasSubstr(std::string("   Port ID: ") + (online ? "010200" : "000000") + "\n"));
        EXPECT_THAT(portBlock("vmhba2"),
                    HasSubstr(std::string("   Speed: ") + (online ? "32 Gbps" : "0 Gbps") + "\n"));
        EXPECT_THAT(portBlock("vmhba2"), HasSubstr(std::string("   Port State: ") + row.text + "\n"));
        EXPECT_THAT(localcli({"storage", "core", "adapter", "list"}),
                    HasSubstr(std::string("vmhba2    lpfc    ") + row.link));
    }
}

TEST_F(SimulatedFc, APortIsNamedByItsAdapterAndItsNumberOrByItself) {
    startDescribed();
    hostControl({"fc", "vokfcb-vmhba4", "1", "offline"});
    EXPECT_THAT(portBlock("vmhba4"), HasSubstr("Port State: ONLINE\n"));
    EXPECT_THAT(portBlock("vmhba5"), HasSubstr("Port State: OFFLINE\n"));
    hostControl({"fc", "vmhba4", "linkdown"});
    EXPECT_THAT(portBlock("vmhba4"), HasSubstr("Port State: LINKDOWN\n"));
    hostControl({"fc", "vmhba4", "1", "error"});
    EXPECT_THAT(portBlock("vmhba5"), HasSubstr("Port State: ERROR\n"));
    hostControl({"fc", "vokfcb-vmhba6", "offline"});
    EXPECT_THAT(portBlock("vmhba6"), HasSubstr("Port State: OFFLINE\n"));
    EXPECT_EQ(refusal({"fc", "vokfcb-vmhba4", "offline"}), 2) << "which of its two ports?";
}

TEST_F(SimulatedFc, AHandleIsOfOneOpeningAndOneProcess) {
    startDescribed();
    const auto a = first(), b = second();
    const fc::Handle one = a->open("vokfca-vmhba2"), other = a->open("vokfca-vmhba3");
    EXPECT_NE(one, 0u);
    EXPECT_NE(one, other);
    EXPECT_EQ(bytesOf(a->attributesOf(one).nodeWwn).back(), 0xd0);
    EXPECT_EQ(bytesOf(a->attributesOf(other).nodeWwn).back(), 0xd1);
    a->table.closeAdapter(one);
    EXPECT_EQ(a->adapterStatus(one), 3u);
    EXPECT_EQ(a->adapterStatus(other), 0u);
    a->table.freeLibrary();
    EXPECT_EQ(a->adapterStatus(other), 3u);
    EXPECT_EQ(b->open("vokfcb-vmhba6") & 0xFFFF0000, 0xB0000000u) << "its upper half is not zero";
    EXPECT_EQ(a->open("vokfcb-vmhba6"), 0u) << "an adapter of the other library";
    EXPECT_EQ(a->open(""), 0u);
}

TEST_F(SimulatedFc, NoHandleHasALowestByteOfZero) {
    startDescribed();
    const auto a = first();
    for (int i = 0; i < 300; ++i) {
        const fc::Handle handle = a->open("vokfca-vmhba2");
        EXPECT_NE(handle & 0xFF, 0u);
        a->table.closeAdapter(handle);
    }
}

TEST_F(SimulatedFc, AnAdapterThatIsNotClosedIsForgottenAfterAThousandOthers) {
    startDescribed();
    const auto a = first();
    const fc::Handle oldest = a->open("vokfca-vmhba2");
    for (int i = 0; i < 1023; ++i) a->open("vokfca-vmhba2");
    EXPECT_EQ(a->adapterStatus(oldest), 0u);
    a->open("vokfca-vmhba2");
    EXPECT_EQ(a->adapterStatus(oldest), 3u);
    EXPECT_EQ(hostState()["fibreChannelLibraries"][0]["open"].asInt(), 1024);
}

TEST_F(SimulatedFc, AnAdapterThatVanishesIsInNoListAndItsHandleIsOfNoUse) {
    startDescribed();
    const auto b = second();
    const fc::Handle handle = b->open("vokfcb-vmhba4");
    hostControl({"fc", "vokfcb-vmhba4", "vanish"});
    EXPECT_THAT(b->names(), ElementsAre("vokfcb-vmhba6"));
    EXPECT_EQ(b->adapterStatus(handle), 12u);
    EXPECT_EQ(b->portStatus(handle, 0), 12u);
    EXPECT_EQ(b->open("vokfcb-vmhba4"), 0u);
    EXPECT_EQ(portBlock("vmhba4") + portBlock("vmhba5"), "");
    EXPECT_THAT(localcli({"storage", "core", "adapter", "list"}), testing::Not(HasSubstr("vmhba5")));
    hostControl({"fc", "vmhba5", "return"});
    EXPECT_THAT(b->names(), ElementsAre("vokfcb-vmhba4", "vokfcb-vmhba6"));
    EXPECT_EQ(b->adapterStatus(handle), 0u);
    EXPECT_NE(portBlock("vmhba4"), "");
}

TEST_F(SimulatedFc, AnAdapterVanishesBetweenTwoCalls) {
    startDescribed();
    const auto b = second();
    hostControl({"fc", "vmhba4", "vanish", "--after", "GetNumberOfAdapters"});
    EXPECT_EQ(first()->table.getNumberOfAdapters(), 2u) << "of the other library";
    EXPECT_EQ(b->table.getNumberOfAdapters(), 2u);
    EXPECT_EQ(b->table.getNumberOfAdapters(), 1u);
    hostControl({"fc", "vmhba4", "return"});

    hostControl({"fc", "vmhba4", "vanish", "--after", "GetAdapterName"});
    char name[fc::nameSize];
    EXPECT_EQ(b->table.getAdapterName(1, name), 0u) << "that of the other adapter";
    EXPECT_EQ(b->table.getAdapterName(0, name), 0u);
    EXPECT_STREQ(name, "vokfcb-vmhba4");
    EXPECT_EQ(b->table.openAdapter(name), 0u);
    hostControl({"fc", "vmhba4", "return"});

    hostControl({"fc", "vmhba4", "vanish", "--after", "GetAdapterAttributes"});
    const fc::Handle handle = b->open("vokfcb-vmhba4");
    EXPECT_EQ(b->attributesOf(handle).numberOfPorts, 2u);
    EXPECT_EQ(b->portStatus(handle, 0), 12u);
}

TEST_F(SimulatedFc, AReturnCancelsAVanishingThatIsStillToCome) {
    startDescribed();
    const auto b = second();
    hostControl({"fc", "vmhba4", "vanish", "--after", "GetNumberOfAdapters"});
    hostControl({"fc", "vmhba4", "return"});
    b->table.getNumberOfAdapters();
    EXPECT_EQ(b->table.getNumberOfAdapters(), 2u);
}

TEST_F(SimulatedFc, AnAdapterMayReportMorePortsThanItHas) {
    std::string text = description;
    text.replace(text.find(R"("ports": ["vmhba2")"), 0, R"("reportedPorts": 2, )");
    startDescribed(text);
    const auto a = first();
    const fc::Handle handle = a->open("vokfca-vmhba3");
    EXPECT_EQ(a->attributesOf(handle).numberOfPorts, 2u);
    EXPECT_EQ(bytesOf(a->portOf(handle, 0).portWwn).back(), 0xd1);
    EXPECT_EQ(a->portStatus(handle, 1), 6u);
    hostControl({"fc", "vokfca-vmhba3", "reported-ports", "5000"});
    EXPECT_EQ(a->attributesOf(handle).numberOfPorts, 5000u);
    EXPECT_EQ(a->attributesOf(a->open("vokfca-vmhba2")).numberOfPorts, 2u);
}

TEST_F(SimulatedFc, AHostThatGoesDownForgetsWhatWasOpened) {
    startDescribed();
    const auto a = first();
    const fc::Handle handle = a->open("vokfca-vmhba2");
    hostControl({"reboot"});
    EXPECT_EQ(a->adapterStatus(handle), 3u);
}

TEST_F(SimulatedFc, WithoutAHostEachCallFails) {
    startDescribed();
    const auto a = first();
    const fc::Handle handle = a->open("vokfca-vmhba2");
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    EXPECT_EQ(a->table.getVersion(), 0u);
    EXPECT_EQ(a->table.loadLibrary(), 1u);
    EXPECT_EQ(a->table.getNumberOfAdapters(), 0u);
    EXPECT_EQ(a->open("vokfca-vmhba2"), 0u);
    EXPECT_EQ(a->adapterStatus(handle), 1u);
    EXPECT_EQ(first()->registered, 1u);
}

TEST_F(SimulatedFc, ShowCountsTheCallsOfEachLibraryAndAdapter) {
    startDescribed();
    const auto a = first();
    a->names();
    const fc::Handle handle = a->open("vokfca-vmhba3");
    a->portOf(handle);
    a->portOf(handle);
    const Json::Value state = hostState();
    const Json::Value& library = state["fibreChannelLibraries"][0];
    EXPECT_EQ(library["library"].asString(), "libvokfca.so");
    EXPECT_EQ(library["open"].asInt(), 1);
    EXPECT_EQ(library["calls"]["RegisterLibrary"].asInt(), 1);
    EXPECT_EQ(library["calls"]["GetAdapterName"].asInt(), 2);
    EXPECT_EQ(library["calls"]["GetAdapterPortAttributes"].asInt(), 2);
    ASSERT_EQ(state["fibreChannelAdapters"].size(), 4u);
    const Json::Value& adapter = state["fibreChannelAdapters"][1];
    EXPECT_EQ(adapter["name"].asString(), "vokfca-vmhba3");
    EXPECT_EQ(adapter["nodeName"].asString(), "20:00:00:90:fa:7c:41:d1");
    EXPECT_EQ(adapter["calls"]["OpenAdapter"].asInt(), 1);
    EXPECT_EQ(adapter["calls"]["GetAdapterPortAttributes"].asInt(), 2);
    EXPECT_TRUE(state["fibreChannelAdapters"][0]["calls"]["OpenAdapter"].isNull());
    ASSERT_EQ(state["fibreChannelPorts"].size(), 5u);
    const Json::Value& port = state["fibreChannelPorts"][3];
    EXPECT_EQ(port["name"].asString(), "vmhba5");
    EXPECT_EQ(port["adapter"].asString(), "vokfcb-vmhba4");
    EXPECT_EQ(port["port"].asInt(), 1);
    EXPECT_EQ(port["state"].asString(), "ONLINE");
    EXPECT_EQ(port["portName"].asString(), "21:01:00:e0:8b:4a:10:00");
}

TEST_F(SimulatedFc, TheOtherEntryPointsHaveTheirAnswersToo) {
    startDescribed();
    const auto b = second();
    const fc::EntryPoints& table = b->table;
    const fc::Handle handle = b->open("vokfcb-vmhba4");
    fc::PortAttributes port{};
    EXPECT_EQ(table.getPortAttributesByWwn(handle, {{0x21, 1, 0, 0xe0, 0x8b, 0x4a, 0x10, 0}}, &port), 0u);
    EXPECT_STREQ(port.osDeviceName, "vmhba5");
    EXPECT_EQ(table.getPortAttributesByWwn(handle, {{0x21, 2, 0, 0xe0, 0x8b, 0x4a, 0x10, 0}}, &port), 5u);
    EXPECT_EQ(table.getDiscoveredPortAttributes(handle, 0, 0, &port), 6u);
    fc::PortStatistics statistics{};
    EXPECT_EQ(table.getPortStatistics(handle, 1, &statistics), 0u);
    EXPECT_EQ(statistics.counters[1], 4000);
    EXPECT_EQ(table.getPortStatistics(handle, 2, &statistics), 6u);
    fc::TargetMapping mapping{};
    mapping.numberOfEntries = 1;
    EXPECT_EQ(table.getFcpTargetMapping(handle, &mapping), 0u);
    EXPECT_EQ(mapping.numberOfEntries, 0u);
    fc::PersistentBinding binding{};
    binding.numberOfEntries = 1;
    EXPECT_EQ(table.getFcpPersistentBinding(handle, &binding), 0u);
    EXPECT_EQ(binding.numberOfEntries, 0u);
    fc::EventInfo event{};
    std::uint32_t count = 1;
    EXPECT_EQ(table.getEventBuffer(handle, &event, &count), 0u);
    EXPECT_EQ(count, 0u);
    fc::ManagementInfo info{};
    EXPECT_EQ(table.getRnidMgmtInfo(handle, &info), 2u);
    EXPECT_EQ(table.setRnidMgmtInfo(handle, info), 2u);
    EXPECT_EQ(table.sendCtPassThru(handle, nullptr, 0, nullptr, 0), 2u);
    EXPECT_EQ(table.sendRnid(handle, {}, 0, nullptr, &count), 2u);
    EXPECT_EQ(table.scsiInquiry(handle, {}, 0, 0, 0, nullptr, 0, nullptr, 0), 2u);
    EXPECT_EQ(table.reportLuns(handle, {}, nullptr, 0, nullptr, 0), 2u);
    EXPECT_EQ(table.readCapacity(handle, {}, 0, nullptr, 0, nullptr, 0), 2u);
    table.refreshInformation(handle);
    table.resetStatistics(handle, 0);
    const Json::Value calls = hostState()["fibreChannelLibraries"][1]["calls"];
    EXPECT_EQ(calls["RefreshInformation"].asInt(), 1);
    EXPECT_EQ(calls["ResetStatistics"].asInt(), 1);
}

TEST_F(SimulatedFc, TheFirstLibraryExportsItsOneSymbolAlone) {
    startDescribed();
    const auto a = first(), b = second();
    for (const char* name : {"HBA_LoadLibrary", "HBA_GetNumberOfAdapters", "HBA_SendReadCapacity"}) {
        EXPECT_EQ(a->symbol(name), nullptr) << name;
        EXPECT_NE(b->symbol(name), nullptr) << name;
        EXPECT_EQ(::dlsym(RTLD_DEFAULT, name), nullptr) << name << " is a C function of the agent";
    }
}

TEST_F(SimulatedFc, TheSecondLibrarysHandlersCallTheFunctionOfTheStandardsNameThatIsFoundFirst) {
    startDescribed();
    void* const interposer = ::dlopen(VOK_HBA_INTERPOSER, RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(interposer, nullptr) << ::dlerror();
    EXPECT_EQ(second()->table.getNumberOfAdapters(), 77u);
    EXPECT_EQ(first()->table.getNumberOfAdapters(), 2u);
    ::dlclose(interposer);
    EXPECT_EQ(second()->table.getNumberOfAdapters(), 2u);
}

TEST_F(SimulatedFc, ALibraryMayBeMissingOrLackItsSymbol) {
    startDescribed();
    EXPECT_EQ(hostControl({"library", "libvokfca.so", "without-entry-point"}), "ok\n");
    void* const opened = ::dlopen((root() + "/lib/libvokfca.so").c_str(), RTLD_LAZY);
    ASSERT_NE(opened, nullptr) << ::dlerror();
    EXPECT_EQ(::dlsym(opened, "HBA_RegisterLibrary"), nullptr);
    ::dlclose(opened);
    hostControl({"library", "libvokfca.so", "absent"});
    EXPECT_FALSE(fs::exists(root() + "/lib/libvokfca.so"));
    hostControl({"library", "libvokfca.so", "present"});
    EXPECT_THAT(first()->names(), testing::SizeIs(2));
}

TEST_F(SimulatedFc, ALibraryOutsideOfAHostHasNoAdapters) {
    fs::create_directories(root() + "/lib");
    fs::create_symlink(VOK_HBA_LIBRARY, root() + "/lib/libvokfca.so");
    EXPECT_EQ(first()->registered, 1u);
}

}  // namespace
}  // namespace SimulatedFcTest
