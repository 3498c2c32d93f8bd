// A log file on a disk that fills and gets room again.
#include "core/base/vokLogFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <cerrno>
#include <csignal>
#include <string>

#include "support/TemporaryDirectory.h"

namespace vokLogFileTest {
namespace {

class LogFile : public testing::Test {
protected:
    LogFile() {
        ::signal(SIGXFSZ, SIG_IGN);
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &unlimited), 0);
        EXPECT_TRUE(log.open(directory.path() + "/log"));
    }
    ~LogFile() override { makeRoom(); }

    // Stands in for a full disk: a file can't grow beyond this size.
    void fill(rlim_t size) const {
        const rlimit full{size, unlimited.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    }
    void makeRoom() const { ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &unlimited), 0); }

    const TemporaryDirectory directory;
    rlimit unlimited{};
    vokLogFile log;
};

TEST_F(LogFile, ADiskThatWasFullTemporarilyDoesNotSilenceIt) {
    fill(7);
    for (int i = 0; i < 1000; ++i) log.write("12345\n");
    makeRoom();
    log.write("first after it\n");
    // The last line for which there was room is cut.
    EXPECT_EQ(directory.readFile("log"), "12345\n1\nfirst after it\n");
}

TEST_F(LogFile, TheFirstLostLineOfEachFullDiskIsAFailure) {
    EXPECT_TRUE(log.write("12345\n"));
    fill(6);
    EXPECT_FALSE(log.write("lost\n"));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_TRUE(log.write("lost\n"));
    makeRoom();
    EXPECT_TRUE(log.write("6789\n"));
    fill(6);
    EXPECT_FALSE(log.write("lost\n"));
    EXPECT_TRUE(log.write("lost\n"));
}

TEST_F(LogFile, ALineThatIsCutIsLost) {
    fill(3);
    EXPECT_FALSE(log.write("12345\n"));
    EXPECT_TRUE(log.write("12345\n"));
}

}  // namespace
}  // namespace vokLogFileTest
