#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <sys/socket.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/utils/vokUtils.h"
#include "support/FakeHost.h"
#include "support/FakeNetwork.h"
#include "support/LoggedLines.h"

namespace vokUtilsNetworkTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

}  // namespace

TEST(IPAddresses, AreTheIPv4AddressesInInterfaceOrder) {
    const FakeHost host;
    host.part<FakeNetwork>().interfaces = {
        {"lo", "127.0.0.1"}, {"vmk1", "192.168.7.9"}, {"vmk0", "10.1.2.3"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("192.168.7.9", "10.1.2.3"));
}

TEST(IPAddresses, AnAliasIsASeparateInterface) {
    const FakeHost host;
    host.part<FakeNetwork>().interfaces = {
        {"vmk0", "10.1.2.3"}, {"vmk0:1", "10.1.2.4"}, {"vmk0", "10.1.2.5"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("10.1.2.3", "10.1.2.4", "10.1.2.5"));
}

TEST(IPAddresses, TheLoopbackIsLeftOutByItsNameOrByItsAddress) {
    const FakeHost host;
    host.part<FakeNetwork>().interfaces = {
        {"lo", "10.9.9.9"}, {"vmk0", "127.0.0.1"}, {"lo0", "127.0.0.2"}, {"lo:1", "10.1.2.3"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("127.0.0.2", "10.1.2.3"));
}

TEST(IPAddresses, EntriesWithoutAnAddressOrOfAnotherFamilyAreSkipped) {
    const FakeHost host;
    host.part<FakeNetwork>().interfaces = {
        {"vmk0", ""}, {"vmk0", "fe80::1"}, {"vmk1", "10.1.2.3"}, {"vmk1", "::1"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("10.1.2.3"));
}

TEST(IPAddresses, EachIPv4AddressIncludingTheLoopbackIsLoggedWithANewline) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeNetwork>().interfaces = {{"lo", "127.0.0.1"}, {"vmk0", "fe80::1"}, {"vmk0", "10.1.2.3"}};
    vokUtils::getIPAddresses();
    EXPECT_THAT(loggedLines(host), ElementsAre("DEBUG VOK_UTILS: lo IP Address 127.0.0.1\n",
                                               "DEBUG VOK_UTILS: vmk0 IP Address 10.1.2.3\n"));
}

TEST(IPAddresses, TheLongestAddressFits) {
    const FakeHost host;
    host.part<FakeNetwork>().interfaces = {{"vmk0", "255.255.255.255"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("255.255.255.255"));
}

TEST(IPAddresses, AListThatCanNotBeReadIsAnEmptyListAndAWarning) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeNetwork>().fails = true;
    EXPECT_THAT(vokUtils::getIPAddresses(), IsEmpty());
    EXPECT_THAT(loggedLines(host), ElementsAre("WARNING VOK_UTILS: Error(Too many open files) occurred while "
                                               "reading the network interfaces"));
}

TEST(PrimaryIPAddress, IsTheFirstAddressOfTheInterfacesIfNoneWasSet) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeNetwork>().interfaces = {{"vmk0", "10.1.2.3"}, {"vmk1", "10.1.2.4"}};
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
    EXPECT_THAT(
        loggedLines(host),
        ElementsAre("DEBUG VOK_UTILS: Get aux IPv4 address populated",
                    "DEBUG VOK_UTILS: vmk0 IP Address 10.1.2.3\n",
                    "DEBUG VOK_UTILS: vmk1 IP Address 10.1.2.4\n",
                    "DEBUG VOK_UTILS: primaryIPv4Address= 10.1.2.3 auxIPv4Address=10.1.2.3 tempIP=10.1.2.3"));
}

TEST(PrimaryIPAddress, IsTheLoopbackIfThereIsNoOther) {
    const FakeHost host;
    host.part<FakeNetwork>().interfaces = {{"lo", "127.0.0.1"}};
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "127.0.0.1");
}

TEST(PrimaryIPAddress, IsReturnedWithoutALookUpOnceItIsSet) {
    const FakeHost host;
    logEverything(host);
    vokUtils::getPrimaryIPAddress();
    const auto before = loggedLines(host).size();
    host.part<FakeNetwork>().interfaces = {{"vmk0", "10.7.7.7"}};
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
    EXPECT_EQ(loggedLines(host).size(), before);
}

TEST(PrimaryIPAddress, IsTheAuxiliaryAddressIfThatIsAlreadyKnown) {
    const FakeHost host;
    auto& network = host.part<FakeNetwork>();
    logEverything(host);
    network.interfaces = {{"vmk0", "10.1.2.3"}};
    vokUtils::getIPAddresses();
    network.interfaces = {{"vmk0", "10.7.7.7"}};
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: Get aux IPv4 address populated"));
}

TEST(PrimaryIPAddress, FollowsTheInterfacesAtEachRefresh) {
    const FakeHost host;
    auto& network = host.part<FakeNetwork>();
    network.interfaces = {{"vmk0", "10.1.2.3"}};
    EXPECT_THAT(vokUtils::updateAndFetchIPAddresses(), ElementsAre("10.1.2.3"));
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
    network.interfaces = {{"vmk1", "10.5.5.5"}, {"vmk0", "10.1.2.3"}};  // one appears in front
    EXPECT_THAT(vokUtils::updateAndFetchIPAddresses(), ElementsAre("10.5.5.5", "10.1.2.3"));
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.5.5.5");
    network.interfaces = {{"vmk0", "10.1.2.3"}};  // and disappears again
    vokUtils::updateAndFetchIPAddresses();
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
}

TEST(PrimaryIPAddress, IsTheLoopbackAfterARefreshThatFindsNothing) {
    const FakeHost host;
    auto& network = host.part<FakeNetwork>();
    network.interfaces = {{"vmk0", "10.1.2.3"}};
    vokUtils::updateAndFetchIPAddresses();
    network.interfaces = {};
    EXPECT_THAT(vokUtils::updateAndFetchIPAddresses(), IsEmpty());
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "127.0.0.1");
    network.interfaces = {{"lo", "127.0.0.1"}};
    EXPECT_THAT(vokUtils::updateAndFetchIPAddresses(), IsEmpty());
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "127.0.0.1");
    network.interfaces = {{"vmk0", "10.1.2.3"}};
    vokUtils::updateAndFetchIPAddresses();
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
}

