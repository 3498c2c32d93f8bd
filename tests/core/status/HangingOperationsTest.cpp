// What the watch finds hanging, in the status record.
#include "core/status/StatusFixture.h"
#include "platform/access/vokLongOperation.h"
#include "platform/access/vokWorkScope.h"
#include "support/FakeClock.h"

namespace HangingOperationsTest {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class HangingOperations : public StatusFixture {
protected:
    static std::vector<vokHangingOperation> hanging() {
        std::string reason;
        return vokReadStatus(reason).value_or(vokStatusSnapshot{}).hanging;
    }
    FakeClock& clock = host.part<FakeClock>();
};

TEST_F(HangingOperations, AnOperationOfThirtySecondsIsInTheRecordUntilItEnds) {
    clock.set(1700000031);
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    {
        const vokLongOperationWatch watch;
        const vokWorkScope scope(3);
        const vokLongOperation operation(vokOperationKind::command, "esxtop -b -n 1");
        EXPECT_THAT(hanging(), IsEmpty());
        clock.waitForSteadyWaits(1);
        clock.advanceSteady(31);
        waitUntil([] { return !hanging().empty(); });
        const auto found = hanging();
        ASSERT_THAT(found, SizeIs(1));
        EXPECT_EQ(found[0].description, "command \"esxtop -b -n 1\"");
        EXPECT_EQ(found[0].begin, 1700000000);
        EXPECT_EQ(found[0].classId, 3);
    }
    EXPECT_THAT(hanging(), IsEmpty());
}

TEST_F(HangingOperations, TwoOfTheSameDescriptionEndEachOnItsOwn) {
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    const vokLongOperationWatch watch;
    const vokLongOperation first(vokOperationKind::command, "same");
    {
        const vokWorkScope scope(0);
        const vokLongOperation second(vokOperationKind::command, "same");
        clock.waitForSteadyWaits(1);
        clock.advanceSteady(31);
        waitUntil([] { return hanging().size() == 2; });
    }
    const auto found = hanging();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].classId, -1) << "the one that is not counted to a class goes on";
}

TEST(WorkScope, TheInnermostOneOfTheThreadCounts) {
    EXPECT_EQ(vokWorkScope::current(), -1);
    {
        const vokWorkScope outer(2);
        {
            const vokWorkScope inner(3);
            EXPECT_EQ(vokWorkScope::current(), 3);
        }
        EXPECT_EQ(vokWorkScope::current(), 2);
    }
    EXPECT_EQ(vokWorkScope::current(), -1);
}

}  // namespace
}  // namespace HangingOperationsTest
