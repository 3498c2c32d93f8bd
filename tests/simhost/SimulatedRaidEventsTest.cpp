// The events of simulated RAID controllers: their records, who gets them, and what control commands change.
#include <gmock/gmock.h>
#include <unistd.h>
#include <future>
#include <thread>

#include "simhost/RaidLibrary.h"

namespace SimulatedRaidEventsTest {
namespace {

using namespace simulatedraid;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SimulatedRaidEvents : public RaidHost {
protected:
    void SetUp() override {
        RaidHost::SetUp();
        ASSERT_EQ(library->initialize(), 0u);
    }
    // Runs the control commands and returns the codes of the events that they sent. Two events of its own
    // mark the end.
    std::vector<unsigned> codesAfter(const std::vector<std::vector<std::string>>& commands) {
        const std::size_t before = received.events().size();
        for (const auto& each : commands) raid(each);
        raid({"event", "0", "0xFFF", "0", "all"});
        while (received.codes().empty() || received.codes().back() != 0xFFF) std::this_thread::yield();
        std::vector<unsigned> codes = received.codes();
        codes.erase(codes.begin(), codes.begin() + static_cast<std::ptrdiff_t>(before));
        codes.pop_back();
        last.clear();
        for (const Bytes& each : received.events()) last.push_back(each);
        last.erase(last.begin(), last.begin() + static_cast<std::ptrdiff_t>(before));
        raid({"event", "0", "0xFFE", "0", "all"});
        while (received.codes().back() != 0xFFE) std::this_thread::yield();
        return codes;
    }
    unsigned diskState(std::uint16_t device) {
        return static_cast<unsigned>(number(library->record(2, 0, 0, 512, device), 184, 2));
    }
    unsigned volumeState(std::uint8_t target) {
        return static_cast<unsigned>(number(library->record(3, 0, 0, 384, 0, target), 38, 1));
    }
    // Of the event at this place among the last ones.
    std::uint64_t field(std::size_t event, std::size_t at, std::size_t width) {
        return number(last.at(event), 12 + at, width);
    }
    std::string description(std::size_t event) {
        return reinterpret_cast<const char*>(last.at(event).data()) + 12 + 128;
    }

    std::vector<Bytes> last;
};

TEST_F(SimulatedRaidEvents, AnEventHasItsPartsAtTheirOffsets) {
    registerForAll();
    EXPECT_THAT(codesAfter({{"event", "0", "0x1C4", "3", "0x0021", "--type", "200", "--args", "01 02 ff",
                             "--text", "A text of the firmware"}}),
                ElementsAre(0x1C4u));
    EXPECT_EQ(number(last[0], 0, 2), 0u);
    EXPECT_EQ(number(last[0], 4, 4), 0u);
    EXPECT_EQ(field(0, 0, 4), 501u);
    EXPECT_EQ(field(0, 8, 4), 0x1C4u);
    EXPECT_EQ(field(0, 12, 2), 0x21u);
    EXPECT_EQ(field(0, 15, 1), 3u);
    EXPECT_EQ(field(0, 16, 1), 200u);
    EXPECT_EQ(field(0, 32, 4), 0x00FF0201u);
    EXPECT_EQ(description(0), "A text of the firmware");
    EXPECT_EQ(number(library->record(7, 0, 0, 20), 0, 4), 503u) << "with the two marks";
}

TEST_F(SimulatedRaidEvents, ATextOfAnyLengthEndsInTheRecord) {
    registerForAll();
    codesAfter({{"event", "0", "1", "0", "disk", "--text", std::string(200, 'x')}});
    EXPECT_EQ(description(0), std::string(127, 'x'));
    EXPECT_EQ(field(0, 255, 1), 0u);
}

TEST_F(SimulatedRaidEvents, ArgumentsLieAsTheirTypeHasThem) {
    struct Row {
        const char* type;
        std::size_t disk;    // offset of its device id among the arguments; 96 for none
        std::size_t volume;  // the same of the volume
        std::size_t value;
    };
    constexpr std::size_t none = 96;
    constexpr Row rows[] = {{"10", 0, none, none}, {"15", 0, none, 8},       {"35", 0, none, 8},
                            {"12", 8, none, none}, {"13", 8, 12, none},      {"26", 16, none, none},
                            {"2", none, 0, none},  {"8", none, 0, 8},        {"4", none, 8, none},
                            {"9", none, 8, none},  {"6", 8, 16, none},       {"57", 0, none, none},
                            {"55", none, 0, none}, {"200", none, none, none}};
    registerForAll();
    for (const Row& row : rows) {
        codesAfter({{"event", "0", "1", "0", "disk", "--type", row.type, "--disk", "300:5", "--volume", "258",
                     "--value", "0x11223344"}});
        EXPECT_EQ(field(0, 16, 1), std::stoul(row.type));
        std::string wanted(96, '\0');
        // Device id 301, the low byte of the enclosure 300, slot 5.
        if (row.disk != none) wanted.replace(row.disk, 4, std::string("\x2D\x01\x2C\x05", 4));
        if (row.volume != none) wanted.replace(row.volume, 2, std::string("\x02\x01", 2));
        if (row.value != none) wanted.replace(row.value, 4, "\x44\x33\x22\x11");
        EXPECT_EQ(text(last[0], 12 + 32, 96), wanted) << row.type;
    }
    codesAfter({{"event", "0", "1", "0", "disk", "--type", "29", "--disk", "300:5"}});
    EXPECT_EQ(text(last[0], 12 + 32, 6), std::string("\x2D\x01\x2C\x01\x2C\x05", 6));
}

TEST_F(SimulatedRaidEvents, ComeByLocaleClassAndSequenceOfTheRegistration) {
    std::uint32_t uniqueId = 0;
    raid({"event", "0", "1", "2", "disk"});
    raid({"event", "0", "2", "2", "disk"});
    EXPECT_EQ(library->registerFor({{0, 0x0002, 1, 501}}, uniqueId), 0u);
    raid({"event", "0", "3", "0", "disk"});
    raid({"event", "0", "4", "1", "volume"});
    raid({"event", "5", "5", "1", "disk"});
    raid({"event", "0", "6", "1", "0x0003"});
    raid({"event", "0", "7", "9", "disk", "--status", "3"});
    ASSERT_TRUE(received.waitFor(3));
    EXPECT_THAT(received.codes(), ElementsAre(2u, 6u, 7u));
    EXPECT_EQ(number(received.events()[2], 0, 2), 3u);
}

TEST_F(SimulatedRaidEvents, NoneComesAfterUnregistration) {
    const std::uint32_t uniqueId = registerForAll();
    const Json::Value shown = hostState()["raidLibrary"]["registrations"];
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0]["process"].asInt(), ::getpid());
    EXPECT_EQ(shown[0]["uniqueId"].asUInt(), uniqueId);
    EXPECT_EQ(library->unregister(uniqueId + 1), 0x80F1u);
    raid({"command", "all", "unregister", "fail", "0x8002", "--count", "1"});
    EXPECT_EQ(library->unregister(uniqueId), 0x8002u);
    raid({"event", "0", "1", "0", "disk"});
    ASSERT_TRUE(received.waitFor(1));
    EXPECT_EQ(library->unregister(uniqueId), 0u);
    raid({"event", "0", "2", "0", "disk", "--count", "100"});
    EXPECT_TRUE(hostState()["raidLibrary"]["registrations"].empty());
    EXPECT_NE(registerForAll(601), uniqueId);
    raid({"event", "0", "3", "0", "disk"});
    ASSERT_TRUE(received.waitFor(2));
    EXPECT_THAT(received.codes(), ElementsAre(1u, 3u));
}

