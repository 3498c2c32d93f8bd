#include "platform/utils/vokWorkFolders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace vokWorkFoldersTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WorkFolders : public testing::Test {
protected:
    WorkFolders() { logEverything(host); }

    std::string data() const { return host.path("/opt/mev/vok/data"); }
    std::string log() const { return host.path("/opt/mev/vok/log"); }
    static unsigned modeOf(const std::string& path) {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777u : 0;
    }
    // The lines about the folders; the logger itself may have others.
    std::vector<std::string> lines() const {
        std::vector<std::string> found;
        for (const std::string& line : loggedLines(host))
            if (line.find("The working folder") != std::string::npos) found.push_back(line);
        return found;
    }

    FakeHost host;
};

TEST_F(WorkFolders, OnAFreshHostTheyAreMadeForTheirOwnerOnlyAndNothingIsLogged) {
    ::umask(0);
    EXPECT_THAT(vokPrepareWorkFolders(), IsEmpty());
    EXPECT_EQ(modeOf(data()), 0700u);
    EXPECT_EQ(modeOf(log()), 0700u);
    EXPECT_THAT(loggedLines(host), IsEmpty());
}

TEST_F(WorkFolders, ExistingOnesAreUsedWithWhatIsInThem) {
    vokPrepareWorkFolders();
    host.root.writeFile("/opt/mev/vok/data/esxtopconf", "columns");
    EXPECT_THAT(vokPrepareWorkFolders(), IsEmpty());
    EXPECT_EQ(host.root.readFile("/opt/mev/vok/data/esxtopconf"), "columns");
    EXPECT_THAT(loggedLines(host), IsEmpty());
}

TEST_F(WorkFolders, AFileInThePlaceOfOneIsAnErrorWithTheReason) {
    host.root.writeFile("/opt/mev/vok/data", "");
    const std::string error = "The working folder " + data() + " can't be made: Not a directory.";
    EXPECT_THAT(vokPrepareWorkFolders(), ElementsAre(error));
    EXPECT_THAT(lines(), ElementsAre("ERROR JOB_MGR: " + error));
    EXPECT_EQ(modeOf(log()), 0700u) << "the other one is made all the same";
}

TEST_F(WorkFolders, TheAccessOfOtherUsersIsRemovedWithAWarning) {
    vokPrepareWorkFolders();
    ASSERT_EQ(::chmod(data().c_str(), 0777), 0);
    ASSERT_EQ(::chmod(log().c_str(), 0710), 0);
    EXPECT_THAT(vokPrepareWorkFolders(), IsEmpty());
    EXPECT_EQ(modeOf(data()), 0700u);
    EXPECT_EQ(modeOf(log()), 0700u);
    EXPECT_THAT(
        lines(),
        ElementsAre("WARNING JOB_MGR: The working folder " + data() + " has mode 0777; changed to 0700.",
                    "WARNING JOB_MGR: The working folder " + log() + " has mode 0710; changed to 0700."));
}

TEST_F(WorkFolders, ALinkIsUsedWithAWarning) {
    host.root.writeFile("/elsewhere/keep", "");
    ASSERT_EQ(::chmod(host.path("/elsewhere").c_str(), 0700), 0);
    host.root.writeFile("/opt/mev/vok/keep", "");
    ASSERT_EQ(::symlink("../../../elsewhere", data().c_str()), 0);
    EXPECT_THAT(vokPrepareWorkFolders(), IsEmpty());
    EXPECT_THAT(lines(), ElementsAre("WARNING JOB_MGR: The working folder " + data() +
                                     " is a link to ../../../elsewhere."));
}

TEST_F(WorkFolders, OneOfAnotherUserIsAWarningAndIsNotChanged) {
    vokPrepareWorkFolders();
    ASSERT_EQ(::chmod(data().c_str(), 0777), 0);
    if (::chown(data().c_str(), 12345, 12345) != 0) GTEST_SKIP() << "only root can give a folder away";
    EXPECT_THAT(vokPrepareWorkFolders(), IsEmpty());
    EXPECT_THAT(lines(),
                ElementsAre("WARNING JOB_MGR: The working folder " + data() + " belongs to user 12345."));
    EXPECT_EQ(modeOf(data()), 0777u);
}

TEST_F(WorkFolders, OneThatCanNotBeWrittenIsAnErrorWithTheReason) {
    vokPrepareWorkFolders();
    ::chmod(host.root.path().c_str(), 0755);
    for (const char* parent : {"/opt", "/opt/mev", "/opt/mev/vok"}) ::chmod(host.path(parent).c_str(), 0755);
    ASSERT_EQ(::chmod(data().c_str(), 0500), 0);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(data().c_str(), 12345, 12345), 0);
        ASSERT_EQ(::chown(log().c_str(), 12345, 12345), 0);
        ASSERT_EQ(::setreuid(12345, 12345), 0);
    }
    EXPECT_THAT(vokPrepareWorkFolders(),
                ElementsAre("The working folder " + data() + " can't be written: Permission denied."));
}

}  // namespace
}  // namespace vokWorkFoldersTest
