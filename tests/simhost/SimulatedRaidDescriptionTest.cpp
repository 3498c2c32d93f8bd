// The keys "raidControllers" and "raidSimulation" of a description.
#include <gmock/gmock.h>

#include "modules/raid/RaidControllers.h"
#include "simhost/DescribedDisk.h"

namespace SimulatedRaidDescriptionTest {
namespace {

using namespace simhost;

constexpr char address[] = R"("address":"0000:5e:00.0","vendor":"0x1000","device":"0x005d",
    "subsystemVendor":"0x1000","subsystemDevice":"0x9361")";

std::string host(const std::string& rest) {
    return std::string(R"({"raidControllers":[{)") + address + (rest.empty() ? "" : ",") + rest + "}]}";
}
RaidController described(const std::string& rest) {
    return describedHost(host(rest)).part<RaidControllers>().all.at(0);
}
std::string refusal(const std::string& text) {
    try {
        describedHost(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "accepted";
}

TEST(RaidDescription, SeveralDisksAlikeFollowOneAnother) {
    const RaidController made =
        described(R"("disks":[{"count":3,"enclosure":252,"slot":4,"deviceId":20},{"inquirySerial":""}])");
    ASSERT_EQ(made.disks.size(), 4u);
    EXPECT_EQ(raidDiskName(made.disks[2]), "252:6");
    EXPECT_EQ(made.disks[2].deviceId, 22);
    EXPECT_EQ(made.disks[2].serial, "R1MEV000003");
    EXPECT_EQ(made.disks[2].inquirySerial, "R1MEV000003");
    EXPECT_EQ(made.disks[3].serial, "R1MEV000004");
    EXPECT_EQ(made.disks[3].vpdSerial, "R1MEV000004");
    EXPECT_EQ(made.disks[3].inquirySerial, "");
    EXPECT_EQ(made.disks[3].slot, 3);
}

TEST(RaidDescription, EachLevelHasItsNumbers) {
    struct Row {
        const char* level;
        unsigned primary, secondary, spans;
    };
    constexpr Row rows[] = {{"RAID0", 0, 0, 1},  {"RAID1", 1, 0, 1},  {"RAID3", 3, 0, 1},
                            {"RAID5", 5, 0, 1},  {"RAID6", 6, 0, 1},  {"SingleDisk", 15, 0, 1},
                            {"PRL11", 17, 0, 1}, {"RAID00", 0, 0, 2}, {"RAID10", 1, 0, 2},
                            {"RAID50", 5, 0, 2}, {"RAID60", 6, 0, 2}, {"PRL11-spanned", 17, 0, 2},
                            {"SRL3", 1, 3, 2}};
    for (const Row& row : rows) {
        const RaidVolume volume =
            described(std::string(R"("volumes":[{"level":")") + row.level + "\"}]").volumes.at(0);
        EXPECT_EQ(volume.primary, row.primary) << row.level;
        EXPECT_EQ(volume.secondary, row.secondary) << row.level;
        EXPECT_EQ(volume.spanDepth, row.spans) << row.level;
    }
    const RaidVolume odd =
        described(R"("volumes":[{"primary":9,"qualifier":2,"secondary":4,"spans":7}])").volumes.at(0);
    EXPECT_EQ(raidLevelName(odd), "9/4/7");
}

TEST(RaidDescription, AVolumeHasTheSizeAndTheStateThatItsMembersMake) {
    struct Row {
        const char* level;
        const char* failed;  // device ids
        std::uint64_t disks;
        int state;
    };
    constexpr Row rows[] = {{"RAID0", "", 4, 3},    {"RAID0", "0", 4, 0},   {"RAID5", "1", 3, 2},
                            {"RAID5", "12", 3, 0},  {"RAID6", "1", 2, 1},   {"RAID6", "12", 2, 2},
                            {"RAID6", "123", 2, 0}, {"RAID10", "0", 2, 2},  {"RAID10", "02", 2, 2},
                            {"RAID10", "01", 2, 0}, {"RAID1", "012", 1, 2}, {"RAID50", "", 2, 3}};
    for (const Row& row : rows) {
        std::string disks, members;
        for (int i = 0; i < 4; ++i) {
            const bool failed = std::string(row.failed).find(std::to_string(i)) != std::string::npos;
            disks +=
                std::string(i ? "," : "") + R"({"blocks":1000,"state":)" + (failed ? "17}" : "\"online\"}");
            members += std::string(i ? "," : "") + "\"252:" + std::to_string(i) + "\"";
        }
        const RaidVolume volume = described("\"disks\":[" + disks + R"(],"volumes":[{"level":")" + row.level +
                                            R"(","members":[)" + members + "]}]")
                                      .volumes.at(0);
        EXPECT_EQ(volume.blocks, 1000 * row.disks) << row.level << row.failed;
        EXPECT_EQ(volume.state, row.state) << row.level << row.failed;
    }
}

