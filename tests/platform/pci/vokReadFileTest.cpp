#include "platform/pci/vokReadFile.h"

#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>
#include <string>
#include <vector>

#include "platform/access/vokMallocPtr.h"
#include "support/FakeHost.h"

namespace vokReadFileTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char path[] = "/etc/text";

FakeHost hostWith(const std::string& content) {
    FakeHost host;
    host.root.writeFile(path, content);
    return host;
}

// Content of the file, and the room of its buffer in steps of 2048 bytes.
struct Result {
    std::string content;
    std::size_t steps;
};

Result readFile() {
    const vokMallocPtr<char> buffer(ReadFile(path));
    if (!buffer) return {"(null)", 0};
    return {std::string(ReadFileData(buffer.get()), ReadFileLength(buffer.get())),
            (::malloc_usable_size(buffer.get()) - 4) / 2048};
}

std::vector<std::string> lines() {
    int count = -77;
    const vokMallocPtr<char*> list(ReadFileLines(path, &count));
    if (!list) return {"(null)"};
    EXPECT_EQ(list.get()[count], nullptr);
    return std::vector<std::string>(list.get(), list.get() + count);
}

}  // namespace

TEST(ReadFile, ReturnsTheLengthAs32BitsAndThenTheBytes) {
    hostWith(std::string("a\0b\n", 4));
    const vokMallocPtr<char> buffer(ReadFile(path));
    ASSERT_TRUE(buffer);
    EXPECT_EQ(*reinterpret_cast<const std::uint32_t*>(buffer.get()), 4u);
    EXPECT_EQ(std::string(buffer.get() + 4, 4), std::string("a\0b\n", 4));
}

TEST(ReadFile, AFileOfExactly2048BytesGrowsOnceAndReports2048) {
    hostWith(std::string(2048, 'x'));
    const Result result = readFile();
    EXPECT_EQ(result.content, std::string(2048, 'x'));
    EXPECT_EQ(result.steps, 2u);
}

TEST(ReadFile, AlwaysHasRoomForAnother2048Bytes) {
    const auto host = hostWith("x");
    EXPECT_EQ(readFile().steps, 2u);
    host.root.writeFile(path, std::string(2049, 'x'));
    EXPECT_EQ(readFile().steps, 3u);
    host.root.writeFile(path, std::string(4096, 'x'));
    EXPECT_EQ(readFile().steps, 3u);
    host.root.writeFile(path, std::string(10000, 'x'));
    EXPECT_EQ(readFile().steps, 6u);
}

TEST(ReadFile, ReturnsALongFileCompletely) {
    std::string content;
    for (int i = 0; i < 50000; ++i) content += std::to_string(i);
    hostWith(content);
    EXPECT_EQ(readFile().content, content);
}

TEST(ReadFile, AnEmptyFileIsABufferOfLength0) {
    hostWith("");
    EXPECT_EQ(readFile().content, "");
    EXPECT_EQ(readFile().steps, 1u);
}

TEST(ReadFile, ReturnsNullForANullPathAndAPathThatCantBeOpened) {
    const FakeHost host;
    EXPECT_EQ(ReadFile(nullptr), nullptr);
    EXPECT_EQ(ReadFile("/etc/none"), nullptr);
    ASSERT_EQ(::mkdir((host.root.path() + "/pipes").c_str(), 0700), 0);
    ASSERT_EQ(::mkfifo((host.root.path() + "/pipes/one").c_str(), 0600), 0);
    EXPECT_EQ(ReadFile("/pipes"), nullptr);
    EXPECT_EQ(ReadFile("/pipes/one"), nullptr);
}

TEST(ReadFile, OfAnEndlessFileTheFirst4MiBAreRead) {
    const auto host = hostWith("start");
    ASSERT_EQ(::truncate((host.root.path() + path).c_str(), 1ll << 36), 0);
    const vokMallocPtr<char> buffer(ReadFile(path));
    ASSERT_TRUE(buffer);
    EXPECT_EQ(ReadFileLength(buffer.get()), 4194304u);
    EXPECT_EQ(std::string(ReadFileData(buffer.get()), 5), "start");
}

TEST(ReadFileLines, SplitsAtNewlines) {
    hostWith("first\n\nthird line\n");
    EXPECT_THAT(lines(), ElementsAre("first", "", "third line"));
}

TEST(ReadFileLines, TextAfterTheLastNewlineIsALineToo) {
    const auto host = hostWith("first\nlast");
    EXPECT_THAT(lines(), ElementsAre("first", "last"));
    host.root.writeFile(path, "only");
    EXPECT_THAT(lines(), ElementsAre("only"));
}

TEST(ReadFileLines, AnEmptyFileHasNoLines) {
    hostWith("");
    EXPECT_THAT(lines(), IsEmpty());
}

TEST(ReadFileLines, AZeroByteEndsOnlyTheTextOfItsLine) {
    hostWith(std::string("a\0b\nc\n", 6));
    EXPECT_THAT(lines(), ElementsAre("a", "c"));
}

TEST(ReadFileLines, AFileOfOnlyNewlinesHasEmptyLines) {
    hostWith(std::string(5000, '\n'));
    EXPECT_THAT(lines(), testing::AllOf(testing::SizeIs(5000), testing::Each("")));
}

TEST(ReadFileLines, ReturnsNullAndCount0IfTheFileCantBeRead) {
    const FakeHost host;
    int count = 77;
    EXPECT_EQ(ReadFileLines(path, &count), nullptr);
    EXPECT_EQ(count, 0);
    count = 77;
    EXPECT_EQ(ReadFileLines(nullptr, &count), nullptr);
    EXPECT_EQ(count, 0);
}

}  // namespace vokReadFileTest
