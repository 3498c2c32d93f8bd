#include "storage/vokRemoveLock.h"

#include <gtest/gtest.h>
#include <atomic>
#include <thread>
#include <vector>

namespace vokRemoveLockTest {
namespace {

class Device : public vokRemoveLock {
public:
    explicit Device(std::atomic<int>& deletions) : deletions_(deletions) {}

protected:
    ~Device() override { ++deletions_; }

private:
    std::atomic<int>& deletions_;
};

class RemoveLock : public testing::Test {
protected:
    std::atomic<int> deletions{0};
    Device* device = new Device(deletions);
};

TEST_F(RemoveLock, ANewObjectIsNotRemovedAndHasOneReference) {
    EXPECT_FALSE(device->isRemoved());
    device->dropReference();
    EXPECT_EQ(deletions, 1);
}

TEST_F(RemoveLock, TheLastReferenceDeletes) {
    device->addReference();
    device->addReference();
    device->dropReference();
    device->dropReference();
    EXPECT_EQ(deletions, 0);
    device->dropReference();
    EXPECT_EQ(deletions, 1);
}

TEST_F(RemoveLock, ARemovedObjectLivesAsLongAsItIsHeld) {
    device->addReference();
    device->setRemoved();
    device->dropReference();
    EXPECT_EQ(deletions, 0);
    EXPECT_TRUE(device->isRemoved());
    device->dropReference();
    EXPECT_EQ(deletions, 1);
}

TEST_F(RemoveLock, AWeakReferenceFindsTheObjectAndAddsAReference) {
    const vokWeakReference weak(*device);
    EXPECT_EQ(weak.hold(), device);
    device->dropReference();
    EXPECT_EQ(deletions, 0);
    device->dropReference();
    EXPECT_EQ(deletions, 1);
}

TEST_F(RemoveLock, AWeakReferenceDoesNotKeepTheObject) {
    const vokWeakReference weak(*device);
    device->dropReference();
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(weak.hold(), nullptr);
}

TEST_F(RemoveLock, AWeakReferenceFindsARemovedObject) {
    const vokWeakReference weak(*device);
    device->setRemoved();
    EXPECT_EQ(weak.hold(), device);
    device->dropReference();
    device->dropReference();
}

// --- threads ---

TEST_F(RemoveLock, ThreadsThatHoldItDropTheirReferencesInAnyOrder) {
    constexpr int threadCount = 4;
    constexpr int rounds = 2000;
    for (int i = 0; i < threadCount; ++i) device->addReference();
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([this] {
            for (int round = 0; round < rounds; ++round) {
                device->addReference();
                device->dropReference();
            }
            device->dropReference();
        });
    device->setRemoved();
    device->dropReference();
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(deletions, 1);
}

TEST_F(RemoveLock, AnObjectThatIsFoundWhileItsLastReferenceIsDroppedIsEitherWholeOrGone) {
    device->dropReference();
    constexpr int rounds = 50;
    for (int round = 0; round < rounds; ++round) {
        auto* const shortLived = new Device(deletions);
        const vokWeakReference weak(*shortLived);
        std::atomic<bool> started{false};
        std::thread holder([&] {
            while (vokRemoveLock* const held = weak.hold()) {
                EXPECT_FALSE(held->isRemoved());
                held->dropReference();
                started = true;
            }
        });
        while (!started) std::this_thread::yield();  // it has been found
        shortLived->dropReference();
        holder.join();
        ASSERT_EQ(deletions, round + 2);
    }
}

}  // namespace
}  // namespace vokRemoveLockTest