TEST(RaidDescription, RefusesWhatIsWrong) {
    struct Row {
        const char* rest;
        const char* message;
    };
    constexpr Row rows[] = {
        {R"("colour":1)", "has a key \"colour\" that is not known"},
        {R"("disks":[{"interface":"USB"}])",
         "disks[0] has a interface that is neither a number of at most 15 nor one of Parallel SCSI, SAS"},
        {R"("disks":[{"state":"well"}])", "disks[0] has a state that is neither a number"},
        {R"("disks":[{"slot":3},{"slot":3}])", "disks[1] is the second disk at 252:3"},
        {R"("disks":[{"deviceId":3},{"deviceId":3}])", "disks[1] is the second disk with the deviceId 3"},
        {R"("disks":[{"serial":"A","count":2}])", "disks[0] has one serial for several disks"},
        {R"("disks":[{"count":2,"slot":255}])", "disks[0] has a slot beyond 255"},
        {R"("disks":[{"count":256},{"enclosure":1,"slot":0}])", "disks[1] makes more than 256 disks"},
        {R"("disks":[{"model":"A MODEL OF SEVENTEEN"}])", "has a model of more than 16 characters"},
        {R"("volumes":[{"level":"RAID9"}])", "has the level \"RAID9\", which is none of RAID0, RAID1"},
        {R"("volumes":[{"members":["1:1"]}])", "members[0]: the controller has no disk \"1:1\""},
        {R"("disks":[{}],"volumes":[{"members":["252:0","252:0"]}])",
         "members[1]: the disk \"252:0\" is a member twice"},
        {R"("volumes":[{"target":3},{"target":3}])", "volumes[1] is the second volume with the target 3"},
        {R"("volumes":[{"id":"00 11"}])", "has an id that is not sixteen bytes in hexadecimal"},
    };
    for (const Row& row : rows) EXPECT_THAT(refusal(host(row.rest)), testing::HasSubstr(row.message));
    EXPECT_THAT(refusal(R"({"raidControllers":[{"address":"5e"}]})"),
                testing::HasSubstr("has the address \"5e\", which is not of the form 0000:3b:00.0"));
    EXPECT_THAT(refusal(R"({"raidControllers":[{"address":"0000:5e:00.0"}]})"),
                testing::HasSubstr("as \"pci\" lacks its function"));
    const std::string one = std::string("{") + address + "}";
    const std::string again = R"({"address":"0000:5e:00.0"})";
    EXPECT_THAT(refusal("{\"raidControllers\":[" + one + "," + again + "]}"),
                testing::HasSubstr("raidControllers[1] twice"));
}

TEST(RaidDescription, TakesAsManyControllersAsTheListHolds) {
    const auto controllers = [](int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += (i ? "," : "") +
                    std::string(R"({"vendor":"0x1000","device":"0x005d","subsystemVendor":"0x1000",)") +
                    R"("subsystemDevice":"0x9361","address":"0000:)" + "0123456789abcdef"[i / 16] +
                    "0123456789abcdef"[i % 16] + ":00.0\"}";
        return "{\"raidControllers\":[" + text + "]}";
    };
    EXPECT_EQ(describedHost(controllers(64)).part<RaidControllers>().all.size(), 64u);
    EXPECT_THAT(refusal(controllers(65)), testing::HasSubstr("has more than 64 raidControllers"));
}

}  // namespace
}  // namespace SimulatedRaidDescriptionTest
