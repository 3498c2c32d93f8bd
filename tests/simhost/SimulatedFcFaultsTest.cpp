// The calls of an HBA library that fail as told, and descriptions and commands that are refused.
#include <chrono>
#include <future>

#include "simhost/HbaLibrary.h"

namespace SimulatedFcFaultsTest {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char* entryNames[] = {
    "GetVersion",
    "LoadLibrary",
    "FreeLibrary",
    "GetNumberOfAdapters",
    "GetAdapterName",
    "OpenAdapter",
    "CloseAdapter",
    "GetAdapterAttributes",
    "GetAdapterPortAttributes",
    "GetPortStatistics",
    "GetDiscoveredPortAttributes",
    "GetPortAttributesByWWN",
    "SendCTPassThru",
    "RefreshInformation",
    "ResetStatistics",
    "GetFcpTargetMapping",
    "GetFcpPersistentBinding",
    "GetEventBuffer",
    "SetRNIDMgmtInfo",
    "GetRNIDMgmtInfo",
    "SendRNID",
    "ScsiInquiry",
    "ReportLUNs",
    "ReadCapacity",
};

class SimulatedFcFaults : public FibreChannelMachine {
protected:
    void fault(std::vector<std::string> words) {
        words.insert(words.begin(), {"fc", "call"});
        EXPECT_EQ(hostControl(words), "ok\n");
    }
};

// The results of the functions that return something, of adapter `handle`.
std::vector<std::uint32_t> results(const fc::EntryPoints& table, fc::Handle handle) {
    char name[fc::nameSize] = "vokfca-vmhba2";
    fc::AdapterAttributes adapter;
    fc::PortAttributes port;
    fc::PortStatistics statistics;
    fc::TargetMapping mapping;
    fc::PersistentBinding binding;
    fc::EventInfo event;
    fc::ManagementInfo info{};
    std::uint32_t count = 1;
    return {table.getVersion(),
            table.getNumberOfAdapters(),
            table.getAdapterName(0, name),
            table.openAdapter(name),
            table.getAdapterAttributes(handle, &adapter),
            table.getAdapterPortAttributes(handle, 0, &port),
            table.getPortStatistics(handle, 0, &statistics),
            table.getDiscoveredPortAttributes(handle, 0, 0, &port),
            table.getPortAttributesByWwn(handle, {}, &port),
            table.sendCtPassThru(handle, nullptr, 0, nullptr, 0),
            table.getFcpTargetMapping(handle, &mapping),
            table.getFcpPersistentBinding(handle, &binding),
            table.getEventBuffer(handle, &event, &count),
            table.setRnidMgmtInfo(handle, info),
            table.getRnidMgmtInfo(handle, &info),
            table.sendRnid(handle, {}, 0, nullptr, &count),
            table.scsiInquiry(handle, {}, 0, 0, 0, nullptr, 0, nullptr, 0),
            table.reportLuns(handle, {}, nullptr, 0, nullptr, 0),
            table.readCapacity(handle, {}, 0, nullptr, 0, nullptr, 0),
            table.loadLibrary(),
            table.freeLibrary()};
}

TEST_F(SimulatedFcFaults, EveryEntryPointFailsWithTheGivenStatus) {
    startDescribed();
    const auto a = first();
    const fc::Handle handle = a->open("vokfca-vmhba2");
    fault({"all", "all", "fail", "29"});
    EXPECT_THAT(results(a->table, handle), testing::Each(29u));
    EXPECT_EQ(first()->registered, 29u);
    fault({"all", "all", "normal"});
    EXPECT_EQ(first()->registered, 0u);
    EXPECT_EQ(a->adapterStatus(handle), 0u);
}

TEST_F(SimulatedFcFaults, EachEntryPointFailsAlone) {
    startDescribed();
    const auto a = first();
    for (const char* name : entryNames) {
        const std::string entry = name;
        if (entry == "CloseAdapter" || entry == "RefreshInformation" || entry == "ResetStatistics") {
            EXPECT_EQ(refusal({"fc", "call", "libvokfca.so", entry, "fail", "30001"}), 2) << entry;
            continue;
        }
        const fc::Handle handle = a->open("vokfca-vmhba2");
        fault({"libvokfca.so", entry, "fail", "30001"});
        const auto all = results(a->table, handle);
        EXPECT_EQ(std::count(all.begin(), all.end(), 30001u), 1) << entry;
        fault({"libvokfca.so", entry, "normal"});
    }
}

TEST_F(SimulatedFcFaults, EachEntryPointMayBeMissingInTheTable) {
    startDescribed();
    const auto complete = first();
    for (std::size_t i = 0; i < std::size(entryNames); ++i) {
        fault({"libvokfca.so", entryNames[i], "missing"});
        const auto a = first();
        const void* handlers[std::size(entryNames)];
        static_assert(sizeof(handlers) == sizeof(a->table));
        std::memcpy(handlers, &a->table, sizeof(handlers));
        for (std::size_t j = 0; j < std::size(entryNames); ++j)
            EXPECT_EQ(handlers[j] == nullptr, i == j) << entryNames[i] << " " << entryNames[j];
        fault({"libvokfca.so", entryNames[i], "normal"});
    }
    fault({"libvokfcb.so", "all", "missing"});
    EXPECT_EQ(second()->table.getVersion, nullptr);
    EXPECT_EQ(second()->table.readCapacity, nullptr);
    EXPECT_NE(first()->table.getVersion, nullptr);
    EXPECT_EQ(complete->table.getVersion(), 1u) << "a table that was filled before stays";
}

TEST_F(SimulatedFcFaults, AVersionANumberAndAHandleMayBeAny) {
    startDescribed();
    const auto a = first();
    fault({"libvokfca.so", "GetVersion", "fail", "0"});
    fault({"libvokfca.so", "GetNumberOfAdapters", "fail", "0xFFFFFFFF"});
    fault({"libvokfca.so", "OpenAdapter", "fail", "0x100"});
    EXPECT_EQ(a->table.getVersion(), 0u);
    EXPECT_EQ(a->table.getNumberOfAdapters(), 0xFFFFFFFFu);
    EXPECT_EQ(a->open("vokfca-vmhba2"), 0x100u);
    EXPECT_EQ(second()->table.getVersion(), 1u);
}

TEST_F(SimulatedFcFaults, AFailureLeavesTheRecordUntouched) {
    startDescribed();
    const auto a = first();
    const fc::Handle handle = a->open("vokfca-vmhba2");
    fault({"all", "GetAdapterPortAttributes", "fail", "1"});
    fc::PortAttributes port{};
    port.portState = 42;
    EXPECT_EQ(a->table.getAdapterPortAttributes(handle, 0, &port), 1u);
    EXPECT_EQ(port.portState, 42u);
}

TEST_F(SimulatedFcFaults, HoldForSoManyCallsOneAdapterOrOnePort) {
    startDescribed();
    const auto a = first(), b = second();
    fault({"libvokfca.so", "GetNumberOfAdapters", "fail", "9", "--count", "2"});
    EXPECT_EQ(a->table.getNumberOfAdapters(), 9u);
    EXPECT_EQ(a->table.getNumberOfAdapters(), 9u);
    EXPECT_EQ(a->table.getNumberOfAdapters(), 2u);

    fault({"all", "GetAdapterAttributes", "fail", "10", "--adapter", "vokfca-vmhba3"});
    EXPECT_EQ(a->adapterStatus(a->open("vokfca-vmhba2")), 0u);
    EXPECT_EQ(a->adapterStatus(a->open("vokfca-vmhba3")), 10u);

    fault({"all", "GetAdapterPortAttributes", "fail", "1", "--adapter", "vmhba4", "--port", "1"});
    const fc::Handle handle = b->open("vokfcb-vmhba4");
    EXPECT_EQ(b->portStatus(handle, 0), 0u);
    EXPECT_EQ(b->portStatus(handle, 1), 1u);
    fault({"all", "GetAdapterPortAttributes", "normal", "--port", "0"});
    EXPECT_EQ(b->portStatus(handle, 1), 1u) << "only the faults of port 0 are cancelled";
    fault({"all", "GetAdapterPortAttributes", "normal"});
    EXPECT_EQ(b->portStatus(handle, 1), 0u);
}

TEST_F(SimulatedFcFaults, TheNewestFaultHolds) {
    startDescribed();
    const auto a = first();
    fault({"all", "LoadLibrary", "fail", "1"});
    fault({"all", "LoadLibrary", "fail", "2"});
    EXPECT_EQ(a->table.loadLibrary(), 2u);
}

TEST_F(SimulatedFcFaults, RubbishHasTextsWithoutAnEndAndThousandsOfPorts) {
    startDescribed();
    const auto a = first();
    const fc::Handle handle = a->open("vokfca-vmhba2");
    fault({"libvokfca.so", "all", "rubbish"});
    const fc::AdapterAttributes adapter = a->attributesOf(handle);
    EXPECT_EQ(adapter.numberOfPorts, 5000u);
    EXPECT_EQ(std::memchr(&adapter, 0, offsetof(fc::AdapterAttributes, numberOfPorts)), nullptr);
    EXPECT_EQ(std::memchr(adapter.driverName, 0, sizeof(adapter.driverName)), nullptr);
    const fc::PortAttributes port = a->portOf(handle);
    EXPECT_EQ(port.portState, 0xA5A5A5A5u);
    EXPECT_EQ(std::memchr(&port, 0, sizeof(port)), nullptr);
    char name[fc::nameSize + 1] = {};
    EXPECT_EQ(a->table.getAdapterName(7, name), 0u) << "also of an adapter that there is not";
    EXPECT_EQ(std::string(name), std::string(fc::nameSize, '\xA5')) << "its field and no more";
    EXPECT_EQ(a->table.getNumberOfAdapters(), 0xFFFFFFFFu);
    EXPECT_EQ(a->table.getVersion(), 0xFFFFFFFFu);
    EXPECT_EQ(a->open("vokfca-vmhba2"), 0xFFFFFFFFu);
    EXPECT_EQ(a->table.loadLibrary(), 0u) << "it has nothing that could be rubbish";
    fc::PortStatistics statistics{};
    EXPECT_EQ(a->table.getPortStatistics(handle, 0, &statistics), 0u);
    EXPECT_EQ(static_cast<std::uint64_t>(statistics.counters[14]), 0xA5A5A5A5A5A5A5A5u);
}

TEST_F(SimulatedFcFaults, ASlowCallTakesTheHostsTime) {
    startDescribed();
    hostControl({"clock", "speed", "100"});
    const auto a = first();
    fault({"all", "GetVersion", "slow", "20"});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(a->table.getVersion(), 1u);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200));
}

