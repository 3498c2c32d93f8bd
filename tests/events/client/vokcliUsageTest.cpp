// The client's input, its warnings, its help and its output.
#include <signal.h>
#include <algorithm>
#include <sstream>

#include "events/client/vokcliFixture.h"
#include "events/vokDelivery.h"

namespace vokcliUsageTest {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

using vokcliUsageTest = vokcliFixture;
using Result = ClientResult;

const std::string padding(80, 'x');

// --- files ---

TEST_F(vokcliUsageTest, AFileThatCannotBeReadIsReportedByName) {
    const Result missing = run({"inject", hostPath("/nowhere.json")});
    EXPECT_EQ(missing.exitStatus, 1);
    EXPECT_EQ(missing.err, "vokcli: " + hostPath("/nowhere.json") + ": No such file or directory\n");
    const Result directory = run({"inject", hostPath("/var")});
    EXPECT_EQ(directory.exitStatus, 1);
    EXPECT_EQ(directory.err, "vokcli: " + hostPath("/var") + ": Is a directory\n");
    const Result closed = run({"inject", "-"}, "", [] { ::close(0); });
    EXPECT_EQ(closed.exitStatus, 1);
    EXPECT_EQ(closed.err, "vokcli: standard input: Bad file descriptor\n");
    const Result endless = run({"inject", "/dev/zero"});
    EXPECT_EQ(endless.exitStatus, 1);
    EXPECT_EQ(endless.err, "vokcli: /dev/zero: File too large\n");
}

TEST_F(vokcliUsageTest, AFileOfAnotherUserIsReportedWithTheReason) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can switch to another user";
    host.root.writeFile("/private.json", "{}");
    ASSERT_EQ(::chmod(hostPath("/private.json").c_str(), 0600), 0);
    ASSERT_EQ(::chmod(host.root.path().c_str(), 0755), 0);
    const Result result = run({"inject", hostPath("/private.json")}, "", [] {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(126);
    });
    if (result.exitStatus == 127) GTEST_SKIP() << "another user cannot run the program";
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "vokcli: " + hostPath("/private.json") + ": Permission denied\n");
}

// --- warnings about an event, which is sent all the same ---

TEST_F(vokcliUsageTest, WhatIsUnusualAboutAnEventIsAWarning) {
    startAgent();
    struct Row {
        std::string text;
        std::string warning;
    };
    const std::string pad = R"("Pad":")" + padding + R"("})";
    const Row rows[] = {
        {R"({"ID":538,)" + pad, ""},
        {"// a note\n{\"ID\":538," + pad + " \n", ""},
        {"{" + pad, "vokcli: warning: the event has no ID, which tells the controller what happened\n"},
        {R"({"ID":"538",)" + pad, "vokcli: warning: the event's ID is not an integer\n"},
        {R"({"ID":538.5,)" + pad, "vokcli: warning: the event's ID is not an integer\n"},
        {R"({"ID":null,)" + pad, "vokcli: warning: the event's ID is not an integer\n"},
        {R"({"ID":1150,)" + pad,
         "vokcli: warning: the event's ID 1150 is not an event number; \"vokcli events\" lists them\n"},
        {R"({"ID":4294967834,)" + pad,
         "vokcli: warning: the event's ID 4294967834 is not an event number; \"vokcli events\" lists them\n"},
        {R"({"ID":539,"ID":538,)" + pad,
         "vokcli: warning: the event has a key more than once; the last one counts\n"
         "* Line 1, Column 11\n  Duplicate key: 'ID'\n"},
        {"{\"ID\":538,\"A\":\"\xff\"," + pad,
         "vokcli: warning: byte 16 of the event is not UTF-8; each such byte is sent as U+FFFD\n"},
        {R"({"ID":538,)" + pad + "{\"ID\":539}",
         "vokcli: warning: the text after the JSON object is not sent\n"
         "* Line 1, Column 100\n  Extra non-whitespace after JSON value.\n"}};
    int sent = 0;
    for (const Row& row : rows) {
        const Result result = run({"inject", "-"}, row.text);
        EXPECT_EQ(result.exitStatus, 0) << row.text;
        EXPECT_EQ(result.err, row.warning) << row.text;
        EXPECT_EQ(delivered().size(), static_cast<std::size_t>(++sent)) << row.text;
    }
    EXPECT_THAT(delivered().at(8), StartsWith(R"({"ID":538,"Pad")"));
    EXPECT_THAT(delivered().at(9), StartsWith(R"({"A":"\ufffd","ID":538,)"));
}

// --- help and usage ---

