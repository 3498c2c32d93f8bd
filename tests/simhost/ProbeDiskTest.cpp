// vokd --probe-disk on a simulated host, at the device node of a disk.
#include <gmock/gmock.h>
#include <csignal>

#include "simhost/TestHost.h"

namespace ProbeDiskTest {

using testing::EndsWith;
using testing::HasSubstr;

namespace {

class ProbeDisk : public TestHost {
protected:
    std::vector<std::string> command(const std::string& node = "/dev/sg9") const {
        return {VOKD_PROGRAM, "--probe-disk", node, "--host-root", root()};
    }
    Ran probe(const std::string& node = "/dev/sg9") const { return runProgram(command(node)); }
};

TEST_F(ProbeDisk, AsksTheDiskAtItsNode) {
    startTestHost();
    const Ran ran = probe();
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, HasSubstr("Node     /dev/sg9\n"));
    EXPECT_THAT(
        ran.output,
        HasSubstr(
            "\n  Device type                      INQUIRY             0: direct-access block device\n"));
    EXPECT_THAT(ran.output, HasSubstr("\n  Transport protocol               mode page 19h       "
                                      "- VOK_SCSI_ILLEGAL_REQUEST: sense key 5h (ILLEGAL REQUEST)\n"));
    EXPECT_THAT(ran.output, EndsWith("5 of 36 questions were answered.\n"));
}

TEST_F(ProbeDisk, ADiskThatWasPulledIsMissing) {
    startTestHost();
    hostControl({"test-disk", "pull"});
    const Ran ran = probe();
    EXPECT_EQ(ran.status, 10);
    EXPECT_EQ(ran.output, "vokd: /dev/sg9 can't be opened: No such file or directory\n");
}

TEST_F(ProbeDisk, TheNodeOfAnotherDriverIsRefused) {
    startTestHost();
    const Ran ran = probe("/dev/ipmi0");
    EXPECT_EQ(ran.status, 11);
    EXPECT_EQ(ran.output, "vokd: /dev/ipmi0 is not a SCSI generic node (/dev/sgN)\n");
}

TEST_F(ProbeDisk, OfADiskThatHangsShowsWhatItIsAskedAndASignalEndsItAtOnce) {
    startTestHost();
    hostControl({"test-disk", "hang"});
    directory.writeFile("/it's a \"host\"/sys/class/scsi_device/9:0:0:0/device/scsi_generic/sg9/dev",
                        "21:9\n");
    for (const int signal : {SIGINT, SIGTERM}) {
        RunningProgram probing(directory.path(), "vokd", command(), "INQUIRY");
        EXPECT_EQ(probing.end(signal), 9);
        EXPECT_EQ(probing.errors(),
                  signal == SIGINT ? "vokd: interrupted by SIGINT\n" : "vokd: interrupted by SIGTERM\n");
        EXPECT_THAT(probing.output(), HasSubstr("\nSYSFS\n"));
        EXPECT_THAT(probing.output(), EndsWith("\n  Device type                      INQUIRY             "));
    }
}

TEST_F(ProbeDisk, ADiskThatHangsEndsEachQuestionAfterItsTimeOut) {
    startTestHost({"--speed", "10000"});
    hostControl({"test-disk", "hang"});
    const Ran ran = probe();
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, HasSubstr("- VOK_SCSI_COMMAND_FAILED: host status 3h (time-out)"));
    EXPECT_THAT(ran.output, EndsWith("0 of 36 questions were answered.\n"));
}

TEST_F(ProbeDisk, OutputThatCannotBeWrittenEndsWithEightAndTheReason) {
    startTestHost();
    const Ran ran =
        runProgram({"/bin/sh", "-c", "exec \"$0\" --probe-disk /dev/sg9 --host-root \"$1\" > /dev/full",
                    VOKD_PROGRAM, root()});
    EXPECT_EQ(ran.status, 8);
    EXPECT_EQ(ran.output, "vokd: standard output: No space left on device\n");
}

}  // namespace
}  // namespace ProbeDiskTest
