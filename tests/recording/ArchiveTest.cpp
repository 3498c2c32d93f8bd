#include "recording/Archive.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "platform/access/vokFilePtr.h"
#include "recording/SampleRecording.h"

namespace ArchiveTest {

using recording::FileEntry;
using recording::loadArchive;
using recording::readArchive;
using recording::Recording;
using recording::saveArchive;
using recording::writeArchive;

void expectEqual(const FileEntry& read, const FileEntry& written, const std::string& path) {
    SCOPED_TRACE(path);
    EXPECT_EQ(read.kind, written.kind);
    EXPECT_EQ(read.error, written.error);
    EXPECT_EQ(read.content, written.content);
    EXPECT_EQ(read.target, written.target);
    EXPECT_EQ(read.children, written.children);
    EXPECT_EQ(read.asked, written.asked);
}

void expectEqual(const Recording& read, const Recording& written) {
    EXPECT_EQ(read.agentVersion, written.agentVersion);
    EXPECT_EQ(read.abi, written.abi);
    EXPECT_EQ(read.time, written.time);
    EXPECT_EQ(read.redacted, written.redacted);
    EXPECT_EQ(read.replaced, written.replaced);
    EXPECT_EQ(read.document, written.document);
    EXPECT_EQ(read.remarks, written.remarks);
    ASSERT_EQ(read.files.size(), written.files.size());
    for (const auto& [path, entry] : written.files) expectEqual(read.files.at(path), entry, path);
    ASSERT_EQ(read.exchanges.size(), written.exchanges.size());
    for (std::size_t index = 0; index < written.exchanges.size(); ++index) {
        EXPECT_EQ(read.exchanges[index].kind, written.exchanges[index].kind);
        EXPECT_EQ(read.exchanges[index].question, written.exchanges[index].question);
        EXPECT_EQ(read.exchanges[index].answers, written.exchanges[index].answers);
    }
}

void expectRoundTrip(const Recording& written) {
    std::string error;
    const auto read = readArchive(writeArchive(written), error);
    ASSERT_TRUE(read) << error;
    EXPECT_EQ(error, "");
    expectEqual(*read, written);
}

class Archive : public testing::Test {
protected:
    Archive() {
        char name[] = "/tmp/vok-archive-XXXXXX";
        folder_ = ::mkdtemp(name);
        path_ = folder_ + "/host.tar";
    }
    ~Archive() override {
        ::unlink(path_.c_str());
        ::rmdir(folder_.c_str());
    }

    static std::string outputOf(const std::string& command) {
        const vokFilePtr stream(::popen(command.c_str(), "r"));
        std::string output;
        for (int each; (each = std::fgetc(stream.get())) != EOF;) output += static_cast<char>(each);
        return output;
    }

