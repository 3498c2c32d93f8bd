// The Ethernet adapters and PCI functions that a machine's files make.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/StandIns.h"
#include "live/LiveMachine.h"
#include "modules/nic/NetworkAdapters.h"
#include "modules/pci/PciFunctions.h"
#include "simhost/MadeUpMachine.h"

namespace LiveNetworkTest {

using namespace simhost;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::optional<DriverFacts> silentDriver(const std::string&) {
    return std::nullopt;
}

class LiveNetwork : public testing::Test {
protected:
    std::vector<NetworkAdapter> adapters(const AskDriver& driver = silentDriver) {
        return LiveMachine(machine.root(), driver).describe().part<NetworkAdapters>().all;
    }
    std::vector<PciFunction> functions() {
        return LiveMachine(machine.root(), silentDriver).describe().part<PciFunctions>().all;
    }
    std::vector<std::string> names() {
        std::vector<std::string> found;
        for (const auto& each : adapters()) found.push_back(each.name);
        return found;
    }
    // An adapter on the root bus.
    void addCard(const std::string& name, const std::string& address) {
        const std::string device =
            machine.pciFunction(address, {{"vendor", "0x8086"}, {"device", "0x15bc"}, {"class", "0x020000"}});
        machine.interface(name, device, {{"type", "1"}, {"flags", "0x1003"}, {"operstate", "up"}});
    }
    void installNames() {
        machine.file("/usr/share/misc/pci.ids",
                     "# a comment\n8086  Intel Corporation\n\t15bc  Ethernet Connection (7) I219-V\n"
                     "\t\t8086 0001  A subsystem\n1af4  Red Hat, Inc.\n\t1041  Virtio 1.0 network device\n"
                     "C 02  Network controller\n\t00  Ethernet controller\n\t\t01  An interface\n");
    }

    MadeUpMachine machine;
};

TEST_F(LiveNetwork, AnAdapterIsMadeOfItsAttributesItsDriverAndTheFunctionBehindIt) {
    installNames();
    const std::string device =
        machine.pciFunction("0000:00:1f.6", {{"vendor", "0x8086"}, {"device", "0x15bc"}});
    machine.driver(device, "e1000e");
    machine.interface("eno1", device,
                      {{"type", "1"},
                       {"flags", "0x1003"},
                       {"operstate", "up"},
                       {"carrier", "1"},
                       {"speed", "1000"},
                       {"duplex", "full"},
                       {"address", "02:00:5e:10:00:07"},
                       {"mtu", "9000"}});
    const auto all = adapters([](const std::string& name) {
        return std::optional<DriverFacts>({"asked", name == "eno1" ? "0.4-4 0x80003ce6 1.2074.0" : "wrong"});
    });
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].name, "eno1");
    EXPECT_EQ(all[0].pciDevice, "0000:00:1f.6");
    EXPECT_EQ(all[0].driver, "e1000e");
    EXPECT_EQ(all[0].adminStatus, "Up");
    EXPECT_EQ(all[0].linkStatus, "Up");
    EXPECT_EQ(all[0].speedMbps, 1000u);
    EXPECT_EQ(all[0].duplex, "Full");
    EXPECT_EQ(all[0].hardwareAddress, "02:00:5e:10:00:07");
    EXPECT_EQ(all[0].mtu, 9000u);
    EXPECT_EQ(all[0].description, "Intel Corporation Ethernet Connection (7) I219-V");
    EXPECT_EQ(all[0].firmwareVersion, "0.4-4 0x80003ce6 1.2074.0");
}

TEST_F(LiveNetwork, TheFunctionBehindAVirtioDeviceIsTheOneAboveIt) {
    machine.pciFunction("0000:00:03.0", {{"vendor", "0x1af4"}, {"device", "0x1041"}});
    machine.interface("eth0", "/sys/devices/pci0000:00/0000:00:03.0/virtio2", {{"type", "1"}});
    const auto all = adapters();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].pciDevice, "0000:00:03.0");
    EXPECT_EQ(all[0].description, "Vendor 1af4 Device 1041") << "numbers where no list of names is installed";
}

