// What the client sends, and what it reports of the agent's answer.
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <cstring>

#include "events/client/vokcliFixture.h"
#include "events/vokDelivery.h"

namespace vokcliTest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

using vokcliTest = vokcliFixture;
using Result = ClientResult;

const std::string padding(80, 'x');

// --- test events ---

TEST_F(vokcliTest, ATestEventIsRaisedAndWhatTheControllerAnsweredIsPrinted) {
    openGate();
    startAgent();
    const Result result = run({"test", "708"});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out, "Delivered: the controller accepted test event 708.\n");
    EXPECT_EQ(result.err, "");
    ASSERT_THAT(delivered(), SizeIs(1));
    EXPECT_THAT(delivered().front(), HasSubstr(R"("ID":708,)"));
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, ATestEventBeforeTheFirstPushIsStatusEightUnlessItPasses) {
    startAgent();
    const Result dropped = run({"test", "708"});
    EXPECT_EQ(dropped.exitStatus, 8);
    EXPECT_EQ(dropped.out, "");
    EXPECT_EQ(
        dropped.err,
        "vokcli: Test event 708 was dropped by the agent: the first inventory push is still to come.\n");
    EXPECT_THAT(delivered(), IsEmpty());
    const Result passed = run({"test", "356"});
    EXPECT_EQ(passed.exitStatus, 0);
    EXPECT_EQ(passed.out, "Delivered: the controller accepted test event 356.\n");
}

TEST_F(vokcliTest, ATestEventThatTheControllerRefusesIsStatusTwo) {
    refuseAll();
    startAgent();
    const Result result = run({"test", "356"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(
        result.err,
        "vokcli: Test event 356 was not delivered: the controller refused request 1: transfer status 0x05 "
        "(Provided command not supported), exit status 0x00.\n");
}

// --- agents that do not report the outcome of an event ---

TEST_F(vokcliTest, FromAnAgentThatReportsOnlyAStatusNothingIsClaimedOfTheController) {
    const vokOwnedDescriptor agent = muteAgent();
    const auto answered = [&](const std::vector<std::string>& arguments, int status) {
        const pid_t child = start(arguments, R"({"ID":538,"Pad":")" + padding + R"("})");
        takeRequest(agent);
        sendResponseToClient(child, status);
        return end(child);
    };
    EXPECT_EQ(answered({"test", "708"}, 0).out,
              "The agent has handled test event 708; only the agent's log shows whether the controller "
              "accepted it. Before its first inventory push the agent drops such an event.\n");
    EXPECT_EQ(answered({"test", "356"}, 0).out,
              "The agent has handled test event 356; only the agent's log shows whether the controller "
              "accepted it.\n");
    const Result done = answered({"inject", "-"}, 0);
    EXPECT_EQ(done.exitStatus, 0);
    EXPECT_EQ(
        done.out,
        "The agent reports success for the event of 118 bytes; only its log shows whether the controller "
        "accepted it.\n");
    const Result failed = answered({"inject", "-"}, 1);
    EXPECT_EQ(failed.exitStatus, 2);
    EXPECT_EQ(
        failed.err,
        "vokcli: The agent could not deliver the event: the controller refused it or did not answer.\n");
}

TEST_F(vokcliTest, ADeliveryOfALaterAgentThatIsNotKnownHereCountsAsNone) {
    const vokOwnedDescriptor agent = muteAgent();
    const pid_t child = start({"test", "356"});
    takeRequest(agent);
    const vokDelivery delivery{static_cast<vokDeliveryKind>(8), "of a later version"};
    sendResponseToClient(child, 0, &delivery);
    const Result result = end(child);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.out, StartsWith("The agent has handled test event 356;"));
}

TEST_F(vokcliTest, ItAsksForTheDeliveryInBytesThatTheProtocolLeavesUnused) {
    const vokOwnedDescriptor agent = muteAgent();
    const pid_t child = start({"test", "356"});
    _VOK_MESSAGE_PACKET request = takeRequest(agent);
    sendResponseToClient(child, 0);
    end(child);
    EXPECT_EQ(request.options, 0x9C3E51D7U);
    request.options = 0;
    _VOK_MESSAGE_PACKET expected{};
    expected.header.messageCode = 0x0102;
    expected.clientPID = child;
    std::memcpy(expected.payload, "356", 3);
    EXPECT_EQ(std::memcmp(&request, &expected, sizeof(request)), 0);
}

TEST_F(vokcliTest, ALocationFollowsTheNumberAfterABlank) {
    const vokOwnedDescriptor agent = muteAgent();
    const pid_t child = start({"test", "356", "rack 1 slot 2"});
    const _VOK_MESSAGE_PACKET request = takeRequest(agent);
    EXPECT_STREQ(request.payload, "356 rack 1 slot 2");
    EXPECT_EQ(request.header.messageCode, 0x0102);
    EXPECT_EQ(request.clientPID, child);
    sendResponseToClient(child, 0);
    EXPECT_EQ(end(child).exitStatus, 0);
}

TEST_F(vokcliTest, ANumberThatIsNoEventIsNotSent) {
    startAgent();
    const Result result = run({"test", "1337"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "vokcli: 1337 is not an event number; \"vokcli events\" lists them.\n");
    EXPECT_EQ(debugLog().find("done reading"), std::string::npos);
}

TEST_F(vokcliTest, ALocationThatDoesNotFitIsNotSent) {
    const vokOwnedDescriptor agent = muteAgent();
    const Result result = run({"test", "356", std::string(4075, 'L')});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr("a request holds 4078 bytes"));
}

// --- injected events ---

TEST_F(vokcliTest, AnEventFromAFileIsDelivered) {
    startAgent();
    host.root.writeFile("/event.json", "{\n  \"Pad\": \"" + padding + "\",\n  \"Source\": \"ME\"\n}\n");
    const Result result = run({"inject", hostPath("/event.json")});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out, "Delivered: the controller accepted the event of 109 bytes.\n");
    EXPECT_THAT(delivered(), ElementsAre(R"({"Pad":")" + padding + R"(","Source":"VOK-CLI"})"));
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, AnEventFromStandardInputIsDelivered) {
    startAgent();
    const Result result = run({"inject", "-"}, R"({"Pad":")" + padding + R"("})");
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_THAT(delivered(), ElementsAre(R"({"Pad":")" + padding + R"(","Source":"VOK-CLI"})"));
}

