#include "platform/utils/vokStartupRecordAge.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <cstdio>

#include "platform/utils/vokStartupRecord.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeSystem.h"
#include "support/LoggedLines.h"

namespace vokStartupRecordAgeTest {
namespace {

constexpr char content[] = "current_start 5\nlast_start 0\nlast_stop 0\n";

class StartupRecordAge : public testing::Test {
protected:
    StartupRecordAge() {
        logEverything(host);
        host.root.writeFile("/var/tmp/mevVOKStartup.txt", content);
        makeOld();
    }
    void makeOld() const {
        const timespec longAgo[2] = {{1000000, 0}, {1000000, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, vokStartupRecord::recordPath().c_str(), longAgo, 0), 0);
    }
    bool isOld() const {
        struct stat status {};
        return ::stat(vokStartupRecord::recordPath().c_str(), &status) == 0 && status.st_mtime == 1000000;
    }

    FakeHost host;
    FakeSystem& system = host.part<FakeSystem>();
    vokStartupRecordAge age;
};

TEST_F(StartupRecordAge, TheRecordIsTouchedADayAfterTheStartAndEachDayFromThen) {
    age.renewDaily();
    system.uptimeSeconds += 86399;
    age.renewDaily();
    EXPECT_TRUE(isOld());
    system.uptimeSeconds += 1;
    age.renewDaily();
    EXPECT_FALSE(isOld());

    makeOld();
    system.uptimeSeconds += 86399;
    age.renewDaily();
    EXPECT_TRUE(isOld());
    system.uptimeSeconds += 1;
    age.renewDaily();
    EXPECT_FALSE(isOld());
    EXPECT_EQ(host.root.readFile("/var/tmp/mevVOKStartup.txt"), content);
}

TEST_F(StartupRecordAge, AStepOfTheWallClockCountsForNothing) {
    age.renewDaily();
    host.part<FakeClock>().advance(1000000);
    age.renewDaily();
    EXPECT_TRUE(isOld());
    host.part<FakeClock>().set(5);
    system.uptimeSeconds += 86400;
    age.renewDaily();
    EXPECT_FALSE(isOld());
}

TEST_F(StartupRecordAge, AFailureIsAWarningOnceADay) {
    age.renewDaily();
    ASSERT_EQ(std::remove(vokStartupRecord::recordPath().c_str()), 0);
    for (int minute = 0; minute < 3; ++minute) {
        system.uptimeSeconds += minute == 0 ? 86400 : 60;
        age.renewDaily();
    }
    const std::string line = "WARNING JOB_MGR: The modification time of " + vokStartupRecord::recordPath() +
                             " can't be set: No such file or directory.";
    EXPECT_EQ(countLogged(host, line), 1);
    system.uptimeSeconds += 86400;
    age.renewDaily();
    EXPECT_EQ(countLogged(host, line), 2);
}

TEST_F(StartupRecordAge, WithoutAnUpTimeNothingIsTouched) {
    age.renewDaily();
    system.informationFails = true;
    system.uptimeSeconds += 86400;
    age.renewDaily();
    EXPECT_TRUE(isOld());
    system.informationFails = false;
    age.renewDaily();
    EXPECT_FALSE(isOld());
}

}  // namespace
}  // namespace vokStartupRecordAgeTest
