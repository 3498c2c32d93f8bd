// Commands and the texts that hold paths of a host.
#include <gtest/gtest.h>

#include "platform/access/vokRootedHostAccess.h"
#include "platform/access/vokShell.h"
#include "recording/FormsCommands.h"
#include "support/TemporaryDirectory.h"

namespace FormsCommandsTest {
namespace {

using recording::CommandAnswer;
using recording::Fields;
using recording::HostTexts;

TEST(FormsCommands, AnAnswerComesBackWhole) {
    CommandAnswer answer;
    answer.status = 256;
    answer.error = 0;
    answer.output = std::string("one\0two\n", 8);
    answer.files["/opt/a b"] = "content";
    const Fields fields = recording::commandFields(answer, true);
    const Fields expected = {{"status", "256"},
                             {"error", "0"},
                             {"opened", "1"},
                             {"output", std::string("one\0two\n", 8)},
                             {"file:/opt/a b", "content"}};
    EXPECT_EQ(fields, expected);
    const CommandAnswer back = recording::commandAnswer(fields);
    EXPECT_EQ(back.status, 256);
    EXPECT_TRUE(back.opened);
    EXPECT_EQ(back.output, answer.output);
    EXPECT_EQ(back.files, answer.files);
}

TEST(FormsCommands, ACommandThatWasNotStartedHasItsErrno) {
    CommandAnswer answer;
    answer.status = -1;
    answer.error = 11;
    answer.opened = false;
    const CommandAnswer back = recording::commandAnswer(recording::commandFields(answer, true));
    EXPECT_EQ(back.status, -1);
    EXPECT_EQ(back.error, 11);
    EXPECT_FALSE(back.opened);
}

TEST(FormsCommands, ACommandWhoseOutputIsNotReadHasNoOutput) {
    CommandAnswer answer;
    answer.status = 9;
    EXPECT_EQ(recording::commandFields(answer, false), (Fields{{"status", "9"}, {"error", "0"}}));
}

TEST(FormsCommands, TheHostRootIsTakenOutOfACommand) {
    const TemporaryDirectory directory;
    directory.writeFile("/it's a host/here", "");
    const vokRootedHostAccess access(directory.path() + "/it's a host");
    HostTexts texts(access);
    EXPECT_EQ(texts.root(), directory.path() + "/it's a host");
    for (const char* path : {"/proc/devices", "/dev/ipmi0", "/opt/x", "/opt/xy"}) texts.asked(path);
    const std::string command = "mknod " + access.commandPath("/dev/ipmi0") + " `cat " +
                                vokBackquoted(access.commandPath("/proc/devices")) + "` > " +
                                access.commandPath("/opt/xy") + "; cat " + access.commandPath("/opt/x");
    EXPECT_EQ(texts.ofHost(command), "mknod /dev/ipmi0 `cat /proc/devices` > /opt/xy; cat /opt/x");
    EXPECT_EQ(texts.ofHost(access.root() + "/lib/a.so: not found"), "/lib/a.so: not found");
}

TEST(FormsCommands, ThePathsOfACommandAreThoseThatWereAskedForAndAreNotABeginningOfAnother) {
    const TemporaryDirectory directory;
    const vokRootedHostAccess access(directory.path());
    HostTexts texts(access);
    for (const char* path : {"/opt/x", "/opt/xy", "/opt/z"}) texts.asked(path);
    EXPECT_EQ(texts.pathsIn("cat " + access.commandPath("/opt/xy") + " > " + access.commandPath("/opt/z")),
              (std::vector<std::string>{"/opt/xy", "/opt/z"}));
    EXPECT_EQ(texts.pathsIn("cat " + access.path("/opt/never")), std::vector<std::string>());
}

TEST(FormsCommands, OnTheMachineItselfATextStaysAsItIs) {
    const vokKernelHostAccess access;
    HostTexts texts(access);
    texts.asked("/opt/x");
    EXPECT_EQ(texts.root(), "");
    EXPECT_EQ(texts.ofHost("cat /opt/x"), "cat /opt/x");
    EXPECT_EQ(texts.pathsIn("cat /opt/x"), std::vector<std::string>{"/opt/x"});
}

TEST(FormsCommands, NumbersAreTheNearestThatTheirTypesHold) {
    const Fields fields = {{"great", "99999999999"}, {"negative", "-5"}, {"word", "x"}};
    EXPECT_EQ(recording::intOf(fields, "great"), 2147483647);
    EXPECT_EQ(recording::intOf(fields, "negative"), -5);
    EXPECT_EQ(recording::unsignedOf(fields, "negative"), 0u);
    EXPECT_EQ(recording::numberOf(fields, "great"), 99999999999);
    EXPECT_EQ(recording::numberOf(fields, "word"), 0);
    EXPECT_EQ(recording::numberOf(fields, "missing"), 0);
}

}  // namespace
}  // namespace FormsCommandsTest
