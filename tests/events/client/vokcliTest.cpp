// The client as a user runs it: the real program, against the real server in this process.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <filesystem>
#include <functional>

#include "events/EventsFixture.h"

namespace vokcliTest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

// The outcome of a run.
struct Result {
    int exitStatus = -1;  // -1 when a signal ended it
    int signal = 0;
    std::string out;
    std::string err;
};

class vokcliTest : public ServerFixture {
protected:
    // Starts the client; `inChild` runs in its process before it becomes the client.
    pid_t start(std::vector<std::string> arguments, const std::string& input = "",
                const std::function<void()>& inChild = nullptr) {
        arguments.insert(arguments.begin(), {VOKCLI, "--host-root", host.root.path()});
        host.root.writeFile("/run/in", input);
        std::vector<char*> argv;
        for (std::string& each : arguments) argv.push_back(each.data());
        argv.push_back(nullptr);
        const std::string in = hostPath("/run/in");
        const std::string out = hostPath("/run/out");
        const std::string err = hostPath("/run/err");
        const pid_t child = ::fork();
        if (child != 0) return child;
        const int created = O_WRONLY | O_CREAT | O_TRUNC;
        ::dup2(::open(in.c_str(), O_RDONLY), 0);
        ::dup2(::open(out.c_str(), created, 0644), 1);
        ::dup2(::open(err.c_str(), created, 0644), 2);
        if (inChild) inChild();
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }

    Result end(pid_t child) {
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        Result result;
        if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
        if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
        result.out = host.root.readFile("/run/out");
        result.err = host.root.readFile("/run/err");
        return result;
    }

    Result run(const std::vector<std::string>& arguments, const std::string& input = "",
               const std::function<void()>& inChild = nullptr) {
        return end(start(arguments, input, inChild));
    }

    // Returns when the server is ready.
    void startAgent() {
        startServer();
        waitUntil([this] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; },
                  "the start");
    }

    // The names in /var/run that are pipes of clients.
    std::vector<std::string> clientPipes() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(hostPath("/var/run")))
            if (entry.path().filename().string().rfind("mevvokcli", 0) == 0)
                names.push_back(entry.path().filename());
        return names;
    }

    // An agent that is only a pipe: accepts requests and does not answer.
    vokOwnedDescriptor muteAgent() {
        EXPECT_EQ(::mkfifo(hostPath("/var/run/mevvok").c_str(), 0600), 0);
        return vokOwnedDescriptor(
            ::open(hostPath("/var/run/mevvok").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }

    // Waits for a request at a mute agent.
    static _VOK_MESSAGE_PACKET takeRequest(const vokOwnedDescriptor& agent) {
        _VOK_MESSAGE_PACKET request{};
        waitUntil([&] { return ::read(agent.get(), &request, sizeof(request)) == sizeof(request); },
                  "the request");
        return request;
    }
};

const std::string padding(80, 'x');

// --- test events ---

TEST_F(vokcliTest, ATestEventIsRaisedAndWhatIsKnownOfItIsPrinted) {
    openGate();
    startAgent();
    const Result result = run({"test", "708"});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out,
              "The agent has handled test event 708; only the agent's log shows whether the controller "
              "accepted it. "
              "Before its first inventory push the agent drops such an event.\n");
    EXPECT_EQ(result.err, "");
    ASSERT_THAT(delivered(), SizeIs(1));
    EXPECT_THAT(delivered().front(), HasSubstr(R"("ID":708,)"));
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, ATestEventThatPassesBeforeTheFirstPushIsReportedWithoutThatCondition) {
    startAgent();
    const Result result = run({"test", "356"});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out,
              "The agent has handled test event 356; only the agent's log shows whether the controller "
              "accepted it.\n");
    EXPECT_THAT(delivered(), SizeIs(1));
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

