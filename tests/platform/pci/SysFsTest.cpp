#include "platform/pci/SysFs.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>

#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace SysFsTest {
namespace {

using testing::Contains;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class SysFsTest : public testing::Test {
protected:
    void SetUp() override { logEverything(host); }

    void file(const std::string& path, const std::string& content) { host.root.writeFile(path, content); }
    void directory(const std::string& path) { std::filesystem::create_directories(hostPath(path)); }
    void link(const std::string& target, const std::string& path) {
        ASSERT_EQ(::symlink(target.c_str(), hostPath(path).c_str()), 0);
    }
    void remove(const std::string& path) { std::filesystem::remove_all(hostPath(path)); }
    std::string hostPath(const std::string& path) const { return host.root.path() + path; }

    // The scsi_host tree of a host with one controller.
    void oneController() {
        const std::string device = "/sys/devices/pci0000:00/0000:01:00.0/host0";
        file(device + "/scsi_host/host0/proc_name", "megaraid_sas\n");
        file(device + "/scsi_host/host0/state", "running\n");
        directory("/sys/class/scsi_host");
        link("../../devices/pci0000:00/0000:01:00.0/host0/scsi_host/host0", "/sys/class/scsi_host/host0");
        link("../../../host0", device + "/scsi_host/host0/device");
    }

    FakeHost host;
    SysFs tree;
};

constexpr char warning[] = "WARNING SYSFS: The tree is too large or too deep; a part of it is left out.";

TEST_F(SysFsTest, HoldsNothingBeforeItIsSynchronized) {
    oneController();
    EXPECT_EQ(tree.getRoot(), nullptr);
    EXPECT_EQ(tree.getCount(), 0u);
    EXPECT_FALSE(tree.exists("/sys"));
    EXPECT_EQ(tree.getValue("/sys/class"), "");
    EXPECT_THAT(tree.getPaths("/sys"), IsEmpty());
}

TEST_F(SysFsTest, HoldsTheWholeTreeInTheOrderOfTheNames) {
    oneController();
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_THAT(tree.getPaths("/sys"),
                ElementsAre("/sys", "/sys/class", "/sys/class/scsi_host", "/sys/class/scsi_host/host0",
                            "/sys/devices", "/sys/devices/pci0000:00", "/sys/devices/pci0000:00/0000:01:00.0",
                            "/sys/devices/pci0000:00/0000:01:00.0/host0",
                            "/sys/devices/pci0000:00/0000:01:00.0/host0/scsi_host",
                            "/sys/devices/pci0000:00/0000:01:00.0/host0/scsi_host/host0",
                            "/sys/devices/pci0000:00/0000:01:00.0/host0/scsi_host/host0/device",
                            "/sys/devices/pci0000:00/0000:01:00.0/host0/scsi_host/host0/proc_name",
                            "/sys/devices/pci0000:00/0000:01:00.0/host0/scsi_host/host0/state"));
    EXPECT_EQ(tree.getCount(), 13u);
}

TEST_F(SysFsTest, AttributesHaveTheirTextLinksTheirTargetDirectoriesNoValue) {
    oneController();
    ASSERT_TRUE(tree.synchronize("/sys"));
    const std::string scsiHost = "/sys/devices/pci0000:00/0000:01:00.0/host0/scsi_host/host0";
    EXPECT_EQ(tree.getValue(scsiHost + "/proc_name"), "megaraid_sas");
    EXPECT_EQ(tree.getValue(scsiHost + "/device"), "../../../host0");
    EXPECT_EQ(tree.getValue(scsiHost), "");
    EXPECT_EQ(tree.getValue(scsiHost + "/none"), "");
}

TEST_F(SysFsTest, ReportsWhichPathsExistAndWhichAreDirectories) {
    oneController();
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_TRUE(tree.exists("/sys"));
    EXPECT_TRUE(tree.existsPath("/sys/class/scsi_host"));
    EXPECT_TRUE(tree.exists("/sys/class/scsi_host/host0"));
    EXPECT_FALSE(tree.existsPath("/sys/class/scsi_host/host0"));
    EXPECT_FALSE(tree.exists("/sys/class/scsi_host/host1"));
}

TEST_F(SysFsTest, ALinkIsNotFollowed) {
    oneController();
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_FALSE(tree.exists("/sys/class/scsi_host/host0/state"));
    EXPECT_FALSE(tree.synchronize("/sys/class/scsi_host/host0/state"));
}

TEST_F(SysFsTest, LinksInACircleAreKeptAsLinks) {
    directory("/sys/d");
    link("..", "/sys/d/up");
    link("self", "/sys/d/self");
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_THAT(tree.getPaths("/sys"), ElementsAre("/sys", "/sys/d", "/sys/d/self", "/sys/d/up"));
    EXPECT_EQ(tree.getValue("/sys/d/self"), "self");
}

TEST_F(SysFsTest, APartOfTheTreeAddsTheDirectoriesThatLeadToIt) {
    oneController();
    file("/sys/other", "x\n");
    ASSERT_TRUE(tree.synchronize("/sys/class/scsi_host"));
    EXPECT_THAT(tree.getPaths("/sys"),
                ElementsAre("/sys", "/sys/class", "/sys/class/scsi_host", "/sys/class/scsi_host/host0"));
    EXPECT_EQ(tree.getCount(), 4u);
}

TEST_F(SysFsTest, SynchronizingAgainRefreshesOnlyThatPart) {
    file("/sys/a/state", "running\n");
    file("/sys/b/state", "running\n");
    ASSERT_TRUE(tree.synchronize("/sys"));
    file("/sys/a/state", "blocked\n");
    file("/sys/a/more", "x\n");
    file("/sys/b/state", "blocked\n");
    ASSERT_TRUE(tree.synchronize("/sys/a"));
    EXPECT_EQ(tree.getValue("/sys/a/state"), "blocked");
    EXPECT_EQ(tree.getValue("/sys/b/state"), "running");
    EXPECT_THAT(tree.getPaths("/sys"),
                ElementsAre("/sys", "/sys/a", "/sys/a/more", "/sys/a/state", "/sys/b", "/sys/b/state"));
    EXPECT_EQ(tree.getCount(), 6u);
}

TEST_F(SysFsTest, SiblingsOfTheDirectoriesThatLeadToAPartAreKept) {
    file("/sys/a/b/state", "running\n");
    file("/sys/a/c/state", "running\n");
    ASSERT_TRUE(tree.synchronize("/sys"));
    file("/sys/a/b/state", "blocked\n");
    file("/sys/a/c/state", "blocked\n");
    ASSERT_TRUE(tree.synchronize("/sys/a/b"));
    EXPECT_EQ(tree.getValue("/sys/a/b/state"), "blocked");
    EXPECT_EQ(tree.getValue("/sys/a/c/state"), "running");
    EXPECT_THAT(tree.getPaths("/sys/a"),
                ElementsAre("/sys/a", "/sys/a/b", "/sys/a/b/state", "/sys/a/c", "/sys/a/c/state"));
}

TEST_F(SysFsTest, ASingleAttributeCanBeSynchronized) {
    file("/sys/a/state", "running\n");
    file("/sys/a/other", "x\n");
    ASSERT_TRUE(tree.synchronize("/sys/a/state"));
    EXPECT_THAT(tree.getPaths("/sys"), ElementsAre("/sys", "/sys/a", "/sys/a/state"));
}

TEST_F(SysFsTest, RemovedFilesAreRemovedFromTheTree) {
    file("/sys/a/state", "running\n");
    file("/sys/b", "x\n");
    ASSERT_TRUE(tree.synchronize("/sys"));
    remove("/sys/a");
    EXPECT_FALSE(tree.synchronize("/sys/a/state"));
    EXPECT_THAT(tree.getPaths("/sys"), ElementsAre("/sys", "/sys/b"));
    EXPECT_EQ(tree.getCount(), 2u);
    remove("/sys");
    EXPECT_FALSE(tree.synchronize("/sys"));
    EXPECT_EQ(tree.getRoot(), nullptr);
    EXPECT_EQ(tree.getCount(), 0u);
}

TEST_F(SysFsTest, AFileThatBecameADirectoryIsEntered) {
    file("/sys/a", "x\n");
    ASSERT_TRUE(tree.synchronize("/sys"));
    remove("/sys/a");
    file("/sys/a/b/c", "y\n");
    ASSERT_TRUE(tree.synchronize("/sys/a/b"));
    EXPECT_EQ(tree.getValue("/sys/a/b/c"), "y");
    EXPECT_TRUE(tree.existsPath("/sys/a"));
}

TEST_F(SysFsTest, ARootThatIsALinkIsNotFollowed) {
    file("/elsewhere/a", "x\n");
    link("elsewhere", "/sys");
    EXPECT_FALSE(tree.synchronize("/sys/a"));
    EXPECT_TRUE(tree.synchronize("/sys"));
    EXPECT_THAT(tree.getPaths("/sys"), ElementsAre("/sys"));
    EXPECT_EQ(tree.getValue("/sys"), "elsewhere");
}

TEST_F(SysFsTest, PathsAreSplitAtSlashesAndEmptyPartsAreIgnored) {
    file("/sys/a/state", "running\n");
    ASSERT_TRUE(tree.synchronize("//sys///a/"));
    EXPECT_EQ(tree.getValue("/sys//a/state/"), "running");
    EXPECT_THAT(tree.getPaths("/sys/a/"), ElementsAre("/sys/a", "/sys/a/state"));
}

TEST_F(SysFsTest, APathOutsideTheRootIsNeverFound) {
    file("/sys/a", "x\n");
    file("/etc/passwd", "secret\n");
    ASSERT_TRUE(tree.synchronize("/sys"));
    for (const char* path : {"", "sys", "sys/a", "/", "/etc", "/sys/../etc", "/sys/./a", "/system/a"}) {
        EXPECT_FALSE(tree.synchronize(path)) << path;
        EXPECT_FALSE(tree.exists(path)) << path;
        EXPECT_EQ(tree.getValue(path), "") << path;
    }
    EXPECT_THAT(tree.getPaths("/sys"), ElementsAre("/sys", "/sys/a"));
}

TEST_F(SysFsTest, TheDebuggingTreeIsNotEntered) {
    file("/sys/kernel/debug/sub/endless", "x\n");
    file("/sys/kernel/debugging/a", "x\n");
    file("/sys/kernel/uevent_seqnum", "7\n");
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_THAT(tree.getPaths("/sys"),
                ElementsAre("/sys", "/sys/kernel", "/sys/kernel/debug", "/sys/kernel/debugging",
                            "/sys/kernel/debugging/a", "/sys/kernel/uevent_seqnum"));
    ASSERT_TRUE(tree.synchronize("/sys/kernel/debug/sub"));
    EXPECT_THAT(tree.getPaths("/sys/kernel/debug"),
                ElementsAre("/sys/kernel/debug", "/sys/kernel/debug/sub"));
}

TEST_F(SysFsTest, TheDebuggingTreeIsNotEnteredFromTheRootDirectoryEither) {
    file("/sys/kernel/debug/endless", "x\n");
    SysFs whole("/");
    ASSERT_TRUE(whole.synchronize("/sys"));
    EXPECT_THAT(whole.getPaths("/"), ElementsAre("/", "/sys", "/sys/kernel", "/sys/kernel/debug"));
}

TEST_F(SysFsTest, PipesAndSocketsAreLeftOutWithoutBlocking) {
    file("/sys/a", "x\n");
    ASSERT_EQ(::mkfifo(hostPath("/sys/pipe").c_str(), 0600), 0);
    file("/sys/z", "after it\n");
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_THAT(tree.getPaths("/sys"), ElementsAre("/sys", "/sys/a", "/sys/z"));
    EXPECT_FALSE(tree.synchronize("/sys/pipe"));
}

TEST_F(SysFsTest, ATreeThatIsTooLargeIsCutWithAWarning) {
    for (const char* name : {"a", "b", "c", "d", "e"}) file(std::string("/sys/") + name, "x\n");
    SysFs small("/sys", 4);
    ASSERT_TRUE(small.synchronize("/sys"));
    EXPECT_THAT(small.getPaths("/sys"), ElementsAre("/sys", "/sys/a", "/sys/b", "/sys/c"));
    EXPECT_EQ(small.getCount(), 4u);
    EXPECT_THAT(loggedLines(host), Contains(warning));
}

TEST_F(SysFsTest, ATreeThatJustFitsCausesNoWarning) {
    for (const char* name : {"a", "b", "c"}) file(std::string("/sys/") + name, "x\n");
    SysFs small("/sys", 4);
    ASSERT_TRUE(small.synchronize("/sys"));
    EXPECT_EQ(small.getCount(), 4u);
    EXPECT_THAT(loggedLines(host), Not(Contains(warning)));
}

TEST_F(SysFsTest, ATreeThatIsTooDeepIsCutWithAWarning) {
    std::string path = "/sys";
    for (int i = 0; i < 200; ++i) path += "/d";
    directory(path);
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_EQ(tree.getCount(), 65u);  // the root and 64 levels
    EXPECT_THAT(loggedLines(host), Contains(warning));
    ASSERT_TRUE(tree.synchronize("/sys/d/d/d"));
    EXPECT_EQ(tree.getCount(), 65u);  // levels are counted from the root, wherever the walk starts
}

TEST_F(SysFsTest, AnElementHasNamePathStatusAndSeparator) {
    oneController();
    ASSERT_TRUE(tree.synchronize("/sys"));
    const SysFsTreeElement* scsiHost = tree.getRoot();
    for (const char* part : {"devices", "pci0000:00", "0000:01:00.0", "host0", "scsi_host", "host0"})
        scsiHost = scsiHost->findChild(part);
    const SysFsElement& directoryElement = scsiHost->getElement();
    EXPECT_EQ(directoryElement.getName(), "host0");
    EXPECT_EQ(directoryElement.getPath(), "/sys/devices/pci0000:00/0000:01:00.0/host0/scsi_host/host0");
    EXPECT_EQ(directoryElement.getValueSeparator(), "");
    EXPECT_TRUE(S_ISDIR(directoryElement.getStatus().st_mode));
    const SysFsElement& attribute = scsiHost->findChild("state")->getElement();
    EXPECT_EQ(attribute.getValueSeparator(), " = ");
    EXPECT_EQ(attribute.getStatus().st_size, 8);
    const SysFsElement& linkElement = scsiHost->findChild("device")->getElement();
    EXPECT_EQ(linkElement.getValueSeparator(), " -> ");
    EXPECT_TRUE(S_ISLNK(linkElement.getStatus().st_mode));
}

TEST_F(SysFsTest, AnAttributesTextIsOnePrintableLine) {
    file("/sys/a", "two\twords \x01\x7f\xff of \"text\"\nline\n\n  \0\0"s);
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_EQ(tree.getValue("/sys/a"), "two words ... of \"text\" line");
}

TEST_F(SysFsTest, OfAnAttributeAtMost4096BytesAreRead) {
    file("/sys/a", std::string(4096, 'x') + "yz");
    ASSERT_TRUE(tree.synchronize("/sys"));
    EXPECT_EQ(tree.getValue("/sys/a"), std::string(4096, 'x'));
}

TEST_F(SysFsTest, AnAttributeOfTheDebuggingTreeIsNotRead) {
    file("/sys/kernel/debug/a", "x\n");
    file("/sys/kernel/debug_a", "x\n");
    struct stat status {};
    EXPECT_EQ(SysFsAttrib("a", "/sys/kernel/debug/a", status).getValue(), "");
    EXPECT_EQ(SysFsAttrib("debug_a", "/sys/kernel/debug_a", status).getValue(), "x");
}

TEST_F(SysFsTest, AnAttributeCanBeReadAgain) {
    file("/sys/a", "old\n");
    struct stat status {};
    SysFsAttrib attribute("a", "/sys/a", status);
    file("/sys/a", "new\n");
    EXPECT_EQ(attribute.getValue(), "old");
    attribute.readData();
    EXPECT_EQ(attribute.getValue(), "new");
    remove("/sys/a");
    attribute.readData();
    EXPECT_EQ(attribute.getValue(), "");
}

TEST(SysFsTreeElement, AppendsReplacesAndRemovesByName) {
    struct stat status {};
    const auto make = [&](const char* name, const char* path) {
        return std::make_unique<SysFsTreeElement>(std::make_unique<SysFsDirectory>(name, path, status));
    };
    SysFsTreeElement root(std::make_unique<SysFsDirectory>("sys", "/sys", status));
    EXPECT_EQ(root.addChildtoBack(make("b", "/1")).getElement().getPath(), "/1");
    root.addChildtoBack(make("a", "/2")).addChildtoBack(make("c", "/3"));
    EXPECT_EQ(root.countElements(), 4u);
    EXPECT_EQ(root.getChildren().front()->getElement().getName(), "b");
    root.replaceChild(make("b", "/4"));
    EXPECT_EQ(root.getChildren().front()->getElement().getPath(), "/4");
    root.replaceChild(make("d", "/5"));
    EXPECT_EQ(root.getChildren().back()->getElement().getPath(), "/5");
    root.removeChild("a");
    root.removeChild("none");
    EXPECT_EQ(root.findChild("a"), nullptr);
    EXPECT_EQ(root.countElements(), 3u);
}

}  // namespace
}  // namespace SysFsTest
