#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "platform/utils/vokUtils.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace vokUtilsCommandsTest {
namespace {

using Ids = std::pair<std::string, std::string>;

// The result of a command that prints `printed`.
std::string collected(const std::string& printed) {
    const FakeHost host;
    host.part<FakeCommands>().output["ask"] = printed;
    return vokUtils::executeEsxiCommandAndFetchOutput("ask");
}

std::string trimmed(std::string in) {
    std::string out = "left over";
    vokUtils::trimLeadingTrailingSpaces(in, out);
    return out;
}

std::string deviceCommand(const std::string& address) {
    return "cat /opt/mev/vok/data/vok_hwlist.txt | awk '/" + address +
           "/,/^$/' | grep -w 'Vendor ID:\\|Device ID:'";
}

std::string subsystemCommand(const std::string& address) {
    return "cat /opt/mev/vok/data/vok_hwlist.txt | awk '/" + address +
           "/,/^$/' | grep -w 'SubVendor ID:\\|SubDevice ID:'";
}

const std::string adapterCommand = "localcli storage core adapter list | grep -i 'vmhba2'";

}  // namespace

// --- running a command ---

TEST(ExecuteEsxiCommand, EachLineIsTrimmedAndPrecededByATab) {
    EXPECT_EQ(collected("a\n  b  \n"), "\ta\tb");
}

TEST(ExecuteEsxiCommand, ACommandThatPrintsNothingYieldsAnEmptyText) {
    EXPECT_EQ(collected(""), "");
}

TEST(ExecuteEsxiCommand, ALastLineWithoutANewlineCounts) {
    EXPECT_EQ(collected("a\nb"), "\ta\tb");
}

TEST(ExecuteEsxiCommand, ALineOfBlanksIsOnlyATab) {
    EXPECT_EQ(collected("a\n   \nb\n"), "\ta\t\tb");
}

TEST(ExecuteEsxiCommand, AnEmptyLineKeepsItsNewlineBecauseASingleCharacterIsNotTrimmed) {
    EXPECT_EQ(collected("a\n\nb\n"), "\ta\t\n\tb");
}

TEST(ExecuteEsxiCommand, ALeadingTabOfALineStaysAfterTheAddedTab) {
    EXPECT_EQ(collected("\tindented\n"), "\t\tindented");
}

TEST(ExecuteEsxiCommand, CarriageReturnsAtTheEndOfALineAreRemoved) {
    EXPECT_EQ(collected("a\r\nb\r\n"), "\ta\tb");
}

TEST(ExecuteEsxiCommand, ALineOf510CharactersIsOnePiece) {
    const std::string line(510, 'x');
    EXPECT_EQ(collected(line + "\nnext\n"), "\t" + line + "\tnext");
}

TEST(ExecuteEsxiCommand, ALineOf511CharactersHasItsNewlineAsTheSecondPiece) {
    const std::string line(511, 'x');
    EXPECT_EQ(collected(line + "\nnext\n"), "\t" + line + "\t\n\tnext");
}

TEST(ExecuteEsxiCommand, ALineOfMoreThan511CharactersIsSplitIntoTwoPieces) {
    EXPECT_EQ(collected(std::string(511, 'x') + "yz\n"), "\t" + std::string(511, 'x') + "\tyz");
}

TEST(ExecuteEsxiCommand, BlanksBetweenTwoPiecesAreLost) {
    EXPECT_EQ(collected(std::string(510, 'x') + "  yz\n"), "\t" + std::string(510, 'x') + "\tyz");
}

TEST(ExecuteEsxiCommand, ALineEndsAtANulByte) {
    EXPECT_EQ(collected(std::string("ab\0cd\nef\n", 9)), "\tab\tef");
    EXPECT_EQ(collected(std::string("\0cd\nef\n", 7)), "\t\tef");
}

TEST(ExecuteEsxiCommand, OutputIsUsedWhateverTheExitStatusWhichIsLogged) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().onCommand = [](const std::string&, int& status) {
        status = 1 << 8;
        return std::string("still parsed\n");
    };
    for (int time = 0; time < 3; ++time)
        EXPECT_EQ(vokUtils::executeEsxiCommandAndFetchOutput("anything"), "\tstill parsed");
    EXPECT_EQ(countLogged(host, "WARNING VOK_UTILS: Command failed (exit status 1) : anything"), 1);
}