TEST_F(vokcliTest, AnEventOfAMissingManagerIsNotSent) {
    startAgent();
    const Result result = run({"test", "383", "0123456789ABCDEF"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(
        result.err,
        "vokcli: Event 383 belongs to the Fibre Channel manager, which this agent does not have; nothing was "
        "sent.\n");
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
    const Result result = run({"inject", "-"}, R"({"Pad":")" + padding + R"("})");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(
        result.err,
        "vokcli: The agent could not deliver the event: the controller refused it or did not answer.\n");
    EXPECT_THAT(clientPipes(), IsEmpty());
}

TEST_F(vokcliTest, WhatTheAgentWouldRefuseIsNotSent) {
    const vokOwnedDescriptor agent = muteAgent();
    const std::string texts[] = {
        "",   "hello", "{\"a\":}", "[1]",
        "17", "{}",    "null",     R"({"a":)" + std::string(1500, '[') + std::string(1500, ']') + "}"};
    for (const std::string& text : texts) {
        const Result result = run({"inject", "-"}, text);
        EXPECT_EQ(result.exitStatus, 1) << text;
        EXPECT_THAT(result.err,
                    StartsWith("vokcli: - does not contain a JSON object with members; nothing was sent."));
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

TEST_F(vokcliTest, AFileThatCannotBeReadIsReportedByName) {
    const Result missing = run({"inject", hostPath("/nowhere.json")});
    EXPECT_EQ(missing.exitStatus, 1);
    EXPECT_EQ(missing.err, "vokcli: " + hostPath("/nowhere.json") + ": No such file or directory\n");
    EXPECT_EQ(run({"inject", hostPath("/var")}).exitStatus, 1);  // a directory
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
    const Result result = run({"inject", "-"}, R"({"Pad":")" + padding + R"("})");
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
    ASSERT_EQ(::rename(hostPath("/var/run/mevvok").c_str(), hostPath("/var/run/target").c_str()), 0);
    ASSERT_EQ(::symlink("target", hostPath("/var/run/mevvok").c_str()), 0);
    EXPECT_EQ(run({"test", "708"}).exitStatus, 6);
    EXPECT_EQ(host.root.readFile("/var/run/target"), "somebody's");
    EXPECT_THAT(clientPipes(), IsEmpty());
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
    EXPECT_THAT(clientPipes(), SizeIs(1));
    char byte = 0;
    EXPECT_LE(::read(agent.get(), &byte, 1), 0);  // nothing was sent
}

// --- the rest ---

TEST_F(vokcliTest, EventsListsEveryNumberWithOwnerAndMeaning) {
    const Result result = run({"events"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 33);
    EXPECT_THAT(result.out, HasSubstr("\n   708  Agent          Test event of the agent\n"));
    EXPECT_THAT(result.out, HasSubstr("\n   360  Host           The last shutdown was not graceful\n"));
    EXPECT_THAT(result.out, HasSubstr("\n  1384  Ethernet       An Ethernet port has lost its link\n"));
    EXPECT_THAT(
        result.out,
        HasSubstr("\n   538  Storage        A drive has failed or is missing (not in this agent yet)\n"));
}

TEST_F(vokcliTest, HelpListsTheExitStatuses) {
    const Result result = run({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    for (const char* each : {"  0  ", "  1  ", "  2  ", "  3  ", "  4  ", "  5  ", "  6  ", "--timeout",
                             "--host-root", "test", "inject", "events"})
        EXPECT_THAT(result.out, HasSubstr(each));
}

TEST_F(vokcliTest, VersionPrintsTheVersion) {
    const Result result = run({"--version"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "vokcli 3.3.2.1\n");
}

TEST_F(vokcliTest, WrongUsageIsStatusOne) {
    const std::vector<std::string> wrong[] = {{},
                                              {"dance"},
                                              {"test"},
                                              {"test", "abc"},
                                              {"test", "99999999999999999999"},
                                              {"inject"},
                                              {"--timeout", "0", "events"},
                                              {"--timeout", "soon", "events"},
                                              {"--host-root", "/nowhere/at/all", "events"}};
    for (const auto& arguments : wrong)
        EXPECT_EQ(run(arguments).exitStatus, 1) << (arguments.empty() ? "" : arguments.front());
}

}  // namespace
}  // namespace vokcliTest
