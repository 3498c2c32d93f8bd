#include "events/vokDelivery.h"

#include <gtest/gtest.h>
#include <thread>

namespace vokDeliveryTest {
namespace {

TEST(vokDeliveryRecord, KnowsNothingAtFirst) {
    const vokDeliveryRecord record;
    EXPECT_EQ(record.last().kind, vokDeliveryKind::unknown);
    EXPECT_EQ(record.last().text, "");
}

TEST(vokDeliveryRecord, KeepsTheLastNote) {
    const vokDeliveryRecord record;
    vokDeliveryRecord::note({vokDeliveryKind::refused, "first"});
    vokDeliveryRecord::note({vokDeliveryKind::accepted, "second"});
    EXPECT_EQ(record.last().kind, vokDeliveryKind::accepted);
    EXPECT_EQ(record.last().text, "second");
}

TEST(vokDeliveryRecord, TheInnermostGetsTheNoteAndTheOuterOneTheNext) {
    const vokDeliveryRecord outer;
    {
        const vokDeliveryRecord inner;
        vokDeliveryRecord::note({vokDeliveryKind::refused, "inner"});
        EXPECT_EQ(inner.last().text, "inner");
        EXPECT_EQ(outer.last().text, "");
    }
    vokDeliveryRecord::note({vokDeliveryKind::refused, "outer"});
    EXPECT_EQ(outer.last().text, "outer");
}

TEST(vokDeliveryRecord, GetsNoNoteOfAnotherThread) {
    const vokDeliveryRecord record;
    std::thread([] { vokDeliveryRecord::note({vokDeliveryKind::refused, "other"}); }).join();
    EXPECT_EQ(record.last().kind, vokDeliveryKind::unknown);
}

}  // namespace
}  // namespace vokDeliveryTest