TEST_F(vokcliTest, AnEventThatTheControllerRefusesIsStatusTwo) {
    refuseAll();
    startAgent();
    const Result result = run({"inject", "-"}, R"({"ID":538,"Pad":")" + padding + R"("})");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "vokcli: The event of 118 bytes was not delivered: the controller refused request 1: transfer "
              "status 0x05 (Provided command not supported), exit status 0x00.\n");
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, AnEventThatTheControllerAnswersWithACompletionCodeIsStatusSeven) {
    ipmi.answer({{0xCE}});
    startAgent();
    const Result result = run({"inject", "-"}, R"({"ID":538,"Pad":")" + padding + R"("})");
    EXPECT_EQ(result.exitStatus, 7);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(
        result.err,
        "vokcli: The event of 118 bytes was handed to the driver, but the controller did not confirm it: "
        "request 1 was answered with completion code 0xCE (response could not be provided); 3 of 3 "
        "requests without a proper answer.\n");
    EXPECT_EQ(run({"test", "356"}).exitStatus, 7);
}

TEST_F(vokcliTest, AnEventToWhichTheDriverReturnsNoAnswerIsStatusTwo) {
    ipmi.answer(FakeIpmiReply::sendFails());
    startAgent();
    const Result result = run({"inject", "-"}, R"({"ID":538,"Pad":")" + padding + R"("})");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.err,
              "vokcli: The event of 118 bytes was not delivered: no answer to request 1: sending it failed: "
              "Input/output error.\n");
}

TEST_F(vokcliTest, AnEventWithoutADeviceIsStatusTwo) {
    ipmi.failOpens(4, EACCES);
    startAgent();
    const Result result = run({"inject", "-"}, R"({"ID":538,"Pad":")" + padding + R"("})");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(
        result.err,
        "vokcli: The event of 118 bytes was not sent: the device can't be opened: Permission denied; the "
        "agent has to run as root.\n");
}

TEST_F(vokcliTest, WhatTheAgentWouldRefuseIsNotSent) {
    const vokOwnedDescriptor agent = muteAgent();
    const std::string texts[] = {
        "",   "hello", "{\"a\":}", "[1]",
        "17", "{}",    "null",     R"({"a":)" + std::string(1500, '[') + std::string(1500, ']') + "}"};
    for (const std::string& text : texts) {
        const Result result = run({"inject", "-"}, text);
        EXPECT_EQ(result.exitStatus, 1) << text;
        EXPECT_THAT(
            result.err,
            StartsWith(
                "vokcli: standard input does not contain a JSON object with members; nothing was sent."));
    }
    const Result nul = run({"inject", "-"}, std::string("{\"a\":1}\0{", 9));
    EXPECT_EQ(nul.exitStatus, 1);
    EXPECT_THAT(nul.err, HasSubstr("NUL"));
    char byte = 0;
    EXPECT_LE(::read(agent.get(), &byte, 1), 0);
}

TEST_F(vokcliTest, TheReasonOfARefusalNamesLineAndColumn) {
    EXPECT_THAT(run({"inject", "-"}, "{\n\"a\":}\n").err, HasSubstr("Line 2, Column 5"));
}