TEST(ExecuteEsxiCommand, LogsTheCommandAndRunsItUnchanged) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().output["localcli storage san fc list"] = "";
    vokUtils::executeEsxiCommandAndFetchOutput("localcli storage san fc list");
    EXPECT_EQ(host.part<FakeCommands>().texts(), std::vector<std::string>{"localcli storage san fc list"});
    EXPECT_THAT(loggedLines(host),
                testing::ElementsAre("DEBUG VOK_UTILS: command =localcli storage san fc list"));
}

TEST(ExecuteEsxiCommand, ACommandThatCanNotBeStartedIsAnErrorAndYieldsAnEmptyText) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().failToStart = true;
    EXPECT_EQ(vokUtils::executeEsxiCommandAndFetchOutput("ask"), "");
    EXPECT_TRUE(hasLogged(host,
                          "ERROR VOK_UTILS: Error(Resource temporarily unavailable) occurred while executing "
                          "command : ask"));
}

TEST(ExecuteEsxiCommand, TheOutputOfARunawayCommandIsCutWithAWarning) {
    const FakeHost host;
    logEverything(host);
    std::string wild;
    for (int i = 0; i < 17 * 1024 * 1024 / 512; ++i) wild += std::string(511, 'x') + "\n";
    host.part<FakeCommands>().output["ask"] = wild;
    const std::string output = vokUtils::executeEsxiCommandAndFetchOutput("ask");
    EXPECT_LE(output.size(), 16u * 1024 * 1024);
    EXPECT_GT(output.size(), 16u * 1024 * 1024 - 1024);
    EXPECT_THAT(loggedLines(host).back(), testing::MatchesRegex("WARNING VOK_UTILS: Output is cut at .*"));
}

// --- trimming ---

TEST(TrimSpaces, RemovesAnyWhiteSpaceAtTheEndAndOnlyBlanksAtTheFront) {
    EXPECT_EQ(trimmed("  a b \t\r\n\v\f"), "a b");
    EXPECT_EQ(trimmed("\t a"), "\t a");
    EXPECT_EQ(trimmed(" \t a"), "\t a");
    EXPECT_EQ(trimmed("plain"), "plain");
}

TEST(TrimSpaces, ChangesTheCallersCopyOnlyAtItsEnd) {
    std::string in = "  text \n";
    std::string out;
    vokUtils::trimLeadingTrailingSpaces(in, out);
    EXPECT_EQ(in, "  text");
    EXPECT_EQ(out, "text");
}

TEST(TrimSpaces, AnEmptyTextClearsTheResultToo) {
    EXPECT_EQ(trimmed(""), "");
}

TEST(TrimSpaces, OnlyBlanksYieldAnEmptyText) {
    EXPECT_EQ(trimmed(" "), "");
    EXPECT_EQ(trimmed("    "), "");
    EXPECT_EQ(trimmed(" \n"), "");
}

TEST(TrimSpaces, ASingleWhiteSpaceCharacterOtherThanABlankStays) {
    EXPECT_EQ(trimmed("\n"), "\n");
    EXPECT_EQ(trimmed("\t"), "\t");
    EXPECT_EQ(trimmed("\t\n"), "\t");
    EXPECT_EQ(trimmed("\n\n\n"), "\n");
}

TEST(TrimSpaces, BytesBeyondAsciiAreNotWhiteSpace) {
    EXPECT_EQ(trimmed(" \xC2\xA0\xFF "), "\xC2\xA0\xFF");
}

// --- values by expression ---

TEST(ValueByRegex, SkipsTheColonAndOneBlank) {
    const FakeHost host;
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("\tVendor ID: 0x8086\tDevice ID: 0x1528",
                                                    "\tVendor ID: 0x[A-Za-z0-9]{4}"),
              "0x8086");
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("Time: 08:38:22", "Time: .*"), "08:38:22");
}

