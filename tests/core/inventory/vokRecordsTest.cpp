// The comparison of a build's records with those of the previous build.
#include "core/inventory/vokRecords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>

namespace vokRecordsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Port {
    std::string name;
    int state;
};

const std::string& nameOf(const Port& port) {
    return port.name;
}

class RecordHistory : public testing::Test {
protected:
    // Each change as "name before...>now".
    std::vector<std::string> changes() const {
        return ports.compare(nameOf, [](const Port& port, const std::vector<const Port*>& previous) {
            std::string before;
            bool changed = false;
            for (const Port* const each : previous) {
                before += std::to_string(each->state);
                changed = changed || each->state != port.state;
            }
            return changed ? std::optional(port.name + before + ">" + std::to_string(port.state))
                           : std::nullopt;
        });
    }
    void build(std::vector<Port> found) {
        for (vokRecordStore* const store : stores) store->keep();
        for (vokRecordStore* const store : stores) store->clear();
        ports.current = std::move(found);
    }

    std::vector<vokRecordStore*> stores;
    vokRecordHistory<Port> ports{stores};
};

TEST_F(RecordHistory, AFirstBuildHasNoChanges) {
    build({{"a", 1}, {"b", 2}});
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(RecordHistory, ChangesComeInTheOrderOfTheCurrentRecordsWhateverThePreviousOrder) {
    build({{"a", 1}, {"b", 2}, {"c", 3}});
    build({{"c", 4}, {"b", 2}, {"a", 5}});
    EXPECT_THAT(changes(), ElementsAre("c3>4", "a1>5"));
}

TEST_F(RecordHistory, AnAddedOrRemovedRecordIsNotAChange) {
    build({{"a", 1}, {"b", 2}});
    build({{"b", 2}, {"c", 3}});
    EXPECT_THAT(changes(), IsEmpty());
    build({{"a", 9}, {"c", 3}});
    EXPECT_THAT(changes(), IsEmpty()) << "a is missing from the previous build";
}

TEST_F(RecordHistory, PreviousRecordsWithTheSameKeyAreComparedTogetherInTheirOrder) {
    build({{"a", 1}, {"b", 7}, {"a", 2}});
    build({{"a", 2}, {"b", 7}});
    EXPECT_THAT(changes(), ElementsAre("a12>2"));
}

TEST_F(RecordHistory, EachCurrentRecordWithTheSameKeyIsCompared) {
    build({{"a", 1}});
    build({{"a", 2}, {"a", 1}, {"a", 3}});
    EXPECT_THAT(changes(), ElementsAre("a1>2", "a1>3"));
}

TEST_F(RecordHistory, ReturnsThePreviousRecordsOfAKeyWhileABuildIsStillGathering) {
    build({{"a", 1}, {"b", 2}, {"a", 3}});
    build({});
    const auto previous = ports.previousOf(Port{"a", 0}, nameOf);
    ASSERT_EQ(previous.size(), 2u);
    EXPECT_EQ(previous[0]->state, 1);
    EXPECT_EQ(previous[1]->state, 3);
    EXPECT_THAT(ports.previousOf(Port{"c", 0}, nameOf), IsEmpty());
}

TEST_F(RecordHistory, AnEventNeedNotBeCopied) {
    build({{"a", 1}});
    build({{"a", 2}});
    const auto events = ports.compare(nameOf, [](const Port& port, const std::vector<const Port*>&) {
        return std::optional(std::make_unique<int>(port.state));
    });
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(*events[0], 2);
}

TEST(Records, AreClearedAndCountedButNotKept) {
    std::vector<vokRecordStore*> stores;
    vokRecords<int> numbers(stores);
    vokRecordHistory<int> history(stores);
    ASSERT_THAT(stores, ElementsAre(&numbers, &history));
    numbers.current = {1, 2};
    history.current = {3};
    EXPECT_EQ(stores[0]->size(), 2u);
    EXPECT_EQ(stores[1]->size(), 1u);
    for (vokRecordStore* const store : stores) store->keep();
    for (vokRecordStore* const store : stores) store->clear();
    EXPECT_THAT(numbers.current, IsEmpty());
    EXPECT_THAT(history.current, IsEmpty());
    EXPECT_THAT(history.previous, ElementsAre(3));
}

}  // namespace
}  // namespace vokRecordsTest
