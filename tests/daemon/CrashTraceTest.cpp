// The trace of a crash, without the daemon.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <thread>

#include "daemon/vokdCrashTrace.h"
#include "support/TemporaryDirectory.h"

namespace CrashTraceTest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool crashesAreTraced = false;
#else
constexpr bool crashesAreTraced = true;
#endif

class CrashTrace : public testing::Test {
protected:
    void SetUp() override {
        if (!crashesAreTraced) GTEST_SKIP() << "a sanitizer reports crashes in its own way";
    }
    // The signal that ends a process which captures crashes and then calls `crash`.
    int endingSignal(void (*crash)()) const {
        const pid_t process = ::fork();
        if (process == 0) {
            ::close(STDERR_FILENO);
            if (vokdCaptureCrashes(directory.path() + "/log")) crash();
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(process, &status, 0);
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    std::vector<std::string> traces() const {
        std::vector<std::string> texts;
        for (const auto& entry : std::filesystem::directory_iterator(directory.path() + "/log"))
            texts.push_back(directory.readFile("/log/" + entry.path().filename().string()));
        return texts;
    }
    TemporaryDirectory directory;
};

TEST_F(CrashTrace, EachFatalSignalIsNamedAndStillEndsTheProcess) {
    constexpr struct {
        void (*crash)();
        int signal;
        const char* name;
    } rows[] = {
        {[] { ::raise(SIGSEGV); }, SIGSEGV, " ended by SIGSEGV at address 0x"},
        {[] { std::abort(); }, SIGABRT, " ended by SIGABRT\n"},
        {[] { ::raise(SIGBUS); }, SIGBUS, " ended by SIGBUS at address 0x"},
        {[] { ::raise(SIGFPE); }, SIGFPE, " ended by SIGFPE at address 0x"},
        {[] { ::raise(SIGILL); }, SIGILL, " ended by SIGILL at address 0x"},
    };
    for (const auto& row : rows) {
        std::filesystem::remove_all(directory.path() + "/log");
        EXPECT_EQ(endingSignal(row.crash), row.signal);
        ASSERT_EQ(traces().size(), 1u) << row.name;
        EXPECT_NE(traces()[0].find(row.name), std::string::npos) << traces()[0];
    }
}

// Overflows the stack: the handler needs a stack of its own.
int overflow(int depth) {
    volatile char room[4096];
    room[0] = static_cast<char>(depth);
    return depth < 0 ? 0 : overflow(depth + 1) + room[0];
}

TEST_F(CrashTrace, AStackOverflowIsTracedToo) {
    EXPECT_EQ(endingSignal([] { ::_exit(overflow(0)); }), SIGSEGV);
    ASSERT_EQ(traces().size(), 1u);
    EXPECT_NE(traces()[0].find(" ended by SIGSEGV"), std::string::npos);
}

TEST_F(CrashTrace, OneOfTwoThreadsThatCrashAtOnceIsTracedCompletely) {
    EXPECT_EQ(endingSignal([] {
                  std::thread other([] { ::raise(SIGBUS); });
                  ::raise(SIGBUS);
                  other.join();
              }),
              SIGBUS);
    ASSERT_EQ(traces().size(), 1u);
    EXPECT_NE(traces()[0].find("\n\n"), std::string::npos);
    EXPECT_EQ(traces()[0].back(), '\n');
}

TEST_F(CrashTrace, AnExceptionOfAnUnknownTypeIsReportedAsSuch) {
    EXPECT_EQ(endingSignal([] { std::thread([] { throw 7; }).join(); }), SIGABRT);
    ASSERT_EQ(traces().size(), 1u);
    EXPECT_NE(traces()[0].find("\nexception: of an unknown type\n"), std::string::npos) << traces()[0];
}

TEST_F(CrashTrace, ADirectoryThatCannotBeCreatedIsReportedWithTheReason) {
    directory.writeFile("log", "a file");
    errno = 0;
    EXPECT_FALSE(vokdCaptureCrashes(directory.path() + "/log"));
    EXPECT_EQ(errno, ENOTDIR);
    errno = 0;
    EXPECT_FALSE(vokdCaptureCrashes(directory.path() + "/log/deeper"));
    EXPECT_EQ(errno, ENOTDIR);
    errno = 0;
    EXPECT_FALSE(vokdCaptureCrashes("/proc/none"));
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace CrashTraceTest