TEST(ValueByRegex, AnyCharacterAfterTheColonIsSkippedLikeABlank) {
    const FakeHost host;
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("key:value", "key:value"), "alue");
}

TEST(ValueByRegex, TakesTheFirstOfSeveralMatches) {
    const FakeHost host;
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("\tLink: Up\tLink: Down", "\tLink: [A-Za-z]+"), "Up");
}

TEST(ValueByRegex, ExpressionsAreExtendedAndCaseSensitive) {
    const FakeHost host;
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("k: ab", "k: (ab|cd)+"), "ab");
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("K: ab", "k: ab"), "");
}

TEST(ValueByRegex, NoMatchIsADebugLineAndAnEmptyText) {
    const FakeHost host;
    logEverything(host);
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("\tDevice ID: 0x1528", "\tVendor ID: .*"), "");
    EXPECT_THAT(loggedLines(host),
                testing::ElementsAre("DEBUG VOK_UTILS: Error detecting valueType : No match"));
}

TEST(ValueByRegex, AnInvalidExpressionIsAWarningAndAnEmptyText) {
    const FakeHost host;
    logEverything(host);
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("text", "[a-"), "");
    const auto lines = loggedLines(host);
    ASSERT_EQ(lines.size(), 1u);
    // REG_EBRACK is 7; its text comes from the C library.
    EXPECT_THAT(lines[0], testing::StartsWith(
                              "WARNING VOK_UTILS: Error Compiling Regex, Return Value: 7, Error Info: Unm"));
}

TEST(ValueByRegex, AnEmptyMatchIsAWarningAndAnEmptyText) {
    const FakeHost host;
    logEverything(host);
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("abc", "x*"), "");
    EXPECT_THAT(
        loggedLines(host),
        testing::ElementsAre("WARNING VOK_UTILS: Issue in identifying details from localcli output : abc"));
}

TEST(ValueByRegex, AMatchWithoutAColonAndABlankAfterItHasNoValue) {
    const FakeHost host;
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("abc", "abc"), "");
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("key:", "key:"), "");
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli("key: ", "key: "), "");
}

TEST(ValueByRegex, TextOfAnySizeIsSearched) {
    const FakeHost host;
    const std::string large(4 * 1024 * 1024, 'x');
    EXPECT_EQ(vokUtils::getValueByRegexFromLocalcli(large + "\tID: 0x12", "\tID: 0x[0-9]{2}"), "0x12");
}

// --- PCI ids ---

TEST(PciIds, DeviceCommandAndValues) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    logEverything(host);
    commands.output[deviceCommand("0000:05:00.0")] = "   Vendor ID: 0x14e4\n   Device ID: 0x16d7\n";
    EXPECT_EQ(vokUtils::get_vendor_device("0000:05:00.0"), Ids("0x14e4", "0x16d7"));
    EXPECT_EQ(commands.texts(), std::vector<std::string>{deviceCommand("0000:05:00.0")});
    EXPECT_EQ(loggedLines(host).back(), "DEBUG VOK_UTILS: vendorId = 0x14e4, deviceId = 0x16d7");
}

TEST(PciIds, SubsystemCommandAndValues) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    logEverything(host);
    commands.output[subsystemCommand("0000:af:1f.7")] = "   SubVendor ID: 0x1590\n   SubDevice ID: 0x00FF\n";
    EXPECT_EQ(vokUtils::get_subvendor_subdevice("0000:af:1f.7"), Ids("0x1590", "0x00FF"));
    EXPECT_EQ(commands.texts(), std::vector<std::string>{subsystemCommand("0000:af:1f.7")});
    EXPECT_EQ(loggedLines(host).back(), "DEBUG VOK_UTILS: subVendorId = 0x1590, subDeviceId = 0x00FF");
}

