#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <sys/socket.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/utils/vokUtils.h"
#include "support/FakeHostAccess.h"
#include "support/LoggedLines.h"

namespace vokUtilsNetworkTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

}  // namespace

TEST(IPAddresses, AreTheIPv4AddressesInInterfaceOrder) {
    auto& host = useFakeHost();
    host.interfaces = {{"lo", "127.0.0.1"}, {"vmk1", "192.168.7.9"}, {"vmk0", "10.1.2.3"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("192.168.7.9", "10.1.2.3"));
}

TEST(IPAddresses, AnAliasIsAnInterfaceOfItsOwn) {
    auto& host = useFakeHost();
    host.interfaces = {{"vmk0", "10.1.2.3"}, {"vmk0:1", "10.1.2.4"}, {"vmk0", "10.1.2.5"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("10.1.2.3", "10.1.2.4", "10.1.2.5"));
}

TEST(IPAddresses, TheLoopbackIsLeftOutByItsNameOrByItsAddress) {
    auto& host = useFakeHost();
    host.interfaces = {{"lo", "10.9.9.9"}, {"vmk0", "127.0.0.1"}, {"lo0", "127.0.0.2"}, {"lo:1", "10.1.2.3"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("127.0.0.2", "10.1.2.3"));
}

TEST(IPAddresses, EntriesWithoutAnAddressOrOfAnotherFamilyArePassedOver) {
    auto& host = useFakeHost();
    host.interfaces = {{"vmk0", ""}, {"vmk0", "fe80::1"}, {"vmk1", "10.1.2.3"}, {"vmk1", "::1"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("10.1.2.3"));
}

TEST(IPAddresses, EachIPv4AddressIsLoggedWithItsNewlineTheLoopbackToo) {
    auto& host = useFakeHost();
    logEverything(host);
    host.interfaces = {{"lo", "127.0.0.1"}, {"vmk0", "fe80::1"}, {"vmk0", "10.1.2.3"}};
    vokUtils::getIPAddresses();
    EXPECT_THAT(loggedLines(host), ElementsAre("DEBUG VOK_UTILS: lo IP Address 127.0.0.1\n",
                                               "DEBUG VOK_UTILS: vmk0 IP Address 10.1.2.3\n"));
}

TEST(IPAddresses, TheLongestAddressFits) {
    auto& host = useFakeHost();
    host.interfaces = {{"vmk0", "255.255.255.255"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("255.255.255.255"));
}

TEST(IPAddresses, AListThatCanNotBeReadIsAnEmptyListAndAWarning) {
    auto& host = useFakeHost();
    logEverything(host);
    host.interfaceAddressesFail = true;
    EXPECT_THAT(vokUtils::getIPAddresses(), IsEmpty());
    EXPECT_THAT(loggedLines(host), ElementsAre("WARNING VOK_UTILS: Error(Too many open files) occurred while "
                                               "reading the network interfaces"));
}

TEST(PrimaryIPAddress, IsTheFirstAddressOfTheInterfacesWhenNoneWasSet) {
    auto& host = useFakeHost();
    logEverything(host);
    host.interfaces = {{"vmk0", "10.1.2.3"}, {"vmk1", "10.1.2.4"}};
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
    EXPECT_THAT(
        loggedLines(host),
        ElementsAre("DEBUG VOK_UTILS: Get aux IPv4 address populated",
                    "DEBUG VOK_UTILS: vmk0 IP Address 10.1.2.3\n",
                    "DEBUG VOK_UTILS: vmk1 IP Address 10.1.2.4\n",
                    "DEBUG VOK_UTILS: primaryIPv4Address= 10.1.2.3 auxIPv4Address=10.1.2.3 tempIP=10.1.2.3"));
}

TEST(PrimaryIPAddress, IsTheLoopbackWhenThereIsNoOther) {
    auto& host = useFakeHost();
    host.interfaces = {{"lo", "127.0.0.1"}};
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "127.0.0.1");
}

TEST(PrimaryIPAddress, IsReturnedWithoutALookOnceItIsThere) {
    auto& host = useFakeHost();
    logEverything(host);
    vokUtils::getPrimaryIPAddress();
    const auto before = loggedLines(host).size();
    host.interfaces = {{"vmk0", "10.7.7.7"}};
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
    EXPECT_EQ(loggedLines(host).size(), before);
}

TEST(PrimaryIPAddress, IsTheAuxiliaryAddressWhenThatIsKnownAlready) {
    auto& host = useFakeHost();
    logEverything(host);
    host.interfaces = {{"vmk0", "10.1.2.3"}};
    vokUtils::getIPAddresses();
    host.interfaces = {{"vmk0", "10.7.7.7"}};
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: Get aux IPv4 address populated"));
}

TEST(PrimaryIPAddress, FollowsTheInterfacesAtEachRefresh) {
    auto& host = useFakeHost();
    host.interfaces = {{"vmk0", "10.1.2.3"}};
    EXPECT_THAT(vokUtils::updateAndFetchIPAddresses(), ElementsAre("10.1.2.3"));
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
    host.interfaces = {{"vmk1", "10.5.5.5"}, {"vmk0", "10.1.2.3"}};  // one appears in front
    EXPECT_THAT(vokUtils::updateAndFetchIPAddresses(), ElementsAre("10.5.5.5", "10.1.2.3"));
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.5.5.5");
    host.interfaces = {{"vmk0", "10.1.2.3"}};  // and goes again
    vokUtils::updateAndFetchIPAddresses();
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
}

TEST(PrimaryIPAddress, IsTheLoopbackAfterARefreshThatFindsNothing) {
    auto& host = useFakeHost();
    host.interfaces = {{"vmk0", "10.1.2.3"}};
    vokUtils::updateAndFetchIPAddresses();
    host.interfaces = {};
    EXPECT_THAT(vokUtils::updateAndFetchIPAddresses(), IsEmpty());
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "127.0.0.1");
    host.interfaces = {{"lo", "127.0.0.1"}};
    EXPECT_THAT(vokUtils::updateAndFetchIPAddresses(), IsEmpty());
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "127.0.0.1");
    host.interfaces = {{"vmk0", "10.1.2.3"}};
    vokUtils::updateAndFetchIPAddresses();
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
}

TEST(PrimaryIPAddress, IsTheFirstOfTheListThatIsSet) {
    useFakeHost();
    EXPECT_EQ(vokUtils::setPrimaryIPAddress({"10.8.8.8", "10.9.9.9"}), 1);
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.8.8.8");
    EXPECT_EQ(vokUtils::setPrimaryIPAddress({}), 1);
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "127.0.0.1");
}

namespace {

// With an empty primary address the auxiliary one is asked for.
std::string auxiliaryAddress() {
    vokUtils::setPrimaryIPAddress({""});
    return vokUtils::getPrimaryIPAddress();
}

}  // namespace

TEST(AuxiliaryIPAddress, StaysWhileSomeInterfaceHasItAlthoughThePrimaryMoves) {
    auto& host = useFakeHost();
    host.interfaces = {{"vmk0", "10.1.2.3"}, {"vmk1", "10.1.2.4"}};
    vokUtils::updateAndFetchIPAddresses();
    host.interfaces = {{"vmk0", "10.5.5.5"}, {"vmk1", "10.1.2.3"}};
    vokUtils::updateAndFetchIPAddresses();
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.5.5.5");
    EXPECT_EQ(auxiliaryAddress(), "10.1.2.3");
}

TEST(AuxiliaryIPAddress, IsTheFirstOfTheListWhenItsInterfaceHasGone) {
    auto& host = useFakeHost();
    host.interfaces = {{"vmk0", "10.1.2.3"}, {"vmk1", "10.1.2.4"}};
    vokUtils::getIPAddresses();
    host.interfaces = {{"vmk2", "10.6.6.6"}, {"vmk1", "10.1.2.4"}};
    vokUtils::getIPAddresses();
    EXPECT_EQ(auxiliaryAddress(), "10.6.6.6");
}

TEST(AuxiliaryIPAddress, IsTheLoopbackWithoutInterfacesAndLeavesItAtOnce) {
    auto& host = useFakeHost();
    host.interfaces = {{"lo", "127.0.0.1"}};
    EXPECT_THAT(vokUtils::getIPAddresses(), IsEmpty());
    EXPECT_EQ(auxiliaryAddress(), "127.0.0.1");
    host.interfaces = {{"lo", "127.0.0.1"}, {"vmk0", "10.1.2.3"}};
    vokUtils::getIPAddresses();
    EXPECT_EQ(auxiliaryAddress(), "10.1.2.3");
}

namespace {

class AskingInterfaces : public FakeHostAccess {
public:
    int interfaceAddresses(struct ifaddrs** addresses) override {
        vokUtils::setPrimaryIPAddress({"10.4.4.4"});  // waits for ever when the lock is held
        return FakeHostAccess::interfaceAddresses(addresses);
    }
};

}  // namespace

TEST(IPAddresses, NoLockIsHeldWhileTheInterfacesAreRead) {
    vokSetHostAccess(std::make_unique<AskingInterfaces>());
    EXPECT_THAT(vokUtils::getIPAddresses(), ElementsAre("10.1.2.3"));
    vokUtils::setPrimaryIPAddress({""});
    EXPECT_EQ(vokUtils::getPrimaryIPAddress(), "10.1.2.3");
}

namespace {

// The entry of the link itself, as every interface has one.
class LinkAddresses : public FakeHostAccess {
public:
    int interfaceAddresses(struct ifaddrs** addresses) override {
        entry_.ifa_name = name_;
        entry_.ifa_addr = reinterpret_cast<sockaddr*>(&address_);
        address_.sll_family = AF_PACKET;
        address_.sll_ifindex = 0x01020304;
        *addresses = &entry_;
        return 0;
    }
    void freeInterfaceAddresses(struct ifaddrs*) override {}

private:
    char name_[5] = "vmk0";
    ifaddrs entry_{};
    sockaddr_ll address_{};
};

}  // namespace

TEST(IPAddresses, TheAddressOfTheLinkIsNone) {
    vokSetHostAccess(std::make_unique<LinkAddresses>());
    EXPECT_THAT(vokUtils::getIPAddresses(), IsEmpty());
}

TEST(IPAddresses, ManyThreadsMayRefreshAndAskAtOnce) {
    useFakeHost();
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

TEST(IsIPv4Address, TakesFourDecimalNumbers) {
    for (const char* address : {"10.1.2.3", "127.0.0.1", "255.255.255.255", "0.0.0.1"})
        EXPECT_TRUE(vokUtils::is_ipv4_address(address)) << address;
    for (const char* other : {"", "10.1.2", "10.1.2.256", "10.1.2.3 ", " 10.1.2.3", "10.1.2.3.4", "host",
                              "fe80::1", "0x0a.1.2.3", "10.1.2.-3"})
        EXPECT_FALSE(vokUtils::is_ipv4_address(other)) << other;
}

TEST(IsIPv4Address, TheAddressOfNobodyIsNone) {
    EXPECT_FALSE(vokUtils::is_ipv4_address("0.0.0.0"));
}

}  // namespace vokUtilsNetworkTest
