#include "core/platformCheck.h"

#include <gtest/gtest.h>

TEST(PlatformCheck, TellsTheDirectoryOfTheProduct) {
    EXPECT_EQ(platformCheck::getDirectoryPath(), "/opt/mev/vok");
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
}

TEST(PlatformCheck, TheStartupPrefixHasNoSeparatorAtItsEnd) {
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
}

TEST(PlatformCheck, BothCanBeSetBeforeTheyAreAskedFor) {
    platformCheck::setDirectoryPath();
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
    EXPECT_EQ(platformCheck::getDirectoryPath(), "/opt/mev/vok");
}