    std::string folder_;
    std::string path_;
};

TEST_F(Archive, ReturnsWhatWasWritten) {
    expectRoundTrip(sampleRecording());
}

TEST_F(Archive, OfAnEmptyRecordingIsOne) {
    expectRoundTrip(Recording());
}

TEST_F(Archive, OfTheSameRecordingHasTheSameBytes) {
    EXPECT_EQ(writeArchive(sampleRecording()), writeArchive(sampleRecording()));
}

TEST_F(Archive, KeepsTextsOfEveryForm) {
    Recording sample;
    std::string allBytes;
    for (int each = 0; each < 256; ++each) allBytes += static_cast<char>(each);
    sample.remarks = {"",     allBytes, "hex:",         "hex:00",   "hex:zz",   "\xC3\xA4\xE2\x82\xAC",
                      "\xC3", "\x7F",   "\xED\xA0\x80", "\xC2\x85", "a\tb\r\n", "\xF0\x9F\x98\x80"};
    expectRoundTrip(sample);
}

TEST_F(Archive, WritesTextAsItIsAndBytesAsDigits) {
    Recording sample;
    sample.remarks = {"a \"b\"\n", std::string("\0\xFF", 2), "hex:0"};
    const std::string bytes = writeArchive(sample);
    EXPECT_NE(bytes.find("\"a \\\"b\\\"\\n\",\n    \"hex:00ff\",\n    \"hex:6865783a30\""),
              std::string::npos);
}

TEST_F(Archive, KeepsPathsThatNoHeaderHolds) {
    Recording sample;
    sample.files["/" + std::string(254, 'a')] = fileEntry("one");
    sample.files["/" + std::string(300, 'b') + "/c"] = fileEntry("two");
    sample.files["/odd\n"] = fileEntry("three");
    sample.files["/" + std::string(149, 'd') + "/" + std::string(90, 'e')] = fileEntry("four");
    expectRoundTrip(sample);
    const std::string bytes = writeArchive(sample);
    for (const char* number : {"numbered/1", "numbered/2", "numbered/3"})
        EXPECT_NE(bytes.find(number), std::string::npos) << number;
    EXPECT_EQ(bytes.find("numbered/4"), std::string::npos);
}

TEST_F(Archive, KeepsTimesThatNoHeaderHolds) {
    for (const std::int64_t time : {std::int64_t{-1}, INT64_MIN, INT64_MAX, std::int64_t{1} << 33}) {
        Recording sample = sampleRecording();
        sample.time = time;
        expectRoundTrip(sample);
    }
}

TEST_F(Archive, IsReadByTar) {
    std::string error;
    Recording sample = sampleRecording();
    const std::string longPath = "/" + std::string(120, 'x') + "/" + std::string(80, 'y');
    sample.files[longPath] = fileEntry("long");
    ASSERT_TRUE(saveArchive(sample, path_, error)) << error;
    EXPECT_EQ(
        outputOf("tar tf " + path_ + " 2>&1"),
        "manifest.json\ninventory.json\nexchanges.jsonl\nfiles/sys/empty\nfiles/sys/vendor\nnumbered/1\n"
        "files" +
            longPath + "\n");
    EXPECT_EQ(outputOf("TZ=UTC tar tvf " + path_ + " files/sys/vendor 2>&1"),
              "-rw------- 0/0               7 2023-11-14 22:13 files/sys/vendor\n");
    EXPECT_EQ(outputOf("tar xOf " + path_ + " files/sys/vendor 2>&1"), "0x15ad\n");
    EXPECT_EQ(outputOf("tar xOf " + path_ + " files" + longPath + " 2>&1"), "long");
}

TEST_F(Archive, IsSavedForItsOwnerAloneWhateverTheUmask) {
    std::string error;
    const mode_t before = ::umask(0777);
    const bool saved = saveArchive(sampleRecording(), path_, error);
    ::umask(before);
    ASSERT_TRUE(saved) << error;
    struct stat facts {};
    ASSERT_EQ(::stat(path_.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0600u);
    const auto read = loadArchive(path_, error);
    ASSERT_TRUE(read) << error;
    expectEqual(*read, sampleRecording());
}

TEST_F(Archive, NeverReplacesAFile) {
    std::ofstream(path_) << "mine";
    std::string error;
    EXPECT_FALSE(saveArchive(sampleRecording(), path_, error));
    EXPECT_EQ(error, path_ + " can't be created: File exists.");
    std::stringstream content;
    content << std::ifstream(path_).rdbuf();
    EXPECT_EQ(content.str(), "mine");
}

TEST_F(Archive, IsNotSavedIfNoReaderWouldAcceptIt) {
    Recording sample = sampleRecording();
    sample.files["/sys/up"] = linkEntry("../../x");
    std::string error;
    EXPECT_FALSE(saveArchive(sample, path_, error));
    EXPECT_EQ(error, "The link \"/sys/up\" leads above \"/\".");
    EXPECT_NE(::access(path_.c_str(), F_OK), 0);
}

TEST_F(Archive, ThatCantBeWrittenLeavesNoFile) {
    std::string error;
    const std::string missing = folder_ + "/missing/host.tar";
    EXPECT_FALSE(saveArchive(sampleRecording(), missing, error));
    EXPECT_EQ(error, missing + " can't be created: No such file or directory.");
}

// As on a full disk.
TEST_F(Archive, ThatIsWrittenInPartLeavesNoFile) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{1024, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    std::string error;
    const bool saved = saveArchive(sampleRecording(), path_, error);
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(saved);
    EXPECT_EQ(error, path_ + " can't be written: File too large.");
    EXPECT_NE(::access(path_.c_str(), F_OK), 0);
}

TEST_F(Archive, ThatIsMissingCantBeOpened) {
    std::string error;
    EXPECT_FALSE(loadArchive(path_, error));
    EXPECT_EQ(error, path_ + " can't be opened: No such file or directory.");
}

TEST_F(Archive, ComesFromStandardInputToo) {
    std::string error;
    ASSERT_TRUE(saveArchive(sampleRecording(), path_, error)) << error;
    const int file = ::open(path_.c_str(), O_RDONLY);
    ASSERT_EQ(::dup2(file, STDIN_FILENO), STDIN_FILENO);
    ::close(file);
    const auto read = loadArchive("-", error);
    ASSERT_TRUE(read) << error;
    expectEqual(*read, sampleRecording());
}

}  // namespace ArchiveTest
