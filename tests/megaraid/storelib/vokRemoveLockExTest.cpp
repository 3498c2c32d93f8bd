#include "megaraid/storelib/vokRemoveLockEx.h"

#include <gtest/gtest.h>
#include <atomic>
#include <optional>
#include <thread>
#include <vector>

namespace vokRemoveLockExTest {
namespace {

// Time enough for another thread to do what it must not do yet.
void giveWay() {
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
}

// A thread that closes a lock.
class Closer {
public:
    explicit Closer(vokRemoveLockEx& lock)
        : thread_([this, &lock] {
              lock.close();
              isDone_ = true;
          }) {
        while (!lock.isClosed()) std::this_thread::yield();
        giveWay();
    }
    bool isDone() const { return isDone_; }
    void join() { thread_.join(); }

private:
    std::atomic<bool> isDone_{false};
    std::thread thread_;
};

TEST(RemoveLock, IsOpenAtFirst) {
    vokRemoveLockEx lock;
    EXPECT_FALSE(lock.isClosed());
    const vokRemoveLockEx::Entry one(lock);
    const vokRemoveLockEx::Entry another(lock);
    EXPECT_TRUE(one.isOpen());
    EXPECT_TRUE(another.isOpen());
}

TEST(RemoveLock, WithoutACallbackItClosesAtOnceAndForGood) {
    vokRemoveLockEx lock;
    { const vokRemoveLockEx::Entry before(lock); }
    lock.close();
    EXPECT_TRUE(lock.isClosed());
    EXPECT_FALSE(vokRemoveLockEx::Entry(lock).isOpen());
    EXPECT_FALSE(vokRemoveLockEx::Entry(lock).isOpen());
}

TEST(RemoveLock, ClosingWaitsForEachCallbackInProgress) {
    vokRemoveLockEx lock;
    std::optional<vokRemoveLockEx::Entry> one(lock);
    std::optional<vokRemoveLockEx::Entry> another(lock);
    Closer closer(lock);
    EXPECT_FALSE(closer.isDone());
    one.reset();
    giveWay();
    EXPECT_FALSE(closer.isDone());
    another.reset();
    closer.join();
    EXPECT_TRUE(closer.isDone());
}

TEST(RemoveLock, ACallbackStaysOpenUntilItLeaves) {
    vokRemoveLockEx lock;
    std::optional<vokRemoveLockEx::Entry> callback(lock);
    Closer closer(lock);
    EXPECT_TRUE(callback->isOpen());
    callback.reset();
    closer.join();
}

TEST(RemoveLock, ARefusedCallbackDoesNotEndTheWaitForAnother) {
    vokRemoveLockEx lock;
    std::optional<vokRemoveLockEx::Entry> callback(lock);
    Closer closer(lock);
    EXPECT_FALSE(vokRemoveLockEx::Entry(lock).isOpen());
    giveWay();
    EXPECT_FALSE(closer.isDone());
    callback.reset();
    closer.join();
}

TEST(RemoveLock, ASecondCloseDoesNotWait) {
    vokRemoveLockEx lock;
    std::optional<vokRemoveLockEx::Entry> callback(lock);
    Closer closer(lock);
    lock.close();
    EXPECT_FALSE(closer.isDone());
    callback.reset();
    closer.join();
    lock.close();
}

// What an open callback writes is read without a lock once the lock is closed.
TEST(RemoveLock, NoCallbackWorksAfterItWasClosed) {
    constexpr int rounds = 20;
    constexpr std::size_t callers = 4;
    constexpr int mostCalls = 2000;
    for (int round = 0; round < rounds; ++round) {
        vokRemoveLockEx lock;
        std::vector<int> written(callers, 0);
        std::atomic<int> begun{0};
        std::vector<std::thread> threads;
        for (std::size_t caller = 0; caller < callers; ++caller)
            threads.emplace_back([&, caller] {
                for (int call = 0; call < mostCalls; ++call) {
                    const vokRemoveLockEx::Entry entry(lock);
                    ++begun;
                    if (entry.isOpen()) ++written[caller];
                }
            });
        while (begun < round * 10) std::this_thread::yield();
        lock.close();
        const std::vector<int> atTheEnd = written;
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(written, atTheEnd);
    }
}

}  // namespace
}  // namespace vokRemoveLockExTest
