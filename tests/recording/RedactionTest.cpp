#include "recording/Redaction.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cctype>
#include <cstring>
#include <numeric>

#include "fc/hbaapi/hbaapi.h"
#include "recording/Archive.h"
#include "recording/Forms.h"
#include "recording/SampleRecording.h"

namespace RedactionTest {

using namespace std::string_literals;
using recording::Exchange;
using recording::Fields;
using recording::Recording;
using recording::redact;
namespace kinds = recording::kinds;
using Kind = recording::FileEntry::Kind;

std::string lower(std::string text) {
    for (char& each : text) each = static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
    return text;
}

// Its own decoder, so that the tests don't compare the code with itself.
std::string bytesOf(const std::string& digits) {
    std::string bytes;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2)
        bytes += static_cast<char>(std::strtol(digits.substr(at, 2).c_str(), nullptr, 16));
    return bytes;
}

std::string digitsOf(const std::string& bytes) {
    std::string digits;
    char text[3];
    for (const char each : bytes) {
        std::snprintf(text, sizeof(text), "%02x", static_cast<unsigned char>(each));
        digits += text;
    }
    return digits;
}

std::string without(std::string text, const std::string& characters) {
    text.erase(std::remove_if(text.begin(), text.end(),
                              [&](char each) { return characters.find(each) != std::string::npos; }),
               text.end());
    return text;
}

std::string swapped(std::string text) {
    for (std::size_t at = 0; at + 1 < text.size(); at += 2) std::swap(text[at], text[at + 1]);
    return text;
}

std::string padded(std::string text, std::size_t length) {
    text.resize(length, ' ');
    return text;
}

unsigned sumOf(const std::string& bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), 0u,
                           [](unsigned sum, char each) { return sum + static_cast<unsigned char>(each); }) &
           0xFF;
}

Exchange exchange(const std::string& kind, const Fields& question, const Fields& answer) {
    return {kind, question, {answer}};
}

// --- records with planted identities ---

std::string vpdPage80(const std::string& serial) {
    return "\0\x80\0"s + static_cast<char>(serial.size()) + serial;
}

std::string vpdPage83(const std::string& wwn) {
    return "\0\x83\0\x18\x01\x03\0\x08"s + bytesOf(wwn) + "\x61\x93\0\x08"s + bytesOf(wwn);
}

std::string inquiry(const std::string& serial) {
    return "\0\0\6\2\x5B\0\0\0"s + "MEV     MEV1800EH10K    0006" + padded(serial, 20) + std::string(40, 'x');
}

std::string identify(const std::string& serial, const std::string& wwn) {
    std::string block(512, '\0');
    block.replace(20, 20, swapped(padded(serial, 20)));
    block.replace(216, 8, bytesOf(wwn));
    block[510] = '\xA5';
    block[511] = static_cast<char>(-sumOf(block));
    return block;
}

std::string smbios(const std::string& serial, const std::string& uuid, const std::string& memorySerial) {
    std::string table = "_SM_\0\x1F"s + std::string(25, '\0');
    table += "\1\x1B\0\0\1\2\0\3"s + bytesOf(uuid) + "\6\0\0"s + "MEV\0Server\0"s + serial + "\0\0"s;
    table += "\x11\x1C\1\0"s + std::string(20, '\0') + "\1\0\0\0"s + memorySerial + "\0\0"s;
    table += "\x7F\4\2\0\0\0"s;
    const std::size_t length = table.size() - 31;
    table[22] = static_cast<char>(length);
    return table;
}

std::string pciVpd(const std::string& serial) {
    std::string fields = "PN\4AB-1SN"s + static_cast<char>(serial.size()) + serial + "V0\2xyRV\1"s;
    const std::string head = "\x82\3\0Dev\x90"s + static_cast<char>(fields.size() + 1) + "\0"s + fields;
    return head + static_cast<char>(-sumOf(head)) + "\x78";
}

