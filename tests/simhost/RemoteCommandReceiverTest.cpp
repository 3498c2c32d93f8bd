#include "rmc/RemoteCommandReceiver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simhost/Chunks.h"

namespace RemoteCommandReceiverTest {

using namespace simhost;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Receiver : public testing::Test {
protected:
    ChunkOutcome send(const Chunk& chunk, std::uint32_t descriptor = 1) {
        ControllerPacket packet;
        packet.netfn = 0x3A;
        packet.command = 0x80;
        packet.descriptor = descriptor;
        packet.process = 4711;
        packet.ordinal = sent_[descriptor]++;
        packet.data = chunk;
        return receiver.take(packet);
    }
    // Sends a whole command as a faultless agent does; the outcome of its last chunk.
    ChunkOutcome sendAll(const std::string& name, const std::string& text, std::uint32_t descriptor = 1) {
        ChunkOutcome outcome = send(firstChunk(name, text), descriptor);
        for (std::size_t at = 33; at < text.size() + 1 && text.size() + 1 > 57; at += 57) {
            EXPECT_THAT(outcome.violations, IsEmpty());
            EXPECT_FALSE(outcome.completed);
            outcome = send(laterChunk(text, at, outcome.nextIndex), descriptor);
        }
        return outcome;
    }
    void skipRequests(std::uint32_t descriptor, std::uint32_t count) { sent_[descriptor] = count; }

    std::uint16_t index = 0x1234;
    RemoteCommandReceiver receiver{[this](std::size_t) { return index; }, 100000};

private:
    std::map<std::uint32_t, std::uint32_t> sent_;
};

TEST_F(Receiver, PutsEveryLengthTogether) {
    for (std::size_t length = 57; length <= 400; ++length) {
        index = static_cast<std::uint16_t>(length * 977);
        const std::string text = longText(length);
        const ChunkOutcome outcome = sendAll("WriteInventory", text);
        ASSERT_THAT(outcome.violations, IsEmpty()) << length;
        ASSERT_TRUE(outcome.completed) << length;
        EXPECT_EQ(outcome.completed->payload, text);
        EXPECT_EQ(outcome.completed->name, "WriteInventory");
        EXPECT_EQ(outcome.completed->process, 4711u);
        EXPECT_EQ(outcome.completed->chunks, 1 + (length + 1 - 33 + 56) / 57);
    }
}

TEST_F(Receiver, TakesThreeChunksForNinetyOneBytes) {
    const std::string text = longText(90) + longText(1);
    ChunkOutcome outcome = send(firstChunk("MPEventGen", text));
    EXPECT_EQ(outcome.chunk, 1u);
    EXPECT_EQ(outcome.name, "MPEventGen");
    outcome = send(laterChunk(text, 33, 0x1234));
    EXPECT_EQ(outcome.chunk, 2u);
    EXPECT_FALSE(outcome.completed);
    outcome = send(laterChunk(text, 90, 0x1234));
    EXPECT_EQ(outcome.chunk, 3u);
    ASSERT_TRUE(outcome.completed);
    EXPECT_EQ(outcome.completed->payload, text);
}

TEST_F(Receiver, AShortPayloadStandsOverTheNameAndIsToldApart) {
    for (const char* name : {"WriteInventory", "MPEventGen"}) {
        for (std::size_t length = 0; length <= 56; ++length) {
            const std::string text = longText(length);
            const ChunkOutcome outcome = send(firstChunk(name, text));
            ASSERT_THAT(outcome.violations, IsEmpty()) << name << ' ' << length;
            ASSERT_TRUE(outcome.completed) << name << ' ' << length;
            EXPECT_TRUE(outcome.completed->isShort);
            EXPECT_EQ(outcome.completed->payload, text);
            EXPECT_EQ(outcome.status, chunkTaken);
        }
    }
}

TEST_F(Receiver, AnIndexOfZeroIsAsGoodAsAnyOther) {
    index = 0;
    const ChunkOutcome outcome = sendAll("WriteInventory", longText(500));
    EXPECT_THAT(outcome.violations, IsEmpty());
    EXPECT_TRUE(outcome.completed);
}

TEST_F(Receiver, AnotherIndexThanTheReturnedOneIsAViolationAndEndsTheCommand) {
    send(firstChunk("WriteInventory", longText(500)));
    const ChunkOutcome outcome = send(laterChunk(longText(500), 33, 0x1235));
    EXPECT_THAT(outcome.violations, ElementsAre(HasSubstr("has the index 4661, and 4660 was returned")));
    EXPECT_EQ(outcome.status, 3);
    EXPECT_FALSE(receiver.inProgress());
}

TEST_F(Receiver, AfterALostReplyTheIndexBeforeIsRight) {
    const std::string text = longText(500);
    send(firstChunk("WriteInventory", text));
    receiver.replyLost();
    EXPECT_THAT(send(laterChunk(text, 33, 0)).violations, IsEmpty());  // nothing came back yet
    index = 0x7777;
    EXPECT_THAT(send(laterChunk(text, 90, 0x1234)).violations, IsEmpty());
    receiver.replyLost();
    EXPECT_THAT(send(laterChunk(text, 147, 0x1234)).violations, IsEmpty());
    EXPECT_THAT(send(laterChunk(text, 204, 0x7777)).violations, IsEmpty());
}

struct BadChunk {
    const char* what;
    std::size_t chunk;  // 1: the first, 2: a later one, 3: the last
    std::size_t byte;
    std::uint8_t value;
    const char* complaint;
};

void PrintTo(const BadChunk& bad, std::ostream* stream) {
    *stream << bad.what;
}

// A command of 120 characters: 33 + 57 + 31 bytes in its chunks.
constexpr BadChunk badChunks[] = {
    {"index of a first chunk", 1, 0, 1, "a first chunk with the index 1, not 0"},
    {"high index of a first chunk", 1, 1, 1, "a first chunk with the index 256, not 0"},
    {"size of the name field", 1, 2, 0x15, "byte 2 is 0x15"},
    {"no name", 1, 3, 0, "does not hold a command name"},
    {"strange name", 1, 4, ' ', "does not hold a command name"},
    {"end of the name", 1, 17, 'y', "is not supported"},
    {"padding of the name", 1, 18, 'x', "byte 18 is 0x78, and should be zero: behind the command name"},
    {"end of the name field", 1, 22, 1, "byte 22 is 0x01, and should be zero: behind the command name"},
    {"length too small", 1, 23, 57, "a payload length of 57"},
    {"length of zero", 1, 23, 0, "a payload length of 0"},
    {"length too large", 1, 25, 0xFF, "beyond the limit"},
    {"length far too large", 1, 26, 0x01, "a payload of 16777337 bytes is beyond the limit"},
    {"NUL in the first piece", 1, 27, 0, "a NUL inside the payload, at 0 of 121 bytes"},
    {"index of a later chunk", 2, 0, 0x35, "has the index 4661, and 4660 was returned"},
    {"high index of a later chunk", 2, 1, 0x13, "has the index 4916, and 4660 was returned"},
    {"byte 2 of a later chunk", 2, 2, 1, "byte 2 is 0x01"},
    {"NUL in a later piece", 2, 4, 0, "a NUL inside the payload, at 34 of 121 bytes"},
    {"NUL too early in the last piece", 3, 32, 0, "a NUL inside the payload, at 119 of 121 bytes"},
    {"no NUL at the end", 3, 33, 'x', "the payload ends in 0x78, not in a NUL"},
    {"padding at once behind the end", 3, 34, 1, "byte 34 is 0x01, and should be zero: behind the end"},
    {"last byte of the padding", 3, 59, 0x80, "byte 59 is 0x80, and should be zero: behind the end"},
};

class EachBadChunk : public Receiver, public testing::WithParamInterface<BadChunk> {};

TEST_P(EachBadChunk, IsFound) {
    const BadChunk& bad = GetParam();
    const std::string text = longText(120);
    Chunk chunks[] = {firstChunk("WriteInventory", text), laterChunk(text, 33, 0x1234),
                      laterChunk(text, 90, 0x1234)};
    std::vector<std::string> found;
    for (std::size_t i = 0; i < bad.chunk; ++i) {
        EXPECT_THAT(found, IsEmpty());
        if (i + 1 == bad.chunk) chunks[i][bad.byte] = bad.value;
        const ChunkOutcome outcome = send(chunks[i]);
        found = outcome.violations;
        found.insert(found.end(), outcome.notices.begin(), outcome.notices.end());
    }
    EXPECT_THAT(found, testing::Contains(HasSubstr(bad.complaint)));
}

INSTANTIATE_TEST_SUITE_P(Table, EachBadChunk, testing::ValuesIn(badChunks), [](const auto& tested) {
    std::string name;
    for (const char c : std::string(tested.param.what))
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});

TEST_F(Receiver, AChunkOfAnotherSizeIsAViolation) {
    for (const std::size_t size : {0u, 1u, 2u, 59u, 61u, 272u}) {
        Chunk chunk = firstChunk("WriteInventory", longText(100));
        chunk.resize(size, 0);
        const ChunkOutcome outcome = send(chunk);
        EXPECT_EQ(outcome.completionCode, 0xC7);
        EXPECT_THAT(outcome.violations,
                    ElementsAre(HasSubstr("a chunk of " + std::to_string(size) + " bytes")));
    }
}

TEST_F(Receiver, SomethingBehindAShortPayloadIsAViolation) {
    Chunk chunk = firstChunk("WriteInventory", "abc");
    chunk[40] = 1;
    EXPECT_THAT(send(chunk).violations, ElementsAre(HasSubstr("byte 40")));
    chunk = firstChunk("WriteInventory", longText(30));
    chunk[34] = 1;
    EXPECT_THAT(send(chunk).violations, ElementsAre(HasSubstr("byte 34")));
    chunk = firstChunk("MPEventGen", "abc");
    chunk[22] = 1;
    EXPECT_THAT(send(chunk).violations, ElementsAre(HasSubstr("byte 22")));
}

TEST_F(Receiver, AnUnknownCommandGetsStatus5) {
    const ChunkOutcome outcome = send(firstChunk("ReadWeather", longText(100)));
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.violations, IsEmpty());
    EXPECT_FALSE(receiver.inProgress());
}

