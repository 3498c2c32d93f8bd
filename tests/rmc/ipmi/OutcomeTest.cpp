// The outcome of exchanges and remote commands, beside their results: the outcome that is kept, and the lines
// in the log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "rmc/ipmi/vokIpmiExchange.h"
#include "rmc/ipmi/vokipmi.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"

namespace OutcomeTest {
namespace {

using ipmi::ExchangeStep;
using ipmi::Verdict;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const FakeIpmiReply acceptedChunk{{0, 0, 9, 0, 0}};

class Outcome : public testing::Test {
protected:
    Outcome() {
        host.root.writeFile("/etc/config/mev/vok/vok.conf",
                            R"({"LoggingLevel": "Info", "EnableDebugLog": "false",
                                "VOKLogLocation": "/log/vok.log", "DebugLogLocation": "/log/debug.log"})");
    }
    // The lines of the log as "WARNING IPMI: text", without time stamp and line number.
    std::vector<std::string> lines() const {
        std::vector<std::string> found;
        std::istringstream log(host.root.readFile("/log/vok.log"));
        for (std::string line; std::getline(log, line);) {
            const std::size_t level = line.find('[') + 1;
            const std::size_t module = line.find(" IPMI");
            found.push_back(line.substr(level, line.find(']') - level) + line.substr(module));
        }
        return found;
    }
    int send(std::size_t length = 150) {
        device.emplace();
        return device->RMC_CLI_Cmd_Execution("MPEventGen", std::string(length, 'x'));
    }
    // Replies so to request `number`, counted from 1; all others are accepted.
    void answerRequest(int number, const FakeIpmiReply& reply) {
        ipmi.onRequest = [number, reply, seen = 0](const FakeIpmiRequest&) mutable {
            return ++seen == number ? reply : acceptedChunk;
        };
    }
    Verdict verdict() const { return device->lastCommand().verdict(); }
    std::string text() const { return device->lastCommand().text(); }
    static bool poll() { return ipmi::IPMIUtils().checkIPMIDBRequest(); }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeCommands& commands = host.part<FakeCommands>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    std::optional<ipmi::IPMIUtils> device;
};

// --- one exchange ---

TEST_F(Outcome, AnExchangeKeepsLengthAndCompletionCodeOfItsAnswer) {
    ipmi.answer({{0xCE, 1, 2}});
    ipmi::IPMIUtils utils;
    unsigned char response[4] = {};
    unsigned char capacity = 4;
    const unsigned char none = 0;
    EXPECT_TRUE(utils.execute(0x3A, 0x81, 0, nullptr, none, response, capacity));
    EXPECT_EQ(utils.lastExchange().failedStep, ExchangeStep::none);
    EXPECT_EQ(utils.lastExchange().length, 3U);
    EXPECT_EQ(utils.lastExchange().completionCode, 0xCE);
    ipmi.answer({{}});
    EXPECT_TRUE(utils.execute(0x3A, 0x81, 0, nullptr, none, response, capacity));
    EXPECT_EQ(utils.lastExchange().length, 0U);
    EXPECT_EQ(utils.lastExchange().completionCode, 0);
}

TEST_F(Outcome, AnExchangeKeepsTheStepThatFailedAndItsErrorNumber) {
    struct Row {
        FakeIpmiReply reply;
        ExchangeStep step;
        int error;
    };
    const Row rows[] = {{FakeIpmiReply::sendFails(), ExchangeStep::send, EIO},
                        {{{}, 5}, ExchangeStep::send, 0},
                        {{{}, 0, -1}, ExchangeStep::wait, EINTR},
                        {{{}, 0, 0}, ExchangeStep::wait, 0},
                        {FakeIpmiReply::receiveFails(), ExchangeStep::receive, EMSGSIZE}};
    ipmi::IPMIUtils utils;
    unsigned char response[4] = {};
    unsigned char capacity = 4;
    const unsigned char none = 0;
    for (const Row& row : rows) {
        ipmi.answer(row.reply);
        EXPECT_FALSE(utils.execute(0x3A, 0x81, 0, nullptr, none, response, capacity));
        EXPECT_EQ(utils.lastExchange().failedStep, row.step);
        EXPECT_EQ(utils.lastExchange().error, row.error);
        EXPECT_EQ(utils.lastExchange().length, 0U);
    }
}

TEST_F(Outcome, AnExchangeWithoutADeviceKeepsWhyItCouldNotBeOpened) {
    ipmi.failOpens(2, EBUSY);
    ipmi::IPMIUtils utils;
    unsigned char response[4] = {};
    unsigned char capacity = 4;
    const unsigned char none = 0;
    EXPECT_FALSE(utils.execute(0x3A, 0x81, 0, nullptr, none, response, capacity));
    EXPECT_EQ(utils.lastExchange().failedStep, ExchangeStep::open);
    EXPECT_EQ(utils.lastExchange().error, EBUSY);
}

TEST(Exchange, EachCompletionCodeHasItsMeaning) {
    struct Row {
        unsigned char code;
        const char* meaning;
    };
    const Row rows[] = {{0x00, "completed normally"},
                        {0x01, "specific to the device"},
                        {0x7E, "specific to the device"},
                        {0x7F, "reserved"},
                        {0x80, "specific to the command"},
                        {0xBE, "specific to the command"},
                        {0xBF, "reserved"},
                        {0xC0, "node busy"},
                        {0xC1, "invalid command"},
                        {0xC2, "command invalid for this LUN"},
                        {0xC3, "timeout; the driver's own answer if the controller is silent"},
                        {0xC4, "out of space"},
                        {0xC5, "reservation canceled or invalid"},
                        {0xC6, "request data truncated"},
                        {0xC7, "request data length invalid"},
                        {0xC8, "request data field too long"},
                        {0xC9, "parameter out of range"},
                        {0xCA, "requested number of bytes not available"},
                        {0xCB, "sensor, data or record not present"},
                        {0xCC, "invalid data field in the request"},
                        {0xCD, "command illegal for this sensor or record"},
                        {0xCE, "response could not be provided"},
                        {0xCF, "duplicated request not executed"},
                        {0xD0, "no response: SDR repository in update mode"},
                        {0xD1, "no response: device in firmware update mode"},
                        {0xD2, "no response: controller is initializing"},
                        {0xD3, "destination unavailable"},
                        {0xD4, "insufficient privilege or blocked by a security restriction"},
                        {0xD5, "not supported in the present state"},
                        {0xD6, "sub-function disabled or unavailable"},
                        {0xD7, "reserved"},
                        {0xFE, "reserved"},
                        {0xFF, "unspecified error; the driver's own answer if the interface fails"}};
    for (const Row& row : rows)
        EXPECT_STREQ(ipmi::completionCodeMeaning(row.code), row.meaning) << int{row.code};
}

TEST(Exchange, AnOpenFailureHasTheSystemsReasonAndItsUsualCause) {
    EXPECT_EQ(ipmi::openFailureText(ENOENT), "No such file or directory; no IPMI driver is loaded");
    EXPECT_EQ(ipmi::openFailureText(EACCES), "Permission denied; the agent has to run as root");
    EXPECT_EQ(ipmi::openFailureText(EPERM), "Operation not permitted; the agent has to run as root");
    EXPECT_EQ(ipmi::openFailureText(EBUSY), "Device or resource busy; another program holds the device");
    EXPECT_EQ(ipmi::openFailureText(ENXIO), "No such device or address; the driver has no controller");
    EXPECT_EQ(ipmi::openFailureText(ENODEV), "No such device; the driver has no controller");
    EXPECT_EQ(ipmi::openFailureText(EMFILE), "Too many open files");
}

// --- remote commands ---

TEST_F(Outcome, ACommandWithProperAnswersIsAcceptedAndLogsNothing) {
    ipmi.answer(acceptedChunk);
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(verdict(), Verdict::accepted);
    EXPECT_EQ(text(), "the controller accepted it");
    EXPECT_EQ(device->lastCommand().requests(), 4U);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Outcome, ACompletionCodeInEachAnswerIsOneWarningForTheCommand) {
    ipmi.answer({{0xCE, 0, 0, 0, 0}});
    EXPECT_EQ(send(2000), 0);
    EXPECT_EQ(verdict(), Verdict::unconfirmed);
    EXPECT_EQ(text(),
              "request 1 was answered with completion code 0xCE (response could not be provided); 36 of 36 "
              "requests without a proper answer");
    EXPECT_THAT(lines(), ElementsAre("WARNING IPMI: MPEventGen on /dev/ipmi0: " + text()));
}

TEST_F(Outcome, TheFirstAnswerThatIsNotProperIsNamed) {
    answerRequest(3, {{0xC3}});
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(verdict(), Verdict::unconfirmed);
    EXPECT_EQ(text(),
              "request 3 was answered with completion code 0xC3 (timeout; the driver's own answer if the "
              "controller is silent); 1 of 4 requests without a proper answer");
}

TEST_F(Outcome, ACommandOfOneRequestDoesNotCountThem) {
    ipmi.answer({{0xC1}});
    EXPECT_EQ(send(20), 0);
    EXPECT_EQ(text(), "request 1 was answered with completion code 0xC1 (invalid command)");
}

TEST_F(Outcome, AnAnswerWithoutAllItsBytesIsNotProper) {
    answerRequest(2, {{0, 0, 9, 0}});
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(verdict(), Verdict::unconfirmed);
    EXPECT_EQ(text(),
              "the answer to request 2 has 4 bytes instead of 5; 1 of 4 requests without a proper answer");
    answerRequest(4, {{}});
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(text(), "the answer to request 4 is empty; 1 of 4 requests without a proper answer");
}

TEST_F(Outcome, AFinalAnswerWithAStatusOtherThanZeroIsNotAccepted) {
    answerRequest(4, {{0, 1, 9, 0, 0}});
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(verdict(), Verdict::unconfirmed);
    EXPECT_EQ(text(),
              "the last request was answered with transfer status 0x01 (Input data is not complete), exit "
              "status 0x00");
    answerRequest(4, {{0, 2, 9, 0, 0}});
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(text(),
              "the last request was answered with transfer status 0x02 (Command execution failed), exit "
              "status 0x00");
    answerRequest(4, {{0, 0, 9, 0, 0x2A}});
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(verdict(), Verdict::unconfirmed);
    EXPECT_EQ(text(),
              "the last request was answered with transfer status 0x00 (Chunk taken), exit status 0x2A");
}

TEST_F(Outcome, AnEarlierStatusOfOneDoesNotCount) {
    answerRequest(2, {{0, 1, 9, 0, 0}});
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(verdict(), Verdict::accepted);
}

TEST_F(Outcome, ARefusalHasItsErrorLineAndNoWarning) {
    answerRequest(3, {{0, 5, 9, 0, 0x2A}});
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(verdict(), Verdict::refused);
    EXPECT_EQ(text(),
              "the controller refused request 3: transfer status 0x05 (Provided command not supported), exit "
              "status 0x2A");
    EXPECT_THAT(lines(), ElementsAre("ERROR IPMI: Transfer Status is 0x5[Provided command not supported] and "
                                     "Cmd Exit Status is 0x2a"));
}

TEST_F(Outcome, ARefusalDoesNotHideTheCompletionCodesOfTheAnswers) {
    ipmi.onRequest = [seen = 0](const FakeIpmiRequest&) mutable {
        return ++seen == 1 ? FakeIpmiReply{{0x80, 0, 9, 0, 0}} : FakeIpmiReply{{0xCE, 4, 9, 0, 0}};
    };
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(verdict(), Verdict::refused);
    EXPECT_EQ(text(),
              "the controller refused request 2: transfer status 0x04 (Cli entries full), exit status 0x00");
    EXPECT_THAT(
        lines(),
        ElementsAre("WARNING IPMI: MPEventGen on /dev/ipmi0: request 1 was answered with completion code "
                    "0x80 (specific to the command); 2 of 2 requests without a proper answer",
                    "ERROR IPMI: Transfer Status is 0x4[Cli entries full] and Cmd Exit Status is 0x0"));
}

TEST_F(Outcome, AFailedExchangeIsAWarningBeforeItsErrorLine) {
    struct Row {
        FakeIpmiReply reply;
        const char* text;
    };
    const Row rows[] = {
        {FakeIpmiReply::sendFails(), "no answer to request 2: sending it failed: Input/output error"},
        {{{}, 5}, "no answer to request 2: sending it failed"},
        {{{}, 0, -1}, "no answer to request 2: waiting for it failed: Interrupted system call"},
        {{{}, 0, 0}, "no answer to request 2: waiting for it failed"},
        {FakeIpmiReply::receiveFails(), "no answer to request 2: reading it failed: Message too long"}};
    for (const Row& row : rows) {
        host.root.writeFile("/log/vok.log", "");
        answerRequest(2, row.reply);
        EXPECT_EQ(send(), 1);
        EXPECT_EQ(verdict(), Verdict::noAnswer);
        EXPECT_EQ(text(), row.text);
        EXPECT_THAT(lines(), ElementsAre(std::string("WARNING IPMI: MPEventGen on /dev/ipmi0: ") + row.text,
                                         "ERROR IPMI: Error occurred while executing RMC_CLI_Exec"));
    }
}

TEST_F(Outcome, WhatWasNotSentIsNoSuccessAlthoughItCountsAsOne) {
    unsigned char status = 0;
    device.emplace();
    EXPECT_EQ(device->RMC_CLI_Exec("MPEventGen", "text", nullptr, &status), 1);
    EXPECT_EQ(verdict(), Verdict::notSent);
    EXPECT_EQ(text(), "the command is not valid");
}

TEST_F(Outcome, EachCommandWithTroubleIsAWarningAndTheFirstWithoutIsOneToo) {
    ipmi.answer({{0xC1}});
    send(20);
    send(20);
    ipmi.answer(acceptedChunk);
    send(20);
    send(20);
    const std::string trouble =
        "WARNING IPMI: MPEventGen on /dev/ipmi0: request 1 was answered with completion code 0xC1 (invalid "
        "command)";
    EXPECT_THAT(lines(),
                ElementsAre(trouble, trouble, "WARNING IPMI: MPEventGen on /dev/ipmi0: answered again"));
}

// --- opening the device ---

TEST_F(Outcome, AnOpenFailureIsAWarningOnceUntilItsReasonChangesOrItEnds) {
    ipmi.failOpens(4, ENOENT);
    ipmi::IPMIUtils();
    ipmi::IPMIUtils();
    EXPECT_THAT(lines(),
                ElementsAre("WARNING IPMI: /dev/ipmi0 can't be opened: No such file or directory; no "
                            "IPMI driver is loaded"));
    ipmi.failOpens(2, EACCES);
    ipmi::IPMIUtils();
    EXPECT_THAT(lines().back(),
                "WARNING IPMI: /dev/ipmi0 can't be opened: Permission denied; the agent has to "
                "run as root");
    ipmi::IPMIUtils();
    ipmi::IPMIUtils();
    EXPECT_THAT(lines(), SizeIs(3));
    EXPECT_THAT(lines().back(), "WARNING IPMI: /dev/ipmi0 can be opened again");
}

TEST_F(Outcome, ADeviceThatTheBringUpMakesIsNoFailure) {
    ipmi.failOpens(1, ENOENT);
    ipmi::IPMIUtils();
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Outcome, ACommandWithoutADeviceNamesTheReason) {
    device.emplace();
    ipmi.failOpens(2, ENODEV);
    EXPECT_EQ(device->RMC_CLI_Cmd_Execution("MPEventGen", "text"), 1);
    EXPECT_EQ(verdict(), Verdict::notSent);
    EXPECT_EQ(text(), "the device can't be opened: No such device; the driver has no controller");
    EXPECT_THAT(lines(),
                ElementsAre("WARNING IPMI: /dev/ipmi0 can't be opened: No such device; the driver has no "
                            "controller",
                            "WARNING IPMI: MPEventGen on /dev/ipmi0: " + text(),
                            "ERROR IPMI: Error occurred while executing RMC_CLI_Exec"));
}

// --- door-bell polls ---

TEST_F(Outcome, APollThatKeepsFailingIsAWarningWhenItBeginsAndWhenItEnds) {
    const std::string required = "ERROR IPMI_DB: An error occurred in checking RMC request via IPMI";
    ipmi.answer(FakeIpmiReply::sendFails());
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(poll());
    EXPECT_THAT(lines(),
                ElementsAre("WARNING IPMI: Door-bell poll on /dev/ipmi0: no answer to the poll: sending "
                            "it failed: Input/output error",
                            required, required, required));
    ipmi.answer({{0}});
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(poll());
    EXPECT_THAT(lines(), SizeIs(5));
    EXPECT_EQ(lines().back(), "WARNING IPMI: Door-bell poll on /dev/ipmi0: answered again");
}

TEST_F(Outcome, ACompletionCodeOfAPollIsAWarningOnceAndNoError) {
    ipmi.answer({{0xC1}});
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(poll());
    EXPECT_THAT(lines(), ElementsAre("WARNING IPMI: Door-bell poll on /dev/ipmi0: the poll was answered with "
                                     "completion code 0xC1 (invalid command)"));
    ipmi.answer({{0xC3}});
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(poll());
    EXPECT_THAT(lines(), SizeIs(2));
    ipmi.answer({{}});
    EXPECT_FALSE(poll());
    EXPECT_EQ(lines().back(), "WARNING IPMI: Door-bell poll on /dev/ipmi0: the answer to the poll is empty");
}

TEST_F(Outcome, ACompletionCodeDoesNotHideADoorBell) {
    const std::string reply = std::string("\xC1", 1) + "WriteInventory";
    ipmi.answer({{reply.begin(), reply.end()}});
    EXPECT_TRUE(poll());
}

TEST_F(Outcome, EachKindOfPollHasItsOwnOutcome) {
    ipmi.answer({{0xC1}});
    ipmi::IPMIUtils().checkIPMIDBGenericRequest(1);
    ipmi::IPMIUtils().checkIPMIDBGenericRequest(2);
    EXPECT_THAT(lines(),
                ElementsAre("WARNING IPMI: Door-bell poll on /dev/ipmi0: the poll was answered with "
                            "completion code 0xC1 (invalid command)",
                            "WARNING IPMI: Door-bell poll of the second kind on /dev/ipmi0: the poll "
                            "was answered with completion code 0xC1 (invalid command)"));
}

}  // namespace
}  // namespace OutcomeTest
