#include "nic/NICEventMonitor.h"

#include <gtest/gtest.h>

#include "support/FakeHost.h"
#include "support/FakeThreads.h"
#include "support/LoggedLines.h"

namespace NICEventMonitorTest {
namespace {

TEST(EthernetEventMonitor, StartsAndStopsWithItsLines) {
    const FakeHost host;
    logEverything(host);
    NICEventMonitor monitor;
    monitor.startMonitoring();
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_EVENT: Creating a producer thread"));
    monitor.startMonitoring();
    EXPECT_EQ(countLogged(host, "DEBUG NIC_EVENT: Creating a producer thread"), 1) << "it runs already";
    monitor.stopMonitoring();
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_EVENT: Stopping the producer thread"));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_EVENT: Signalled for stop."));
    monitor.startMonitoring();
    EXPECT_EQ(countLogged(host, "DEBUG NIC_EVENT: Creating a producer thread"), 2);
}

TEST(EthernetEventMonitor, AThreadThatCannotBeCreatedIsLoggedAndTheNextStartTriesAgain) {
    const FakeHost host;
    auto& threads = host.part<FakeThreads>();
    logEverything(host);
    threads.failNextStarts(1);
    NICEventMonitor monitor;
    monitor.startMonitoring();
    EXPECT_TRUE(hasLogged(
        host, "ERROR NIC_EVENT: Unable to create the producer thread: Resource temporarily unavailable"));
    monitor.stopMonitoring();
    EXPECT_TRUE(threads.joined().empty());
    monitor.startMonitoring();
    EXPECT_EQ(threads.started(), 1);
    monitor.stopMonitoring();
    EXPECT_EQ(threads.joined().size(), 1U);
}

TEST(EthernetEventMonitor, AStopWithoutAStartReturns) {
    const FakeHost host;
    NICEventMonitor monitor;
    monitor.stopMonitoring();
}

}  // namespace
}  // namespace NICEventMonitorTest
