#include "platform/pci/vokPciVpd.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace vokPciVpdTest {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct Split {
    std::string name = "(none)";
    std::vector<std::string> tags;  // "PN=value"
    std::size_t count = 0;
};

Split split(const std::string& bytes) {
    const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
    Split result;
    std::list<pci_vpd_tag> tags;
    result.count = pci_get_vpdtags(exact.data(), exact.size(), result.name, tags);
    for (const auto& tag : tags) result.tags.push_back(tag.keyword + "=" + tag.value);
    return result;
}

const auto name = "\x82\x08\0Adapter "s;
const auto readOnly =
    "\x90\x11\0PN\x05"
    "A-1 2SN\x03"
    "xyzRV\0"s;

}  // namespace

TEST(PciVpd, ReturnsTheNameAndTheReadOnlyTagsInOrder) {
    const Split result = split(name + readOnly + "\x78"s);
    EXPECT_EQ(result.name, "Adapter ");
    EXPECT_THAT(result.tags, ElementsAre("PN=A-1 2", "SN=xyz", "RV="));
    EXPECT_EQ(result.count, 3u);
}

TEST(PciVpd, ThePartThatTheHostMayWriteIsLeftOut) {
    const Split result = split(name + readOnly + "\x91\x05\0YA\x02xx\x78"s);
    EXPECT_THAT(result.tags, ElementsAre("PN=A-1 2", "SN=xyz", "RV="));
}

TEST(PciVpd, DataAfterTheEndTagAreIgnored) {
    EXPECT_THAT(split(name + "\x78"s + readOnly).tags, IsEmpty());
    EXPECT_THAT(split(name + "\x79\0"s + readOnly).tags, IsEmpty());  // an end tag with a checksum
}

TEST(PciVpd, OtherResourcesAreSkipped) {
    const Split result = split(name + "\x22zz\x81\x02\0zz"s + readOnly);
    EXPECT_EQ(result.count, 3u);
}

TEST(PciVpd, TagsWithoutANameBeforeThemAreFound) {
    const Split result = split(readOnly);
    EXPECT_EQ(result.name, "(none)");
    EXPECT_EQ(result.count, 3u);
}

TEST(PciVpd, ValuesMayHoldAnyByte) {
    EXPECT_THAT(split("\x90\x07\0RV\x04\x00\xff\n\x78"s).tags, ElementsAre("RV=\x00\xff\n\x78"s));
}

TEST(PciVpd, KeywordsMayOccurTwice) {
    EXPECT_THAT(split("\x90\x08\0V0\x01"
                      "aV0\x01"
                      "b"s)
                    .tags,
                ElementsAre("V0=a", "V0=b"));
}

TEST(PciVpd, AnIncompleteNameIsLeftOut) {
    std::string text = "before";
    const std::string bytes = "\x82\x08\0Adapter"s;
    EXPECT_EQ(pci_get_vpdname(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), text), 0u);
    EXPECT_EQ(text, "before");
    EXPECT_EQ(split("\x82\xff\xff"
                    "Adapter"s)
                  .name,
              "(none)");
}

TEST(PciVpd, TheNamesLengthIncludesTheHead) {
    std::string text;
    const std::string bytes = name + readOnly;
    EXPECT_EQ(pci_get_vpdname(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), text), 11u);
    EXPECT_EQ(text, "Adapter ");
    EXPECT_EQ(pci_get_vpdname(reinterpret_cast<const unsigned char*>(readOnly.data()), readOnly.size(), text),
              0u);
}

TEST(PciVpd, TheLengthOfANameHasTwoBytes) {
    EXPECT_EQ(split("\x82\x2c\x01"s + std::string(300, 'n')).name, std::string(300, 'n'));
}

TEST(PciVpd, AValueLongerThanItsPartIsLeftOutAndEndsThePart) {
    EXPECT_THAT(split("\x90\x0c\0PN\x01"
                      "aSN\x08"
                      "xyzzzzzz"s)
                    .tags,
                ElementsAre("PN=a"));
    EXPECT_THAT(split("\x90\x06\0PN\x01"
                      "aSN"s)
                    .tags,
                ElementsAre("PN=a"));  // the third byte is missing
}

TEST(PciVpd, APartLongerThanTheDataYieldsItsCompleteTags) {
    EXPECT_THAT(split("\x90\xff\xff"
                      "PN\x01"
                      "aSN\x04"
                      "xyz"s)
                    .tags,
                ElementsAre("PN=a"));
}

TEST(PciVpd, NoDataHasNoTags) {
    std::string text = "before";
    std::list<pci_vpd_tag> tags;
    EXPECT_EQ(pci_get_vpdtags(nullptr, 0, text, tags), 0u);
    EXPECT_EQ(text, "before");
    EXPECT_THAT(split("\x82"s).tags, IsEmpty());
    EXPECT_THAT(split("\x90\x05"s).tags, IsEmpty());
}

TEST(PciVpd, MeaninglessBytesEndTheWalk) {
    for (int byte = 0; byte < 256; ++byte)
        EXPECT_EQ(split(std::string(4096, static_cast<char>(byte))).name, "(none)") << byte;
}

TEST(PciVpd, AppendsToTheList) {
    std::list<pci_vpd_tag> tags{{"XX", "old"}};
    std::string text;
    EXPECT_EQ(
        pci_get_vpdtags(reinterpret_cast<const unsigned char*>(readOnly.data()), readOnly.size(), text, tags),
        3u);
    EXPECT_EQ(tags.size(), 4u);
    EXPECT_EQ(tags.front().value, "old");
}

}  // namespace vokPciVpdTest
