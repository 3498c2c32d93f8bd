// Begin and end of the registration for events.
#include <gmock/gmock.h>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <map>
#include <thread>

#include "megaraid/storelib/RaidEventFixture.h"
#include "support/FakeClock.h"

namespace vokSASLSIEventRegistrationTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RaidEventRegistration : public RaidEventFixture {
protected:
    using Registration = std::vector<std::uint8_t>;

    static unsigned number(const Registration& block, std::size_t offset, std::size_t width) {
        unsigned value = 0;
        for (std::size_t i = width; i > 0; --i) value = value << 8 | block.at(offset + i - 1);
        return value;
    }
    // The id, locale, reserved byte, class and sequence number of an entry.
    static std::vector<unsigned> entry(const Registration& block, std::size_t index) {
        const std::size_t at = 4 + 12 * index;
        return {number(block, at, 4), number(block, at + 4, 2), number(block, at + 6, 1),
                number(block, at + 7, 1), number(block, at + 8, 4)};
    }
    // Makes the command of one controller, or of all, return a status.
    void fail(FakeStoreLibCommand command, std::uint32_t status, std::uint32_t controllerId) {
        library.answer = [=](_SL_LIB_CMD_PARAM_T& block, std::uint32_t& result) {
            if (FakeStoreLibCommand{block.commandType, block.command} != command) return false;
            if (block.controllerId != controllerId) return false;
            result = status;
            return true;
        };
    }
    std::vector<unsigned long> pauses() const { return host.part<FakeClock>().pauses(); }
    _SL_LIB_CMD_PARAM_T last() const { return library.commands().back(); }
    std::string skipped(const std::string& rest) const {
        return "WARNING LSI_EVENT_INTERF: Failed to determine event sequence info." + std::string(29, ' ') +
               "Skipping AEN registration for this controller. " + rest;
    }
};

// --- the begin ---

TEST_F(RaidEventRegistration, EachControllerReportsAllLocalesFromNowOn) {
    library.newestSequence = 0x01020304;
    ASSERT_TRUE(registerEvents());
    const Registration block = library.registration();
    ASSERT_EQ(block.size(), sizeof(void*) == 4 ? 776u : 784u);
    EXPECT_EQ(number(block, 0, 4), 2u);
    EXPECT_THAT(entry(block, 0), ElementsAre(1, 0xFFFF, 0, 0, 0x01020304));
    EXPECT_THAT(entry(block, 1), ElementsAre(7, 0xFFFF, 0, 0, 0x01020304));
    for (std::size_t rest = 2; rest < 64; ++rest) ASSERT_THAT(entry(block, rest), ElementsAre(0, 0, 0, 0, 0));
    std::uint32_t (*callback)(_SL_EVENT_DETAIL_T*) = nullptr;
    std::memcpy(&callback, &block[sizeof(void*) == 4 ? 772 : 776], sizeof(callback));
    EXPECT_EQ(callback, &vokSASLSIEvent::AENCallBack);
    EXPECT_TRUE(logged("DEBUG LSI_EVENT_INTERF: RegisterAENCall successful"));
    EXPECT_TRUE(
        logged("DEBUG LSI_EVENT_INTERF: AEN Registration successful for [2] LSI MR controllers. (Unique ID: "
               "[0x1234])"));
}

TEST_F(RaidEventRegistration, TheSequenceOfAControllerIsAskedForByItsEntryOfTheList) {
    ASSERT_TRUE(registerEvents());
    std::vector<std::uint32_t> asked;
    for (const _SL_LIB_CMD_PARAM_T& each : library.commands())
        if (each.commandType == 7) asked.push_back(each.controllerId);
    EXPECT_THAT(asked, ElementsAre(1, 7));
}

TEST_F(RaidEventRegistration, TheNewestSequenceNumberIsTheFirstOfFive) {
    library.answer = [](_SL_LIB_CMD_PARAM_T& block, std::uint32_t& status) {
        if (block.commandType != 7) return false;
        const std::uint32_t numbers[] = {0x11, 0x22, 0x33, 0x44, 0x55};
        std::memcpy(block.data, numbers, sizeof(numbers));
        status = 0;
        return true;
    };
    ASSERT_TRUE(registerEvents());
    EXPECT_EQ(entry(library.registration(), 0).back(), 0x11u);
}