TEST(PrimaryIPAddress, IsTheFirstOfTheListThatIsSet) {
    const FakeHost host;
    EXPECT_EQ(vokUtils::setPrimaryIPAddress({"10.8.8.8", "10.9.9.9"}), 1);
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.8.8.8");
    EXPECT_EQ(vokUtils::setPrimaryIPAddress({}), 1);
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "127.0.0.1");
}

namespace {

// An empty primary address is replaced by the auxiliary one.
std::string auxiliaryAddress() {
    vokUtils::setPrimaryIPAddress({""});
    return vokUtils::getPrimaryIPAddress();
}

}  // namespace

TEST(AuxiliaryIPAddress, StaysWhileAnInterfaceHasItEvenIfThePrimaryChanges) {
    const FakeHost host;
    auto& network = host.part<FakeNetwork>();
    network.interfaces = {{"vmk0", "10.1.2.3"}, {"vmk1", "10.1.2.4"}};
    vokUtils::updateAndFetchIPAddresses();
    network.interfaces = {{"vmk0", "10.5.5.5"}, {"vmk1", "10.1.2.3"}};
    vokUtils::updateAndFetchIPAddresses();
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.5.5.5");
    EXPECT_EQ(auxiliaryAddress(), "10.1.2.3");
}

TEST(AuxiliaryIPAddress, IsTheFirstOfTheListAfterItsInterfaceDisappears) {
    const FakeHost host;
    auto& network = host.part<FakeNetwork>();
    network.interfaces = {{"vmk0", "10.1.2.3"}, {"vmk1", "10.1.2.4"}};
    vokUtils::getIPAddresses();
    network.interfaces = {{"vmk2", "10.6.6.6"}, {"vmk1", "10.1.2.4"}};
    vokUtils::getIPAddresses();
    EXPECT_EQ(auxiliaryAddress(), "10.6.6.6");
}

TEST(AuxiliaryIPAddress, IsTheLoopbackOnlyAsLongAsThereAreNoInterfaces) {
    const FakeHost host;
    auto& network = host.part<FakeNetwork>();
    network.interfaces = {{"lo", "127.0.0.1"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), IsEmpty());
    EXPECT_EQ(auxiliaryAddress(), "127.0.0.1");
    network.interfaces = {{"lo", "127.0.0.1"}, {"vmk0", "10.1.2.3"}};
    vokUtils::getIPAddresses();
    EXPECT_EQ(auxiliaryAddress(), "10.1.2.3");
}

namespace {

class ReentrantNetwork : public FakeNetwork {
public:
    int addresses(ifaddrs** list) override {
        vokUtils::setPrimaryIPAddress({"10.4.4.4"});  // deadlocks if the lock is held
        return FakeNetwork::addresses(list);
    }
};

}  // namespace

TEST(IPAddresses, NoLockIsHeldWhileTheInterfacesAreRead) {
    const FakeHost host;
    host.add<ReentrantNetwork>();
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("10.1.2.3"));
    vokUtils::setPrimaryIPAddress({""});
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
}

namespace {

// The entry of the link layer, which every interface has.
class LinkAddresses : public FakeNetwork {
public:
    int addresses(ifaddrs** list) override {
        entry_.ifa_name = name_;
        entry_.ifa_addr = reinterpret_cast<sockaddr*>(&address_);
        address_.sll_family = AF_PACKET;
        address_.sll_ifindex = 0x01020304;
        *list = &entry_;
        return 0;
    }
    void freeAddresses(ifaddrs*) override {}

private:
    char name_[5] = "vmk0";
    ifaddrs entry_{};
    sockaddr_ll address_{};
};

}  // namespace

TEST(IPAddresses, ALinkLayerAddressIsSkipped) {
    const FakeHost host;
    host.add<LinkAddresses>();
    EXPECT_THAT(vokUtils::getIPAddresses(), IsEmpty());
}

TEST(IPAddresses, ManyThreadsMayRefreshAndReadAtOnce) {
    const FakeHost host;
    std::vector<std::thread> threads;
    std::vector<std::string> answers(8);
    for (auto& answer : answers)
        threads.emplace_back([&answer] {
            for (int i = 0; i < 50; ++i) {
                vokUtils::updateAndFetchIPAddresses();
                answer = vokUtils::getPrimaryIPAddress();
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_THAT(answers, testing::Each("10.1.2.3"));
}

TEST(IsIPv4Address, AcceptsFourDecimalNumbers) {
    for (const char* address : {"10.1.2.3", "127.0.0.1", "255.255.255.255", "0.0.0.1"})
        EXPECT_TRUE(vokUtils::is_ipv4_address(address)) << address;
    for (const char* other : {"", "10.1.2", "10.1.2.256", "10.1.2.3 ", " 10.1.2.3", "10.1.2.3.4", "host",
                              "fe80::1", "0x0a.1.2.3", "10.1.2.-3"})
        EXPECT_FALSE(vokUtils::is_ipv4_address(other)) << other;
}

TEST(IsIPv4Address, TheUnspecifiedAddressIsRejected) {
    EXPECT_FALSE(vokUtils::is_ipv4_address("0.0.0.0"));
}

}  // namespace vokUtilsNetworkTest