struct Slow {
    std::promise<void> entered;
    std::promise<void> go;
    std::atomic<bool> left{false};
    std::atomic<int> calls{0};
};
Slow* slow = nullptr;

std::uint32_t slowCallback(void*) {
    if (++slow->calls > 1) return 0;
    slow->entered.set_value();
    slow->go.get_future().wait();
    slow->left = true;
    return 0;
}

TEST_F(SimulatedRaidEvents, UnregistrationWaitsForTheCallbackInProgress) {
    Slow own;
    slow = &own;
    std::uint32_t uniqueId = 0;
    EXPECT_EQ(library->registerFor({{0, 0xFFFF, 0, 500}}, uniqueId, slowCallback), 0u);
    raid({"event", "0", "1", "0", "disk", "--count", "50"});
    own.entered.get_future().wait();
    auto done = std::async(std::launch::async, [&] {
        const std::uint32_t status = library->unregister(uniqueId);
        return status == 0 && own.left;
    });
    while (!hostState()["raidLibrary"]["registrations"].empty()) std::this_thread::yield();
    EXPECT_NE(done.wait_for(std::chrono::milliseconds(0)), std::future_status::ready);
    own.go.set_value();
    EXPECT_TRUE(done.get());
    EXPECT_EQ(own.calls, 1);
}