TEST_F(RaidEventRegistration, TheSequenceInfoIsZeroedBeforeItIsRead) {
    ASSERT_TRUE(interface().vokStoreInit());
    library.failures[sequenceInfo] = 0x8002;
    _MR_EVT_LOG_INFO info{9, {9, 9, 9, 9}};
    EXPECT_EQ(events().IssueEventSequenceInfo(&info, 1), 0x8002u);
    EXPECT_EQ(info.newest, 0u);
    EXPECT_EQ(info.others[3], 0u);
    EXPECT_TRUE(logged("DEBUG LSI_EVENT_INTERF: GetEventSequenceInfo : ProcessLibCommandCall failed"));
    EXPECT_FALSE(logged("DEBUG LSI_EVENT_INTERF: Invalid controller"));
}

TEST_F(RaidEventRegistration, AnInvalidControllerHasATextOfItsOwn) {
    ASSERT_TRUE(interface().vokStoreInit());
    library.failures[sequenceInfo] = 0x800A;
    _MR_EVT_LOG_INFO info{};
    EXPECT_EQ(events().IssueEventSequenceInfo(&info, 1), 0x800Au);
    EXPECT_TRUE(logged("DEBUG LSI_EVENT_INTERF: Invalid controller"));
    EXPECT_FALSE(logged("DEBUG LSI_EVENT_INTERF: GetEventSequenceInfo : ProcessLibCommandCall failed"));
}

TEST_F(RaidEventRegistration, AControllerWithoutSequenceInfoIsSkippedAndItsEntryIsReused) {
    fail(sequenceInfo, 0x8002, 1);
    ASSERT_TRUE(registerEvents());
    const Registration block = library.registration();
    EXPECT_EQ(number(block, 0, 4), 1u);
    EXPECT_THAT(entry(block, 0), ElementsAre(7, 0xFFFF, 0, 0, 100));
    EXPECT_EQ(entry(block, 1).front(), 0u);
    EXPECT_EQ(timesLogged(skipped("(ID: [1]; rval = [0x8002])")), 1);
}

TEST_F(RaidEventRegistration, WithoutASelectedControllerNothingIsRegistered) {
    library.failures[sequenceInfo] = 0x800A;
    EXPECT_FALSE(registerEvents());
    EXPECT_EQ(library.count(registration), 0);
    EXPECT_EQ(timesLogged(skipped("(ID: [1]; rval = [0x800a])")), 1);
    EXPECT_EQ(timesLogged(skipped("(ID: [7]; rval = [0x800a])")), 1);
    EXPECT_TRUE(
        logged("WARNING LSI_EVENT_INTERF: Unable to register for AEN: No controllers could be selected. "
               "(Total: [2]; Selected: [0])"));
}

TEST_F(RaidEventRegistration, ALibraryThatFoundNoControllersHasNoneToSelect) {
    library.controllers.clear();
    EXPECT_FALSE(registerEvents());
    const std::string none =
        "WARNING LSI_EVENT_INTERF: Unable to register for AEN: No controllers could be selected. "
        "(Total: [0]; Selected: [0])";
    EXPECT_FALSE(logged(none));  // the library isn't usable at first
    EXPECT_FALSE(registerEvents());
    EXPECT_TRUE(logged(none));
}

TEST_F(RaidEventRegistration, TheListOfTheLibraryFillsTheInput) {
    library.controllers.resize(64);
    for (std::uint32_t i = 0; i < 64; ++i) library.controllers[i].id = 100 + i;
    ASSERT_TRUE(registerEvents());
    const Registration block = library.registration();
    EXPECT_EQ(number(block, 0, 4), 64u);
    EXPECT_EQ(entry(block, 63).front(), 163u);
}

TEST_F(RaidEventRegistration, NoCountLeavesTheInput) {
    library.controllers.resize(64);
    for (std::uint32_t i = 0; i < 64; ++i) library.controllers[i].id = 100 + i;
    library.counts[{0, 0}] = 65535;
    ASSERT_TRUE(registerEvents());
    const Registration block = library.registration();
    EXPECT_EQ(number(block, 0, 4), 64u);
    EXPECT_EQ(entry(block, 63).front(), 163u);
}

TEST_F(RaidEventRegistration, AnEventThatComesBeforeTheRegistrationReturnsIsPassedOn) {
    library.answer = [this](_SL_LIB_CMD_PARAM_T& block, std::uint32_t&) {
        if (block.commandType == 0 && block.command == 1) callBack(0, 1, controllerEvent());
        return false;
    };
    ASSERT_TRUE(registerEvents());
    EXPECT_EQ(received.size(), 1u);
}