TEST_F(LiveNetwork, AnAdapterAtAUsbPortHasNoFunctionOfItsOwn) {
    machine.pciFunction("0000:00:14.0", {{"vendor", "0x8086"}});
    const std::string port = "/sys/devices/pci0000:00/0000:00:14.0/usb2/2-1";
    machine.file(port + "/manufacturer", "ASIX\n");
    machine.file(port + "/product", "AX88179A\n");
    machine.interface("usb0", port + "/2-1:1.0", {{"type", "1"}});
    const auto all = adapters();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].pciDevice, "Pseudo");
    EXPECT_EQ(all[0].description, "ASIX AX88179A");
}

TEST_F(LiveNetwork, WhatHasADeviceBehindItIsShownAloneInTheKernelsOrder) {
    addCard("enp9s0", "0000:00:09.0");
    addCard("enp10s0", "0000:00:0a.0");
    machine.set("enp9s0", "ifindex", "2");
    machine.set("enp10s0", "ifindex", "3");
    machine.interface("veth0", "", {{"type", "1"}});
    machine.interface("lo", "", {{"type", "772"}});
    EXPECT_THAT(names(), ElementsAre("enp9s0", "enp10s0"));
}

TEST_F(LiveNetwork, AMachineWithoutADeviceBehindAnyShowsItsEthernetInterfaces) {
    machine.interface("lo", "", {{"type", "772"}, {"ifindex", "1"}});
    machine.interface("tun0", "", {{"type", "65534"}, {"ifindex", "2"}});
    machine.interface("eth0", "", {{"type", "1"}, {"ifindex", "3"}});
    const auto all = adapters([](const std::string&) { return std::optional<DriverFacts>({"veth", "N/A"}); });
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].name, "eth0");
    EXPECT_EQ(all[0].pciDevice, "Pseudo");
    EXPECT_EQ(all[0].driver, "veth") << "there is no device to have a driver, so it is asked";
    EXPECT_EQ(all[0].firmwareVersion, "");
    EXPECT_EQ(all[0].description, "Virtual adapter");
}

TEST_F(LiveNetwork, ASpeedThatIsNotKnownIsNone) {
    addCard("eth0", "0000:00:03.0");
    EXPECT_EQ(adapters()[0].speedMbps, 0u) << "no attribute";
    for (const char* speed : {"-1", "4294967295", "0", "fast", "", "99999999999999999999", "100 0"}) {
        machine.set("eth0", "speed", speed);
        EXPECT_EQ(adapters()[0].speedMbps, 0u) << speed;
    }
    machine.set("eth0", "speed", "400000");
    EXPECT_EQ(adapters()[0].speedMbps, 400000u);
}

TEST_F(LiveNetwork, TheLinkFollowsTheOperationalStateElseTheCarrier) {
    constexpr struct {
        const char* flags;
        const char* state;
        const char* carrier;  // null: the kernel does not tell it
        const char* admin;
        const char* link;
    } rows[] = {
        {"0x1003", "up", "1", "Up", "Up"},
        {"0x1003", "down", "0", "Up", "Down"},
        {"0x1002", "down", nullptr, "Down", "Down"},
        {"0x1003", "lowerlayerdown", "0", "Up", "Down"},
        {"0x1003", "dormant", "1", "Up", "Down"},
        {"0x1003", "notpresent", "0", "Up", "Down"},
        {"0x1003", "unknown", "1", "Up", "Up"},
        {"0x1003", "unknown", "0", "Up", "Down"},
        {"0x1003", "unknown", nullptr, "Up", "Unknown"},
        {"0x1002", "unknown", nullptr, "Down", "Down"},
        {"none", "", "1", "Down", "Up"},
    };
    addCard("eth0", "0000:00:03.0");
    for (const auto& row : rows) {
        machine.set("eth0", "flags", row.flags);
        machine.set("eth0", "operstate", row.state);
        machine.remove("/sys/class/net/eth0/carrier");
        if (row.carrier) machine.set("eth0", "carrier", row.carrier);
        const auto adapter = adapters()[0];
        EXPECT_EQ(adapter.adminStatus, row.admin) << row.flags << " " << row.state;
        EXPECT_EQ(adapter.linkStatus, row.link) << row.flags << " " << row.state;
    }
}