std::string hbaAdapter(const std::string& serial, const std::string& wwn) {
    HBA_ADAPTERATTRIBUTES attributes{};
    std::memcpy(attributes.SerialNumber, serial.data(), serial.size());
    std::memcpy(attributes.NodeWWN.wwn, bytesOf(wwn).data(), 8);
    std::strcpy(attributes.NodeSymbolicName, "MEV HBA on Rack42-Node07");
    return {reinterpret_cast<const char*>(&attributes), sizeof(attributes)};
}

std::string hbaPort(const std::string& node, const std::string& port, const std::string& fabric) {
    HBA_PORTATTRIBUTES attributes{};
    std::memcpy(attributes.NodeWWN.wwn, bytesOf(node).data(), 8);
    std::memcpy(attributes.PortWWN.wwn, bytesOf(port).data(), 8);
    std::memcpy(attributes.FabricName.wwn, bytesOf(fabric).data(), 8);
    return {reinterpret_cast<const char*>(&attributes), sizeof(attributes)};
}

std::string raidDisk(const std::string& serial, const std::string& sasAddress) {
    std::string record(512, '\0');
    record.replace(12, 28, "MEV     MEV1800EH10K    0006");
    record.replace(40, serial.size(), serial);
    std::string little = bytesOf(sasAddress);
    std::reverse(little.begin(), little.end());
    record.replace(300, 8, little);
    return record;
}

// --- the planted host ---

struct Planted {
    // Serial numbers and names, found in any case, in words of two swapped characters and without blanks.
    std::vector<std::string> texts = {"R1MEV000001",  "R1MEV000002", "ZK30 ABC7",  "SH12K00731",
                                      "CZ3140TEST",   "MEM0815A",    "VPD7001234", "FC82145690",
                                      "SPB1305412",   "R9RAID0007",  "BRD-77120X", "rack42-node07",
                                      "corp.example", "scratch-vol7"};
    // Found with any separator, and as bytes in both orders.
    std::vector<std::string> digits = {"5000c500a1b2c3d4",
                                       "5000c500a1b2c3e8",
                                       "10000090fa7c41d0",
                                       "10000090fa7c41d1",
                                       "2001000a8b3c4d5e",
                                       "500605b00a1b2c30",
                                       "600605b00a1b2c302a3b4c5d6e7f8091",
                                       "02005e10000a",
                                       "02005e10000b",
                                       "4c4c4544004a5910803cb8c04f4e4d32"};
    std::vector<std::string> addresses = {"10.42.7.11", "192.168.107.15", "2001:db8::4a2f"};
};

