// What a replayed host answers, and how it names what it can't.
#include <gmock/gmock.h>
#include <cerrno>

#include "replay/QuestionName.h"
#include "replay/ReplayAnswers.h"
#include "simhost/ReplayedMachine.h"

namespace ReplayAnswersTest {
using namespace simhost;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class Answers : public testing::Test {
protected:
    ReplayAnswers& answers() {
        if (!answers_)
            answers_.emplace(recorded, AgentPlaces(configuration),
                             [this](const std::string& name) { reported.push_back(name); });
        return *answers_;
    }
    // The field "n" of the answer to a command; "-" if it is not recorded.
    std::string command(const std::string& text, std::uint32_t ordinal) {
        const auto [status, fields] = answers().question({"command-run", {{"text", text}}, ordinal});
        EXPECT_EQ(status == ReplayAnswer::recorded, fields != nullptr);
        return fields ? fields->at("n") : "-";
    }

    recording::Recording recorded = emptyRecording();
    std::string configuration;
    std::vector<std::string> reported;

private:
    std::optional<ReplayAnswers> answers_;
};

TEST_F(Answers, ARepeatedQuestionHasTheNextAnswerAndAfterTheLastThatOneAgain) {
    recorded.exchanges = {{"command-run", {{"text", "a"}}, {{{"n", "1"}}, {{"n", "2"}}}},
                          {"command-run", {{"text", "b"}}, {{{"n", "3"}}}}};
    EXPECT_EQ(command("a", 0), "1");
    EXPECT_EQ(command("a", 1), "2");
    EXPECT_EQ(command("a", 2), "2");
    EXPECT_EQ(command("b", 0), "3");
    EXPECT_EQ(answers().answered(), 4u);
    EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Answers, AQuestionIsRecordedOnlyWithItsKindAndEachOfItsFields) {
    recorded.exchanges = {{"command-run", {{"text", "a"}}, {{{"n", "1"}}}}};
    EXPECT_EQ(answers().question({"command-read", {{"text", "a"}}, 0}).first, ReplayAnswer::notRecorded);
    EXPECT_EQ(answers().question({"command-run", {}, 0}).first, ReplayAnswer::notRecorded);
}

TEST_F(Answers, WhatIsNotRecordedIsReportedOnceByNameAndCountedEachTime) {
    EXPECT_EQ(command("ls", 0), "-");
    EXPECT_EQ(command("ls", 1), "-");
    EXPECT_EQ(answers().path("/sys/x"), ReplayPath::notRecorded);
    EXPECT_THAT(reported, ElementsAre("command \"ls\"", "path /sys/x"));
    EXPECT_THAT(answers().notRecorded(), ElementsAre(Pair("command \"ls\"", 2u), Pair("path /sys/x", 1u)));
}

TEST_F(Answers, AFileThatCouldNotBeReadFailsAsItDidOnOpeningOrOnReading) {
    recorded.files = {{"/speed", recordedFile("", EINVAL)},
                      {"/secret", recordedFile("", EACCES)},
                      {"/list", recordedList({}, EIO)}};
    EXPECT_EQ(answers().path("/speed"), ReplayPath::notRead);
    EXPECT_EQ(answers().path("/secret"), ReplayPath::notOpened);
    EXPECT_EQ(answers().path("/list"), ReplayPath::notOpened);
    EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Answers, TheAgentsOwnPlacesWorkWithoutARecording) {
    configuration = R"({"VOKLogLocation": "/data/vok.log", "DebugLogLocation": "syslog"})";
    for (const char* path :
         {"/opt/mev/vok/log", "/opt/mev/vok/data/vok_niclist.txt", "/var/run/vokd.pid",
          "/var/run/mevvokcli17", "/var/tmp/mevVOKStartup.txt", "/tmp/vokboot.log",
          "/scratch/log/mev/vok/backup_log", "/var/log", "/data/vok.log", "/var/run/vokStatus.bin"}) {
        EXPECT_EQ(answers().path(path), ReplayPath::known) << path;
    }
    EXPECT_EQ(answers().path("/var/log/messages"), ReplayPath::notRecorded);
    EXPECT_EQ(answers().path("/data/other"), ReplayPath::notRecorded);
    EXPECT_EQ(answers().path("/opt/mev/vok/database"), ReplayPath::notRecorded);
}

TEST_F(Answers, SettingsThatAreNoJsonNameNoPlaces) {
    configuration = "{";
    EXPECT_EQ(answers().path("/data/vok.log"), ReplayPath::notRecorded);
}

TEST_F(Answers, ThePlacesOfTheSimulationAreNeverReachedEvenIfTheRecordingHoldsThem) {
    recorded.files = {{"/lib/libvok-hostaccess.so", recordedFile("x")},
                      {"/run/simhost/state", recordedFile("x")},
                      {"/usr/x", recordedLink("/lib")}};
    for (const char* path : {"/lib/libvok-hostaccess.so", "/run/simhost/state", "/run/simhost/lock",
                             "/usr/x/libvok-hostaccess.so"})
        EXPECT_EQ(answers().path(path), ReplayPath::notRecorded) << path;
}

TEST_F(Answers, ASimulatedNodeIsOpenedAndReportedAsNotRecordedNowhere) {
    answers().simulate("/dev/ipmi0");
    EXPECT_EQ(answers().path("/dev/ipmi0"), ReplayPath::known);
    EXPECT_EQ(answers().question({"open", {{"device", "/dev/ipmi0"}, {"flags", "2"}}, 0}).first,
              ReplayAnswer::simulated);
    EXPECT_EQ(answers().question({"open", {{"device", "/dev/sg0"}, {"flags", "2"}}, 0}).first,
              ReplayAnswer::notRecorded);
    EXPECT_THAT(reported, ElementsAre("opening of device /dev/sg0"));
}

TEST(QuestionNameOf, EachKindIsNamedInWords) {
    const std::string inquiry("\x12\x01\x80\0\xFC\0", 6);
    EXPECT_EQ(questionName("command-read", {{"text", "esxtop -b"}}), "command \"esxtop -b\"");
    EXPECT_EQ(questionName("scsi", {{"device", "/dev/sg3"}, {"command", inquiry}}),
              "SCSI command [12 01 80 00 fc 00] to /dev/sg3");
    EXPECT_EQ(questionName("csmi", {{"device", "/dev/sg3"}, {"request", "3430350878"}}),
              "CSMI request 0xcc77001e to /dev/sg3");
    EXPECT_EQ(questionName("ioctl", {{"device", "/dev/sg3"}, {"request", "8834"}, {"block", "AB"}}),
              "request 0x2282 [41 42] to /dev/sg3");
    EXPECT_EQ(questionName("ipmi", {{"function", "58"}, {"command", "128"}, {"data", "\x01"}}),
              "IPMI request 58/128 [01]");
    EXPECT_EQ(questionName("library", {{"library", "libstorelib.so"}}), "library libstorelib.so");
    EXPECT_EQ(questionName("symbol", {{"library", "l.so"}, {"symbol", "f"}}), "symbol f of l.so");
    EXPECT_EQ(questionName("call", {{"library", "l.so"}, {"entry", "f"}, {"index", "1"}, {"record", "\x02"}}),
              "call f(index=1, record=02) of l.so");
    EXPECT_EQ(questionName("system-name", {}), "system-name");
}

TEST(QuestionNameOf, ANameIsOneLineOfPrintableCharactersAndNotEndless) {
    EXPECT_EQ(questionName("command-run", {{"text", "a\nb\x1b\\"}}), "command \"a\\x0ab\\x1b\\x5c\"");
    EXPECT_EQ(pathName(std::string(1000, 'x')).size(), 403u);
}

TEST(ReplayMessages, AQuestionAndItsFieldsSurviveTheirEncodingAndNothingElseIsDecoded) {
    const RecordedQuestion question{"scsi", {{"command", std::string("\0\1", 2)}, {"x", ""}}, 7};
    const auto decoded = RecordedQuestion::decode(question.encode());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->kind, "scsi");
    EXPECT_EQ(decoded->fields, question.fields);
    EXPECT_EQ(decoded->ordinal, 7u);
    EXPECT_EQ(decodeFields(encodeFields(question.fields)), question.fields);
    const std::string bytes = question.encode();
    EXPECT_FALSE(RecordedQuestion::decode(bytes + "x"));
    EXPECT_FALSE(RecordedQuestion::decode(bytes.substr(0, bytes.size() - 1)));
    EXPECT_FALSE(decodeFields("\xFF\xFF\xFF\xFF"));
}

}  // namespace
}  // namespace ReplayAnswersTest