TEST_F(LiveNetwork, AnAdapterOfWhichNothingIsToldStillFillsItsColumns) {
    machine.interface("eth0", "/sys/devices/platform/thing", {{"type", "1"}});
    const auto host = LiveMachine(machine.root(), silentDriver).describe();
    EXPECT_THAT(runLocalcli({"network", "nic", "list"}, host).output,
                testing::EndsWith("eth0  Pseudo      None    Down          Down         0      Half    "
                                  "00:00:00:00:00:00  0    Unknown Unknown\n"));
}

TEST_F(LiveNetwork, ANameOfOddCharactersStaysOneWordAndIsFoundByIt) {
    addCard("a b,\"\x01\xff;$(id)", "0000:00:03.0");
    LiveMachine live(machine.root(), silentDriver);
    HostDescription host = live.describe();
    ASSERT_EQ(host.part<NetworkAdapters>().all.size(), 1u);
    EXPECT_EQ(host.part<NetworkAdapters>().all[0].name, "a?b????;$(id)");
    live.refresh(host, {"localcli", "network", "nic", "get", "-n", "a?b????;$(id)"});
    EXPECT_EQ(host.part<NetworkAdapters>().all.size(), 1u);
    live.refresh(host, {"localcli", "network", "nic", "get", "-n", "../../../etc"});
    EXPECT_THAT(host.part<NetworkAdapters>().all, IsEmpty());
}

TEST_F(LiveNetwork, FilesThatAreNotWhatTheyShouldBeNeitherStopNorHangIt) {
    addCard("eth0", "0000:00:03.0");
    machine.set("eth0", "address", std::string(65536, 'x'));
    machine.set("eth0", "operstate", std::string(1000, '\0'));
    machine.remove("/sys/class/net/eth0/flags");
    machine.file("/sys/class/net/eth0/flags/is/a/directory", "1");
    ASSERT_EQ(::mkfifo((machine.root() + "/sys/class/net/eth0/mtu").c_str(), 0600), 0);
    machine.link("/sys/class/net/eth0/duplex", "duplex");
    machine.link("/sys/class/net/gone", "../../devices/nowhere/net/gone");
    machine.file("/sys/class/net/bonding_masters", "bond0\n");
    machine.file("/sys/bus/pci/devices/not-an-address", "x");
    machine.file("/sys/bus/pci/devices/0000:00:1f.7/config", "short");
    machine.link("/sys/bus/pci/devices/0000:00:04.0", "/etc");
    const auto all = adapters();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].hardwareAddress, std::string(255, 'x'));
    EXPECT_EQ(all[0].adminStatus, "Down");
    EXPECT_EQ(all[0].mtu, 0u);
    EXPECT_EQ(all[0].duplex, "Unknown");
    EXPECT_EQ(functions().size(), 3u);
}

TEST_F(LiveNetwork, ALinkOutOfTheRootLeadsNowhere) {
    machine.file("/sys/class/net/eth0/type", "1\n");
    machine.link("/sys/class/net/eth0/device", "/sys/devices/virtual");
    const auto all = adapters();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].pciDevice, "Pseudo");
    EXPECT_EQ(all[0].driver, "None");
}

