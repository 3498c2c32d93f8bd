// Real commands of the machine, with limits of some milliseconds.
#include "platform/access/vokCommands.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "platform/access/vokOwnedDescriptor.h"

namespace vokCommandsTest {
namespace {

constexpr char searchPath[] = "/usr/bin:/bin";
constexpr int anHour = 3600000;

int noDescriptor(pid_t) {
    errno = ENOSYS;
    return -1;
}

// With and without a descriptor of the process.
class Commands : public testing::TestWithParam<bool> {
protected:
    vokCommands make(vokCommandLimits limits = {anHour, anHour, anHour}) const {
        return GetParam() ? vokCommands(stop, limits) : vokCommands(stop, limits, noDescriptor);
    }
    vokStopRequest stop;
};

INSTANTIATE_TEST_SUITE_P(AnyKernel, Commands, testing::Bool(), [](const auto& kernel) {
    return std::string(kernel.param ? "WithProcessDescriptors" : "WithoutProcessDescriptors");
});

std::string readLine(FILE* stream) {
    std::string line;
    for (int c; (c = std::fgetc(stream)) != EOF && c != '\n';) line += static_cast<char>(c);
    return line;
}

std::string readRest(FILE* stream) {
    std::string text;
    for (int c; (c = std::fgetc(stream)) != EOF;) text += static_cast<char>(c);
    return text;
}

std::string outputOf(vokCommands& commands, const std::string& command) {
    FILE* const stream = commands.open(command, searchPath);
    std::string text = readRest(stream);
    commands.close(stream);
    return text;
}

// False for a zombie too.
bool lives(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string number;
    std::string name;
    std::string state;
    status >> number >> name >> state;
    return status && state != "Z" && state != "X";
}

bool endsSoon(pid_t process) {
    for (int tries = 0; tries < 2000 && lives(process); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return !lives(process);
}

TEST_P(Commands, TheTextIsThatOfTheShell) {
    vokCommands commands = make();
    EXPECT_EQ(outputOf(commands, "echo one; echo 'two  three' | tr t T"), "one\nTwo  Three\n");
}

TEST_P(Commands, TheResultIsTheWaitStatusOfTheShell) {
    vokCommands commands = make();
    EXPECT_EQ(commands.run("exit 3", searchPath), 3 << 8);
    FILE* const stream = commands.open("exit 4", searchPath);
    EXPECT_EQ(readRest(stream), "");
    EXPECT_EQ(commands.close(stream), 4 << 8);
}

TEST_P(Commands, ALongOutputIsReadWhole) {
    vokCommands commands = make();
    EXPECT_EQ(outputOf(commands, "head -c 1000000 /dev/zero | tr '\\0' x"), std::string(1000000, 'x'));
}

TEST_P(Commands, OutputAfterAPauseIsReadToo) {
    vokCommands commands = make();
    EXPECT_EQ(outputOf(commands, "echo one; sleep 0.05; echo two"), "one\ntwo\n");
}

TEST_P(Commands, TheEnvironmentHasTheSearchPathAndTheLocaleOfTheAgent) {
    ASSERT_EQ(::setenv("LC_ALL", "xx_YY", 1), 0);
    ASSERT_EQ(::setenv("VOK_TEST_VARIABLE", "kept", 1), 0);
    vokCommands commands = make();
    EXPECT_EQ(outputOf(commands, "echo $PATH; echo $LC_ALL; echo $VOK_TEST_VARIABLE"),
              "/usr/bin:/bin\nC\nkept\n");
}

TEST_P(Commands, AllSignalsAreUnblockedAndHaveTheirDefaultActions) {
    sigset_t blocked;
    sigfillset(&blocked);
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &blocked, nullptr), 0);
    ASSERT_NE(::signal(SIGHUP, SIG_IGN), SIG_ERR);
    ASSERT_NE(::signal(SIGPIPE, SIG_IGN), SIG_ERR);
    vokCommands commands = make();
    // Not those of the shell, which sets some itself.
    FILE* const stream =
        commands.open("sed -n 's/^Sig\\(Blk\\|Ign\\):[^1-9a-f]*/0/p' /proc/self/status", searchPath);
    constexpr unsigned long long signals = 0x7FFFFFFF;  // 32 and 33 belong to the C library
    EXPECT_EQ(std::stoull(readLine(stream), nullptr, 16), 0U);
    EXPECT_EQ(std::stoull(readLine(stream), nullptr, 16) & signals, 0U);
    commands.close(stream);
    sigset_t now;
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, nullptr, &now), 0);
    EXPECT_EQ(sigismember(&now, SIGTERM), 1) << "this thread still blocks it";
}

