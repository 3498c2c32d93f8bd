// The owners of a device node, a work file, an interface list and a heap block.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/access/vokDevice.h"
#include "platform/access/vokFilePtr.h"
#include "platform/access/vokInterfaceList.h"
#include "platform/access/vokRootedHostAccess.h"
#include "platform/access/vokWorkFile.h"
#include "support/TemporaryDirectory.h"

namespace vokOwnersTest {
namespace {

// A host that records what happens to its one device.
class DeviceHost : public vokKernelHostAccess {
public:
    std::string path(const std::string& absolute) const override { return "/host" + absolute; }
    int openDevice(const std::string& hostPath, int flags) override {
        calls.push_back("open " + hostPath + " " + std::to_string(flags));
        errno = ENOENT;
        return nextDescriptor;
    }
    int ioctlDevice(int descriptor, unsigned long request, void* argument) override {
        calls.push_back("ioctl " + std::to_string(descriptor) + " " + std::to_string(request));
        return *static_cast<int*>(argument);
    }
    int waitForDevice(int descriptor) override {
        calls.push_back("wait " + std::to_string(descriptor));
        return 1;
    }
    int closeDevice(int descriptor) override {
        calls.push_back("close " + std::to_string(descriptor));
        errno = EIO;
        return -1;
    }
    int interfaceAddresses(struct ifaddrs** addresses) override {
        calls.emplace_back("list");
        *addresses = listing;
        errno = EMFILE;
        return listingResult;
    }
    void freeInterfaceAddresses(struct ifaddrs* addresses) override {
        calls.emplace_back(addresses == listing ? "free" : "free of another list");
    }

    std::vector<std::string> calls;
    int nextDescriptor = 50;
    ifaddrs* listing = nullptr;
    int listingResult = 0;
};

class Owner : public testing::Test {
protected:
    using Calls = std::vector<std::string>;

    Owner() {
        auto access = std::make_unique<DeviceHost>();
        host = access.get();
        vokSetHostAccess(std::move(access));
    }