Recording plantedHost() {
    Recording host = sampleRecording();
    host.redacted = false;
    host.replaced.clear();
    host.remarks.clear();
    host.exchanges.clear();
    const std::string disk = "/sys/class/scsi_device/2:0:0:0/device";
    host.files[disk + "/vpd_pg80"] = fileEntry(vpdPage80("  R1MEV000001"));
    host.files[disk + "/vpd_pg83"] = fileEntry(vpdPage83("5000c500a1b2c3d4"));
    host.files[disk + "/inquiry"] = fileEntry(inquiry("R1MEV000002"));
    host.files[disk + "/sas_address"] = fileEntry("0x500605b00a1b2c30\n");
    host.files["/sys/class/scsi_host/host2/board_tracer"] = fileEntry("BRD-77120X\n");
    host.files["/sys/bus/pci/devices/0000:5e:00.0/vpd"] = fileEntry(pciVpd("VPD7001234"));
    host.files["/dev/disk/by-id"] =
        directoryEntry({{"wwn-0x5000c500a1b2c3d4", Kind::link}, {"scsi-SMEV_R1MEV000002", Kind::link}});
    host.files["/dev/disk/by-id/wwn-0x5000c500a1b2c3d4"] = linkEntry("../naa.5000C500A1B2C3D4");
    host.exchanges = {
        exchange(kinds::systemName, {}, {{"node", "rack42-node07.corp.example"}, {"release", "7.0.3"}}),
        exchange(kinds::interfaceAddresses, {},
                 {{"0.family", "inet"},
                  {"0.address", "10.42.7.11"},
                  {"0.mask", "255.255.255.0"},
                  {"1.family", "inet6"},
                  {"1.address", "2001:db8::4a2f"},
                  {"2.family", "packet"},
                  {"2.address", "02:00:5e:10:00:0a"},
                  {"3.family", "inet"},
                  {"3.address", "127.0.0.1"},
                  {"4.family", "inet"},
                  {"4.address", "192.168.107.15"}}),
        exchange(kinds::commandRead, {{"text", "localcli network nic get -n vmnic1"}},
                 {{"output",
                   "   Driver Info: \n   Virtual Address: 00:00:00:00:00:00\n"
                   "vmnic1 Up 02-00-5E-10-00-0B on RACK42-NODE07\n   Serial Number: SH12K00731\n"
                   "   Volume Name: scratch-vol7\n   Domain corp.example\n   Version: 7.0.3.0\n"
                   "   Node Name: 10:00:00:90:fa:7c:41:d0\n"}}),
        exchange(kinds::scsi, {{"command", "\x85\x08\x0E\0\0\0\1\0\0\0\0\0\0\0\xEC\0"s}},
                 {{"data", identify("ZK30 ABC7", "5000c500a1b2c3e8")}}),
        exchange(kinds::open, {{"device", "/vmfs/devices/char/mem/smbios"}},
                 {{"content", smbios("CZ3140TEST", "4c4c4544004a5910803cb8c04f4e4d32", "MEM0815A")}}),
        exchange(kinds::call, {{"entry", "GetAdapterAttributesHandler"}},
                 {{"attributes", hbaAdapter("FC82145690", "10000090fa7c41d0")}}),
        exchange(kinds::call, {{"entry", "GetAdapterPortAttributesHandler"}},
                 {{"attributes", hbaPort("10000090fa7c41d0", "10000090fa7c41d1", "2001000a8b3c4d5e")}}),
        exchange(kinds::call, {{"entry", "ProcessLibCommand"}, {"type", "2"}, {"number", "0"}},
                 {{"data", raidDisk("R9RAID0007", "500605b00a1b2c30")}}),
        exchange(kinds::call, {{"entry", "ProcessLibCommand"}, {"type", "6"}, {"number", "3"}},
                 {{"data", "\1\2"s + "SPB1305412"}}),
        exchange(kinds::call, {{"entry", "ProcessLibCommand"}, {"type", "3"}, {"number", "0"}},
                 {{"data", std::string(312, '\0') + bytesOf("600605b00a1b2c302a3b4c5d6e7f8091")}}),
        exchange(kinds::commandRead, {{"text", "grep R1MEV000001 /var/log/rack42-node07"}}, {{"output", ""}}),
    };
    host.document = R"({"Drives":[{"SerialNumber":"R1MEV000001","DurableName":"5000C500A1B2C3D46193000850)"
                    R"(00C500"},{"SerialNumber":"Not Available"}],"HostName":"rack42-node07.corp.example",)"
                    R"("IPv4Addresses":[{"Address":"10.42.7.11"}],"MACAddress":"02:00:5e:10:00:0a",)"
                    R"("DurableName":"600605b00a1b2c302a3b4c5d6e7f8091","OSVersion":"7.0.3.0",)"
                    R"("Description":"PCI 0000:5e:00.0 r001u05p2i05","SerialNumber":"ZK30ABC7"})";
    host.remarks = {"/dev/disk/by-id/wwn-0x5000c500a1b2c3d4 changed meanwhile"};
    return host;
}

// All values of a recording as they are.
std::string valuesOf(const Recording& host) {
    std::string all = host.document + '\n';
    for (const auto& [path, entry] : host.files) {
        all += path + '\n' + entry.content + '\n' + entry.target + '\n';
        for (const auto& [name, kind] : entry.children) all += name + '\n';
    }
    const auto addFields = [&](const Fields& fields) {
        for (const auto& [name, value] : fields) all += name + '\n' + value + '\n';
    };
    for (const Exchange& each : host.exchanges) {
        addFields(each.question);
        for (const Fields& answer : each.answers) addFields(answer);
    }
    for (const std::string& remark : host.remarks) all += remark + '\n';
    return all;
}