TEST_F(SimulatedFcFaults, ACallHangsUntilItIsNormal) {
    startDescribed();
    const auto a = first();
    fault({"libvokfca.so", "GetNumberOfAdapters", "hang"});
    auto number = std::async(std::launch::async, [&a] { return a->table.getNumberOfAdapters(); });
    const auto hangs = [this] { return hostState()["fibreChannelLibraries"][0]["hanging"].asInt(); };
    while (hangs() == 0) std::this_thread::yield();
    EXPECT_EQ(number.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_EQ(second()->table.getNumberOfAdapters(), 2u) << "the other library answers";
    fault({"libvokfca.so", "all", "normal"});
    EXPECT_EQ(number.get(), 2u);
    EXPECT_EQ(hangs(), 0);
}

TEST_F(SimulatedFcFaults, WordsThatDoNotFitAreRefused) {
    startDescribed();
    const std::vector<std::string> rows[] = {
        {"fc"},
        {"fc", "vmhba2"},
        {"fc", "vmhba0", "online"},
        {"fc", "vmhba2", "sideways"},
        {"fc", "vmhba2", "1", "online"},
        {"fc", "vmhba2", "0", "online", "now"},
        {"fc", "vmhba2", "4294967296"},
        {"fc", "vmhba2", "vanish", "--after", "Dance"},
        {"fc", "vmhba2", "vanish", "now"},
        {"fc", "vmhba2", "return", "now"},
        {"fc", "vmhba2", "reported-ports"},
        {"fc", "vmhba2", "reported-ports", "-1"},
        {"fc", "call"},
        {"fc", "call", "libm.so", "all", "hang"},
        {"fc", "call", "all", "Dance", "hang"},
        {"fc", "call", "all", "all", "dance"},
        {"fc", "call", "all", "all", "fail"},
        {"fc", "call", "all", "all", "slow", "-1"},
        {"fc", "call", "all", "all", "hang", "--count", "0"},
        {"fc", "call", "all", "all", "hang", "--adapter", "vmhba0"},
        {"fc", "call", "all", "LoadLibrary", "rubbish"},
        {"fc", "call", "all", "RegisterLibrary", "missing"},
        {"fc", "call", "all", "GetVersion", "missing", "--count", "1"},
        {"fc", "call", "all", "GetVersion", "missing", "--adapter", "vmhba2"},
    };
    for (const auto& words : rows) {
        std::string text;
        for (const auto& word : words) text += word + " ";
        EXPECT_EQ(refusal(words), 2) << text;
    }
}

TEST_F(SimulatedFcFaults, AWrongNameIsAnsweredWithTheRightOnes) {
    startDescribed();
    const Ran ran = runProgram({VOK_SIMHOST_PROGRAM, "control", "--root", root(), "fc", "vmhba9", "online"});
    EXPECT_THAT(ran.output, HasSubstr("no Fibre Channel adapter \"vmhba9\"; it has vokfca-vmhba2, "
                                      "vokfca-vmhba3, vokfcb-vmhba4, vokfcb-vmhba6\n"));
}

TEST_F(SimulatedFcFaults, ADescriptionThatDoesNotFitIsRefused) {
    struct Row {
        const char* adapter;
        const char* complaint;
    };
    constexpr Row rows[] = {
        {R"({"ports": ["vmhba2"]})", "has the library \"\", which is none of libvokfca.so, libvokfcb.so"},
        {R"({"library": "libm.so", "ports": ["vmhba2"]})", "has the library \"libm.so\""},
        {R"({"library": "libvokfca.so"})", "needs a port"},
        {R"({"library": "libvokfca.so", "ports": ["vmhba0"]})", "has the port \"vmhba0\", which is no"},
        {R"({"library": "libvokfca.so", "ports": ["vmhba2", "vmhba2"]})", "is in an adapter already"},
        {R"({"library": "libvokfca.so", "ports": ["vmhba3"]})", "has the port vmhba3, whose name \"20:0g:"},
        {R"({"library": "libvokfca.so", "ports": ["vmhba2"], "listed": "never"})", "is listed \"never\""},
        {R"({"library": "libvokfca.so", "ports": ["vmhba2"], "colour": "red"})", "\"colour\""},
        {R"({"library": "libvokfca.so", "ports": ["vmhba2"], "reportedPorts": -1})", "reportedPorts"},
    };
    for (const Row& row : rows) {
        directory.writeFile("odd.json", std::string(R"json({"storageAdapters": [
            {"name": "vmhba0", "uid": "sata.vmhba0"},
            {"name": "vmhba2", "uid": "fc.20000090fa7c41d0:10000090fa7c41d0"},
            {"name": "vmhba3", "uid": "fc.200g0090fa7c41d0:10000090fa7c41d1"}],
            "fibreChannelAdapters": [)json") +
                                            row.adapter + "]}");
        const Ran ran = runProgram(
            {VOK_SIMHOST_PROGRAM, "run", "--root", root(), "--host", directory.path() + "/odd.json"});
        EXPECT_EQ(ran.status, 1) << row.adapter;
        EXPECT_THAT(ran.output, HasSubstr(row.complaint));
    }
}

}  // namespace
}  // namespace SimulatedFcFaultsTest
