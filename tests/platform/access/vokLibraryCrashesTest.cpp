// The record of crashes in vendors' libraries, and which of these are left out.
#include "platform/access/vokLibraryCrashes.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "platform/access/vokLibrary.h"
#include "platform/access/vokLibraryCall.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeLibraries.h"
#include "support/FakeSystem.h"

namespace vokLibraryCrashesTest {
namespace {

constexpr char record[] = "/opt/mev/vok/data/vok_library_crashes.txt";
constexpr time_t start = 1700000000;
constexpr long uptime = 100000;

class LibraryCrashes : public testing::Test {
protected:
    LibraryCrashes() {
        clock.set(start);
        host.part<FakeSystem>().uptimeSeconds = uptime;
        host.root.writeFile(record, "");
        host.root.writeFile("/lib/libvendor.so", "first");
        vokLibraryCrashes::prepare();
        libraries.symbols["libvendor.so"] = {};
    }
    // A run that starts and crashes in a call of the library, and the start after it.
    std::vector<vokLibraryLeftOut> crash(const char* name = "libvendor.so", const char* end = "SIGSEGV") {
        vokLibraryCrashes::prepare();
        {
            const vokLibraryCall call(vokKeepLibraryIdentity(name, host.path(std::string("/lib/") + name)),
                                      "vendor_list");
            EXPECT_TRUE(vokLibraryCrashes::note(end));
        }
        return vokLibraryCrashes::decide();
    }
    std::string content() const { return host.root.readFile(record); }
    bool opens() const {
        vokLibrary library;
        return library.open("libvendor.so", RTLD_NOW);
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeLibraries& libraries = host.part<FakeLibraries>();
};

TEST_F(LibraryCrashes, WithoutACrashNothingIsRecordedOrLeftOut) {
    EXPECT_FALSE(vokLibraryCrashes::note("SIGSEGV")) << "no call is in progress";
    EXPECT_TRUE(vokLibraryCrashes::decide().empty());
    EXPECT_EQ(content(), "");
    EXPECT_TRUE(opens());
}

TEST_F(LibraryCrashes, ASingleCrashLeavesNothingOut) {
    EXPECT_TRUE(crash().empty());
    EXPECT_TRUE(opens());
}

TEST_F(LibraryCrashes, TheSecondCrashInALibraryLeavesItOut) {
    crash();
    const auto leftOut = crash("libvendor.so", "SIGABRT");
    ASSERT_EQ(leftOut.size(), 1u);
    EXPECT_EQ(leftOut[0].name, "libvendor.so");
    EXPECT_EQ(leftOut[0].crashes, 2);
    EXPECT_EQ(leftOut[0].lastEnd, "SIGABRT");
    EXPECT_EQ(leftOut[0].lastCall, "vendor_list");
    vokLibrary library;
    EXPECT_FALSE(library.open("libvendor.so", RTLD_NOW));
    EXPECT_EQ(library.reason(),
              "left out, as the agent has died in it 2 times, last in the call vendor_list (SIGABRT)");
    EXPECT_TRUE(libraries.opened().empty()) << "its initialisers don't run";
}

TEST_F(LibraryCrashes, OtherLibrariesAreOpened) {
    crash("libother.so");
    crash("libother.so");
    EXPECT_TRUE(opens());
    EXPECT_EQ(crash().size(), 1u) << "one crash of each of two libraries is not two of one";
    EXPECT_TRUE(opens());
}

TEST_F(LibraryCrashes, ACrashCountsForADay) {
    crash();
    clock.advance(86399);
    host.part<FakeSystem>().uptimeSeconds += 86399;
    EXPECT_EQ(crash().size(), 1u);
    clock.advance(1);
    host.part<FakeSystem>().uptimeSeconds += 1;
    EXPECT_TRUE(vokLibraryCrashes::decide().empty()) << "the first is a day old";
    EXPECT_TRUE(opens());
    EXPECT_EQ(crash().size(), 1u) << "the second is not";
}

TEST_F(LibraryCrashes, ABootOfTheHostEndsIt) {
    crash();
    crash();
    clock.advance(500);
    host.part<FakeSystem>().uptimeSeconds = 400;
    EXPECT_TRUE(vokLibraryCrashes::decide().empty());
    EXPECT_TRUE(opens());
    EXPECT_FALSE(host.root.exists(record));
}

TEST_F(LibraryCrashes, AnotherFileUnderTheSamePathIsTriedAgain) {
    crash();
    crash();
    host.root.writeFile("/lib/libvendor.so", "second, longer");
    EXPECT_TRUE(vokLibraryCrashes::decide().empty());
    EXPECT_TRUE(opens());
}

TEST_F(LibraryCrashes, WithoutTheRecordItIsTriedAgain) {
    crash();
    crash();
    ASSERT_EQ(std::remove(host.path(record).c_str()), 0);
    EXPECT_TRUE(vokLibraryCrashes::decide().empty());
    EXPECT_TRUE(opens());
}

TEST_F(LibraryCrashes, AStepOfTheClockBackByMoreThanADayEndsIt) {
    crash();
    crash();
    clock.advance(-86400);
    EXPECT_TRUE(vokLibraryCrashes::decide().empty());
}

TEST_F(LibraryCrashes, LinesOfAnotherFormAreDropped) {
    host.root.writeFile(record,
                        "0\tSIGSEGV\t1\n\n\t\t\t\t\t\t\t\n\xff\xfe\n" + std::string(100000, 'x') + "\n");
    EXPECT_TRUE(crash().empty());
    EXPECT_EQ(crash().size(), 1u);
}

TEST_F(LibraryCrashes, TheRecordIsForItsOwnerAndBounded) {
    std::string lines;
    for (int i = 0; i < 1000; ++i) lines += "1700000000\tSIGSEGV\t0\t0\t0\tlibvendor.so\t\tvendor_list\n";
    host.root.writeFile(record, lines + "5\tSIGSEGV\t0\t0\t0\tlibvendor.so\t\tvendor_list\n");
    const auto leftOut = vokLibraryCrashes::decide();
    ASSERT_EQ(leftOut.size(), 1u);
    EXPECT_EQ(leftOut[0].crashes, 63);
    struct stat status {};
    ASSERT_EQ(::stat(host.path(record).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(LibraryCrashes, OnlyTheThreadInTheCallIsBlamed) {
    const vokLibraryCall call(vokKeepLibraryIdentity("libvendor.so", ""), "vendor_list");
    bool blamed = true;
    std::thread other([&blamed] { blamed = vokLibraryCrashes::note("SIGSEGV"); });
    other.join();
    EXPECT_FALSE(blamed);
}

TEST_F(LibraryCrashes, TheInnermostCallIsBlamedAndTheOuterOneAfterIt) {
    const vokLibraryCall outer(vokKeepLibraryIdentity("libvendor.so", ""), "outer");
    {
        const vokLibraryCall inner(vokKeepLibraryIdentity("libother.so", ""), "inner");
        EXPECT_STREQ(vokLibraryCall::current().call, "inner");
    }
    EXPECT_STREQ(vokLibraryCall::current().call, "outer");
    EXPECT_EQ(vokLibraryCall::current().library->name, "libvendor.so");
}

TEST_F(LibraryCrashes, TwoThreadsThatCrashInOneRunAreOneCrash) {
    const vokLibraryCall call(vokKeepLibraryIdentity("libvendor.so", ""), "vendor_list");
    EXPECT_TRUE(vokLibraryCrashes::note("SIGSEGV"));
    EXPECT_FALSE(vokLibraryCrashes::note("SIGABRT"));
    EXPECT_TRUE(vokLibraryCrashes::decide().empty());
}

TEST_F(LibraryCrashes, AChildThatTheLibraryHasForkedIsNotTheAgent) {
    const vokLibraryCall call(vokKeepLibraryIdentity("libvendor.so", ""), "vendor_list");
    const pid_t child = ::fork();
    if (child == 0) ::_exit(vokLibraryCrashes::note("SIGSEGV") ? 1 : 0);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(content(), "");
}

TEST_F(LibraryCrashes, APipeOrLinkUnderTheNameIsNeitherWaitedForNorFollowed) {
    const std::string path = host.path(record);
    const vokLibraryCall call(vokKeepLibraryIdentity("libvendor.so", ""), "vendor_list");
    ASSERT_EQ(std::remove(path.c_str()), 0);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(vokLibraryCrashes::note("SIGSEGV"));
    EXPECT_TRUE(vokLibraryCrashes::decide().empty());
    ASSERT_EQ(std::remove(path.c_str()), 0);
    ASSERT_EQ(::symlink(host.path("/lib/libvendor.so").c_str(), path.c_str()), 0);
    vokLibraryCrashes::prepare();
    EXPECT_FALSE(vokLibraryCrashes::note("SIGSEGV"));
    EXPECT_TRUE(vokLibraryCrashes::decide().empty());
    EXPECT_EQ(host.root.readFile("/lib/libvendor.so"), "first");
}

TEST_F(LibraryCrashes, TheFileOfAnOpenLibraryIsThatOfTheLoader) {
    libraries.file = "/usr/lib/libvendor.so";
    vokLibrary library;
    EXPECT_EQ(library.identity(), nullptr);
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    EXPECT_EQ(library.identity()->name, "libvendor.so");
    EXPECT_EQ(library.identity()->file, "/usr/lib/libvendor.so");
    library.close();
    EXPECT_EQ(library.identity(), nullptr);
}

TEST_F(LibraryCrashes, ACrashWhileALibraryIsClosedIsItsOwn) {
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    libraries.onClose = [] { EXPECT_TRUE(vokLibraryCrashes::note("SIGSEGV")); };
    EXPECT_TRUE(library.close());
    EXPECT_NE(content().find("\tlibvendor.so\t"), std::string::npos);
}

TEST_F(LibraryCrashes, WhatIsLeftOutIsKnownForTheWholeRun) {
    crash();
    crash();
    ASSERT_EQ(std::remove(host.path(record).c_str()), 0);
    ASSERT_EQ(vokLibraryCrashes::leftOut().size(), 1u);
    EXPECT_EQ(vokLibraryCrashes::leftOut()[0].name, "libvendor.so");
    vokLibraryCrashes::decide();
    EXPECT_TRUE(vokLibraryCrashes::leftOut().empty());
}

TEST_F(LibraryCrashes, ATabInANameDoesNotMakeTwoFields) {
    const vokLibraryCall call(vokKeepLibraryIdentity("lib\tvendor\n.so", ""), "a\tcall");
    ASSERT_TRUE(vokLibraryCrashes::note("exit"));
    EXPECT_EQ(content(), "1700000000\texit\t0\t0\t0\tlib vendor .so\t\ta call\n");
}

TEST_F(LibraryCrashes, ALineIsCutAtItsRoom) {
    const vokLibraryCall call(vokKeepLibraryIdentity(std::string(9000, 'n'), "/file"), "call");
    ASSERT_TRUE(vokLibraryCrashes::note("exit"));
    EXPECT_EQ(content().size(), 8192u);
    EXPECT_EQ(content().back(), '\n');
}

}  // namespace
}  // namespace vokLibraryCrashesTest