TEST(PciIds, AnAddressMissingFromTheListYieldsEmptyTextsAndALogLineForEach) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().onCommand = [](const std::string&, int& status) {
        status = 1 << 8;  // grep found no line
        return std::string();
    };
    EXPECT_EQ(vokUtils::get_vendor_device("0000:05:00.0"), Ids("", ""));
    EXPECT_THAT(loggedLines(host),
                testing::ElementsAre("DEBUG VOK_UTILS: command =" + deviceCommand("0000:05:00.0"),
                                     "DEBUG VOK_UTILS: Error detecting valueType : No match",
                                     "DEBUG VOK_UTILS: Error detecting valueType : No match",
                                     "DEBUG VOK_UTILS: Cound not fetch vendorId for 0000:05:00.0",
                                     "DEBUG VOK_UTILS: Cound not fetch deviceId for 0000:05:00.0",
                                     "DEBUG VOK_UTILS: vendorId = , deviceId = "));
}

TEST(PciIds, APipelineThatFailsIsLogged) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().onCommand = [](const std::string&, int& status) {
        status = 2 << 8;
        return std::string();
    };
    EXPECT_EQ(vokUtils::get_vendor_device("0000:05:00.0"), Ids("", ""));
    EXPECT_TRUE(hasLogged(
        host, "WARNING VOK_UTILS: Command failed (exit status 2) : " + deviceCommand("0000:05:00.0")));
}

TEST(PciIds, ASubsystemMissingFromTheListYieldsEmptyTextsAndALogLineForEach) {
    const FakeHost host;
    logEverything(host);
    EXPECT_EQ(vokUtils::get_subvendor_subdevice("0000:05:00.0"), Ids("", ""));
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Cound not fetch subVendorId for 0000:05:00.0"));
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Cound not fetch subDeviceId for 0000:05:00.0"));
    EXPECT_EQ(loggedLines(host).back(), "DEBUG VOK_UTILS: subVendorId = , subDeviceId = ");
}

TEST(PciIds, OneOfTheTwoMayBeMissing) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().output[deviceCommand("0000:05:00.0")] = "   Device ID: 0x16d7\n";
    EXPECT_EQ(vokUtils::get_vendor_device("0000:05:00.0"), Ids("", "0x16d7"));
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Cound not fetch vendorId for 0000:05:00.0"));
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: Cound not fetch deviceId for 0000:05:00.0"));
}

TEST(PciIds, AnIdWithFewerThanFourDigitsOrNoPrefixDoesNotMatch) {
    const FakeHost host;
    host.part<FakeCommands>().output[deviceCommand("0000:05:00.0")] =
        "   Vendor ID: 0x4e4\n   Device ID: 5846\n";
    EXPECT_EQ(vokUtils::get_vendor_device("0000:05:00.0"), Ids("", ""));
}

TEST(PciIds, AKeyCountsOnlyAtTheStartOfItsLine) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.output[deviceCommand("0000:05:00.0")] =
        "   Old Vendor ID: 0x1111\n   Old Device ID: 0x2222\n   Vendor ID: 0x14e4\n   Device ID: 0x16d7\n";
    EXPECT_EQ(vokUtils::get_vendor_device("0000:05:00.0"), Ids("0x14e4", "0x16d7"));
    commands.output[subsystemCommand("0000:05:00.0")] =
        "   A SubVendor ID: 0x1111\n   A SubDevice ID: 0x2222\n   SubVendor ID: 0x1590\n   SubDevice ID: "
        "0x00ff\n";
    EXPECT_EQ(vokUtils::get_subvendor_subdevice("0000:05:00.0"), Ids("0x1590", "0x00ff"));
}

TEST(PciIds, OfALongerIdTheFirstFourDigitsAreUsed) {
    const FakeHost host;
    host.part<FakeCommands>().output[deviceCommand("0000:05:00.0")] =
        "   Vendor ID: 0x14e4ff\n   Device ID: 0x16d7\n";
    EXPECT_EQ(vokUtils::get_vendor_device("0000:05:00.0"), Ids("0x14e4", "0x16d7"));
}

