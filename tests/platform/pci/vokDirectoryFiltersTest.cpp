#include "platform/pci/vokDirectoryFilters.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstring>

#include "platform/access/vokSortedDirectory.h"
#include "support/FakeHost.h"

namespace vokDirectoryFiltersTest {
namespace {

using testing::ElementsAre;

int passes(int (*filter)(const dirent*), const std::string& name) {
    dirent entry{};
    name.copy(entry.d_name, sizeof(entry.d_name) - 1);
    return filter(&entry);
}

std::vector<std::string> list(const FakeHost& host, const std::string& path, int (*filter)(const dirent*)) {
    const vokSortedDirectory directory(host.root.path() + path, filter);
    std::vector<std::string> names;
    for (int i = 0; i < directory.count(); ++i) names.emplace_back(directory.name(i));
    return names;
}

}  // namespace

TEST(EnetSelect, KeepsInterfacesWithSixByteAddresses) {
    const FakeHost host;
    host.root.writeFile("/sys/class/net/vmnic1/addr_len", "6\n");
    host.root.writeFile("/sys/class/net/vmnic0/addr_len", "6\n");
    host.root.writeFile("/sys/class/net/ib0/addr_len", "20\n");
    host.root.writeFile("/sys/class/net/sit0/addr_len", "4\n");
    host.root.writeFile("/sys/class/net/odd/addr_len", "\n");
    host.root.writeFile("/sys/class/net/none/mtu", "1500\n");
    EXPECT_THAT(list(host, "/sys/class/net", enet_select), ElementsAre("vmnic0", "vmnic1"));
}

TEST(EnetSelect, AlwaysLeavesOutTheDirectoryItselfAndItsParent) {
    const FakeHost host;
    host.root.writeFile("/sys/class/net/addr_len", "6\n");
    host.root.writeFile("/sys/class/addr_len", "6\n");
    EXPECT_EQ(passes(enet_select, "."), 0);
    EXPECT_EQ(passes(enet_select, ".."), 0);
}

TEST(EnetSelect, AnAddressLengthThatIsAPipeDoesNotBlock) {
    const FakeHost host;
    host.root.writeFile("/sys/class/net/vmnic0/mtu", "1500\n");
    ASSERT_EQ(::mkfifo((host.root.path() + "/sys/class/net/vmnic0/addr_len").c_str(), 0600), 0);
    EXPECT_EQ(passes(enet_select, "vmnic0"), 0);
}

TEST(PciSelect, KeepsAddressesOfFunctions) {
    EXPECT_EQ(passes(pci_select, "0000:3b:00.0"), 1);
    EXPECT_EQ(passes(pci_select, "ffff:FF:1f.7"), 1);
    EXPECT_EQ(passes(pci_select, "10000:3b:00.0"), 1) << "a domain of a virtual host bridge";
    for (const char* name :
         {".", "..", "", "0000:3b:00", "000:3b:00.0", "0000:3b:00.0:pcie01", "0000:3b:0g.0"})
        EXPECT_EQ(passes(pci_select, name), 0) << name;
}

TEST(ProcSelect, KeepsNumbers) {
    EXPECT_EQ(passes(proc_select, "1"), 1);
    EXPECT_EQ(passes(proc_select, "4194304"), 1);
    for (const char* name : {".", "..", "", "self", "1a", "-1", "1 ", "0x1"})
        EXPECT_EQ(passes(proc_select, name), 0) << name;
}

TEST(FileSelect, KeepsAllButTheDirectoryItselfAndItsParent) {
    const FakeHost host;
    host.root.writeFile("/sys/class/scsi_host/.hidden", "");
    host.root.writeFile("/sys/class/scsi_host/...", "");
    host.root.writeFile("/sys/class/scsi_host/dir/x", "");
    ASSERT_EQ(::symlink("nowhere", (host.root.path() + "/sys/class/scsi_host/host0").c_str()), 0);
    EXPECT_THAT(list(host, "/sys/class/scsi_host", file_select),
                testing::UnorderedElementsAre("...", ".hidden", "dir", "host0"));
}

TEST(SortedDirectory, TheCountIsMinus1IfItIsNotADirectory) {
    const FakeHost host;
    host.root.writeFile("/file", "");
    EXPECT_EQ(vokSortedDirectory(host.root.path() + "/file").count(), -1);
    EXPECT_EQ(vokSortedDirectory(host.root.path() + "/none").count(), -1);
    EXPECT_EQ(vokSortedDirectory(host.root.path()).count(), 3);  // ".", ".." and the file
}

}  // namespace vokDirectoryFiltersTest