TEST_F(RaidEventRegistration, TheBlocksHaveNothingBesideTheFieldsOfTheirCommands) {
    library.registrationId = 0xA1B2C3D4;
    ASSERT_TRUE(registerEvents());
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    int compared = 0;
    for (const _SL_LIB_CMD_PARAM_T& each : library.commands()) {
        if (each.commandType != 7 && (each.command == 0 || each.command == 3)) continue;
        ++compared;
        _SL_LIB_CMD_PARAM_T expected;
        std::memset(&expected, 0, sizeof(expected));
        expected.commandType = each.commandType;
        expected.command = each.command;
        expected.dataSize = each.dataSize;
        if (each.commandType == 7) expected.controllerId = each.controllerId;
        if (each.commandType == 0 && each.command == 1) expected.input = each.input;
        if (each.commandType == 0 && each.command == 2) expected.uniqueId = 0xA1B2C3D4;
        EXPECT_EQ(std::memcmp(&each, &expected, offsetof(_SL_LIB_CMD_PARAM_T, dataSize) + 4), 0)
            << int{each.commandType} << ", " << int{each.command};
    }
    EXPECT_EQ(compared, 4);
}

TEST_F(RaidEventRegistration, EachRefusalHasItsText) {
    const std::map<unsigned, std::string> texts = {
        {0x8001, "Init not done"},           {0x8003, "WMI Init failed"},
        {0x8004, "WMI Registration failed"}, {0x8006, "COM Init failed"},
        {0x8007, "Invalid Event Mask"},      {0x8009, "Command Timeout"},
        {0x800A, "Invalid controller"},      {0x8015, "Memory Allocation failed"},
    };
    for (const auto& [status, text] : texts) {
        library.failures[registration] = status;
        EXPECT_FALSE(registerEvents());
        EXPECT_EQ(timesLogged("ERROR LSI_EVENT_INTERF: RegisterAENCall failed " + text), 1);
        EXPECT_EQ(timesLogged("DEBUG LSI_EVENT_INTERF: " + text), 1);
    }
    EXPECT_EQ(timesLogged("DEBUG LSI_EVENT_INTERF: RegisterAEN command failed"), 0);
}

TEST_F(RaidEventRegistration, AnyOtherRefusalIsLoggedByNumber) {
    library.failures[registration] = 0x8002;
    EXPECT_FALSE(registerEvents());
    EXPECT_TRUE(logged("ERROR LSI_EVENT_INTERF: RegisterAENCall failed  (rval:32770)"));
    EXPECT_TRUE(logged("DEBUG LSI_EVENT_INTERF: RegisterAEN command failed"));
}

TEST_F(RaidEventRegistration, ARefusedRegistrationNeedsNoEnd) {
    library.failures[registration] = 0x8002;
    EXPECT_FALSE(registerEvents());
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(library.count(endOfRegistration), 0);
}

// --- the end ---

TEST_F(RaidEventRegistration, WithoutARegistrationThereIsNothingToEnd) {
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(library.calls(), 0);
    ASSERT_TRUE(registerEvents());
    EXPECT_EQ(library.deliver(0, 1, controllerEvent()), 0u);
    EXPECT_EQ(received.size(), 1u);
}

TEST_F(RaidEventRegistration, TheEndNamesTheRegistrationAndIsAcceptedOnce) {
    library.registrationId = 0xA1B2C3D4;
    ASSERT_TRUE(registerEvents());
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(last().commandType, 0);
    EXPECT_EQ(last().command, 2);
    EXPECT_EQ(last().uniqueId, 0xA1B2C3D4u);
    EXPECT_EQ(last().dataSize, 0u);
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(library.count(endOfRegistration), 1);
    EXPECT_THAT(pauses(), IsEmpty());
}

TEST_F(RaidEventRegistration, ARefusedEndIsTriedThreeTimesAndTheRegistrationStays) {
    ASSERT_TRUE(registerEvents());
    library.failures[endOfRegistration] = 0x8009;
    EXPECT_EQ(events().UnregisterForAEN(), 0x8009u);
    EXPECT_EQ(library.count(endOfRegistration), 3);
    EXPECT_THAT(pauses(), ElementsAre(100000, 100000));
    for (int attempt = 1; attempt <= 3; ++attempt)
        EXPECT_EQ(timesLogged("WARNING LSI_EVENT_INTERF: Failed to unregister AEN for LSI MR controllers on "
                              "attempt #" +
                              std::to_string(attempt) + ". (Unique ID: [0x1234]; rval: [0x8009])"),
                  1);
    EXPECT_EQ(library.deliver(0, 1, controllerEvent()), 0u);
    EXPECT_THAT(received, IsEmpty());

    library.failures.clear();
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(library.count(endOfRegistration), 4);
}

