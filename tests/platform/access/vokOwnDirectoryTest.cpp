#include "platform/access/vokOwnDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

#include "support/TemporaryDirectory.h"

namespace vokOwnDirectoryTest {
namespace {

unsigned modeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777u : 0;
}

class OwnDirectory : public testing::Test {
protected:
    std::string at(const std::string& relative) const { return directory.path() + relative; }

    TemporaryDirectory directory;
};

TEST_F(OwnDirectory, IsMadeWithItsParentsForItsOwnerOnly) {
    ::umask(0);
    EXPECT_TRUE(vokMakeOwnDirectory(at("/opt/mev/data")));
    for (const char* made : {"/opt", "/opt/mev", "/opt/mev/data"}) EXPECT_EQ(modeOf(at(made)), 0700u) << made;
}

TEST_F(OwnDirectory, AnExistingOneIsLeftAsItIs) {
    ASSERT_EQ(::mkdir(at("/data").c_str(), 0750), 0);
    EXPECT_TRUE(vokMakeOwnDirectory(at("/data")));
    EXPECT_EQ(modeOf(at("/data")), 0750u);
}

TEST_F(OwnDirectory, ALinkToADirectoryCountsAsOne) {
    ASSERT_EQ(::mkdir(at("/elsewhere").c_str(), 0700), 0);
    ASSERT_EQ(::symlink("elsewhere", at("/data").c_str()), 0);
    EXPECT_TRUE(vokMakeOwnDirectory(at("/data")));
}

TEST_F(OwnDirectory, AFileInItsPlaceOrInThatOfAParentIsTheReasonOfTheFailure) {
    directory.writeFile("/data", "");
    EXPECT_FALSE(vokMakeOwnDirectory(at("/data")));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(vokMakeOwnDirectory(at("/data/below")));
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(OwnDirectory, ALinkThatLeadsNowhereIsNone) {
    ASSERT_EQ(::symlink("nowhere", at("/data").c_str()), 0);
    EXPECT_FALSE(vokMakeOwnDirectory(at("/data")));
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace vokOwnDirectoryTest
