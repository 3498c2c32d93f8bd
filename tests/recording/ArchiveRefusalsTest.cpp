#include <gtest/gtest.h>
#include <vector>

#include "core/base/vokChecksum.h"
#include "recording/Archive.h"
#include "recording/Manifest.h"
#include "recording/SampleRecording.h"
#include "recording/Ustar.h"

namespace ArchiveRefusalsTest {

using recording::ArchiveLimits;
using recording::FileEntry;
using recording::readArchive;
using recording::Recording;
using recording::writeArchive;
using Kind = FileEntry::Kind;

std::string refusalOf(const std::string& bytes, const ArchiveLimits& limits = {}) {
    std::string error;
    EXPECT_FALSE(readArchive(bytes, error, limits));
    return error;
}

std::string refusalOf(const Recording& recording) {
    return refusalOf(writeArchive(recording));
}

Recording withFile(const std::string& path, const FileEntry& entry) {
    Recording sample;
    sample.files[path] = entry;
    return sample;
}

struct Member {
    std::string name;
    std::string content;
};

// The members of an archive, to be changed and put together again with their right checksums.
std::vector<Member> membersOf(const std::string& bytes) {
    recording::UstarReader reader(bytes);
    std::vector<Member> members;
    std::string error;
    while (const auto member = reader.next(error))
        members.push_back({member->name, std::string(member->content)});
    return members;
}

std::string archiveOf(const std::vector<Member>& members, std::int64_t time = 1700000000) {
    std::string bytes;
    for (const Member& each : members) recording::appendMember(bytes, each.name, each.content, time);
    recording::appendEnd(bytes);
    return bytes;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// The refusal of the sample with another manifest.
std::string refusalOfManifest(const std::string& from, const std::string& to) {
    auto members = membersOf(writeArchive(sampleRecording()));
    members[0].content = replaced(members[0].content, from, to);
    return refusalOf(archiveOf(members));
}

// The refusal of the sample with other exchanges, whose length and checksum the manifest has.
std::string refusalOfExchanges(const std::string& text) {
    Recording sample;
    sample.time = 1700000000;
    auto members = membersOf(writeArchive(sample));
    members[2].content = text;
    std::vector<recording::MemberFacts> facts;
    for (const Member& each : {members[1], members[2]})
        facts.push_back(
            {each.name, each.content.size(), vokChecksum(each.content.data(), each.content.size())});
    members[0].content = recording::writeManifest(sample, facts);
    return refusalOf(archiveOf(members));
}

TEST(ArchivePath, HasToBeAbsoluteWithoutPartsThatLeadElsewhere) {
    for (const char* path : {"", "relative", "/..", "/a/../b", "/a/..", "/.", "/a/./b", "//", "/a//b", "/a/"})
        EXPECT_EQ(refusalOf(withFile(path, fileEntry("x"))),
                  "The path \"" + std::string(path) +
                      "\" is not an absolute path without \".\", \"..\" and empty parts.");
    EXPECT_EQ(refusalOf(withFile(std::string("/a\0b", 4), fileEntry("x"))),
              "The path \"hex:2f610062\" is not an absolute path without \".\", \"..\" and empty parts.");
}

TEST(ArchivePath, WithDotsInALongerNameIsAccepted) {
    std::string error;
    EXPECT_TRUE(readArchive(writeArchive(withFile("/..a/b../...", fileEntry("x"))), error)) << error;
}

TEST(ArchivePath, HasAtMostAHundredParts) {
    std::string path;
    for (int i = 0; i < 100; ++i) path += "/a";
    std::string error;
    EXPECT_TRUE(readArchive(writeArchive(withFile(path, fileEntry("x"))), error)) << error;
    path += "/a";
    EXPECT_EQ(refusalOf(withFile(path, fileEntry("x"))),
              "The path \"" + path.substr(0, 200) + "\"... or its target has more than 100 parts.");
}

TEST(ArchivePath, IsLimited) {
    Recording sample = withFile("/" + std::string(4095, 'a'), fileEntry("x"));
    std::string error;
    EXPECT_TRUE(readArchive(writeArchive(sample), error)) << error;
    sample = withFile("/" + std::string(4096, 'a'), fileEntry("x"));
    EXPECT_EQ(refusalOf(sample),
              "The path \"/" + std::string(199, 'a') + "\"... or its target is longer than 4096 bytes.");
}

TEST(ArchivePath, BelowWhatIsNoDirectoryHoldsNothing) {
    for (const FileEntry& above :
         {fileEntry("x"), linkEntry("b"), entryOf(Kind::other), entryOf(Kind::absent)}) {
        Recording sample = withFile("/a", above);
        sample.files["/a/b/c"] = fileEntry("y");
        EXPECT_EQ(refusalOf(sample), "The path \"/a/b/c\" lies below \"/a\", which is no directory.");
        sample.files["/a/b/c"] = entryOf(Kind::absent);
        std::string error;
        EXPECT_TRUE(readArchive(writeArchive(sample), error)) << error;
    }
}

TEST(ArchivePath, OfTheRootIsADirectory) {
    Recording sample = withFile("/", fileEntry("x"));
    sample.files["/a"] = fileEntry("y");
    EXPECT_EQ(refusalOf(sample), "The path \"/a\" lies below \"/\", which is no directory.");
}

TEST(ArchivePath, OfADirectoryHoldsNames) {
    for (const char* name : {"", ".", "..", "a/b"})
        EXPECT_EQ(refusalOf(withFile("/a", directoryEntry({{name, Kind::file}}))),
                  "The path \"/a\" has the name \"" + std::string(name) + "\" in it, which is none.");
    EXPECT_EQ(refusalOf(withFile("/a", directoryEntry({{"b", Kind::absent}}))),
              "The path \"/a\" has the name \"b\" in it, which is none.");
    FileEntry file = fileEntry("x");
    file.children["b"] = Kind::file;
    EXPECT_EQ(refusalOf(withFile("/a", file)), "The path \"/a\" is no directory and has names in it.");
}

TEST(ArchivePath, HasATargetIfAndOnlyIfItIsAReadableLink) {
    const std::string sentence =
        "The path \"/a\" has a target without being a link, or none without an error.";
    FileEntry file = fileEntry("x");
    file.target = "b";
    EXPECT_EQ(refusalOf(withFile("/a", file)), sentence);
    EXPECT_EQ(refusalOf(withFile("/a", linkEntry(""))), sentence);
    EXPECT_EQ(refusalOf(withFile("/a", linkEntry(std::string("b\0c", 3)))),
              "The path \"/a\" has a target with a NUL.");
}

TEST(ArchiveLink, MayNotLeadAboveTheRoot) {
    for (const char* target : {"..", "../b", "/../b", "./../b", "b/../../c", "/b/../.."})
        EXPECT_EQ(refusalOf(withFile("/a", linkEntry(target))), "The link \"/a\" leads above \"/\".")
            << target;
    for (const char* target : {".", "b/..", "/", "/b/../c", "b/c/../.."}) {
        std::string error;
        EXPECT_TRUE(readArchive(writeArchive(withFile("/a", linkEntry(target))), error)) << target << error;
    }
}

TEST(ArchiveLink, MayNotLeadAboveTheRootThroughAnotherLink) {
    Recording sample;
    sample.files["/a/b/c"] = linkEntry("/d");      // shorter than it looks
    sample.files["/x"] = linkEntry("a/b/c/../e");  // /e
    std::string error;
    EXPECT_TRUE(readArchive(writeArchive(sample), error)) << error;
    sample.files["/x"] = linkEntry("a/b/c/../../e");
    EXPECT_EQ(refusalOf(sample), "The link \"/x\" leads above \"/\".");
}

TEST(ArchiveLink, MayNotLeadToItself) {
    EXPECT_EQ(refusalOf(withFile("/a", linkEntry("a"))), "The link \"/a\" needs more than 40 links.");
}

TEST(ArchiveLink, NeedsAtMostFortyLinks) {
    Recording sample;
    for (int each = 0; each < 40; ++each)
        sample.files["/" + std::to_string(100 + each)] = linkEntry(std::to_string(101 + each));
    std::string error;
    EXPECT_TRUE(readArchive(writeArchive(sample), error)) << error;
    sample.files["/140"] = linkEntry("b");
    EXPECT_EQ(refusalOf(sample), "The link \"/100\" needs more than 40 links.");
}

TEST(ArchiveLink, NeedsFewLinksHoweverManyAreInItsTarget) {
    Recording sample;
    sample.files["/000"] = linkEntry(".");
    for (int each = 1; each < 30; ++each) {  // twice as many each
        const std::string before = std::to_string(999 + each);
        sample.files["/" + std::to_string(1000 + each)] =
            linkEntry(each == 1 ? "000/000" : before + "/" + before);
    }
    EXPECT_EQ(refusalOf(sample), "The link \"/1005\" needs more than 40 links.");
}

TEST(ArchiveTar, IsRefusedWhenCutOffAnywhere) {
    const std::string whole = writeArchive(sampleRecording());
    for (std::size_t length = 0; length < whole.size(); length += 64)
        EXPECT_NE(refusalOf(whole.substr(0, length)), "") << length;
    EXPECT_EQ(refusalOf(""), "The archive is cut off at byte 0.");
    EXPECT_EQ(refusalOf(whole.substr(0, 600)), "The archive is cut off in member \"manifest.json\".");
}

TEST(ArchiveTar, WithAChangedByteIsRefusedOrSaysSomethingElse) {
    const std::string whole = writeArchive(sampleRecording());
    std::string error;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string changed = whole;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        const auto read = readArchive(changed, error);
        // The manifest has no checksum: another form is refused, another fact is what it says.
        if (read) {
            EXPECT_EQ(writeArchive(*read), changed) << at;
        }
    }
}

TEST(ArchiveTar, IsRefusedWithDataAfterItsEnd) {
    const std::string whole = writeArchive(Recording());
    const std::string end =
        "The end of the archive at byte " + std::to_string(whole.size() - 1024) + " is not two zero blocks.";
    EXPECT_EQ(refusalOf(whole + std::string(512, '\0')), end);
    EXPECT_EQ(refusalOf(whole + "x"), end);
    EXPECT_EQ(refusalOf(whole.substr(0, whole.size() - 512)), end);
}

TEST(ArchiveTar, OfOtherHeadersIsRefused) {
    std::string linked = writeArchive(Recording());
    linked[156] = '2';
    EXPECT_EQ(refusalOf(linked),
              "The header at byte 0, of member \"manifest.json\", is not one of a regular "
              "file in an archive of a host.");
    std::string huge = writeArchive(Recording());
    huge.replace(124, 11, "77777777777");
    EXPECT_EQ(
        refusalOf(huge),
        "The header at byte 0, of member \"manifest.json\", is not one of a regular file in an archive of "
        "a host.");
    recording::appendMember(huge = "", "manifest.json", std::string(2000, 'x'), 0);
    EXPECT_EQ(refusalOf(huge.substr(0, 1024)), "The archive is cut off in member \"manifest.json\".");
}

TEST(ArchiveTar, LongerThanTheLimitIsRefused) {
    ArchiveLimits limits;
    limits.bytes = 100;
    EXPECT_EQ(refusalOf(writeArchive(Recording()), limits), "The archive is longer than 100 bytes.");
}

TEST(ArchiveTar, WithMoreMembersThanTheLimitIsRefused) {
    ArchiveLimits limits;
    limits.members = 2;
    EXPECT_EQ(refusalOf(writeArchive(sampleRecording()), limits), "The archive has more than 2 members.");
}

TEST(ArchiveMembers, AreThoseOfTheManifest) {
    const auto members = membersOf(writeArchive(sampleRecording()));
    auto changed = members;
    changed.erase(changed.begin());
    EXPECT_EQ(refusalOf(archiveOf(changed)), "The archive doesn't begin with manifest.json.");
    changed = members;
    changed.pop_back();
    EXPECT_EQ(refusalOf(archiveOf(changed)), "The member \"numbered/1\" is missing.");
    changed = members;
    changed.push_back(members[1]);
    EXPECT_EQ(refusalOf(archiveOf(changed)), "The member \"inventory.json\" is not in manifest.json.");
    changed = members;
    changed.insert(changed.begin() + 2, members[1]);
    EXPECT_EQ(refusalOf(archiveOf(changed)),
              "The member \"inventory.json\" is where \"exchanges.jsonl\" is expected.");
    changed = members;
    changed[4].name = "files/sys/../vendor";
    EXPECT_EQ(refusalOf(archiveOf(changed)),
              "The member \"files/sys/../vendor\" is where \"files/sys/vendor\" is expected.");
}

TEST(ArchiveMembers, HaveTheLengthAndChecksumOfTheManifest) {
    auto members = membersOf(writeArchive(sampleRecording()));
    members[4].content = "0x15ae\n";
    EXPECT_EQ(refusalOf(archiveOf(members)),
              "The member \"files/sys/vendor\" has another checksum than manifest.json lists.");
    members[4].content = "longer than listed";
    EXPECT_EQ(refusalOf(archiveOf(members)),
              "The member \"files/sys/vendor\" has 18 bytes; manifest.json lists 7.");
}

TEST(ArchiveMembers, HaveTheTimeOfTheRecording) {
    EXPECT_EQ(refusalOf(archiveOf(membersOf(writeArchive(sampleRecording())), 1)),
              "The member \"manifest.json\" has another time than the recording.");
}

TEST(ArchiveManifest, OfAnotherVersionIsToldApart) {
    EXPECT_EQ(refusalOfManifest("\"version\": 1", "\"version\": 2"),
              "The archive has version 2 of the form; this program reads version 1.");
}

TEST(ArchiveManifest, ListsTheMembersOfItsFiles) {
    EXPECT_EQ(
        refusalOfManifest("\"name\": \"files/sys/vendor\"", "\"name\": \"files/sys/other\""),
        "manifest.json lists the member \"files/sys/other\" for which it has no file, or out of its order.");
    EXPECT_EQ(
        refusalOfManifest("\"path\": \"/sys/vendor\", \"kind\": \"file\"",
                          "\"path\": \"/sys/vendor\", \"kind\": \"other\""),
        "manifest.json lists the member \"files/sys/vendor\" for which it has no file, or out of its order.");
    EXPECT_EQ(
        refusalOfManifest("\"path\": \"/dev/sg0\", \"kind\": \"other\"",
                          "\"path\": \"/dev/sg0\", \"kind\": \"file\""),
        "manifest.json lists the member \"files/sys/empty\" for which it has no file, or out of its order.");
    EXPECT_EQ(refusalOfManifest("\"member\": \"numbered/1\"", "\"member\": \"numbered/2\""),
              "manifest.json numbers other members than those whose paths no member name holds.");
}

TEST(ArchiveManifest, HasOneForm) {
    EXPECT_EQ(refusalOfManifest("\"abi\": ", "\"abi\":  "),
              "manifest.json, line 5, byte 10: expected \"\\\"\".");
    EXPECT_EQ(refusalOfManifest("\"time\": 17", "\"time\": 017"),
              "manifest.json, line 6, byte 11: expected a number from -9223372036854775808 to "
              "9223372036854775807.");
    EXPECT_EQ(refusalOfManifest("\"time\": 17", "\"time\": 99999999999999999999"),
              "manifest.json, line 6, byte 11: expected a number from -9223372036854775808 to "
              "9223372036854775807.");
    EXPECT_EQ(refusalOfManifest("\"hex:2f746d70ff\"", "\"hex:2F746D70FF\""),
              "manifest.json, line 24, byte 30: expected a printable text, or \"hex:\" and the digits of one "
              "that is not.");
    EXPECT_EQ(refusalOfManifest("\"/missing\"", "\"/a\""),
              "manifest.json, line 18, byte 37: expected names in ascending order, each once, not \"/a\".");
    EXPECT_NE(refusalOfManifest("\"3.3.2.1\"", std::string(100000, '[')), "");
}

TEST(ArchiveExchanges, HaveOneForm) {
    const std::string good = "{\"kind\": \"a\", \"question\": {}, \"answers\": []}\n";
    EXPECT_EQ(refusalOfExchanges(good + "{"),
              "exchanges.jsonl, line 2, byte 1: expected \"{\\\"kind\\\": \".");
    EXPECT_EQ(refusalOfExchanges(good + good),
              "exchanges.jsonl, line 2: the same question is on a line before it.");
    EXPECT_EQ(
        refusalOfExchanges("{\"kind\": \"a\", \"question\": {\"b\": \"\", \"a\": \"\"}, \"answers\": []}\n"),
        "exchanges.jsonl, line 1, byte 44: expected names in ascending order, each once, not \"a\".");
    EXPECT_EQ(refusalOfExchanges("{\"kind\": \"a\\u0062\", \"question\": {}, \"answers\": []}\n"),
              "exchanges.jsonl, line 1, byte 13: expected one of the escapes \\\" \\\\ \\n \\t \\r.");
    EXPECT_EQ(refusalOfExchanges("{\"kind\": \"a\nb\", \"question\": {}, \"answers\": []}\n"),
              "exchanges.jsonl, line 1, byte 12: expected \"\\\\\".");
    EXPECT_NE(
        refusalOfExchanges("{\"kind\": \"a\", \"question\": {}, \"answers\": [" + std::string(100000, '[')),
        "");
}

}  // namespace ArchiveRefusalsTest
