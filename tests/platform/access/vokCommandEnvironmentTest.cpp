#include "platform/access/vokCommandEnvironment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <cstdlib>

#include "support/TemporaryDirectory.h"

namespace vokCommandEnvironmentTest {
namespace {

using testing::Contains;
using testing::Not;
using testing::StartsWith;

class SearchPath : public testing::Test {
protected:
    std::string makeDirectory(const std::string& name, mode_t mode) const {
        directory.writeFile(name + "/file", "");
        const std::string path = directory.path() + "/" + name;
        EXPECT_EQ(::chmod(path.c_str(), mode), 0);
        return path;
    }
    TemporaryDirectory directory;
};

TEST_F(SearchPath, SafeDirectoriesKeepTheirOrder) {
    const std::string first = makeDirectory("first", 0755);
    const std::string second = makeDirectory("second", 0700);
    EXPECT_EQ(vokSafeSearchPath((second + ":" + first).c_str()), second + ":" + first);
}

TEST_F(SearchPath, RelativeAndEmptyElementsAreDropped) {
    const std::string safe = makeDirectory("safe", 0755);
    for (const std::string& path :
         {":" + safe, safe + ":", safe + "::", ".:" + safe, safe + ":bin:..", "~/bin:" + safe})
        EXPECT_EQ(vokSafeSearchPath(path.c_str()), safe) << path;
}

TEST_F(SearchPath, ADirectoryThatEverybodyMayWriteToIsDropped) {
    const std::string safe = makeDirectory("safe", 0755);
    const std::string open = makeDirectory("open", 0757);
    const std::string sticky = makeDirectory("sticky", 01777);
    EXPECT_EQ(vokSafeSearchPath((open + ":" + sticky + ":" + safe).c_str()), safe);
}

TEST_F(SearchPath, WhatIsNoDirectoryIsDropped) {
    const std::string safe = makeDirectory("safe", 0755);
    EXPECT_EQ(vokSafeSearchPath((safe + "/file:" + safe + "/none:" + safe).c_str()), safe);
}

TEST_F(SearchPath, WithoutASafeElementThereIsADefault) {
    constexpr char usual[] = "/usr/sbin:/usr/bin:/sbin:/bin";
    EXPECT_EQ(vokSafeSearchPath(nullptr), usual);
    EXPECT_EQ(vokSafeSearchPath(""), usual);
    EXPECT_EQ(vokSafeSearchPath(".:"), usual);
}

TEST(CommandEnvironment, ReplacesThePathAndTheLocaleOnly) {
    ASSERT_EQ(::setenv("PATH", "/old", 1), 0);
    ASSERT_EQ(::setenv("LC_ALL", "xx_YY", 1), 0);
    ASSERT_EQ(::setenv("PATHS", "other", 1), 0);
    const std::vector<std::string> environment = vokCommandEnvironment("/new:/paths");
    EXPECT_THAT(environment, Contains("PATH=/new:/paths").Times(1));
    EXPECT_THAT(environment, Contains(StartsWith("PATH=")).Times(1));
    EXPECT_THAT(environment, Contains("LC_ALL=C").Times(1));
    EXPECT_THAT(environment, Contains(StartsWith("LC_ALL=")).Times(1));
    EXPECT_THAT(environment, Contains("PATHS=other"));
}

TEST(CommandEnvironment, IsCompleteWithoutAnEnvironment) {
    ASSERT_EQ(::clearenv(), 0);
    EXPECT_THAT(vokCommandEnvironment("/bin"), testing::ElementsAre("PATH=/bin", "LC_ALL=C"));
}

}  // namespace
}  // namespace vokCommandEnvironmentTest