bool holdsText(const std::string& values, const std::string& text) {
    const std::string all = lower(values);
    const std::string name = lower(text);
    for (const std::string& form :
         {name, without(name, " "), swapped(name), swapped(" " + name), swapped(padded(name, 20))})
        if (all.find(form) != std::string::npos) return true;
    return false;
}

bool holdsDigits(const std::string& values, const std::string& digits) {
    std::string backwards = bytesOf(digits);
    std::reverse(backwards.begin(), backwards.end());
    return without(lower(values), ":-. _").find(digits) != std::string::npos ||
           values.find(bytesOf(digits)) != std::string::npos || values.find(backwards) != std::string::npos;
}

class Redaction : public testing::Test {
protected:
    Redaction() : host_(plantedHost()), before_(host_) { redact(host_, 20240117); }

    const Fields& answer(std::size_t index) const { return host_.exchanges[index].answers[0]; }

    Recording host_;
    Recording before_;
    Planted planted_;
};

TEST_F(Redaction, LeavesNoOriginalInAnyForm) {
    for (const std::string& all : {valuesOf(host_), recording::writeArchive(host_)}) {
        for (const std::string& text : planted_.texts) EXPECT_FALSE(holdsText(all, text)) << text;
        for (const std::string& digits : planted_.digits) EXPECT_FALSE(holdsDigits(all, digits)) << digits;
        for (const std::string& address : planted_.addresses)
            EXPECT_EQ(all.find(address), std::string::npos) << address;
    }
}

TEST_F(Redaction, WasNeededForEachOriginal) {
    const std::string all = valuesOf(before_);
    for (const std::string& text : planted_.texts) EXPECT_TRUE(holdsText(all, text)) << text;
    for (const std::string& digits : planted_.digits) EXPECT_TRUE(holdsDigits(all, digits)) << digits;
    for (const std::string& address : planted_.addresses)
        EXPECT_NE(all.find(address), std::string::npos) << address;
}

TEST_F(Redaction, KeepsTheLengthOfEveryValue) {
    EXPECT_EQ(valuesOf(host_).size(), valuesOf(before_).size());
}

TEST_F(Redaction, CountsDifferentOriginalsByKind) {
    const std::map<std::string, unsigned> expected = {
        {"serial number", 11}, {"WWN", 7},         {"MAC address", 2},       {"IP address", 3},
        {"host name", 1},      {"system UUID", 1}, {"file-system label", 1},
    };
    EXPECT_TRUE(host_.redacted);
    EXPECT_EQ(host_.replaced, expected);
}

TEST_F(Redaction, GivesTheSameOriginalTheSameStandInEverywhere) {
    const std::string serial = host_.document.substr(host_.document.find("\"SerialNumber\":\"") + 16, 11);
    EXPECT_EQ(host_.files.at("/sys/class/scsi_device/2:0:0:0/device/vpd_pg80").content,
              vpdPage80("  " + serial));
    EXPECT_EQ(host_.exchanges[10].question.at("text").substr(5, 11), serial);

    const std::string mac = answer(1).at("2.address");
    EXPECT_NE(host_.document.find("\"MACAddress\":\"" + mac + "\""), std::string::npos);

    const std::string wwn = digitsOf(answer(5).at("attributes").substr(640, 8));
    EXPECT_EQ(digitsOf(answer(6).at("attributes").substr(0, 8)), wwn);
    EXPECT_NE(without(answer(2).at("output"), ":").find(wwn), std::string::npos);

    const std::string sas =
        host_.files.at("/sys/class/scsi_device/2:0:0:0/device/sas_address").content.substr(2, 16);
    std::string little = answer(7).at("data").substr(300, 8);
    std::reverse(little.begin(), little.end());
    EXPECT_EQ(digitsOf(little), sas);
}

TEST_F(Redaction, KnowsASerialNumberWithoutItsBlanks) {
    std::string serial = swapped(answer(3).at("data").substr(20, 9 + 1));
    EXPECT_EQ(serial[4], ' ');
    serial = without(serial, " ");
    EXPECT_NE(host_.document.find("\"SerialNumber\":\"" + serial + "\"}"), std::string::npos) << serial;
}