TEST_F(RaidEventRegistration, AnEndThatIsAcceptedLaterSucceeds) {
    ASSERT_TRUE(registerEvents());
    int attempts = 0;
    library.answer = [&](_SL_LIB_CMD_PARAM_T& block, std::uint32_t& status) {
        if (block.commandType != 0 || block.command != 2 || ++attempts == 3) return false;
        status = 0x8002;
        return true;
    };
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(attempts, 3);
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(attempts, 3);
}

TEST_F(RaidEventRegistration, CallbacksStayRefusedAfterALaterRegistration) {
    ASSERT_TRUE(registerEvents());
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(callBack(0, 1, controllerEvent()), 0u);
    ASSERT_TRUE(registerEvents());
    const int before = library.calls();
    EXPECT_EQ(library.deliver(0, 1, controllerEvent()), 0u);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_EQ(library.calls(), before);
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    EXPECT_EQ(library.count(endOfRegistration), 2);
}

TEST_F(RaidEventRegistration, TheEndWaitsForTheCallbackInProgress) {
    ASSERT_TRUE(registerEvents());
    std::atomic<bool> isInCallback{false};
    std::atomic<bool> mayLeave{false};
    onEvent = [&](const VOK_SAS_EVENT_DETAIL&) {
        if (isInCallback.exchange(true)) return;
        while (!mayLeave) std::this_thread::yield();
    };
    std::thread libraryThread([&] { library.deliver(0, 1, controllerEvent()); });
    while (!isInCallback) std::this_thread::yield();

    std::atomic<bool> hasEnded{false};
    std::thread ending([&] {
        EXPECT_EQ(events().UnregisterForAEN(), 0u);
        hasEnded = true;
    });
    const auto isRefused = [] {
        const std::size_t before = received.size();
        callBack(0, 1, controllerEvent());
        return received.size() == before;
    };
    while (!isRefused() && !hasEnded) std::this_thread::yield();  // until the end has begun
    EXPECT_FALSE(hasEnded);
    EXPECT_EQ(library.count(endOfRegistration), 0);
    mayLeave = true;
    ending.join();
    libraryThread.join();
    EXPECT_EQ(library.count(endOfRegistration), 1);
}

TEST_F(RaidEventRegistration, TwoEndsAtOnceEndItOnce) {
    ASSERT_TRUE(registerEvents());
    std::thread other([] { EXPECT_EQ(events().UnregisterForAEN(), 0u); });
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    other.join();
    EXPECT_EQ(library.count(endOfRegistration), 1);
}

TEST_F(RaidEventRegistration, EventsThatPourInDoNotDelayTheEnd) {
    ASSERT_TRUE(registerEvents());
    std::atomic<int> handled{0};
    std::atomic<bool> isOver{false};
    onEvent = [&](const VOK_SAS_EVENT_DETAIL&) { ++handled; };
    std::thread libraryThread([&] {
        while (!isOver) callBack(0, 1, controllerEvent());
    });
    while (handled < 20) std::this_thread::yield();
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    const int atTheEnd = handled;
    for (int i = 0; i < 200; ++i) std::this_thread::yield();
    EXPECT_EQ(handled, atTheEnd);
    isOver = true;
    libraryThread.join();
}

// --- the library stays loaded while it may call back ---

TEST_F(RaidEventRegistration, ALibraryThatMayCallBackStaysLoaded) {
    ASSERT_TRUE(registerEvents());
    interface().unloadDLLs();
    EXPECT_EQ(loaded(), 1);
}

TEST_F(RaidEventRegistration, AfterTheEndTheLibraryCanBeUnloaded) {
    ASSERT_TRUE(registerEvents());
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
    interface().unloadDLLs();
    EXPECT_EQ(loaded(), 0);
}

TEST_F(RaidEventRegistration, AfterARefusedRegistrationTheLibraryCanBeUnloaded) {
    library.failures[registration] = 0x8002;
    EXPECT_FALSE(registerEvents());
    interface().unloadDLLs();
    EXPECT_EQ(loaded(), 0);
}

TEST_F(RaidEventRegistration, AfterARefusedEndTheLibraryStaysLoaded) {
    ASSERT_TRUE(registerEvents());
    library.failures[endOfRegistration] = 0x8002;
    EXPECT_EQ(events().UnregisterForAEN(), 0x8002u);
    interface().unloadDLLs();
    EXPECT_EQ(loaded(), 1);
}

}  // namespace
}  // namespace vokSASLSIEventRegistrationTest