TEST(PciIds, ATextThatIsNotAnAddressIsNeverPutIntoACommand) {
    const FakeHost host;
    logEverything(host);
    EXPECT_EQ(vokUtils::get_vendor_device("0/' ; reboot"), Ids("", ""));
    EXPECT_EQ(vokUtils::get_subvendor_subdevice(""), Ids("", ""));
    EXPECT_TRUE(host.part<FakeCommands>().texts().empty());
    EXPECT_THAT(loggedLines(host),
                testing::ElementsAre("WARNING VOK_UTILS: Not a PCI address, not looked up : 0/' ; reboot",
                                     "DEBUG VOK_UTILS: Cound not fetch vendorId for 0/' ; reboot",
                                     "DEBUG VOK_UTILS: Cound not fetch deviceId for 0/' ; reboot",
                                     "DEBUG VOK_UTILS: vendorId = , deviceId = ",
                                     "WARNING VOK_UTILS: Not a PCI address, not looked up : ",
                                     "DEBUG VOK_UTILS: Cound not fetch subVendorId for ",
                                     "DEBUG VOK_UTILS: Cound not fetch subDeviceId for ",
                                     "DEBUG VOK_UTILS: subVendorId = , subDeviceId = "));
}

TEST(PciAddress, ConsistsOfHexDigitsColonsAndADotWithFourOrMoreDigitsInTheSegment) {
    for (const char* address :
         {"0000:05:00.0", "ffff:ff:1f.f", "ABCD:EF:01.7", "10000:e1:00.0", "1234abcd:05:00.0"})
        EXPECT_TRUE(vokUtils::isPCIAddress(address)) << address;
    for (const char* other : {"",
                              "0000:05:00.",
                              "0000:05:00.00",
                              "000:05:00.0",
                              "00000:05:00.0",
                              "0000:05:00:0",
                              "0000.05:00.0",
                              "0000-05:00.0",
                              "+000:05:00.0",
                              " 000:05:00.0",
                              "0000: 5:00.0",
                              "0000:05:00.g",
                              "0x00:05:00.0",
                              "NotAvailable",
                              "0000:05:00.0 ",
                              "0000:05:00.\n",
                              "10000:05:00.00",
                              "10000:05:0.0",
                              "123456789:05:00.0",
                              ":05:00.0",
                              "0000",
                              "1000:0:05:00.0",
                              "10000:05:00.g"})
        EXPECT_FALSE(vokUtils::isPCIAddress(other)) << other;
    EXPECT_FALSE(vokUtils::isPCIAddress(std::string("0000:05:00.\0", 12)));
}

// --- adapter text ---

TEST(PciString, IsTheTextBetweenTheFirstParentheses) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.output[adapterCommand] =
        "vmhba2  qlnativefc  link-up  fc.20:21  Second Level Lun ID  (0000:5e:00.1) FC Adapter (32Gb)\n";
    std::string out = "before";
    EXPECT_EQ(vokUtils::getPCIString("vmhba2", out), 1);
    EXPECT_EQ(out, "0000:5e:00.1");
    EXPECT_EQ(commands.texts(), std::vector<std::string>{adapterCommand});
}

TEST(PciString, OnlyAPipelineThatFailsIsLogged) {
    const FakeHost host;
    logEverything(host);
    int exitStatus = 1;  // grep found no line
    host.part<FakeCommands>().onCommand = [&](const std::string&, int& status) {
        status = exitStatus << 8;
        return std::string();
    };
    std::string out;
    EXPECT_EQ(vokUtils::getPCIString("vmhba2", out), 1);
    EXPECT_THAT(loggedLines(host), testing::IsEmpty());
    exitStatus = 2;
    EXPECT_EQ(vokUtils::getPCIString("vmhba2", out), 1);
    EXPECT_THAT(
        loggedLines(host),
        testing::ElementsAre("WARNING VOK_UTILS: Command failed (exit status 2) : " + adapterCommand));
}

TEST(PciString, AnAdapterWithoutParenthesesLeavesTheTextUnchanged) {
    const FakeHost host;
    std::string out = "before";
    for (const char* line : {"", "vmhba2  nvmerdma  link-n/a  rdma.vmnic2  Adapter on vmrdma0\n",
                             "vmhba2 (0000:5e:00.1\n", "vmhba2 0000:5e:00.1)\n"}) {
        host.part<FakeCommands>().output[adapterCommand] = line;
        EXPECT_EQ(vokUtils::getPCIString("vmhba2", out), 1) << line;
        EXPECT_EQ(out, "before") << line;
    }
}