TEST_F(Redaction, KeepsTheHostNameABeginningOfTheOneWithItsDomain) {
    const std::string full = answer(0).at("node");
    const std::string first = full.substr(0, full.find('.'));
    EXPECT_NE(host_.exchanges[10].question.at("text").find("/var/log/" + first), std::string::npos);
    EXPECT_NE(lower(answer(2).at("output")).find("on " + first + "\n"), std::string::npos);
    EXPECT_NE(host_.document.find("\"HostName\":\"" + full + "\""), std::string::npos);
}

TEST_F(Redaction, LetsADurableNameFollowFromItsPage) {
    const std::string page = host_.files.at("/sys/class/scsi_device/2:0:0:0/device/vpd_pg83").content;
    std::string name = digitsOf(page.substr(8, 16));
    for (char& each : name) each = static_cast<char>(std::toupper(static_cast<unsigned char>(each)));
    EXPECT_NE(host_.document.find("\"DurableName\":\"" + name + "\""), std::string::npos) << name;
    EXPECT_NE(host_.document.find(digitsOf(answer(9).at("data").substr(312))), std::string::npos);
}

TEST_F(Redaction, RenamesPathsLinksAndNamesInDirectoriesAlike) {
    std::string link;
    for (const auto& [path, entry] : host_.files)
        if (entry.kind == Kind::link && path.find("wwn-0x") != std::string::npos) link = path;
    const std::string name = link.substr(link.rfind('/') + 1);
    EXPECT_EQ(host_.files.at("/dev/disk/by-id").children.count(name), 1u);
    EXPECT_EQ(lower(host_.files.at(link).target), "../naa." + name.substr(6));
    std::string error;
    EXPECT_TRUE(recording::readArchive(recording::writeArchive(host_), error)) << error;
}

TEST_F(Redaction, KeepsTheSumsOfRecords) {
    const std::string block = answer(3).at("data");
    EXPECT_EQ(block.size(), 512u);
    EXPECT_EQ(sumOf(block), 0u);
    const std::string vpd = host_.files.at("/sys/bus/pci/devices/0000:5e:00.0/vpd").content;
    EXPECT_EQ(sumOf(vpd.substr(0, vpd.size() - 1)), 0u);
}

TEST_F(Redaction, KeepsWhatIsNoIdentity) {
    const std::string output = answer(2).at("output");
    for (const char* kept : {"Virtual Address: 00:00:00:00:00:00", "Version: 7.0.3.0", "vmnic1 Up "})
        EXPECT_NE(output.find(kept), std::string::npos) << kept;
    for (const char* kept : {"\"Not Available\"", "\"7.0.3.0\"", "PCI 0000:5e:00.0 r001u05p2i05"})
        EXPECT_NE(host_.document.find(kept), std::string::npos) << kept;
    EXPECT_EQ(answer(1).at("3.address"), "127.0.0.1");
    EXPECT_EQ(answer(1).at("0.mask"), "255.255.255.0");
    EXPECT_EQ(host_.files.count("/sys/class/scsi_device/2:0:0:0/device/vpd_pg80"), 1u);
    EXPECT_EQ(answer(7).at("data").substr(12, 28), "MEV     MEV1800EH10K    0006");
    EXPECT_EQ(host_.files.at("/sys/vendor").content, "0x15ad\n");
}

TEST_F(Redaction, KeepsTheBitsThatOthersRead) {
    EXPECT_EQ(answer(1).at("2.address")[1], '2');                            // a local address
    EXPECT_EQ(digitsOf(answer(5).at("attributes").substr(640, 2)), "1000");  // NAA 1
    EXPECT_EQ(answer(1).at("0.address").substr(0, 3), "10.");
    EXPECT_EQ(answer(1).at("4.address").substr(0, 5), "192.1");
    EXPECT_EQ(answer(1).at("1.address").substr(0, 5), "2001:");
    EXPECT_EQ(answer(4).at("content").substr(31 + 14, 2), bytesOf("5910"));  // the UUID's third group
}

