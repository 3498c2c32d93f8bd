// The list of the vendors' libraries: which lines name one, and how name and path are read.
#include <string>
#include <utility>
#include <vector>

#include "fc/hbaapi/HbaFixture.h"

namespace hbaapilistTest {
namespace {

class HbaList : public HbaTest {
protected:
    using Entries = std::vector<std::pair<std::string, std::string>>;

    // The used entries of the table after a load of this list. None of the libraries needs to exist.
    Entries read(const std::string& text) {
        load(text);
        Entries entries;
        for (std::size_t i = 0; i < 32 && path(i) != ""; ++i) entries.emplace_back(name(i), path(i));
        return entries;
    }
    long warnings() const {
        long count = 0;
        for (const std::string& line : loggedLines(host))
            if (line.find("WARNING HBA_API: Line ") == 0) ++count;
        return count;
    }
};

TEST_F(HbaList, ALineIsANameABlankAndAPath) {
    EXPECT_EQ(read("acme /usr/lib/libacme.so\n"), (Entries{{"acme", "/usr/lib/libacme.so"}}));
}

TEST_F(HbaList, EachLineTakesTheNextEntry) {
    EXPECT_EQ(read("a /lib/a.so\nb /lib/b.so\nc /lib/c.so\n"),
              (Entries{{"a", "/lib/a.so"}, {"b", "/lib/b.so"}, {"c", "/lib/c.so"}}));
}

TEST_F(HbaList, ACommentAndAnEmptyLineUseNoEntry) {
    EXPECT_EQ(read("# vendor /lib/x.so\n\na /lib/a.so\n#\n\n\nb /lib/b.so\n"),
              (Entries{{"a", "/lib/a.so"}, {"b", "/lib/b.so"}}));
}

TEST_F(HbaList, ACommentSignIsOneOnlyAtTheBeginningOfALine) {
    EXPECT_EQ(read("a# /lib/a.so\n"), (Entries{{"a#", "/lib/a.so"}}));
}

TEST_F(HbaList, ALineWithoutTabAndBlankIsSkipped) {
    EXPECT_EQ(read("/lib/alone.so\na /lib/a.so\n"), (Entries{{"a", "/lib/a.so"}}));
}

TEST_F(HbaList, TheFirstTabPartsNameAndPathAlsoAfterABlank) {
    EXPECT_EQ(read("acme fibre channel\t/lib/a.so\n"), (Entries{{"acme fibre channel", "/lib/a.so"}}));
}

TEST_F(HbaList, OfSeveralTabsTheFirstParts) {
    EXPECT_EQ(read("acme\t/lib/a.so\tmore\n"), (Entries{{"acme", "/lib/a.so"}}));
}

TEST_F(HbaList, WithoutATabTheFirstBlankParts) {
    EXPECT_EQ(read("acme /lib/a.so more\n"), (Entries{{"acme", "/lib/a.so"}}));
}

TEST_F(HbaList, FurtherBlanksAndTabsBeforeThePathAreSkipped) {
    EXPECT_EQ(read("a\t  \t /lib/a.so\nb  \t/lib/b.so\nc    /lib/c.so\n"),
              // The tab of the second line is the first one, so the blanks before it belong to the name.
              (Entries{{"a", "/lib/a.so"}, {"b  ", "/lib/b.so"}, {"c", "/lib/c.so"}}));
}

TEST_F(HbaList, AnEmptyNameIsSkipped) {
    EXPECT_EQ(read(" /lib/x.so\n\t/lib/y.so\na /lib/a.so\n"), (Entries{{"a", "/lib/a.so"}}));
}

TEST_F(HbaList, AnEmptyPathIsSkipped) {
    EXPECT_EQ(read("x \ny\t\nz\t \t \nw /lib/w.so\t\na /lib/a.so\n"), (Entries{{"a", "/lib/a.so"}}));
}

TEST_F(HbaList, ThePathIsCutAtTheFirstOtherCharacter) {
    EXPECT_EQ(read("a /lib/a b.so\n"
                   "b /lib/b\"c.so\n"
                   "c /lib/c\xc3\xa9.so\n"
                   "d /lib/d;reboot\n"
                   "e /lib/e.so\r\n"
                   "f /lib/f\x01g\n"),
              (Entries{{"a", "/lib/a"},
                       {"b", "/lib/b"},
                       {"c", "/lib/c"},
                       {"d", "/lib/d"},
                       {"e", "/lib/e.so"},
                       {"f", "/lib/f"}}));
}

TEST_F(HbaList, LettersDigitsAndFourSignsMayStandInAPath) {
    const std::string all = "/ABCDEFGHIJKLMNOPQRSTUVWXYZ/abcdefghijklmnopqrstuvwxyz/0123456789/_-.";
    EXPECT_EQ(read("a " + all + "\n"), (Entries{{"a", all}}));
}

TEST_F(HbaList, EveryOtherByteCutsThePath) {
    const std::string allowed = "_-./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if (c == '\n' || allowed.find(c) != std::string::npos) continue;
        // With a tab as the separator, so that a blank in the path is no separator.
        EXPECT_EQ(read(std::string("a\t/lib/a") + c + "b\n"), (Entries{{"a", "/lib/a"}})) << byte;
    }
}

TEST_F(HbaList, APathThatCleaningLeavesEmptyIsSkipped) {
    EXPECT_EQ(read("x \"/lib/x.so\"\na /lib/a.so\n"), (Entries{{"a", "/lib/a.so"}}));
}

TEST_F(HbaList, ALineThatNamesNoLibraryIsReportedWithItsNumberAndReason) {
    read(
        "# a comment\n"
        "/lib/alone.so\n"
        "\t/lib/x.so\n"
        " \t \n"
        "y \n"
        "z \"/lib/z.so\"\n"
        "a /usr/lib/libfirst-hba.so\n");
    const std::string start = "WARNING HBA_API: Line ";
    const std::string list = " of /etc/config/mev/vok/hba.conf names no library: ";
    EXPECT_EQ(warnings(), 4);
    EXPECT_TRUE(hasLogged(host, start + "2" + list + "it has no tab or blank between name and path."));
    EXPECT_TRUE(hasLogged(host, start + "3" + list + "it has no name."));
    EXPECT_TRUE(hasLogged(host, start + "5" + list + "it has no path."));
    EXPECT_TRUE(
        hasLogged(host, start + "6" + list + "its path begins with a character that a path can't have."));
}

TEST_F(HbaList, CarriageReturnsBeforeTheLineEndsDoNoHarm) {
    EXPECT_EQ(read("# vendors\r\n\r\na\t/lib/a.so\r\nb /lib/b.so\r\n"),
              (Entries{{"a", "/lib/a.so"}, {"b", "/lib/b.so"}}));
    EXPECT_EQ(warnings(), 0);
}

TEST_F(HbaList, ANameMayHoldAnyCharacter) {
    EXPECT_EQ(read("Ac\"m\xc3\xa9;% /lib/a.so\n"), (Entries{{"Ac\"m\xc3\xa9;%", "/lib/a.so"}}));
}

TEST_F(HbaList, ANameOf64BytesIsCutToOneLess) {
    EXPECT_EQ(read(std::string(63, 'n') + " /lib/a.so\n" + std::string(64, 'm') + " /lib/b.so\n"),
              (Entries{{std::string(63, 'n'), "/lib/a.so"}, {std::string(63, 'm'), "/lib/b.so"}}));
}

TEST_F(HbaList, APathOf256BytesIsCutToOneLess) {
    EXPECT_EQ(read("a /" + std::string(254, 'p') + "\nb /" + std::string(255, 'q') + "\n"),
              (Entries{{"a", "/" + std::string(254, 'p')}, {"b", "/" + std::string(254, 'q')}}));
}

TEST_F(HbaList, AFileOfOneLineWithoutANewlineIsRead) {
    EXPECT_EQ(read("acme /lib/a.so"), (Entries{{"acme", "/lib/a.so"}}));
}

TEST_F(HbaList, AnEmptyFileNamesNoLibrary) {
    EXPECT_EQ(read(""), Entries{});
}

TEST_F(HbaList, ALineOf511CharactersIsRead) {
    const std::string line = "a /lib/a.so" + std::string(500, ' ');
    EXPECT_EQ(read(line + "\nb /lib/b.so\n" + line),
              (Entries{{"a", "/lib/a.so"}, {"b", "/lib/b.so"}, {"a", "/lib/a.so"}}));
    EXPECT_EQ(warnings(), 0);
}

TEST_F(HbaList, TheRestOfALongerLineIsDroppedWithAWarning) {
    const std::string line = "a /lib/a.so" + std::string(501, ' ') + "x /lib/x.so";
    EXPECT_EQ(read("# comment\n" + line + "\nb /lib/b.so\n"),
              (Entries{{"a", "/lib/a.so"}, {"b", "/lib/b.so"}}));
    EXPECT_EQ(warnings(), 1);
    EXPECT_TRUE(hasLogged(host,
                          "WARNING HBA_API: Line 2 of /etc/config/mev/vok/hba.conf is longer than 511 "
                          "characters; the rest of it is dropped."));
}

TEST_F(HbaList, ALongLastLineWithoutANewlineIsDroppedToTheEndOfTheFile) {
    EXPECT_EQ(read("a /lib/a.so" + std::string(5000, ' ') + "x /lib/x.so"), (Entries{{"a", "/lib/a.so"}}));
    EXPECT_EQ(warnings(), 1);
}

TEST_F(HbaList, ALineEndsAtANulByteAndTheNextOneIsRead) {
    EXPECT_EQ(read(std::string("a /lib/a\0x y\nb /lib/b\n", 22)),
              (Entries{{"a", "/lib/a"}, {"b", "/lib/b"}}));
    EXPECT_EQ(read(std::string("\0a /lib/a\nb /lib/b\n", 19)), (Entries{{"b", "/lib/b"}}));
    EXPECT_EQ(warnings(), 0);
}

TEST_F(HbaList, ALongLineWithANulByteIsDroppedToItsEnd) {
    std::string line = "a /lib/a";
    line.push_back('\0');
    EXPECT_EQ(read(line + std::string(600, 'x') + " /lib/x.so\nb /lib/b\n"),
              (Entries{{"a", "/lib/a"}, {"b", "/lib/b"}}));
    EXPECT_EQ(warnings(), 1);
}

TEST_F(HbaList, The33rdLibraryIsNotReadAndOneWarningSaysSo) {
    std::string text;
    for (int i = 0; i < 40; ++i) text += "n" + std::to_string(i) + " /usr/lib/libfirst-hba.so\n";
    const Entries entries = read(text);
    ASSERT_EQ(entries.size(), 32u);
    EXPECT_EQ(entries[31].first, "n31");
    EXPECT_EQ(libraries.opened().size(), 32u);
    EXPECT_EQ(countLogged(host,
                          "WARNING HBA_API: /etc/config/mev/vok/hba.conf names more than 32 libraries; the "
                          "further ones are not loaded."),
              1);
}

TEST_F(HbaList, CommentsAfterThe32ndLibraryGiveNoWarning) {
    std::string text;
    for (int i = 0; i < 32; ++i) text += "n" + std::to_string(i) + " /usr/lib/libfirst-hba.so\n";
    EXPECT_EQ(read(text + "# the end\n\n").size(), 32u);
    for (const std::string& line : loggedLines(host))
        EXPECT_EQ(line.find("WARNING"), std::string::npos) << line;
}

}  // namespace
}  // namespace hbaapilistTest
