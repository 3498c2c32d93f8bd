#include "core/platformCheck.h"

#include <gtest/gtest.h>

namespace {

TEST(PlatformCheck, TheDirectoryIsFilledOnTheFirstNeed) {
    EXPECT_EQ(platformCheck::getDirectoryPath(), "/opt/mev/vok");
}

TEST(PlatformCheck, TheStartupPathIsFilledOnTheFirstNeedAndHasNoSeparatorAtItsEnd) {
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
}

TEST(PlatformCheck, BothAreSetAtOnceAndMayBeSetAgain) {
    platformCheck::setDirectoryPath();
    platformCheck::setDirectoryPath();
    EXPECT_EQ(platformCheck::getDirectoryPath(), "/opt/mev/vok");
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
}

}  // namespace