TEST_F(Redaction, DependsOnTheSeedAlone) {
    Recording again = plantedHost();
    redact(again, 20240117);
    EXPECT_EQ(recording::writeArchive(again), recording::writeArchive(host_));
    redact(again = plantedHost(), 20240118);
    EXPECT_NE(again.document, host_.document);
}

TEST_F(Redaction, OfARedactedRecordingKeepsItsForm) {
    Recording again = host_;
    redact(again, 3);
    EXPECT_EQ(again.replaced, host_.replaced);
    EXPECT_EQ(valuesOf(again).size(), valuesOf(host_).size());
}

// --- rules that need a host of their own ---

Recording hostWithOutput(const std::string& output) {
    Recording host;
    host.exchanges = {exchange(kinds::commandRead, {}, {{"output", output}})};
    return host;
}

std::string redactedOutput(const std::string& output, std::uint64_t seed = 1) {
    Recording host = hostWithOutput(output);
    redact(host, seed);
    return host.exchanges[0].answers[0].at("output");
}

TEST(RedactionOrder, OfSerialNumbersIsThatOfTheOriginals) {
    std::string output;
    std::vector<std::string> serials;
    for (int each = 0; each < 40; ++each) serials.push_back("SN" + std::to_string(1000 + 137 * each) + "AB");
    std::sort(serials.begin(), serials.end());
    for (const std::string& serial : serials) output += "Serial Number: " + serial + "\n";
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        std::vector<std::string> lines;
        std::string rest = redactedOutput(output, seed);
        for (std::size_t end; (end = rest.find('\n')) != std::string::npos; rest.erase(0, end + 1))
            lines.push_back(rest.substr(0, end));
        ASSERT_EQ(lines.size(), serials.size());
        EXPECT_EQ(std::adjacent_find(lines.begin(), lines.end(), std::greater_equal<std::string>()),
                  lines.end());
    }
}

// A drive may pad its serial number in front, so that it begins in the middle of a word.
TEST(RedactionSwappedWords, MayBeginAtEitherCharacter) {
    for (const std::string serial : {"Z1D5ABC", "Z1D5ABCD"}) {
        Recording host;
        const std::string data = identify(std::string(20 - serial.size(), ' ') + serial, "5000c500a1b2c3e8");
        const std::string listed = "Serial Number: " + serial + "\n";
        host.exchanges = {exchange(kinds::call, {{"entry", "other"}}, {{"data", data}}),
                          exchange(kinds::commandRead, {{"text", "list"}}, {{"output", listed}})};
        redact(host, 1);
        const std::string words = swapped(host.exchanges[0].answers[0].at("data").substr(20, 20));
        const std::string standIn =
            host.exchanges[1].answers[0].at("output").substr(listed.find(serial), serial.size());
        EXPECT_NE(standIn, serial);
        EXPECT_EQ(words, std::string(20 - serial.size(), ' ') + standIn);
    }
}

TEST(RedactionPlaceholders, Stay) {
    for (const char* value :
         {"Not Available", "Unknown", "None", "0", "00000000", "XXXXXXXX", "abc", "To Be Filled By O.E.M.",
          "System Serial Number", "        ", "Default string"}) {
        const std::string line = std::string("Serial Number: ") + value + "\n";
        EXPECT_EQ(redactedOutput(line), line);
    }
    for (const char* line :
         {"Host Name: localhost\n", "Host Name: vmhba2\n", "Serial: ttyS0\n",
          "MAC Address: ff:ff:ff:ff:ff:ff\n", "MAC Address: 01:00:5e:00:00:01\n",
          "Node Name: 00:00:00:00:00:00:00:00\n", "IP Address: 0.0.0.0\n", "IP Address: 169.254.7.9\n",
          "IP Address: 239.1.1.1\n", "IP Address: ::1\n", "IP Address: ff02::1\n"})
        EXPECT_EQ(redactedOutput(line), line);
}

