// The stand-in of the RAID controllers' library: its records, its checks, and its commands that fail or hang.
#include <gmock/gmock.h>
#include <filesystem>
#include <future>
#include <thread>

#include "simhost/RaidLibrary.h"

namespace SimulatedRaidRecordsTest {
namespace {

using namespace simulatedraid;
using testing::ElementsAre;
using testing::HasSubstr;

class SimulatedRaid : public RaidHost {
protected:
    void SetUp() override {
        RaidHost::SetUp();
        ASSERT_EQ(library->initialize(), 0u);
    }
};

TEST_F(SimulatedRaid, ListsItsControllersAndTellsOfSimulation) {
    Bytes list = library->record(0, 3, 0, 260);
    EXPECT_EQ(number(list, 0, 2), 2u);
    EXPECT_EQ(number(list, 2, 1), 0u);
    EXPECT_EQ(number(list, 4, 4), 0u);
    EXPECT_EQ(number(list, 8, 4), 5u);
    EXPECT_EQ(number(list, 12, 4), 0u);
    raid({"simulation", "on"});
    raid({"controller", "SV01234567", "gone"});
    EXPECT_EQ(library->initialize(&list), 0u);
    EXPECT_EQ(number(list, 0, 2), 1u);
    EXPECT_EQ(number(list, 2, 1), 1u);
    EXPECT_EQ(number(list, 4, 4), 5u);
    EXPECT_EQ(statusOf(1, 0, 0, 2464), 0x800Au);
    raid({"controller", "0", "back"});
    EXPECT_EQ(statusOf(1, 0, 0, 2464), 0u);
}

TEST_F(SimulatedRaid, FillsTheRecordsOfAController) {
    const Bytes record = library->record(1, 0, 0, 2464);
    EXPECT_EQ(number(record, 0, 4), 0x005D1000u);
    EXPECT_EQ(number(record, 4, 4), 0x93611000u);
    EXPECT_EQ(text(record, 1600, 13), std::string("24.21.0-0148\0", 13));
    const Bytes place = library->record(1, 11, 5, 112);
    EXPECT_EQ(number(place, 0, 4), 0xA1u);
    EXPECT_EQ(number(place, 4, 1), 2u);
    EXPECT_EQ(number(place, 5, 1), 3u);
    EXPECT_EQ(number(place, 80, 4), 1u);
    EXPECT_EQ(number(library->record(7, 0, 0, 20), 0, 4), 500u);
    const Bytes enclosures = library->record(1, 5, 0, 4616);
    EXPECT_EQ(number(enclosures, 4, 4), 2u);
    EXPECT_EQ(number(enclosures, 8, 2), 252u);
    EXPECT_EQ(number(enclosures, 8 + 144, 2), 300u);
}

TEST_F(SimulatedRaid, FillsTheRecordsOfItsDisks) {
    const Bytes list = library->record(1, 4, 0, 6152);
    EXPECT_EQ(number(list, 4, 4), 6u);
    EXPECT_EQ(number(list, 8, 2), 8u);
    EXPECT_EQ(number(list, 8 + 4 * 24, 2), 300u);
    const Bytes disk = library->record(2, 0, 0, 512, 8);
    EXPECT_EQ(text(disk, 12, 8), "MEV     ");
    EXPECT_EQ(text(disk, 20, 16), "SAS MODEL       ");
    EXPECT_EQ(text(disk, 36, 4), "A1B2");
    EXPECT_EQ(text(disk, 40, 32), "SAS0001" + std::string(25, ' '));
    EXPECT_EQ(number(disk, 165, 1), 0u);
    EXPECT_EQ(number(disk, 184, 2), 24u);
    EXPECT_EQ(number(disk, 189, 1), 0x20u);
    EXPECT_EQ(number(disk, 232, 8), 1000000u);
    EXPECT_EQ(number(disk, 256, 2), 252u);
    EXPECT_EQ(number(disk, 259, 1), 0u);
    EXPECT_EQ(number(disk, 370, 1), 0u);
    EXPECT_EQ(number(disk, 404, 2), 4096u);
    EXPECT_EQ(text(library->record(2, 0, 0, 512, 9), 40, 32), std::string(32, '\0'));
    const Bytes other = library->record(2, 0, 0, 512, 10);
    EXPECT_EQ(number(other, 189, 1), 0x30u);
    EXPECT_EQ(number(other, 259, 1), 2u);
    EXPECT_EQ(number(other, 370, 1), 1u);
    EXPECT_EQ(number(library->record(2, 0, 0, 512, 300), 184, 2), 64u);
    EXPECT_EQ(number(library->record(2, 0, 0, 512, 301), 165, 1), 13u);
    EXPECT_EQ(statusOf(2, 0, 0, 512, 77), 0x80F2u);
}

TEST_F(SimulatedRaid, FillsTheRecordsOfItsVolumes) {
    const Bytes list = library->record(1, 13, 0, 4104);
    EXPECT_EQ(number(list, 0, 4), 2u);
    EXPECT_EQ(number(list, 8, 1), 0u);
    EXPECT_EQ(number(list, 24, 1), 7u);
    const Bytes spanned = library->record(3, 0, 0, 384, 0, 7);
    EXPECT_EQ(number(spanned, 0, 4), 0x00030007u);
    EXPECT_EQ(number(spanned, 32, 1), 1u);
    EXPECT_EQ(number(spanned, 33, 1), 2u);
    EXPECT_EQ(number(spanned, 34, 1), 0u);
    EXPECT_EQ(number(spanned, 37, 1), 2u);
    EXPECT_EQ(number(spanned, 38, 1), 1u);
    EXPECT_EQ(number(spanned, 256, 8), 2u * 1000000);
    const Bytes first = library->record(3, 0, 0, 384, 0, 0);
    EXPECT_EQ(number(first, 38, 1), 3u);
    EXPECT_EQ(number(first, 256, 8), 2000000u);
    for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(first[312 + i], i);
    const Bytes members = library->record(3, 11, 0, 516, 0, 0);
    EXPECT_EQ(number(members, 0, 4), 3u);
    EXPECT_EQ(number(members, 4, 2), 8u);
    EXPECT_EQ(number(members, 6, 2), 10u);
    EXPECT_EQ(number(members, 8, 2), 11u);
    EXPECT_EQ(statusOf(3, 0, 0, 384, 0, 1), 0x80F2u);
}

TEST_F(SimulatedRaid, PassesTheTwoControllerCommandsThrough) {
    Bytes data(41, 0xEE);
    EXPECT_EQ(library->dcmd(0, 0x01160300, data), 0u);
    EXPECT_EQ(text(data, 0, 15), std::string("SAFESV01234567\0", 15));
    data.assign(32, 0xEE);
    EXPECT_EQ(library->dcmd(0, 0x010E0301, data), 0u);
    EXPECT_EQ(text(data, 2, 11), std::string("SV01234567\0", 11));
    EXPECT_EQ(library->dcmd(9, 0x010E0301, data), 0x800Au);
    raid({"command", "0", "manufacturing", "fail", "0x8002"});
    EXPECT_EQ(library->dcmd(0, 0x010E0301, data), 0x8002u);
    data.resize(41);
    EXPECT_EQ(library->dcmd(0, 0x01160300, data), 0u);
}

const Bytes serialPage{0x12, 1, 0x80, 0, 64, 0};
const Bytes manufacturerLog{0x85, 8, 0x0E, 0, 0, 0, 1, 0, 0xD0, 0, 0, 0, 0, 0, 0x2F, 0};

TEST_F(SimulatedRaid, PassesScsiCommandsThrough) {
    unsigned scsiStatus = 77;
    Bytes data(64);
    EXPECT_EQ(library->scsi(0, 9, serialPage, data, scsiStatus), 0u);
    EXPECT_EQ(scsiStatus, 0u);
    EXPECT_EQ(text(data, 0, data.size()), std::string("\0\x80\0\x07SAS0002", 11));
    data.resize(512);
    EXPECT_EQ(library->scsi(0, 10, manufacturerLog, data, scsiStatus), 0u);
    EXPECT_EQ(scsiStatus, 0u);
    ASSERT_EQ(data.size(), 512u);
    EXPECT_EQ(data[1], 0xD0);
    EXPECT_EQ(text(data, 24, 4), "MVD0");
    EXPECT_EQ(library->scsi(0, 11, manufacturerLog, data, scsiStatus), 0u);
    EXPECT_EQ(scsiStatus, 2u) << "the disk has no such log";
    raid({"disk", "0", "252:2", "scsi-status", "8"});
    data.resize(512);
    EXPECT_EQ(library->scsi(0, 10, manufacturerLog, data, scsiStatus), 0u);
    EXPECT_EQ(scsiStatus, 8u);
    EXPECT_TRUE(data.empty());
}

TEST_F(SimulatedRaid, AnUnderrunAndAnOverrunComeWithTheirData) {
    for (const char* status : {"0x4045", "0x4044"}) {
        raid({"command", "0", "ata-log", "fail", status, "--count", "1"});
        unsigned scsiStatus = 77;
        Bytes data(512);
        EXPECT_EQ(library->scsi(0, 10, manufacturerLog, data, scsiStatus), std::stoul(status, nullptr, 16));
        EXPECT_EQ(scsiStatus, 0u);
        EXPECT_EQ(text(data, 24, 4), "MVD0");
    }
    raid({"command", "0", "inquiry", "fail", "0x8009"});
    unsigned scsiStatus = 77;
    Bytes data(64, 0);
    EXPECT_EQ(library->scsi(0, 9, serialPage, data, scsiStatus), 0x8009u);
}

TEST_F(SimulatedRaid, FailsACommandAsOftenAsToldAndForItsControllerAlone) {
    raid({"command", "0", "disks", "fail", "0x800A", "--count", "2"});
    EXPECT_EQ(statusOf(1, 4, 5, 6152), 0u);
    EXPECT_EQ(statusOf(1, 4, 0, 6152), 0x800Au);
    EXPECT_EQ(statusOf(1, 4, 0, 6152), 0x800Au);
    EXPECT_EQ(statusOf(1, 4, 0, 6152), 0u);
    raid({"command", "0", "volume", "fail", "4294967295", "--volume", "7"});
    EXPECT_EQ(statusOf(3, 0, 0, 384, 0, 0), 0u);
    EXPECT_EQ(statusOf(3, 0, 0, 384, 0, 7), 0xFFFFFFFFu);
    raid({"command", "all", "controllers", "fail", "0x802B"});
    EXPECT_EQ(statusOf(0, 3, 0, 260), 0x802Bu);
    raid({"command", "0", "disk", "fail", "0x8002", "--disk", "252:1"});
    EXPECT_EQ(statusOf(2, 0, 0, 512, 9), 0x8002u);
    EXPECT_EQ(statusOf(2, 0, 0, 512, 8), 0u);
    raid({"command", "all", "all", "normal"});
    EXPECT_EQ(statusOf(0, 3, 0, 260), 0u);
    EXPECT_EQ(statusOf(3, 0, 0, 384, 0, 7), 0u);
    EXPECT_EQ(statusOf(2, 0, 0, 512, 9), 0u);
}

TEST_F(SimulatedRaid, ACommandHangsUntilItIsLetGo) {
    raid({"command", "0", "pci-location", "hang"});
    auto status = std::async(std::launch::async, [&] { return statusOf(1, 11, 0, 112); });
    while (hostState()["raidLibrary"]["hanging"].asInt() == 0) std::this_thread::yield();
    EXPECT_NE(status.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    raid({"command", "0", "pci-location", "normal"});
    EXPECT_EQ(status.get(), 0u);
    EXPECT_EQ(hostState()["raidLibrary"]["hanging"].asInt(), 0);
}

TEST_F(SimulatedRaid, ASlowCommandTakesTheHostsTime) {
    hostControl({"clock", "speed", "100"});
    const std::int64_t before = hostState()["epochNanoseconds"].asInt64();
    raid({"command", "all", "sequence", "slow", "3", "--count", "1"});
    EXPECT_EQ(statusOf(7, 0, 0, 20), 0u);
    EXPECT_GE(hostState()["epochNanoseconds"].asInt64() - before, 3000000000);
}

TEST_F(SimulatedRaid, CountsItsCommands) {
    statusOf(1, 4, 0, 6152);
    statusOf(2, 0, 0, 512, 9);
    unsigned scsiStatus = 0;
    Bytes data(64);
    library->scsi(0, 9, serialPage, data, scsiStatus);
    const Json::Value shown = hostState();
    EXPECT_EQ(shown["raidLibrary"]["commands"]["initialize"].asInt(), 1);
    EXPECT_EQ(shown["raidControllers"][0]["commands"]["disks"].asInt(), 1);
    EXPECT_EQ(shown["raidControllers"][0]["commands"]["disk"].asInt(), 1);
    EXPECT_TRUE(shown["raidControllers"][1]["commands"].empty());
    EXPECT_EQ(shown["raidDisks"][1]["disk"].asString(), "252:1");
    EXPECT_EQ(shown["raidDisks"][1]["commands"]["inquiry"].asInt(), 1);
    EXPECT_TRUE(shown["raidDisks"][0]["commands"].empty());
    EXPECT_EQ(shown["raidControllers"][0]["device"].asString(), "0x005d");
    EXPECT_EQ(shown["raidDisks"][0]["volume"].asString(), "0");  // of two, the first
    EXPECT_EQ(shown["raidDisks"][1]["volume"].asString(), "");
    EXPECT_EQ(shown["raidDisks"][4]["volume"].asString(), "7");
    EXPECT_EQ(shown["raidVolumes"][1]["level"].asString(), "RAID10");
    EXPECT_EQ(shown["raidVolumes"][1]["state"].asString(), "partially-degraded");
    EXPECT_EQ(shown["raidLibrary"]["violations"].asInt(), 0);
}

TEST_F(SimulatedRaid, ReportsABlockOfAWrongForm) {
    Bytes data;
    const auto expect = [&](_SL_LIB_CMD_PARAM_T block, std::size_t size, const std::string& report) {
        EXPECT_EQ(library->fill(block, size, data), 0x80F1u) << report;
        EXPECT_EQ(data, Bytes(size, 0xEE)) << report;
        EXPECT_THAT(violations(), HasSubstr(report + "\n"));
    };
    auto block = RaidLibrary::block(1, 0);
    expect(block, 2463, "command (1, 0): the data size is 2463, not 2464");
    block.flag = 1;
    expect(block, 2464, "command (1, 0): byte 2 is 1, not 0");
    block = RaidLibrary::block(0, 0);
    expect(block, 260, "command (0, 0): byte 2 is 0, not 1");
    block = RaidLibrary::block(0, 3, 5);
    expect(block, 260, "command (0, 3): the command is for no controller, and its controller id is not zero");
    block = RaidLibrary::block(1, 4);
    block.deviceId = 8;
    expect(block, 6152, "command (1, 4): the command is for no disk, and its device id is not zero");
    block = RaidLibrary::block(2, 0);
    block.targetId = 1;
    expect(block, 512, "command (2, 0): the command is for no logical drive, and its target id is not zero");
    block = RaidLibrary::block(2, 0);
    block.reserved11[4] = 1;
    expect(block, 512, "command (2, 0): a reserved byte is not zero");
    block = RaidLibrary::block(2, 0);
    block.uniqueId = 1;
    expect(block, 512, "command (2, 0): offset 16 is not zero");
    block = RaidLibrary::block(1, 99);
    expect(block, 4, "command (1, 99): the library has no such command");
    block = RaidLibrary::block(1, 0);
    block.dataSize = 2464;
    EXPECT_EQ(library->call(block), 0x80F1u);
    EXPECT_THAT(violations(), HasSubstr("command (1, 0): no data block\n"));
    EXPECT_EQ(library->callWithoutBlock(), 0x80F1u);
    EXPECT_EQ(hostState()["raidLibrary"]["violations"].asInt(), 11);
}

TEST_F(SimulatedRaid, ReportsAPassThroughOfAWrongForm) {
    unsigned scsiStatus = 0;
    Bytes data(64);
    EXPECT_EQ(library->scsi(0, 9, Bytes(5, 0), data, scsiStatus), 0x80F1u);
    EXPECT_THAT(violations(), HasSubstr("command (6, 0): the length of the SCSI command is 5\n"));
    data.assign(40, 0);
    EXPECT_EQ(library->dcmd(0, 0x01160300, data), 0x80F1u);
    EXPECT_THAT(violations(), HasSubstr("command (6, 3): the transfer length is 40, not 41\n"));
    EXPECT_EQ(library->dcmd(0, 0x01010000, data), 0x80F1u);
    EXPECT_THAT(violations(), HasSubstr("command (6, 3): the opcode 0x01010000\n"));
}

TEST_F(RaidHost, RefusesACommandBeforeTheLibraryIsInitialized) {
    EXPECT_EQ(statusOf(1, 0, 0, 2464), 0x8001u);
    EXPECT_THAT(violations(), HasSubstr("command (1, 0): before the library was initialized\n"));
    raid({"command", "all", "initialize", "fail", "0x802C", "--count", "1"});
    EXPECT_EQ(library->initialize(), 0x802Cu);
    EXPECT_EQ(statusOf(1, 0, 0, 2464), 0x8001u);
    EXPECT_EQ(library->initialize(), 0u);
    EXPECT_EQ(statusOf(1, 0, 0, 2464), 0u);
    auto exit = RaidLibrary::block(0, 9);
    EXPECT_EQ(library->call(exit), 0u);
    EXPECT_EQ(statusOf(1, 0, 0, 2464), 0x8001u);
}

TEST_F(RaidHost, TheLibraryCanBeAbsentOrLackItsEntryPoint) {
    library.reset();
    hostControl({"library", "libstorelib.so", "absent"});
    EXPECT_THROW(RaidLibrary{root()}, std::runtime_error);
    hostControl({"library", "libstorelib.so", "without-entry-point"});
    EXPECT_FALSE(RaidLibrary(root()).hasEntryPoint());
    hostControl({"library", "libstorelib.so", "present"});
    EXPECT_TRUE(RaidLibrary(root()).hasEntryPoint());
}

class OtherHost : public SimulatedMachine {};

TEST_F(OtherHost, HasTheLibraryOnlyIfItIsDescribed) {
    startHost({}, "bare");
    EXPECT_FALSE(std::filesystem::exists(root() + "/lib/libstorelib.so"));
    EXPECT_FALSE(hostState().isMember("raidLibrary"));
    for (const char* const list : {"raidControllers", "raidDisks", "raidVolumes"})
        EXPECT_EQ(hostState()[list], Json::Value(Json::arrayValue)) << list;
    hostProgram.end(SIGTERM);
    directory.writeFile("none.json", R"({"raidControllers":[]})");
    startHost({}, directory.path() + "/none.json");
    EXPECT_TRUE(std::filesystem::exists(root() + "/lib/libstorelib.so"));
    const RaidLibrary library(root());
    Bytes list;
    EXPECT_EQ(library.initialize(&list), 0u);
    EXPECT_EQ(list, Bytes(260, 0));
}

}  // namespace
}  // namespace SimulatedRaidRecordsTest