TEST_F(vokcliUsageTest, EventsListsEveryNumberWithOwnerAndMeaning) {
    const Result result = run({"events"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 33);
    EXPECT_THAT(result.out, HasSubstr("\n   708  Agent          Test event of the agent\n"));
    EXPECT_THAT(result.out, HasSubstr("\n   360  Host           The last shutdown was not graceful\n"));
    EXPECT_THAT(result.out, HasSubstr("\n  1384  Ethernet       An Ethernet port has lost its link\n"));
    EXPECT_THAT(result.out, HasSubstr("\n   538  Storage        A drive has failed or is missing\n"));
    EXPECT_THAT(result.out, HasSubstr("\n   384  Fibre Channel  A Fibre Channel port is online\n"));
}

TEST_F(vokcliUsageTest, HelpListsTheExitStatuses) {
    const Result result = run({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    for (const char* each : {"  0  ", "  1  ", "  2  ", "  3  ", "  4  ", "  5  ", "  6  ", "  7  ", "  8  ",
                             "--timeout", "--host-root", "test", "inject", "events"})
        EXPECT_THAT(result.out, HasSubstr(each));
}

TEST_F(vokcliUsageTest, HelpFitsEightyColumns) {
    const std::vector<std::string> helps[] = {{"--help"},           {"test", "--help"},
                                              {"inject", "--help"}, {"events", "--help"},
                                              {"status", "--help"}, {"history", "--help"}};
    for (const auto& arguments : helps) {
        const Result result = run(arguments);
        EXPECT_EQ(result.exitStatus, 0);
        std::istringstream lines(result.out);
        int count = 0;
        for (std::string line; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 80U) << line;
        EXPECT_GT(count, 10);
    }
}

TEST_F(vokcliUsageTest, AWrongCommandIsNamedWithTheCommandsThatThereAre) {
    EXPECT_EQ(run({"dance"}).err,
              "vokcli: there is no command 'dance'; the commands are test, inject, events, status, history\n"
              "Run with --help for more information.\n");
    EXPECT_EQ(run({"--timeout", "5", "tst", "708"}).err,
              "vokcli: there is no command 'tst'; the commands are test, inject, events, status, history\n"
              "Run with --help for more information.\n");
    EXPECT_EQ(run({"--dance"}).err,
              "vokcli: there is no option '--dance'\nRun with --help for more information.\n");
    EXPECT_EQ(run({}).err,
              "vokcli: a command is missing; the commands are test, inject, events, status, history\n"
              "Run with --help for more information.\n");
    EXPECT_EQ(run({"test", "708", "L", "more"}).err,
              "vokcli: The following argument was not expected: more\n"
              "Run with --help for more information.\n");
}

// --- output that can't be written ---

TEST_F(vokcliUsageTest, OutputThatCannotBeWrittenIsStatusSixInEachMode) {
    startAgent();
    const std::string event = R"({"ID":538,"Pad":")" + padding + R"("})";
    const std::vector<std::string> modes[] = {{"--help"}, {"test", "--help"}, {"--version"},
                                              {"events"}, {"inject", "-"},    {"test", "356"}};
    for (const auto& mode : modes) {
        const Result full = run(mode, event, [] { ::dup2(::open("/dev/full", O_WRONLY), 1); });
        EXPECT_EQ(full.exitStatus, 6) << mode.front();
        EXPECT_THAT(full.err, HasSubstr("vokcli: standard output: No space left on device\n"));
        const Result closed = run(mode, event, [] { ::close(1); });
        EXPECT_EQ(closed.exitStatus, 6) << mode.front();
        EXPECT_THAT(closed.err, HasSubstr("vokcli: standard output: Bad file descriptor\n"));
        const Result broken = run(mode, event, [] {
            ::signal(SIGPIPE, SIG_IGN);
            int ends[2];
            if (::pipe(ends) != 0) ::_exit(126);
            ::close(ends[0]);
            ::dup2(ends[1], 1);
        });
        EXPECT_EQ(broken.exitStatus, 6) << mode.front();
        EXPECT_THAT(broken.err, HasSubstr("vokcli: standard output: Broken pipe\n"));
    }
}

TEST_F(vokcliUsageTest, AResultThatCannotBeWrittenGoesToStandardError) {
    startAgent();
    const Result result = run({"test", "356"}, "", [] { ::dup2(::open("/dev/full", O_WRONLY), 1); });
    EXPECT_EQ(result.err,
              "vokcli: standard output: No space left on device\n"
              "vokcli: Delivered: the controller accepted test event 356.\n");
}

TEST_F(vokcliUsageTest, AWarningThatCannotBeWrittenIsStatusSixAndASilentSuccessIsNot) {
    startAgent();
    const auto full = [] { ::dup2(::open("/dev/full", O_WRONLY), 2); };
    EXPECT_EQ(run({"inject", "-"}, R"({"Pad":")" + padding + R"("})", full).exitStatus, 6);
    EXPECT_EQ(run({"inject", "-"}, R"({"ID":538,"Pad":")" + padding + R"("})", full).exitStatus, 0);
}

TEST_F(vokcliUsageTest, AClosedStandardStreamIsNotReplacedByAPipe) {
    const vokOwnedDescriptor agent = muteAgent();
    for (const int stream : {1, 2}) {
        const pid_t child = start({"test", "356"}, "", [stream] { ::close(stream); });
        takeRequest(agent);
        const vokDelivery refused{vokDeliveryKind::refused, "why"};
        sendResponseToClient(child, 0, stream == 1 ? nullptr : &refused);
        EXPECT_EQ(end(child).exitStatus, stream == 1 ? 6 : 2);
        char byte = 0;
        EXPECT_LE(::read(agent.get(), &byte, 1), 0) << stream;
    }
}

TEST_F(vokcliUsageTest, VersionPrintsTheVersion) {
    const Result result = run({"--version"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "vokcli 3.3.2.1\n");
}

TEST_F(vokcliUsageTest, WrongUsageIsStatusOne) {
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
}  // namespace vokcliUsageTest