    DeviceHost* host;
};

TEST_F(Owner, OfADeviceOpensUsesAndClosesItThroughTheSeam) {
    {
        const vokDevice device("/dev/sg0", O_RDWR);
        EXPECT_TRUE(device);
        EXPECT_EQ(device.descriptor(), 50);
        int argument = 3;
        EXPECT_EQ(device.ioctl(0x2285, &argument), 3);
        EXPECT_EQ(device.wait(), 1);
    }
    EXPECT_EQ(host->calls, (Calls{"open /host/dev/sg0 2", "ioctl 50 8837", "wait 50", "close 50"}));
}

TEST_F(Owner, OfADeviceThatCanNotBeOpenedSetsErrnoAndClosesNothing) {
    host->nextDescriptor = -1;
    {
        const vokDevice device("/dev/sg0", O_RDONLY);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_FALSE(device);
        EXPECT_EQ(device.descriptor(), -1);
        int argument = 0;
        EXPECT_EQ(device.ioctl(1, &argument), -1);
        EXPECT_EQ(errno, EBADF);
        errno = 0;
        EXPECT_EQ(device.wait(), -1);
        EXPECT_EQ(errno, EBADF);
    }
    EXPECT_EQ(host->calls, (Calls{"open /host/dev/sg0 0"}));
}

TEST_F(Owner, OfADeviceClosesItOnceAfterMoves) {
    {
        vokDevice device("/dev/sg0", O_RDONLY);
        vokDevice other(std::move(device));
        host->nextDescriptor = 51;
        other = vokDevice("/dev/sg1", O_RDONLY);
        EXPECT_EQ(host->calls.back(), "close 50");
        EXPECT_EQ(other.descriptor(), 51);
        other.close();
        other.close();
        EXPECT_FALSE(other);
    }
    EXPECT_EQ(host->calls, (Calls{"open /host/dev/sg0 0", "open /host/dev/sg1 0", "close 50", "close 51"}));
}

TEST_F(Owner, OfADevicePreservesErrno) {
    vokDevice device("/dev/sg0", O_RDONLY);
    errno = ETIMEDOUT;
    device.close();
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(Owner, OfAnInterfaceListFreesIt) {
    ifaddrs entry{};
    host->listing = &entry;
    {
        const vokInterfaceList interfaces;
        EXPECT_TRUE(interfaces);
        EXPECT_EQ(interfaces.first(), &entry);
    }
    EXPECT_EQ(host->calls, (Calls{"list", "free"}));
}

TEST_F(Owner, OfAnEmptyInterfaceListHasNothingToFree) {
    {
        const vokInterfaceList interfaces;
        EXPECT_TRUE(interfaces);
        EXPECT_EQ(interfaces.first(), nullptr);
    }
    EXPECT_EQ(host->calls, (Calls{"list"}));
}

TEST_F(Owner, OfAFailedListIgnoresThePointer) {
    ifaddrs entry{};
    host->listing = &entry;
    host->listingResult = -1;
    {
        const vokInterfaceList interfaces;
        EXPECT_EQ(errno, EMFILE);
        EXPECT_FALSE(interfaces);
        EXPECT_EQ(interfaces.first(), nullptr);
    }
    EXPECT_EQ(host->calls, (Calls{"list"}));
}

class WorkFile : public testing::Test {
protected:
    WorkFile() {
        root.writeFile("data/keep", "");
        vokSetHostAccess(std::make_unique<vokRootedHostAccess>(root.path()));
    }

    TemporaryDirectory root;
};

TEST_F(WorkFile, CollectsTheOutputOfCommandsAndIsRemoved) {
    {
        const vokWorkFile file("/data/a list.txt");
        EXPECT_EQ(file.hostPath(), root.path() + "/data/a list.txt");
        EXPECT_EQ(file.shellQuoted(), "'" + root.path() + "/data/a list.txt'");
        EXPECT_EQ(file.appendOutputOf("echo one"), 0);
        EXPECT_EQ(file.appendOutputOf("false"), 1 << 8);
        EXPECT_EQ(root.readFile("data/a list.txt"), "one\n");
        const vokFilePtr stream = file.open();
        ASSERT_TRUE(stream);
        char line[16] = {};
        EXPECT_NE(std::fgets(line, sizeof(line), stream.get()), nullptr);
        EXPECT_STREQ(line, "one\n");
    }
    EXPECT_FALSE(root.exists("data/a list.txt"));
}

TEST_F(WorkFile, IsReadUpToTheLastLineOfItsFirst16MiB) {
    std::string content;
    {
        const vokWorkFile file("/data/list");
        EXPECT_EQ(file.appendOutputOf("echo two"), 0);
        EXPECT_TRUE(file.read(content));
        EXPECT_EQ(content, "two\n");
    }
    {
        const vokWorkFile file("/data/list");
        EXPECT_EQ(file.appendOutputOf("yes 12 | head -c 20000000"), 0);
        EXPECT_TRUE(file.read(content));
        EXPECT_EQ(content.size(), 16777215U);  // the most whole lines of three bytes
    }
    const vokWorkFile file("/data/list");
    EXPECT_EQ(file.appendOutputOf("head -c 20000000 /dev/zero"), 0);
    EXPECT_TRUE(file.read(content));
    EXPECT_EQ(content, "") << "one line without an end";
}

TEST_F(WorkFile, WithoutAnyOutputCanNotBeOpened) {
    const vokWorkFile file("/data/list");
    std::string content;
    EXPECT_FALSE(file.read(content));
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_FALSE(file.open());
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(WorkFile, LeftOversOfACrashAreRemovedOrKept) {
    root.writeFile("data/list", "left over\n");
    {
        const vokWorkFile kept("/data/list", vokLeftOver::kept);
        EXPECT_EQ(root.readFile("data/list"), "left over\n");
    }
    EXPECT_FALSE(root.exists("data/list"));
    root.writeFile("data/list", "left over\n");
    const vokWorkFile removed("/data/list");
    EXPECT_FALSE(root.exists("data/list"));
}

TEST_F(WorkFile, AReplacedFileIsNewAndPrivate) {
    root.writeFile("data/target", "of another user\n");
    ASSERT_EQ(::symlink((root.path() + "/data/target").c_str(), (root.path() + "/data/list").c_str()), 0);
    {
        const vokWorkFile file("/data/list", vokLeftOver::replaced);
        EXPECT_FALSE(file.isPlanted());
        struct stat status {};
        ASSERT_EQ(::lstat(file.hostPath().c_str(), &status), 0);
        EXPECT_TRUE(S_ISREG(status.st_mode));
        EXPECT_EQ(status.st_mode & 0777, 0600u);
        EXPECT_EQ(status.st_size, 0);
    }
    EXPECT_EQ(root.readFile("data/target"), "of another user\n");
    EXPECT_FALSE(root.exists("data/list"));
}

TEST_F(WorkFile, AFileThatCanNotBeReplacedIsPlantedAndStays) {
    root.writeFile("data/list/inside", "");
    {
        const vokWorkFile file("/data/list", vokLeftOver::replaced);
        EXPECT_TRUE(file.isPlanted());
    }
    EXPECT_TRUE(root.exists("data/list/inside"));
}

TEST_F(WorkFile, AMissingDirectoryIsNotAPlantedFile) {
    const vokWorkFile file("/none/list", vokLeftOver::replaced);
    EXPECT_FALSE(file.isPlanted());
}

TEST_F(WorkFile, MakesItsDirectoryIfThatIsMissing) {
    const vokWorkFile file("/none/yet/list");
    EXPECT_TRUE(root.exists("none/yet"));
    EXPECT_EQ(file.appendOutputOf("echo one"), 0);
    EXPECT_EQ(root.readFile("none/yet/list"), "one\n");
}

TEST_F(WorkFile, DoesNotMakeADirectoryThatAllUsersShare) {
    const vokWorkFile file("/tmp/list", vokLeftOver::replaced);
    EXPECT_FALSE(root.exists("tmp"));
}

}  // namespace
}  // namespace vokOwnersTest
