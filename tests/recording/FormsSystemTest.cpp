// Facts that the system tells: from its structures to text, and back.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/socket.h>
#include <cerrno>
#include <cstring>

#include "recording/FormsSystem.h"

namespace FormsSystemTest {
namespace {

using recording::Fields;

TEST(FormsSystem, ANameComesBackWhole) {
    utsname name{};
    std::strcpy(name.sysname, "VMkernel");
    std::strcpy(name.nodename, "node");
    std::strcpy(name.release, "7.0.3");
    std::strcpy(name.version, "#1");
    std::strcpy(name.machine, "x86_64");
    const Fields answer = recording::systemNameAnswer(name, 0);
    EXPECT_EQ(answer, (Fields{{"error", "0"},
                              {"system", "VMkernel"},
                              {"node", "node"},
                              {"release", "7.0.3"},
                              {"version", "#1"},
                              {"machine", "x86_64"}}));
    utsname played{};
    EXPECT_EQ(recording::playSystemName(answer, played), 0);
    EXPECT_STREQ(played.nodename, "node");
    EXPECT_STREQ(played.machine, "x86_64");
}

TEST(FormsSystem, ANameThatIsTooLongIsCut) {
    utsname played{};
    EXPECT_EQ(recording::playSystemName({{"error", "0"}, {"node", std::string(1000, 'n')}}, played), 0);
    EXPECT_EQ(std::strlen(played.nodename), sizeof(played.nodename) - 1);
}

TEST(FormsSystem, AFailureHasItsErrno) {
    EXPECT_EQ(recording::systemInformationAnswer({}, EFAULT), (Fields{{"error", "14"}}));
    struct sysinfo played {};
    errno = 0;
    EXPECT_EQ(recording::playSystemInformation({{"error", "14"}}, played), -1);
    EXPECT_EQ(errno, EFAULT);
}

TEST(FormsSystem, InformationComesBackWhole) {
    struct sysinfo information {};
    information.uptime = 1000;
    information.loads[2] = 3;
    information.totalram = 4096;
    information.freeram = 1024;
    information.procs = 9;
    information.mem_unit = 1 << 20;
    struct sysinfo played {};
    EXPECT_EQ(recording::playSystemInformation(recording::systemInformationAnswer(information, 0), played),
              0);
    EXPECT_EQ(played.uptime, 1000);
    EXPECT_EQ(played.loads[2], 3u);
    EXPECT_EQ(played.totalram, 4096u);
    EXPECT_EQ(played.freeram, 1024u);
    EXPECT_EQ(played.procs, 9);
    EXPECT_EQ(played.mem_unit, 1u << 20);
}

// 512 GiB in units of one byte, as the kernel of 64 bits tells them.
TEST(FormsSystem, SizesThatAnAbiCannotHoldAreInLargerUnits) {
    struct sysinfo played {};
    ASSERT_EQ(recording::playSystemInformation({{"error", "0"}, {"total-ram", "549755813888"}, {"unit", "1"}},
                                               played),
              0);
    EXPECT_EQ(std::uint64_t{played.totalram} * played.mem_unit, 549755813888u);
    EXPECT_EQ(played.mem_unit, sizeof(long) == 4 ? 256u : 1u);
}

// An address list of a link, an IPv4 and an IPv6 address, and an element without an address.
struct List {
    sockaddr_ll link{};
    sockaddr_in inet{};
    sockaddr_in mask{};
    sockaddr_in6 inet6{};
    char name[5] = "vmk0";
    ifaddrs elements[4] = {};

    List() {
        link.sll_family = AF_PACKET;
        link.sll_ifindex = 2;
        link.sll_hatype = 1;
        link.sll_halen = 6;
        std::memcpy(link.sll_addr, "\x02\x00\x5e\x10\x07\xff", 6);
        inet.sin_family = mask.sin_family = AF_INET;
        ::inet_pton(AF_INET, "192.0.2.7", &inet.sin_addr);
        ::inet_pton(AF_INET, "255.255.255.0", &mask.sin_addr);
        inet6.sin6_family = AF_INET6;
        inet6.sin6_scope_id = 2;
        ::inet_pton(AF_INET6, "fe80::1", &inet6.sin6_addr);
        elements[0].ifa_addr = reinterpret_cast<sockaddr*>(&link);
        elements[1].ifa_addr = reinterpret_cast<sockaddr*>(&inet);
        elements[1].ifa_netmask = reinterpret_cast<sockaddr*>(&mask);
        elements[2].ifa_addr = reinterpret_cast<sockaddr*>(&inet6);
        for (int i = 0; i < 4; ++i) {
            elements[i].ifa_name = name;
            elements[i].ifa_flags = 4163;
            elements[i].ifa_next = i < 3 ? &elements[i + 1] : nullptr;
        }
    }
};

TEST(FormsSystem, AddressesAreText) {
    const List list;
    const Fields answer = recording::interfaceAddressesAnswer(list.elements, 0);
    EXPECT_EQ(answer.at("count"), "4");
    EXPECT_EQ(answer.at("0.name"), "vmk0");
    EXPECT_EQ(answer.at("0.flags"), "4163");
    EXPECT_EQ(answer.at("0.family"), "packet");
    EXPECT_EQ(answer.at("0.address"), "02:00:5e:10:07:ff");
    EXPECT_EQ(answer.at("0.index"), "2");
    EXPECT_EQ(answer.at("0.type"), "1");
    EXPECT_EQ(answer.at("1.address"), "192.0.2.7");
    EXPECT_EQ(answer.at("1.mask"), "255.255.255.0");
    EXPECT_EQ(answer.at("2.family"), "inet6");
    EXPECT_EQ(answer.at("2.address"), "fe80::1");
    EXPECT_EQ(answer.at("2.scope"), "2");
    EXPECT_EQ(answer.count("3.family"), 0u);
}

TEST(FormsSystem, AddressesComeBackAsAList) {
    const List list;
    const Fields answer = recording::interfaceAddressesAnswer(list.elements, 0);
    ifaddrs* played = nullptr;
    ASSERT_EQ(recording::playInterfaceAddresses(answer, played), 0);
    EXPECT_EQ(recording::interfaceAddressesAnswer(played, 0), answer);
    ASSERT_NE(played, nullptr);
    EXPECT_EQ(std::memcmp(played->ifa_next->ifa_addr, &list.inet, sizeof(list.inet)), 0);
    recording::freePlayedAddresses(played);
}

TEST(FormsSystem, AnEmptyListAndAFailureHaveNoElement) {
    ifaddrs* played = nullptr;
    EXPECT_EQ(recording::playInterfaceAddresses({{"error", "0"}, {"count", "0"}}, played), 0);
    EXPECT_EQ(played, nullptr);
    EXPECT_EQ(recording::playInterfaceAddresses({{"error", "24"}}, played), -1);
    EXPECT_EQ(errno, EMFILE);
}

}  // namespace
}  // namespace FormsSystemTest