TEST_F(SimulatedRaidEvents, ARegistrationOfAWrongFormIsReported) {
    std::uint32_t uniqueId = 0;
    EXPECT_EQ(library->registerFor({}, uniqueId), 0x80F1u);
    EXPECT_THAT(violations(), HasSubstr("command (0, 1): a registration for 0 controllers\n"));
    EXPECT_EQ(library->registerFor({{0, 0xFFFF, 0, 500}}, uniqueId, nullptr), 0x80F1u);
    EXPECT_THAT(violations(), HasSubstr("command (0, 1): a registration without a callback\n"));
    EXPECT_EQ(library->registerFor({{77, 0xFFFF, 0, 500}}, uniqueId), 0x800Au);
    raid({"command", "all", "register", "fail", "0x8007", "--count", "1"});
    EXPECT_EQ(library->registerFor({{0, 0xFFFF, 0, 500}}, uniqueId), 0x8007u);
    EXPECT_EQ(library->registerFor({{0, 0xFFFF, 0, 500}}, uniqueId), 0u);
    EXPECT_EQ(library->registerFor({{0, 0xFFFF, 0, 500}}, uniqueId), 0x80F1u);
    EXPECT_THAT(violations(), HasSubstr("command (0, 1): a registration stands already\n"));
}

TEST_F(SimulatedRaidEvents, AFailureDegradesTheVolumesAndARebuildBringsThemBack) {
    registerForAll();
    // The RAID 5 loses a disk; the RAID 10, in a state that does not follow from its disks, a disk of a
    // mirror.
    EXPECT_THAT(codesAfter({{"disk", "0", "252:0", "fail"}}), ElementsAre(0x72u, 0x51u, 0xFBu));
    EXPECT_EQ(diskState(8), 17u);
    EXPECT_EQ(volumeState(0), 2u);
    EXPECT_EQ(field(0, 15, 1), 0u);
    EXPECT_EQ(field(0, 12, 2), 2u);
    EXPECT_EQ(field(0, 32, 2), 8u);
    EXPECT_EQ(field(0, 40, 4), 17u);
    EXPECT_EQ(description(0), "State change on PD 08(e0xfc/s0) from ONLINE(18) to FAILED(11)");
    EXPECT_EQ(description(1), "State change on VD 00/0 from OPTIMAL(3) to DEGRADED(2)");
    EXPECT_EQ(field(2, 15, 1), 2u);
    EXPECT_EQ(description(2), "VD 00/0 is now DEGRADED");
    EXPECT_THAT(codesAfter({{"disk", "0", "252:0", "rebuild"}}), ElementsAre(0x72u));
    EXPECT_EQ(diskState(8), 20u);
    EXPECT_THAT(codesAfter({{"disk", "0", "252:0", "online"}}), ElementsAre(0x72u, 0x51u, 0xF9u));
    EXPECT_EQ(diskState(8), 24u);
    EXPECT_EQ(volumeState(0), 3u);
    EXPECT_THAT(codesAfter({{"disk", "0", "252:0", "online"}}), IsEmpty());
    EXPECT_THAT(codesAfter({{"disk", "0", "252:0", "offline"}, {"disk", "0", "252:2", "fail"}}),
                ElementsAre(0x72u, 0x51u, 0xFBu, 0x72u, 0x51u, 0xFCu, 0x51u, 0xFCu));
    EXPECT_EQ(volumeState(0), 0u);
    EXPECT_EQ(volumeState(7), 0u);
}

TEST_F(SimulatedRaidEvents, APulledDiskIsGoneUntilOneIsInserted) {
    registerForAll();
    EXPECT_THAT(codesAfter({{"disk", "0", "252:1", "pull"}}), ElementsAre(0x70u)) << "a hot spare";
    EXPECT_EQ(field(0, 15, 1), 1u);
    EXPECT_EQ(statusOf(2, 0, 0, 512, 9), 0x80F2u);
    EXPECT_EQ(number(library->record(1, 4, 0, 6152), 4, 4), 5u);
    EXPECT_THAT(codesAfter({{"disk", "0", "252:3", "pull"}}),
                ElementsAre(0x70u, 0x72u, 0x51u, 0xFBu, 0x51u, 0xFCu));
    EXPECT_THAT(codesAfter({{"disk", "0", "252:3", "insert", "NEW1"}}), ElementsAre(0x5Bu));
    EXPECT_EQ(field(0, 34, 1), 252u);
    EXPECT_EQ(field(0, 35, 1), 3u);
    EXPECT_EQ(text(library->record(2, 0, 0, 512, 11), 40, 5), "NEW1 ");
    EXPECT_EQ(diskState(11), 0u);
    EXPECT_EQ(tryRaid({"disk", "0", "252:3", "insert"}).status, 2);
    EXPECT_EQ(tryRaid({"disk", "0", "252:1", "fail"}).status, 2);
}