TEST(PciString, IsEmptyForParenthesesInTheWrongOrder) {
    const FakeHost host;
    host.part<FakeCommands>().output[adapterCommand] = "vmhba2 a) b (c\n";
    std::string out = "before";
    EXPECT_EQ(vokUtils::getPCIString("vmhba2", out), 1);
    EXPECT_EQ(out, "");
}

TEST(PciString, LongLinesAndSeveralLinesAreOneText) {
    const FakeHost host;
    host.part<FakeCommands>().output[adapterCommand] =
        "vmhba2 " + std::string(600, '-') + "(0000:5e\n:00.1)\nvmhba20 (0000:d8:00.0)\n";
    std::string out;
    EXPECT_EQ(vokUtils::getPCIString("vmhba2", out), 1);
    EXPECT_EQ(out, "0000:5e\n:00.1");
}

TEST(PciString, ACommandThatCanNotBeStartedIsAnError) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().failToStart = true;
    std::string out = "before";
    EXPECT_EQ(vokUtils::getPCIString("vmhba2", out), -1);
    EXPECT_EQ(out, "before");
    EXPECT_TRUE(hasLogged(host, "ERROR VOK_UTILS: Error occurred in identifying PCI string."));
}

TEST(PciString, ATextThatIsNotAnAdapterNameIsNeverPutIntoACommand) {
    const FakeHost host;
    logEverything(host);
    std::string out = "before";
    for (const char* name : {"", "a' ; reboot ; '", "$(reboot)", "vm hba", "vmhba2\n", "-f", "h\xC3\xA9"}) {
        EXPECT_EQ(vokUtils::getPCIString(name, out), -1) << name;
        EXPECT_EQ(out, "before");
    }
    EXPECT_TRUE(host.part<FakeCommands>().texts().empty());
    EXPECT_TRUE(hasLogged(host, "WARNING VOK_UTILS: Not an adapter name, not looked up : $(reboot)"));
}

TEST(InterfaceName, MayHoldLettersDigitsAndFourOtherCharacters) {
    const std::string allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._:-";
    for (int byte = 0; byte < 256; ++byte) {
        const char each = static_cast<char>(byte);
        EXPECT_EQ(vokUtils::isInterfaceName(std::string("vm") + each + "nic"),
                  allowed.find(each) != std::string::npos)
            << byte;
    }
}

// --- parts of texts and lines of files ---

TEST(SubStr, IsBetweenTheFirstStartAndTheFirstEndAfterIt) {
    EXPECT_EQ(vokUtils::getSubStr("[", "]", "a]b[c]d[e]"), "c");
    EXPECT_EQ(vokUtils::getSubStr("Name:", ";", "Name:x;Name:y;"), "x");
    EXPECT_EQ(vokUtils::getSubStr("aa", "a", "aaab"), "");
}

TEST(SubStr, WithoutAnEndReachesToTheEndOfTheText) {
    EXPECT_EQ(vokUtils::getSubStr("[", "]", "a[bc"), "bc");
    EXPECT_EQ(vokUtils::getSubStr("[", "]", "]a["), "");
}

TEST(SubStr, IsEmptyWithoutAStart) {
    EXPECT_EQ(vokUtils::getSubStr("[", "]", "abc]"), "");
    EXPECT_EQ(vokUtils::getSubStr("[", "]", ""), "");
}

TEST(LineFromFile, IsTheFirstThatHoldsThePattern) {
    const FakeHost host;
    host.root.writeFile("/etc/notes", "one\ntwo words\nmore words\nlast words");
    EXPECT_EQ(vokUtils::getLineFromFile("/etc/notes", "words"), "two words");
    EXPECT_EQ(vokUtils::getLineFromFile("/etc/notes", "last"), "last words");
    EXPECT_EQ(vokUtils::getLineFromFile("/etc/notes", "none"), "");
}

TEST(LineFromFile, IsEmptyIfTheFileIsMissingOrADirectory) {
    const FakeHost host;
    host.root.writeFile("/etc/notes", "one\n");
    EXPECT_EQ(vokUtils::getLineFromFile("/etc/none", "one"), "");
    EXPECT_EQ(vokUtils::getLineFromFile("/etc", "one"), "");
}

}  // namespace vokUtilsCommandsTest
