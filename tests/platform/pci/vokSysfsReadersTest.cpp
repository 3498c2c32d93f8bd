#include "platform/pci/vokSysfsReaders.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <climits>

#include "platform/access/vokMallocPtr.h"
#include "platform/access/vokOwnedDescriptor.h"
#include "support/FakeHost.h"

namespace vokSysfsReadersTest {
namespace {

constexpr char path[] = "/sys/a";

FakeHost hostWith(const std::string& content) {
    FakeHost host;
    host.root.writeFile(path, content);
    return host;
}

// The text, or "(null)".
std::string text(const char* file = path) {
    const vokMallocPtr<char> read(get_sysfs_str(file));
    return read ? read.get() : "(null)";
}

std::string bytes(const char* file = path) {
    ssize_t length = -77;
    const vokMallocPtr<char> read(get_sysfs_buf(file, &length));
    if (!read) return length == 0 ? "(null)" : "(null with a length)";
    return std::string(read.get(), static_cast<std::size_t>(length));
}

}  // namespace

TEST(SysfsStr, IsCutAtTheFirstNewline) {
    hostWith("running\nsecond\n");
    EXPECT_EQ(text(), "running");
}

TEST(SysfsStr, TextWithoutANewlineIsComplete) {
    hostWith("running");
    EXPECT_EQ(text(), "running");
}

TEST(SysfsStr, KeepsBlanks) {
    hostWith("PERC H700       \n");
    EXPECT_EQ(text(), "PERC H700       ");
}

TEST(SysfsStr, AnEmptyFileYieldsNull) {
    hostWith("");
    EXPECT_EQ(text(), "(null)");
}

TEST(SysfsStr, AnEmptyFirstLineYieldsNullEvenIfMoreFollows) {
    hostWith("\nsecond\n");
    EXPECT_EQ(text(), "(null)");
}

TEST(SysfsStr, AFirstByteOfZeroYieldsNull) {
    hostWith(std::string("\0text\n", 6));
    EXPECT_EQ(text(), "(null)");
}

TEST(SysfsStr, AMissingFileYieldsNull) {
    const FakeHost host;
    EXPECT_EQ(text("/sys/none"), "(null)");
    EXPECT_EQ(get_sysfs_str(nullptr), nullptr);
}

TEST(SysfsStr, ALineOf4095CharactersIsComplete) {
    hostWith(std::string(4095, 'x') + "\nmore");
    EXPECT_EQ(text(), std::string(4095, 'x'));
}

TEST(SysfsStr, ALongerFirstLineIsCutAt4096Characters) {
    hostWith(std::string(4096, 'x') + "yz\n");
    EXPECT_EQ(text(), std::string(4096, 'x'));
}

TEST(SysfsStr, ThePathIsMappedToTheHostPath) {
    const FakeHost host;
    host.root.writeFile("/sys/class/scsi_host/host0/state", "running\n");
    EXPECT_EQ(text("/sys/class/scsi_host/host0/state"), "running");
    EXPECT_EQ(text((host.root.path() + "/sys/class/scsi_host/host0/state").c_str()), "(null)");
}

TEST(SysfsStr, ALinkToAFileIsFollowed) {
    const auto host = hostWith("x\n");
    ASSERT_EQ(::symlink("a", (host.root.path() + "/sys/b").c_str()), 0);
    EXPECT_EQ(text("/sys/b"), "x");
}

TEST(SysfsReaders, ALinkThatLeadsToItselfCantBeOpened) {
    const auto host = hostWith("");
    ASSERT_EQ(::symlink("b", (host.root.path() + "/sys/b").c_str()), 0);
    EXPECT_EQ(text("/sys/b"), "(null)");
    EXPECT_EQ(bytes("/sys/b"), "(null)");
}

// It is not even opened: opening alone can have side effects.
TEST(SysfsReaders, APipeInsteadOfAnAttributeIsNotOpened) {
    const auto host = hostWith("");
    const std::string pipe = host.root.path() + "/sys/pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const vokOwnedDescriptor watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(::inotify_add_watch(watch.get(), pipe.c_str(), IN_OPEN), 0);
    EXPECT_EQ(text("/sys/pipe"), "(null)");
    EXPECT_EQ(vokOpenAttribute("/sys/pipe"), -1);
    EXPECT_EQ(errno, EINVAL);
    char event[sizeof(inotify_event) + NAME_MAX + 1];
    EXPECT_EQ(::read(watch.get(), event, sizeof(event)), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(SysfsReaders, AnAttributeIsOpenedForReadingWithoutWaiting) {
    hostWith("x\n");
    const vokOwnedDescriptor file(vokOpenAttribute(path));
    ASSERT_TRUE(file);
    EXPECT_EQ(::fcntl(file.get(), F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(::fcntl(file.get(), F_GETFD), FD_CLOEXEC);
}

TEST(SysfsReaders, ADirectoryOrADeviceInsteadOfAnAttributeCantBeOpened) {
    const auto host = hostWith("");
    ASSERT_EQ(::symlink("/dev/zero", (host.root.path() + "/sys/zero").c_str()), 0);
    EXPECT_EQ(bytes("/sys"), "(null)");
    EXPECT_EQ(bytes("/sys/zero"), "(null)");
}

TEST(SysfsReaders, NoReaderLeavesTheFileOpen) {
    hostWith("1\n");
    const int before = ::dup(0);
    ::close(before);
    text();
    bytes();
    get_sysfs_int(path);
    const int after = ::dup(0);
    ::close(after);
    EXPECT_EQ(after, before);
}

TEST(SysfsBuf, ReturnsAllBytesUnchanged) {
    const std::string content("\0\x80\n\0text\n", 9);
    hostWith(content);
    EXPECT_EQ(bytes(), content);
}

TEST(SysfsBuf, ReturnsAtMost4096Bytes) {
    hostWith(std::string(5000, 'x'));
    EXPECT_EQ(bytes(), std::string(4096, 'x'));
}

TEST(SysfsBuf, ReturnsNullAndLength0IfNothingCanBeRead) {
    hostWith("");
    EXPECT_EQ(bytes(), "(null)");
    EXPECT_EQ(bytes("/sys/none"), "(null)");
    EXPECT_EQ(bytes(nullptr), "(null)");
    EXPECT_EQ(get_sysfs_buf("/sys/none", nullptr), nullptr);
}

TEST(SysfsNumeric, StoresTheFirstConversionInOut) {
    hostWith("0x1f 33\n");
    unsigned value = 0;
    EXPECT_EQ(_get_sysfs_numeric(path, "%x", &value), 0);
    EXPECT_EQ(value, 0x1fu);
}

TEST(SysfsNumeric, ReturnsMinus1WithoutTextAndLeavesOutUnchanged) {
    hostWith("");
    unsigned value = 77;
    EXPECT_EQ(_get_sysfs_numeric(path, "%u", &value), -1);
    EXPECT_EQ(_get_sysfs_numeric("/sys/none", "%u", &value), -1);
    EXPECT_EQ(value, 77u);
}

TEST(SysfsNumeric, ReturnsZeroEvenIfNothingMatchesAndLeavesOutUnchanged) {
    hostWith("running\n");
    unsigned value = 77;
    EXPECT_EQ(_get_sysfs_numeric(path, "%u", &value), 0);
    EXPECT_EQ(value, 77u);
}

TEST(SysfsHex, ReadsWithAndWithoutPrefixByWidth) {
    const auto host = hostWith("0xfedcba9876543210\n");
    EXPECT_EQ(get_sysfs_llhex(path), 0xfedcba9876543210ull);
    host.root.writeFile(path, "0xFEDCBA98\n");
    EXPECT_EQ(get_sysfs_lhex(path), 0xfedcba98u);
    EXPECT_EQ(get_sysfs_ihex(path), 0xfedcba98u);
    host.root.writeFile(path, "8086\n");
    EXPECT_EQ(get_sysfs_shex(path), 0x8086);
    host.root.writeFile(path, "0xe7");
    EXPECT_EQ(get_sysfs_chex(path), 0xe7);
}

TEST(SysfsHex, ResultsHave64And32And32And16And8Bits) {
    EXPECT_EQ(sizeof(get_sysfs_llhex("")), 8u);
    EXPECT_EQ(sizeof(get_sysfs_lhex("")), 4u);
    EXPECT_EQ(sizeof(get_sysfs_ihex("")), 4u);
    EXPECT_EQ(sizeof(get_sysfs_shex("")), 2u);
    EXPECT_EQ(sizeof(get_sysfs_chex("")), 1u);
}

TEST(SysfsDecimal, ReadsByWidthAndSign) {
    const auto host = hostWith("4294967294\n");
    EXPECT_EQ(get_sysfs_uint(path), 4294967294u);
    host.root.writeFile(path, "-2147483648\n");
    EXPECT_EQ(get_sysfs_int(path), -2147483647 - 1);
    host.root.writeFile(path, "18446744073709551614\n");
    EXPECT_EQ(get_sysfs_ullong(path), 18446744073709551614ull);
    host.root.writeFile(path, "-9000000000\n");
    EXPECT_EQ(get_sysfs_llong(path), -9000000000ll);
}

TEST(SysfsDecimal, ALeadingZeroIsNotOctalAndAPrefixEndsTheNumber) {
    const auto host = hostWith("010\n");
    EXPECT_EQ(get_sysfs_int(path), 10);
    EXPECT_EQ(get_sysfs_uint(path), 10u);
    EXPECT_EQ(get_sysfs_llong(path), 10);
    EXPECT_EQ(get_sysfs_ullong(path), 10u);
    host.root.writeFile(path, "0x1f\n");
    EXPECT_EQ(get_sysfs_int(path), 0);
    EXPECT_EQ(get_sysfs_uint(path), 0u);
    EXPECT_EQ(get_sysfs_llong(path), 0);
    EXPECT_EQ(get_sysfs_ullong(path), 0u);
}

TEST(SysfsNumbers, AFailedReadYieldsAllBitsSet) {
    hostWith("");
    for (const char* unreadable : {path, "/sys/none"}) {
        EXPECT_EQ(get_sysfs_llhex(unreadable), 0xffffffffffffffffull);
        EXPECT_EQ(get_sysfs_lhex(unreadable), 0xffffffffu);
        EXPECT_EQ(get_sysfs_ihex(unreadable), 0xffffffffu);
        EXPECT_EQ(get_sysfs_shex(unreadable), 0xffff);
        EXPECT_EQ(get_sysfs_chex(unreadable), 0xff);
        EXPECT_EQ(get_sysfs_uint(unreadable), 0xffffffffu);
        EXPECT_EQ(get_sysfs_int(unreadable), -1);
        EXPECT_EQ(get_sysfs_ullong(unreadable), 0xffffffffffffffffull);
        EXPECT_EQ(get_sysfs_llong(unreadable), -1);
    }
}

TEST(SysfsNumbers, ATextThatIsNotANumberYields0) {
    hostWith("<none>\n");
    EXPECT_EQ(get_sysfs_llhex(path), 0u);
    EXPECT_EQ(get_sysfs_lhex(path), 0u);
    EXPECT_EQ(get_sysfs_ihex(path), 0u);
    EXPECT_EQ(get_sysfs_shex(path), 0);
    EXPECT_EQ(get_sysfs_chex(path), 0);
    EXPECT_EQ(get_sysfs_uint(path), 0u);
    EXPECT_EQ(get_sysfs_int(path), 0);
    EXPECT_EQ(get_sysfs_ullong(path), 0u);
    EXPECT_EQ(get_sysfs_llong(path), 0);
}

TEST(SysfsNumbers, ThousandsOfDigitsAreHarmless) {
    hostWith(std::string(5000, '1'));
    EXPECT_EQ(get_sysfs_llhex(path), 0xffffffffffffffffull);
    EXPECT_EQ(get_sysfs_llong(path), 9223372036854775807ll);
}

}  // namespace vokSysfsReadersTest