TEST_F(SimulatedRaidEvents, APredictionABatteryAndAVolumeSendTheirEvents) {
    registerForAll();
    EXPECT_THAT(codesAfter({{"disk", "0", "SAS0001", "predict"}, {"battery", "0", "0x91"}}),
                ElementsAre(0x60u, 0x91u));
    EXPECT_EQ(field(0, 15, 1), 1u);
    EXPECT_EQ(field(1, 12, 2), 8u);
    EXPECT_THAT(codesAfter({{"volume", "0", "0", "degrade"},
                            {"volume", "0", "0", "degrade"},
                            {"volume", "0", "0", "partially-degrade"},
                            {"volume", "0", "0", "optimal"}}),
                ElementsAre(0x51u, 0xFBu, 0x51u, 0xFAu, 0x51u, 0xF9u));
    EXPECT_THAT(codesAfter({{"volume", "0", "2", "create", "RAID1", "252:0", "252:3"},
                            {"volume", "0", "7", "delete"}}),
                ElementsAre(0x8Au, 0x8Bu));
    EXPECT_EQ(field(0, 32, 2), 2u);
    EXPECT_EQ(number(library->record(3, 0, 0, 384, 0, 2), 32, 1), 1u);
    EXPECT_EQ(statusOf(3, 0, 0, 384, 0, 7), 0x80F2u);
    EXPECT_THAT(codesAfter({{"volume", "0", "0", "state", "9"}, {"disk", "0", "252:0", "state", "77"}}),
                IsEmpty());
    EXPECT_EQ(volumeState(0), 9u);
    EXPECT_EQ(diskState(8), 77u);
}

TEST_F(SimulatedRaidEvents, AConsistencyCheckSendsItsCodes) {
    registerForAll();
    EXPECT_THAT(
        codesAfter({{"check", "0", "7", "started"},
                    {"check", "0", "7", "corrected", "2"},
                    {"check", "0", "7", "uncorrectable"},
                    {"check", "0", "7", "inconsistent"},
                    {"check", "0", "7", "too-many"},
                    {"check", "0", "7", "done"},
                    {"check", "0", "7", "done-inconsistent"},
                    {"check", "0", "7", "aborted"},
                    {"check", "0", "7", "ownership-lost"},
                    {"check", "0", "7", "failed"},
                    {"check", "0", "7", "failed-uncorrectable"}}),
        ElementsAre(0x42u, 0x39u, 0x39u, 0x3Cu, 0x3Fu, 0x40u, 0x3Au, 0x3Bu, 0x38u, 0xC6u, 0x3Du, 0x3Eu));
    EXPECT_EQ(field(1, 16, 1), 6u);
    EXPECT_EQ(field(1, 32 + 16, 2), 7u);
    EXPECT_EQ(field(6, 16, 1), 2u);
    EXPECT_EQ(field(6, 32, 2), 7u);
}

TEST_F(SimulatedRaidEvents, ACardCanMoveToAnotherFunction) {
    raid({"controller", "0", "move", "0000:d8:00.0"});
    EXPECT_EQ(number(library->record(1, 11, 0, 112), 0, 4), 0xD8u);
    EXPECT_THAT(tryRaid({"controller", "0", "move", "0000:d9:00.0"}).output,
                HasSubstr("the host has no PCI function at \"0000:d9:00.0\""));
}

TEST_F(SimulatedRaidEvents, AWrongWordIsRefusedWithTheRightOnes) {
    const auto refused = [&](const std::vector<std::string>& words, const std::string& text) {
        const Ran ran = tryRaid(words);
        EXPECT_EQ(ran.status, 2) << text;
        EXPECT_THAT(ran.output, HasSubstr(text));
    };
    refused({"disc"},
            "\"disc\" is none of event, disk, volume, battery, check, controller, command, simulation");
    refused({"disk", "3", "252:0", "fail"},
            "the host has no RAID controller \"3\"; it has 0 (SV01234567), 5 (SK00000002)");
    refused({"disk", "0", "1:1", "fail"},
            "the controller has no disk \"1:1\"; it has 252:0, 252:1, 252:2, 252:3, 300:4, 300:5");
    refused({"disk", "0", "252:0", "break"}, "\"break\" is none of fail, predict, pull, insert, rebuild");
    refused({"volume", "0", "3", "offline"}, "the controller has no volume 3; it has 0, 7");
    refused({"volume", "0", "3", "create", "RAID7"},
            "the volume has the level \"RAID7\", which is none of RAID0");
    refused({"event", "0", "1", "0", "everywhere"}, "\"everywhere\" is none of volume, disk");
    refused({"event", "0", "1", "0", "disk", "--args", "0"}, "--args takes at most 96 bytes");
    refused({"command", "0", "shelves", "hang"}, "\"shelves\" is none of all, initialize");
    refused({"disk", "0", "252:0", "state", "working"}, "\"working\" is no state of a disk");
}

}  // namespace
}  // namespace SimulatedRaidEventsTest
