// The trace of a crash, by itself.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <filesystem>
#include <thread>

#include "daemon/vokdCrashTrace.h"
#include "support/TemporaryDirectory.h"

namespace CrashTraceTest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool crashesAreOurs = false;
#else
constexpr bool crashesAreOurs = true;
#endif

class CrashTrace : public testing::Test {
protected:
    void SetUp() override {
        if (!crashesAreOurs) GTEST_SKIP() << "a sanitizer tells of crashes in its own way";
    }
    // The signal that ends a process which captures crashes and then does `harm`.
    int endOf(void (*harm)()) const {
        const pid_t process = ::fork();
        if (process == 0) {
            ::close(STDERR_FILENO);
            if (vokdCaptureCrashes(directory.path() + "/log")) harm();
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
        void (*harm)();
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
        EXPECT_EQ(endOf(row.harm), row.signal);
        ASSERT_EQ(traces().size(), 1u) << row.name;
        EXPECT_NE(traces()[0].find(row.name), std::string::npos) << traces()[0];
    }
}

// Overruns the stack: the handler needs one of its own.
int overrun(int depth) {
    volatile char room[4096];
    room[0] = static_cast<char>(depth);
    return depth < 0 ? 0 : overrun(depth + 1) + room[0];
}

TEST_F(CrashTrace, AStackThatIsFullIsTracedToo) {
    EXPECT_EQ(endOf([] { ::_exit(overrun(0)); }), SIGSEGV);
    ASSERT_EQ(traces().size(), 1u);
    EXPECT_NE(traces()[0].find(" ended by SIGSEGV"), std::string::npos);
}

TEST_F(CrashTrace, OfTwoThreadsThatCrashAtOnceOneIsTracedWhole) {
    EXPECT_EQ(endOf([] {
                  std::thread other([] { ::raise(SIGBUS); });
                  ::raise(SIGBUS);
                  other.join();
              }),
              SIGBUS);
    ASSERT_EQ(traces().size(), 1u);
    EXPECT_NE(traces()[0].find("\n\n"), std::string::npos);
    EXPECT_EQ(traces()[0].back(), '\n');
}

TEST_F(CrashTrace, AnExceptionOfAnUnknownTypeIsToldAsSuch) {
    EXPECT_EQ(endOf([] { std::thread([] { throw 7; }).join(); }), SIGABRT);
    ASSERT_EQ(traces().size(), 1u);
    EXPECT_NE(traces()[0].find("\nexception: of an unknown type\n"), std::string::npos) << traces()[0];
}

TEST_F(CrashTrace, ADirectoryThatCanNotBeMadeIsSaid) {
    directory.writeFile("log", "a file");
    EXPECT_FALSE(vokdCaptureCrashes(directory.path() + "/log"));
}

}  // namespace
}  // namespace CrashTraceTest
