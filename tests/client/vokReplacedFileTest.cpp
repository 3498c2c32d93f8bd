// The file that a reader never sees half written.
#include "client/vokReplacedFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <cerrno>
#include <filesystem>

#include "support/TemporaryDirectory.h"

namespace vokReplacedFileTest {
namespace {

class vokReplacedFileTest : public ::testing::Test {
protected:
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
            found.push_back(entry.path().filename());
        return found;
    }
    std::string path(const std::string& name) const { return directory.path() + "/" + name; }

    TemporaryDirectory directory;
};

TEST_F(vokReplacedFileTest, AnyoneMayReadItWhateverTheUmask) {
    const mode_t before = ::umask(0077);
    ASSERT_TRUE(vokReplaceFile(path("vok.prom"), "vok_up 1\n"));
    ::umask(before);
    struct stat status {};
    ASSERT_EQ(::stat(path("vok.prom").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
    EXPECT_EQ(directory.readFile("/vok.prom"), "vok_up 1\n");
    EXPECT_THAT(names(), ::testing::ElementsAre("vok.prom"));
}

TEST_F(vokReplacedFileTest, AReaderOfTheOldOneReadsItToItsEnd) {
    directory.writeFile("/vok.prom", "old");
    const int reader = ::open(path("vok.prom").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_TRUE(vokReplaceFile(path("vok.prom"), "new"));
    char text[8] = {};
    EXPECT_EQ(::read(reader, text, sizeof(text)), 3);
    EXPECT_STREQ(text, "old");
    ::close(reader);
    EXPECT_EQ(directory.readFile("/vok.prom"), "new");
}

TEST_F(vokReplacedFileTest, ALinkIsReplacedAndItsTargetKept) {
    directory.writeFile("/target", "kept");
    std::filesystem::create_symlink(path("target"), path("vok.prom"));
    ASSERT_TRUE(vokReplaceFile(path("vok.prom"), "new"));
    EXPECT_EQ(directory.readFile("/target"), "kept");
    EXPECT_FALSE(std::filesystem::is_symlink(path("vok.prom")));
}

TEST_F(vokReplacedFileTest, AFailureLeavesNothingBehind) {
    std::filesystem::create_directory(path("vok.prom"));
    EXPECT_FALSE(vokReplaceFile(path("vok.prom"), "new"));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_THAT(names(), ::testing::ElementsAre("vok.prom"));
    EXPECT_FALSE(vokReplaceFile(path("missing/vok.prom"), "new"));
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace vokReplacedFileTest