TEST_F(Receiver, APayloadBeyondTheLimitGetsStatus8) {
    EXPECT_EQ(send(firstChunk("WriteInventory", longText(99999))).status, 0);
    EXPECT_EQ(send(firstChunk("WriteInventory", longText(100000)), 2).status, 8);
    EXPECT_FALSE(receiver.inProgress());
}

TEST_F(Receiver, ACommandWhoseDescriptorIsClosedIsAbandoned) {
    send(firstChunk("WriteInventory", longText(100)));
    const auto account = receiver.closed(1);
    ASSERT_TRUE(account);
    EXPECT_THAT(*account,
                HasSubstr("abandoned transfer: WriteInventory from process 4711 broke off after 33 of "
                          "101 bytes"));
    EXPECT_FALSE(receiver.inProgress());
    EXPECT_EQ(receiver.abandoned(), 1u);
    EXPECT_FALSE(receiver.closed(1));
}

TEST_F(Receiver, AFinishedCommandIsNotAbandoned) {
    sendAll("WriteInventory", longText(100));
    EXPECT_FALSE(receiver.closed(1));
    EXPECT_EQ(receiver.abandoned(), 0u);
}

TEST_F(Receiver, ANewCommandOnAnotherDescriptorAbandonsTheOldWithoutAViolation) {
    send(firstChunk("WriteInventory", longText(100)), 1);
    const ChunkOutcome outcome = send(firstChunk("MPEventGen", longText(100)), 2);
    EXPECT_THAT(outcome.violations, IsEmpty());
    EXPECT_THAT(outcome.notices, ElementsAre(HasSubstr("abandoned transfer")));
    EXPECT_TRUE(receiver.inProgress());
}