TEST_P(Commands, NoOtherDescriptorThanTheStandardStreamsIsInherited) {
    const vokOwnedDescriptor low(::open("/dev/null", O_RDONLY));
    const vokOwnedDescriptor high(::fcntl(low.get(), F_DUPFD, 200));
    ASSERT_TRUE(high);
    vokCommands commands = make();
    const std::string number = std::to_string(low.get());
    EXPECT_EQ(
        outputOf(commands, "for i in 0 1 2 " + number + " 200; do test -e /proc/$$/fd/$i && echo $i; done"),
        "0\n1\n2\n");
}

TEST_P(Commands, TheStreamOfOneIsNotInheritedByAnother) {
    vokCommands commands = make();
    FILE* const first = commands.open("sleep 0.05", searchPath);
    FILE* const second = commands.open("echo $$; exec sleep 600", searchPath);
    const std::string process = readLine(second);
    // A program that starts has its libraries open for a moment.
    const std::string list = "ls /proc/" + process + "/fd";
    std::string listed;
    for (int tries = 0; tries < 100 && (listed = outputOf(commands, list)) != "0\n1\n2\n"; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(listed, "0\n1\n2\n");
    ::kill(static_cast<pid_t>(std::stol(process)), SIGKILL);
    EXPECT_EQ(commands.close(second), SIGKILL);
    commands.close(first);
}

TEST_P(Commands, EachHasAProcessGroupOfItsOwn) {
    vokCommands commands = make();
    FILE* const stream = commands.open("echo $$; cut -d ' ' -f 5 /proc/$$/stat", searchPath);
    const std::string process = readLine(stream);
    EXPECT_EQ(readLine(stream), process);
    EXPECT_NE(process, std::to_string(::getpgrp()));
    commands.close(stream);
}

TEST_P(Commands, OneThatPrintsOnEndsWhenItsReaderDoes) {
    vokCommands commands = make();
    FILE* const stream = commands.open("exec yes", searchPath);
    EXPECT_EQ(readLine(stream), "y");
    EXPECT_EQ(commands.close(stream), SIGPIPE);
}

TEST_P(Commands, TheOutputEndsWithTheShellEvenIfAChildHoldsThePipe) {
    vokCommands commands = make();
    FILE* const stream = commands.open("sleep 600 & echo $!; echo last", searchPath);
    const pid_t child = static_cast<pid_t>(std::stol(readLine(stream)));
    EXPECT_EQ(readRest(stream), "last\n");
    EXPECT_EQ(commands.close(stream), 0);
    EXPECT_TRUE(lives(child));
    ::kill(child, SIGKILL);
}

TEST_P(Commands, TheOutputEndsWithTheShellEvenIfAChildPrintsOn) {
    vokCommands commands = make();
    FILE* const stream = commands.open("yes & echo $!", searchPath);
    readRest(stream);
    EXPECT_EQ(commands.close(stream), 0);
}

TEST_P(Commands, AChildInTheBackgroundDoesNotHoldUpARun) {
    vokCommands commands = make();
    EXPECT_EQ(commands.run("exec > /dev/null; sleep 600 & kill $!", searchPath), 0);
}

TEST_P(Commands, OneThatCanNotBeStartedFailsWithTheReason) {
    vokCommands commands = make();
    const std::string tooLong(1 << 22, 'x');
    errno = 0;
    EXPECT_EQ(commands.open(tooLong, searchPath), nullptr);
    EXPECT_EQ(errno, E2BIG);
    errno = 0;
    EXPECT_EQ(commands.run(tooLong, searchPath), -1);
    EXPECT_EQ(errno, E2BIG);
}

TEST_P(Commands, AnUnknownStreamIsNotClosed) {
    vokCommands commands = make();
    errno = 0;
    EXPECT_EQ(commands.close(stderr), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_P(Commands, AHangingOneEndsAfterTheRequestToStopWithWhatItHasPrinted) {
    vokCommands commands = make({20, anHour, anHour});
    FILE* const stream = commands.open("echo begun; exec sleep 600", searchPath);
    EXPECT_EQ(readLine(stream), "begun");
    std::thread stopping([this] { stop.make(); });
    EXPECT_EQ(readRest(stream), "");
    EXPECT_EQ(commands.close(stream), SIGTERM);
    stopping.join();
}

TEST_P(Commands, AHangingRunEndsAfterTheRequestToStop) {
    vokCommands commands = make({20, anHour, anHour});
    std::thread stopping([this] { stop.make(); });
    EXPECT_EQ(commands.run("exec sleep 600", searchPath), SIGTERM);
    stopping.join();
}

TEST_P(Commands, TheWholeGroupEndsAfterTheRequestToStop) {
    vokCommands commands = make({20, anHour, anHour});
    FILE* const stream = commands.open("sleep 600 & echo $!; wait", searchPath);
    const pid_t child = static_cast<pid_t>(std::stol(readLine(stream)));
    stop.make();
    EXPECT_EQ(readRest(stream), "");
    EXPECT_EQ(commands.close(stream), SIGTERM);
    EXPECT_TRUE(endsSoon(child));
}

TEST_P(Commands, OneThatIgnoresSIGTERMIsKilledWithItsGroup) {
    vokCommands commands = make({20, 50, anHour});
    FILE* const stream =
        commands.open("trap '' TERM; sleep 600 & echo $!; while :; do wait; done", searchPath);
    const pid_t child = static_cast<pid_t>(std::stol(readLine(stream)));
    stop.make();
    EXPECT_EQ(readRest(stream), "");
    EXPECT_EQ(commands.close(stream), SIGKILL);
    EXPECT_TRUE(endsSoon(child));
}

TEST_P(Commands, AChildThatIgnoresSIGTERMIsKilledEvenIfTheShellHasEndedByThen) {
    vokCommands commands = make({20, anHour, anHour});
    FILE* const stream = commands.open("(trap '' TERM; exec sleep 600) & echo $!; wait", searchPath);
    const pid_t child = static_cast<pid_t>(std::stol(readLine(stream)));
    stop.make();
    readRest(stream);
    commands.close(stream);
    EXPECT_TRUE(endsSoon(child));
}

TEST_P(Commands, AGrandchildOutsideTheGroupDoesNotHoldUpTheStop) {
    vokCommands commands = make({20, anHour, anHour});
    FILE* const stream = commands.open("setsid sleep 600 & echo $!; wait", searchPath);
    const pid_t child = static_cast<pid_t>(std::stol(readLine(stream)));
    stop.make();
    EXPECT_EQ(readRest(stream), "");
    EXPECT_EQ(commands.close(stream), SIGTERM);
    ::kill(child, SIGKILL);
}

TEST_P(Commands, OneThatPrintsWithoutEndEndsAfterTheRequestToStop) {
    vokCommands commands = make({20, anHour, anHour});
    FILE* const stream = commands.open("exec yes", searchPath);
    std::thread stopping([this] { stop.make(); });
    while (std::fgetc(stream) != EOF) {
    }
    EXPECT_EQ(commands.close(stream), SIGTERM);
    stopping.join();
}

TEST_P(Commands, OneWhoseOutputNobodyReadsEndsAfterTheRequestToStop) {
    vokCommands commands = make({20, anHour, anHour});
    FILE* const stream = commands.open("trap '' PIPE; sleep 600", searchPath);
    std::thread stopping([this] { stop.make(); });
    EXPECT_EQ(commands.close(stream), SIGTERM);  // nothing is read
    stopping.join();
}

TEST_P(Commands, OneThatStartsAfterTheRequestToStopStillHasTheTime) {
    vokCommands commands = make({anHour, anHour, anHour});
    stop.make();
    EXPECT_FALSE(commands.isTimeOver());
    EXPECT_EQ(outputOf(commands, "sleep 0.05; echo done"), "done\n");
    EXPECT_EQ(commands.run("exit 5", searchPath), 5 << 8);
}

TEST_P(Commands, NoneStartsWhenTheTimeIsOver) {
    vokCommands commands = make({0, anHour, anHour});
    EXPECT_FALSE(commands.isTimeOver());
    stop.make();
    EXPECT_TRUE(commands.isTimeOver());
    errno = 0;
    EXPECT_EQ(commands.open("echo x", searchPath), nullptr);
    EXPECT_EQ(errno, ECANCELED);
    errno = 0;
    EXPECT_EQ(commands.run("exit 0", searchPath), -1);
    EXPECT_EQ(errno, ECANCELED);
}

TEST(StopRequest, MakesItsDescriptorReadableAndIsMadeOnce) {
    vokStopRequest stop;
    EXPECT_FALSE(stop.isMade());
    EXPECT_EQ(stop.timeLeft(1000), -1);
    char byte = 0;
    EXPECT_EQ(::read(stop.descriptor(), &byte, 1), -1);
    EXPECT_EQ(errno, EAGAIN);
    errno = EMLINK;
    stop.make();
    EXPECT_EQ(errno, EMLINK) << "preserved, as a signal handler must";
    EXPECT_TRUE(stop.isMade());
    EXPECT_EQ(::read(stop.descriptor(), &byte, 1), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const int left = stop.timeLeft(anHour);
    EXPECT_LT(left, anHour);
    EXPECT_GT(left, anHour - 60000);
    EXPECT_EQ(stop.timeLeft(1), 0);
    stop.make();
    EXPECT_LE(stop.timeLeft(anHour), left);
    EXPECT_EQ(::read(stop.descriptor(), &byte, 1), -1);
}

TEST(StopRequest, ItsDescriptorsAreNotInherited) {
    const vokStopRequest stop;
    EXPECT_TRUE(::fcntl(stop.descriptor(), F_GETFD) & FD_CLOEXEC);
}

TEST(StopRequest, ItsDescriptorIsAboveThoseOfDevices) {
    const vokStopRequest stop;
    EXPECT_GE(stop.descriptor(), 31);
}

}  // namespace
}  // namespace vokCommandsTest