TEST(RedactionPlaceholders, OfEqualBytesInARecordStay) {
    Recording host;
    const std::string record = std::string(312, '\0') + std::string(16, '0');
    host.exchanges = {exchange(kinds::call, {{"entry", "ProcessLibCommand"}, {"type", "3"}, {"number", "0"}},
                               {{"data", record}})};
    host.document = "0x0000000000000000";
    redact(host, 1);
    EXPECT_EQ(host.exchanges[0].answers[0].at("data"), record);
    EXPECT_EQ(host.document, "0x0000000000000000");
    EXPECT_TRUE(host.replaced.empty());
}

TEST(RedactionAddresses, StayValidAndOfTheSameForm) {
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const std::string output =
            redactedOutput("IP Address: 10.250.199.255\nIP Address: 203.9.20.240\n", seed);
        int octets[8] = {};
        int used = 0;
        ASSERT_EQ(std::sscanf(output.c_str(), "IP Address: %d.%d.%d.%d\nIP Address: %d.%d.%d.%d\n%n",
                              &octets[0], &octets[1], &octets[2], &octets[3], &octets[4], &octets[5],
                              &octets[6], &octets[7], &used),
                  8);
        EXPECT_EQ(used, 52);
        for (const int octet : octets) EXPECT_LE(octet, 255);
        EXPECT_EQ(octets[3], 255);
        EXPECT_NE(octets[1], 250);
    }
}

TEST(RedactionAddresses, OfAnotherHostInLongerOnesStay) {
    const std::string output = redactedOutput("IP Address: 10.42.7.1\nat 10.42.7.13, not 7.0.3.0\n");
    EXPECT_EQ(output.substr(output.find('\n')), "\nat 10.42.7.13, not 7.0.3.0\n");
}

// A host called like a word of the agent's own: were it replaced, the agent would ask for something else.
TEST(RedactionNames, ThatAreShortOrOtherWordsStayAndAreTold) {
    const auto redactedNode = [](const std::string& node, bool isTold) {
        Recording host;
        host.files["/opt/mev/data/list"] = fileEntry("");
        host.exchanges = {
            exchange(kinds::systemName, {}, {{"node", node}}),
            exchange(kinds::commandRead, {{"text", "localcli storage list"}},
                     {{"output", "Driver Version: 1\nlink up\nHost Name: " + node + "\n"}}),
        };
        host.document = R"({"Drives":[{"Model":"X","Protocol":"SATA","HostName":")" + node + R"("}]})";
        const Recording before = host;
        redact(host, 1);
        EXPECT_EQ(host.exchanges[1].question, before.exchanges[1].question);
        EXPECT_EQ(host.files.count("/opt/mev/data/list"), 1u);
        const std::string remark =
            "the name \"" + lower(node) + "\" is left as it was: it is short or also another word";
        EXPECT_EQ(host.remarks, isTold ? std::vector<std::string>{remark} : std::vector<std::string>());
        return host.exchanges[0].answers[0].at("node");
    };
    for (const char* node : {"data", "Storage", "model", "sata", "driver", "vm", "esxi"})
        EXPECT_EQ(redactedNode(node, true), node);
    EXPECT_EQ(redactedNode("localhost", false), "localhost") << "nobody's";
    for (const char* node : {"link", "acme", "database", "data7", "data-west"})
        EXPECT_NE(redactedNode(node, false), node) << node;
}

TEST(RedactionNames, ThatAreAllTakenStayAndAreTold) {
    std::string output;
    for (int each = 0; each < 10; ++each) output += "IP Address: 10.0.0." + std::to_string(each) + "\n";
    for (int each = 0; each < 10; ++each) output += "IP Address: 10.0." + std::to_string(each) + ".0\n";
    for (int each = 0; each < 10; ++each) output += "IP Address: 10." + std::to_string(each) + ".0.0\n";
    Recording host = hostWithOutput(output);
    redact(host, 1);
    ASSERT_EQ(host.remarks.size(), 1u);
    EXPECT_EQ(host.remarks[0].substr(0, 35), "10 identities are left as they were");
}

}  // namespace RedactionTest