TEST_F(Receiver, ANewCommandOnTheSameDescriptorBeforeTheEndIsAViolation) {
    send(firstChunk("WriteInventory", longText(100)));
    EXPECT_THAT(send(firstChunk("WriteInventory", longText(100))).violations,
                ElementsAre(HasSubstr("abandoned transfer")));
}

TEST_F(Receiver, ChunksOfTwoCommandsByTurnsAreAViolation) {
    const std::string text = longText(100);
    send(firstChunk("WriteInventory", text), 1);
    send(firstChunk("MPEventGen", text), 2);
    const ChunkOutcome outcome = send(laterChunk(text, 33, 0x1234), 1);
    EXPECT_THAT(outcome.violations, ElementsAre(HasSubstr("while another is on the wire")));
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(send(laterChunk(text, 33, 0x1234), 2).violations, IsEmpty());
}

TEST_F(Receiver, AChunkBehindTheEndIsAViolation) {
    sendAll("WriteInventory", longText(100));
    EXPECT_THAT(send(laterChunk(longText(100), 33, 0x1234)).violations,
                ElementsAre(HasSubstr("behind the end of a command")));
}

TEST_F(Receiver, AChunkAfterARefusalIsAViolation) {
    send(firstChunk("WriteInventory", longText(500)));
    receiver.refused();
    EXPECT_FALSE(receiver.inProgress());
    EXPECT_THAT(send(laterChunk(longText(500), 33, 0x1234)).violations,
                ElementsAre(HasSubstr("refused before")));
}