TEST_F(vokcliTest, TheLongestEventFitsAndOneByteMoreDoesNot) {
    startAgent();
    const auto ofSize = [](std::size_t size) { return R"({"P":")" + std::string(size - 8, 'x') + R"("})"; };
    const Result longest = run({"inject", "-"}, ofSize(4078));
    EXPECT_EQ(longest.out, "Delivered: the controller accepted the event of 4097 bytes.\n") << longest.err;
    const Result longer = run({"inject", "-"}, ofSize(4079));
    EXPECT_EQ(longer.exitStatus, 1);
    EXPECT_EQ(longer.err, "vokcli: The event has 4079 bytes, 4079 on one line; at most 4078 can be sent.\n");
}

TEST_F(vokcliTest, AnEventThatWouldOverwriteTheCommandNameIsNotSent) {
    startAgent();
    // With the Source that the agent adds: 56 bytes, then 57.
    const Result tooShort = run({"inject", "-"}, R"({"Pad":")" + std::string(56 - 29, 'x') + R"("})");
    EXPECT_EQ(tooShort.exitStatus, 1);
    EXPECT_EQ(tooShort.err,
              "vokcli: The event is too short for the controller to recognize it: 56 bytes with its Source; "
              "at least "
              "57 are needed.\n");
    EXPECT_TRUE(ipmi.requests().empty());
    const Result enough = run({"inject", "-"}, R"({"Pad":")" + std::string(57 - 29, 'x') + R"("})");
    EXPECT_EQ(enough.out, "Delivered: the controller accepted the event of 57 bytes.\n") << enough.err;
    ASSERT_FALSE(ipmi.requests().empty());
    EXPECT_STREQ(reinterpret_cast<const char*>(ipmi.requests().front().data.data() + 3), "MPEventGen");
}

TEST_F(vokcliTest, AnEventThatFitsOnlyOnOneLineIsSentOnOneLine) {
    startAgent();
    const std::string blanks(5000, ' ');
    const Result result = run({"inject", "-"}, "{" + blanks + R"("Pad":")" + padding + R"("})");
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_THAT(delivered(), ElementsAre(R"({"Pad":")" + padding + R"(","Source":"VOK-CLI"})"));
}

// --- missing and silent agents ---

TEST_F(vokcliTest, WithoutAPipeNoAgentIsRunning) {
    const Result result = run({"inject", "-"}, R"({"ID":538,"Pad":")" + padding + R"("})");
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.err, "vokcli: No agent is running here; nothing was sent.\n");
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, APipeThatNobodyReadsIsReportedAtOnce) {
    startAgent();
    stopServer();
    ASSERT_TRUE(host.root.exists("/var/run/mevvok"));
    EXPECT_EQ(run({"test", "708"}).exitStatus, 3);
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, AFileOrALinkInsteadOfThePipeIsNotWrittenTo) {
    host.root.writeFile("/var/run/mevvok", "somebody's");
    EXPECT_EQ(run({"test", "708"}).exitStatus, 6);
    EXPECT_EQ(host.root.readFile("/var/run/mevvok"), "somebody's");
    EXPECT_EQ(run({"test", "708"}).err,
              "vokcli: The request failed (" + hostPath("/var/run/mevvok") + " is not a pipe).\n");
    ASSERT_EQ(::rename(hostPath("/var/run/mevvok").c_str(), hostPath("/var/run/target").c_str()), 0);
    ASSERT_EQ(::symlink("target", hostPath("/var/run/mevvok").c_str()), 0);
    const Result link = run({"test", "708"});
    EXPECT_EQ(link.exitStatus, 6);
    EXPECT_EQ(link.err, "vokcli: The request failed (" + hostPath("/var/run/mevvok") +
                            " is a symbolic link, not a pipe).\n");
    EXPECT_EQ(host.root.readFile("/var/run/target"), "somebody's");
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, ADirectoryOrASocketInsteadOfThePipeIsNamed) {
    const std::string path = hostPath("/var/run/mevvok");
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    const Result directory = run({"test", "708"});
    EXPECT_EQ(directory.exitStatus, 6);
    EXPECT_EQ(directory.err, "vokcli: The request failed (" + path + ": Is a directory).\n");
    ASSERT_EQ(::rmdir(path.c_str()), 0);
    const vokOwnedDescriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof(address.sun_path));
    path.copy(address.sun_path, path.size());
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    const Result planted = run({"test", "708"});
    EXPECT_EQ(planted.exitStatus, 6);
    EXPECT_EQ(planted.err, "vokcli: The request failed (" + path + " is a socket, not a pipe).\n");
}

