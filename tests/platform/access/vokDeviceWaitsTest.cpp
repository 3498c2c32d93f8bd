// Pipes instead of devices, with limits of some milliseconds.
#include "platform/access/vokDeviceWaits.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/access/vokOwnedDescriptor.h"

namespace vokDeviceWaitsTest {
namespace {

constexpr int anHour = 3600000;

class DeviceWaits : public testing::Test {
protected:
    DeviceWaits() {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        device.reset(ends[0]);
        driver.reset(ends[1]);
    }
    void answer() const { EXPECT_EQ(::write(driver.get(), "x", 1), 1); }

    vokStopRequest stop;
    vokOwnedDescriptor device;
    vokOwnedDescriptor driver;
};

TEST_F(DeviceWaits, EndWithTheAnswer) {
    vokDeviceWaits waits(stop);
    std::thread answering([this] { answer(); });
    EXPECT_EQ(waits.wait(device.get()), 1);
    answering.join();
}

TEST_F(DeviceWaits, EndWithTheAnswerAtADescriptorBeyondTheSizeOfASelectSet) {
    const vokOwnedDescriptor high(::fcntl(device.get(), F_DUPFD_CLOEXEC, 1024 + 5));
    if (!high) GTEST_SKIP() << "the limit on descriptors is lower";
    vokDeviceWaits waits(stop, {20, 0});
    answer();
    EXPECT_EQ(waits.wait(high.get()), 1);
    char byte = 0;
    ASSERT_EQ(::read(device.get(), &byte, 1), 1);
    std::thread stopping([this] { stop.make(); });
    EXPECT_EQ(waits.wait(high.get()), -1);
    EXPECT_EQ(errno, ECANCELED);
    stopping.join();
}

TEST_F(DeviceWaits, WithoutADescriptorFail) {
    vokDeviceWaits waits(stop);
    EXPECT_EQ(waits.wait(-1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(DeviceWaits, HaveALimitAfterTheRequestToStop) {
    vokDeviceWaits waits(stop, {20, 0});
    std::thread stopping([this] { stop.make(); });
    errno = 0;
    EXPECT_EQ(waits.wait(device.get()), -1);
    EXPECT_EQ(errno, ECANCELED);
    stopping.join();
}

TEST_F(DeviceWaits, EndWithAnAnswerAfterTheRequestToStop) {
    vokDeviceWaits waits(stop, {anHour, 0});
    std::thread stopping([this] {
        stop.make();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        answer();
    });
    EXPECT_EQ(waits.wait(device.get()), 1);
    stopping.join();
}

TEST_F(DeviceWaits, AfterTheLimitEachHasATimeOfItsOwnForADeviceThatAnswers) {
    vokDeviceWaits waits(stop, {0, anHour});
    stop.make();
    for (int chunk = 0; chunk < 3; ++chunk) {
        std::thread answering([this] { answer(); });
        EXPECT_EQ(waits.wait(device.get()), 1);
        answering.join();
        char byte = 0;
        EXPECT_EQ(::read(device.get(), &byte, 1), 1);
    }
}

TEST_F(DeviceWaits, AfterOneThatReachedTheLimitNoneWaits) {
    vokDeviceWaits waits(stop, {0, 10});
    stop.make();
    EXPECT_EQ(waits.wait(device.get()), -1);
    const auto before = std::chrono::steady_clock::now();
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(waits.wait(device.get()), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(9))
        << "1000 times 10 ms are 10 s";
    answer();
    EXPECT_EQ(waits.wait(device.get()), 1) << "what has been answered is still received";
}

}  // namespace
}  // namespace vokDeviceWaitsTest