TEST_F(LiveNetwork, AFunctionHasTheKeysOfTheHardwareList) {
    installNames();
    const std::string bridge = machine.pciFunction(
        "0000:00:1c.0", {{"vendor", "0x8086"}, {"device", "0xa110"}, {"class", "0x060400"}});
    std::string head(64, '\0');
    head[0x0e] = '\x81';  // a bridge, of several functions
    head[0x19] = '\x3b';
    head[0x3c] = '\x0b';
    head[0x3d] = '\x02';
    machine.file(bridge + "/config", head);
    const std::string card = bridge + "/0000:3b:00.0";
    for (const auto& [name, value] : {std::pair<const char*, const char*>{"vendor", "0x8086"},
                                      {"device", "0x15bc"},
                                      {"subsystem_vendor", "0x7711"},
                                      {"subsystem_device", "0x0007"},
                                      {"class", "0x020001"},
                                      {"revision", "0x11"},
                                      {"irq", "139"},
                                      {"reset_method", "flr bus"}})
        machine.file(card + "/" + name, std::string(value) + "\n");
    machine.link("/sys/bus/pci/devices/0000:3b:00.0",
                 "../../../devices/pci0000:00/0000:00:1c.0/0000:3b:00.0");
    machine.driver(card, "ixgbe");
    machine.interface("ens3f0", card, {{"type", "1"}});
    machine.file("/sys/bus/pci/slots/3/address", "0000:3b:00\n");

    const auto found = functions();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].at("Address"), "0000:00:1c.0");
    EXPECT_EQ(found[0].at("Spawned Bus"), "0x3b");
    EXPECT_EQ(found[0].at("Interrupt Line"), "0x0b");
    EXPECT_EQ(found[0].at("PCI Pin"), "0x02");
    EXPECT_EQ(found[0].at("Device Name"), "Device a110");
    EXPECT_EQ(found[0].at("Device Class Name"), "Class 0604");
    EXPECT_EQ(found[0].at("Parent Device"), "PCI 0:0:0:0");
    const std::pair<const char*, const char*> expected[] = {
        {"Address", "0000:3b:00.0"},
        {"Segment", "0x0000"},
        {"Bus", "0x3b"},
        {"VMkernel Name", "ens3f0"},
        {"Vendor Name", "Intel Corporation"},
        {"Device Name", "Ethernet Connection (7) I219-V"},
        {"Vendor ID", "0x8086"},
        {"Device ID", "0x15bc"},
        {"SubVendor ID", "0x7711"},
        {"SubDevice ID", "0x0007"},
        {"Device Class", "0x0200"},
        {"Device Class Name", "Ethernet controller"},
        {"Programming Interface", "0x01"},
        {"Revision ID", "0x11"},
        {"IRQ", "139"},
        {"Module Name", "ixgbe"},
        {"Physical Slot", "3"},
        {"Parent Device", "PCI 0:0:28:0"},
        {"Dependent Device", "PCI 0:59:0:0"},
        {"Reset Method", "Function reset"},
    };
    for (const auto& [key, value] : expected) EXPECT_EQ(found[1].at(key), value) << key;
}

TEST_F(LiveNetwork, NamesThatAreInstalledWhileItRunsCount) {
    addCard("eth0", "0000:00:03.0");
    LiveMachine live(machine.root(), silentDriver);
    HostDescription host = live.describe();
    EXPECT_EQ(host.part<PciFunctions>().all[0].at("Vendor Name"), "Vendor 8086");
    installNames();
    live.refresh(host, {"localcli", "hardware", "pci", "list"});
    EXPECT_EQ(host.part<PciFunctions>().all[0].at("Vendor Name"), "Intel Corporation");
}

TEST_F(LiveNetwork, AMachineWithNothingHasEmptyLists) {
    EXPECT_THAT(adapters(), IsEmpty());
    EXPECT_THAT(functions(), IsEmpty());
    EXPECT_THROW(LiveMachine(machine.root() + "/nowhere", silentDriver), std::runtime_error);
}

TEST_F(LiveNetwork, AnInterfaceThatTheKernelDoesNotKnowHasNoDriver) {
    EXPECT_FALSE(askKernelForDriver("vok-no-such0").has_value());
    EXPECT_FALSE(askKernelForDriver(std::string(300, 'x')).has_value());
    EXPECT_FALSE(askKernelForDriver("").has_value());
}

}  // namespace
}  // namespace LiveNetworkTest