TEST_F(vokcliTest, AMissingPermissionIsReported) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can switch to another user";
    const vokOwnedDescriptor agent = muteAgent();
    ASSERT_EQ(::chmod(host.root.path().c_str(), 0755), 0);
    const Result result = run({"test", "708"}, "", [] {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(126);
    });
    if (result.exitStatus == 127) GTEST_SKIP() << "another user cannot run the program";
    EXPECT_EQ(result.exitStatus, 4) << result.err;
    EXPECT_THAT(result.err, StartsWith("vokcli: No permission to contact the agent; run as its user ("));
}

TEST_F(vokcliTest, AnAgentThatDoesNotAnswerTimesOut) {
    const vokOwnedDescriptor agent = muteAgent();
    const Result result = run({"--timeout", "1", "test", "708"});
    EXPECT_EQ(result.exitStatus, 5);
    EXPECT_EQ(result.err,
              "vokcli: No answer in time. The agent has the request and may still carry it out.\n");
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, AnAgentThatAcceptsNoRequestTimesOut) {
    const vokOwnedDescriptor agent = muteAgent();
    const vokOwnedDescriptor writer(::open(hostPath("/var/run/mevvok").c_str(), O_WRONLY | O_NONBLOCK));
    const char filling[4096] = {};
    while (::write(writer.get(), filling, sizeof(filling)) > 0) {
    }
    const Result result = run({"test", "708", "--timeout", "1"});
    EXPECT_EQ(result.exitStatus, 5);
    EXPECT_EQ(result.err, "vokcli: The agent did not accept the request in time; nothing was sent.\n");
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, AnAgentThatEndsBeforeItAnswersIsReportedAtOnce) {
    vokOwnedDescriptor agent = muteAgent();
    const pid_t child = start({"test", "708"});
    takeRequest(agent);
    agent.reset();
    const Result result = end(child);
    EXPECT_EQ(result.exitStatus, 5);
    EXPECT_THAT(result.err, StartsWith("vokcli: The agent ended before it answered."));
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, AMalformedAnswerIsRejected) {
    const vokOwnedDescriptor agent = muteAgent();
    for (const std::size_t size : {std::size_t{10}, sizeof(_VOK_MESSAGE_PACKET)}) {
        const pid_t child = start({"test", "708"});
        takeRequest(agent);
        {
            const vokOwnedDescriptor response(::open(
                (hostPath(vokClientPipePrefix) + std::to_string(child)).c_str(), O_WRONLY | O_NONBLOCK));
            const _VOK_MESSAGE_PACKET zeros{};
            ASSERT_EQ(::write(response.get(), &zeros, size), static_cast<ssize_t>(size));
        }
        EXPECT_EQ(end(child).exitStatus, 6) << size;
    }
    EXPECT_THAT(clientPipes(), IsEmpty());
}

// --- the client's own pipe ---

TEST_F(vokcliTest, ItsPipeIsAccessibleToItsOwnerOnly) {
    const vokOwnedDescriptor agent = muteAgent();
    const pid_t child = start({"test", "708"}, "", [] { ::umask(0); });
    takeRequest(agent);
    struct stat status {};
    EXPECT_EQ(::lstat((hostPath(vokClientPipePrefix) + std::to_string(child)).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFIFO | 0600});
    sendResponseToClient(child, 0);
    EXPECT_EQ(end(child).exitStatus, 0);
}

TEST_F(vokcliTest, ASignalRemovesThePipeAndEndsTheProgram) {
    const vokOwnedDescriptor agent = muteAgent();
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        const pid_t child = start({"test", "708"});
        takeRequest(agent);
        EXPECT_THAT(clientPipes(), SizeIs(1));
        ASSERT_EQ(::kill(child, number), 0);
        EXPECT_EQ(end(child).signal, number);
        EXPECT_THAT(clientPipes(), IsEmpty());
    }
}

TEST_F(vokcliTest, APipeLeftByAnEarlierProcessIsReplaced) {
    startAgent();
    const std::string prefix = hostPath(vokClientPipePrefix);
    const Result result = run({"inject", "-"}, R"({"Pad":")" + padding + R"("})",
                              [&] { ::mkfifo((prefix + std::to_string(::getpid())).c_str(), 0666); });
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, AFileOrALinkAtItsPipesPathIsLeftAlone) {
    const vokOwnedDescriptor agent = muteAgent();
    const std::string prefix = hostPath(vokClientPipePrefix);
    const Result result = run({"test", "708"}, "", [&] {
        if (::symlink("keep", (prefix + std::to_string(::getpid())).c_str()) != 0) ::_exit(126);
    });
    EXPECT_EQ(result.exitStatus, 6);
    EXPECT_THAT(result.err, StartsWith("vokcli: The request failed (" + prefix));
    EXPECT_THAT(result.err, HasSubstr(": File exists).\n"));
    EXPECT_THAT(clientPipes(), SizeIs(1));
    char byte = 0;
    EXPECT_LE(::read(agent.get(), &byte, 1), 0);  // nothing was sent
}

}  // namespace
}  // namespace vokcliTest