TEST_F(Receiver, AChunkBehindARefusedFirstOneIsAViolation) {
    send(firstChunk("ReadWeather", longText(100)));
    EXPECT_THAT(send(laterChunk(longText(100), 33, 0x1234)).violations,
                ElementsAre(HasSubstr("refused before")));
}

TEST_F(Receiver, AChunkBehindAShortPayloadIsAViolation) {
    send(firstChunk("WriteInventory", longText(10)));
    EXPECT_THAT(send(laterChunk(longText(100), 33, 0x1234)).violations,
                ElementsAre(HasSubstr("behind the end of a command")));
}

TEST_F(Receiver, ANameThatFillsItsFieldIsAViolation) {
    EXPECT_THAT(send(firstChunk("WriteInventoryAtOnce", longText(100))).violations,
                ElementsAre(HasSubstr("byte 27")));  // without its NUL it reads as a short payload
    const ChunkOutcome outcome = send(firstChunk("WriteInventoryNow12", longText(100)), 2);
    EXPECT_THAT(outcome.violations, IsEmpty());
    EXPECT_EQ(outcome.name, "WriteInventoryNow12");
}

TEST_F(Receiver, ANewCommandAfterARefusalIsNone) {
    send(firstChunk("WriteInventory", longText(500)));
    receiver.refused();
    EXPECT_THAT(sendAll("WriteInventory", longText(500)).violations, IsEmpty());
}

TEST_F(Receiver, ALaterChunkAtTheStartOfADescriptorIsAViolation) {
    EXPECT_THAT(send(laterChunk(longText(100), 33, 0)).violations,
                ElementsAre(HasSubstr("without a first one")));
}

TEST_F(Receiver, AChunkWhoseBeginningWasNotSeenIsNobodysFault) {
    skipRequests(1, 7);
    const ChunkOutcome outcome = send(laterChunk(longText(1000), 33, 99));
    EXPECT_THAT(outcome.violations, IsEmpty());
    EXPECT_THAT(outcome.notices, ElementsAre(HasSubstr("before this controller was there")));
    EXPECT_EQ(outcome.status, 3);
}

TEST_F(Receiver, ForgetsEverythingWhenTheHostIsGone) {
    send(firstChunk("WriteInventory", longText(100)));
    ASSERT_TRUE(receiver.hostGone());
    EXPECT_FALSE(receiver.inProgress());
    skipRequests(1, 7);  // a new host counts its descriptors from the beginning
    EXPECT_THAT(send(laterChunk(longText(100), 33, 0x1234)).violations, IsEmpty());
    EXPECT_THAT(sendAll("WriteInventory", longText(100)).violations, IsEmpty());
}

}  // namespace
}  // namespace RemoteCommandReceiverTest
