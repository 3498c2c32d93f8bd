#include "platform/utils/vokStartupRecordText.h"

#include <gtest/gtest.h>

namespace vokStartupRecordTextTest {
namespace text = vokStartupRecordText;

TEST(StartupRecordText, OfAFirstStartHasZerosForThePreviousRun) {
    EXPECT_EQ(text::ofFirstStart(1763196902), "current_start 1763196902\nlast_start 0\nlast_stop 0\n");
}

TEST(StartupRecordText, OfAGracefulStopHasNoCurrentStart) {
    EXPECT_EQ(text::ofGracefulStop(12, 34), "last_start 12\nlast_stop 34\ncurrent_start 0\n");
}

TEST(StartupRecordText, EachLineWithTheCurrentStartIsReplacedAndAnEmptyLineFollows) {
    EXPECT_EQ(text::withCurrentStart("current_start 1\nlast_stop 2\nx current_start\n", 7),
              "current_start 7\nlast_stop 2\ncurrent_start 7\n\n");
    EXPECT_EQ(text::withCurrentStart("last_stop 2", 7), "last_stop 2\n");
    EXPECT_EQ(text::withCurrentStart("", 7), "\n");
}

TEST(StartupRecordText, EachLineWithTheLastStartIsReplacedUnlessTheStartIsZero) {
    EXPECT_EQ(text::withLastStart("last_start 1\nlast_stop 2\n\n", 7), "last_start 7\nlast_stop 2\n\n");
    EXPECT_EQ(text::withLastStart("last_start 1\nlast_stop 2", 0), "last_start 1\nlast_stop 2");
}

TEST(StartupRecordText, TheValueIsTheNumberAfterTheKeyOnTheFirstLineThatHoldsIt) {
    EXPECT_EQ(text::valueOf("a last_stop -5 6\nlast_stop 7\n", "last_stop"), -5);
    EXPECT_EQ(text::valueOf("last_stop\n9", "last_stop"), 0);
    EXPECT_EQ(text::valueOf("last_start 3\n", "last_stop"), std::nullopt);
}

}  // namespace vokStartupRecordTextTest
