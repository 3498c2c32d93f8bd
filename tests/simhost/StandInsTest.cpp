#include "host/StandIns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sstream>

#include "common/HostState.h"
#include "modules/pci/PciFunctions.h"
#include "support/TemporaryDirectory.h"

namespace StandInsTest {

using namespace simhost;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

HostDescription describe(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return parseHostDescription(value);
}

Answer run(const HostDescription& host, std::vector<std::string> words,
           std::int64_t wall = 1794731902LL * nanosecondsInSecond) {
    return runStandIn(words, {host, wall, "/"}).answer;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

TEST(Localcli, TellsTheVersionThreeBlanksIn) {
    const HostDescription host = describe(
        R"({"product":{"name":"VMware ESXi","version":"6.7.0","build":"Releasebuild-8169922","update":"0",
            "patch":"1"}})");
    EXPECT_EQ(run(host, {"localcli", "system", "version", "get"}).output,
              "   Product: VMware ESXi\n   Version: 6.7.0\n   Build: Releasebuild-8169922\n   Update: 0\n"
              "   Patch: 1\n");
}

TEST(Localcli, ListsPciFunctionsInBlocks) {
    const HostDescription host = describe(
        R"({"pci":[{"Address":"0000:02:00.1","VMkernel Name":"vmnic5","Vendor ID":"0x8086"},
                   {"Address":"0001:af:1f.7"}]})");
    const auto lines = linesOf(run(host, {"localcli", "hardware", "pci", "list"}).output);
    ASSERT_EQ(lines.size(), 2u * 35 + 1);
    EXPECT_EQ(lines[0], "0000:02:00.1:");
    EXPECT_EQ(lines[1], "   Address: 0000:02:00.1");
    EXPECT_EQ(lines[2], "   Segment: 0x0000");
    EXPECT_EQ(lines[3], "   Bus: 0x02");
    EXPECT_EQ(lines[6], "   VMkernel Name: vmnic5");
    EXPECT_EQ(lines[11], "   Vendor ID: 0x8086");
    EXPECT_EQ(lines[34], "   FPT Sharable: true");
    EXPECT_EQ(lines[35], "");
    EXPECT_EQ(lines[36], "0001:af:1f.7:");
    EXPECT_EQ(lines[40], "   Slot: 0x1f");
    EXPECT_EQ(lines[41], "   Function: 0x7");
    EXPECT_EQ(lines[42], "   VMkernel Name: ");
}

TEST(Localcli, PrintsNothingForAHostWithoutFunctions) {
    EXPECT_EQ(run(describe("{}"), {"localcli", "hardware", "pci", "list"}).output, "");
}

TEST(Localcli, ListsAdaptersInColumns) {
    const HostDescription host = describe(
        R"({"storageAdapters":[{"name":"vmhba0","driver":"pvscsi","linkState":"link-n/a","uid":"pscsi.vmhba0",
            "description":"(0000:02:00.0) VMware Inc. PVSCSI SCSI Controller"}]})");
    EXPECT_EQ(run(host, {"localcli", "storage", "core", "adapter", "list"}).output,
              "HBA Name  Driver  Link State  UID           Capabilities  Description\n"
              "--------  ------  ----------  ------------  ------------  "
              "-------------------------------------------------\n"
              "vmhba0    pvscsi  link-n/a    pscsi.vmhba0                "
              "(0000:02:00.0) VMware Inc. PVSCSI SCSI Controller\n");
}

TEST(Localcli, ListsFibreChannelPortsInBlocks) {
    const HostDescription host = describe(R"json({"storageAdapters":[
        {"name":"vmhba0","driver":"vmw_ahci","uid":"sata.vmhba0"},
        {"name":"vmhba3","driver":"qlnativefc","linkState":"link-up","uid":"fc.2000f4e9d400ddb6:2100f4e9d400ddb6",
         "description":"(0000:65:00.0) A card","fibreChannel":{"portId":"010600","modelDescription":"Two ports",
         "optionRomVersion":"3.62","firmwareVersion":"8.08.204 (d0d5)"
}
},
        {"name":"vmhba4","driver":"lpfc","linkState":"link-down","uid":"fc.2000f4e9d400ddb7:2100f4e9d400ddb7",
         "description":"(0000:65:00.1) A card","fibreChannel":{"driverVersion":"12.8.298.50"}}]
})json");
    EXPECT_EQ(run(host, {"localcli", "storage", "san", "fc", "list"}).output,
              "FcDevice:\n"
              "   Adapter: vmhba3\n"
              "   Port ID: 010600\n"
              "   Node Name: 20:00:f4:e9:d4:00:dd:b6\n"
              "   Port Name: 21:00:f4:e9:d4:00:dd:b6\n"
              "   Speed: 16 Gbps\n"
              "   Port Type: NPort\n"
              "   Port State: ONLINE\n"
              "   Model Description: Two ports\n"
              "   Hardware Version: \n"
              "   OptionROM Version: 3.62\n"
              "   Firmware Version: 8.08.204 (d0d5)\n"
              "   Driver Name: qlnativefc\n"
              "Error getting field DriverVersion\n"
              "\n"
              "FcDevice:\n"
              "   Adapter: vmhba4\n"
              "   Port ID: 000000\n"
              "   Node Name: 20:00:f4:e9:d4:00:dd:b7\n"
              "   Port Name: 21:00:f4:e9:d4:00:dd:b7\n"
              "   Speed: 0 Gbps\n"
              "   Port Type: NPort\n"
              "   Port State: LINKDOWN\n"
              "   Model Description: A card\n"
              "   Hardware Version: \n"
              "   OptionROM Version: \n"
              "   Firmware Version: \n"
              "   Driver Name: lpfc\n"
              "   DriverVersion: 12.8.298.50\n");
}

TEST(Localcli, ListsNoFibreChannelPortsOnAHostWithoutAny) {
    const HostDescription host = describe(R"({"storageAdapters":[{"name":"vmhba0","uid":"sata.vmhba0"}]})");
    const Answer answer = run(host, {"localcli", "storage", "san", "fc", "list"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.output, "");
}

TEST(Localcli, RefusesWhatItDoesNotKnow) {
    const Answer answer = run(describe("{}"), {"localcli", "network", "nic", "teleport"});
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(answer.output, "");
    EXPECT_THAT(answer.error, StartsWith("Error: Unknown command or namespace network nic teleport\n"));
    EXPECT_EQ(run(describe("{}"), {"localcli"}).status, 1);
    EXPECT_EQ(run(describe("{}"), {"localcli", "--help"}).status, 0);
}

class MemoryTool : public testing::Test {
protected:
    MemoryTool() { directory.writeFile("conf", "5m\n"); }
    Answer sample(const std::string& description, std::vector<std::string> more = {}) {
        std::vector<std::string> words{"esxtop", "-c", directory.path() + "/conf", "-b", "-n", "1"};
        words.insert(words.end(), more.begin(), more.end());
        return run(describe(description), words);
    }
    TemporaryDirectory directory;
};

TEST_F(MemoryTool, PrintsAHeaderAndALineThatBothEndInAComma) {
    const Answer answer = sample(R"({"nodeName":"n1","memory":{"totalMBytes":524288,"freeMBytes":391234}})");
    const auto lines = linesOf(answer.output);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(
        lines[0],
        StartsWith("\"(PDH-CSV 4.0) (UTC)(0)\",\"\\\\n1\\Memory\\Memory Overcommit (1 Minute Avg)\","));
    EXPECT_THAT(lines[0], HasSubstr(",\"\\\\n1\\Memory\\Machine MBytes\","));
    EXPECT_THAT(lines[0], HasSubstr(",\"\\\\n1\\Memory\\Free MBytes\","));
    EXPECT_THAT(lines[0], EndsWith("\","));
    EXPECT_THAT(lines[1], StartsWith("\"11/15/2026 08:38:22\",\"0.00\","));
    EXPECT_THAT(lines[1], EndsWith("\","));
    EXPECT_THAT(answer.output, EndsWith(",\n"));
}

// Reads the output as its reader does: fields between commas, a header until a field begins with a newline.
TEST_F(MemoryTool, HasItsValuesInTheColumnsThatTheHeaderNames) {
    const std::string output = sample(R"({"memory":{"totalMBytes":524288,"freeMBytes":391234}})").output;
    std::size_t totalColumn = 0, freeColumn = 0, column = 0;
    std::string total, free;
    bool header = true;
    std::istringstream stream(output);
    for (std::string field; std::getline(stream, field, ',');) {
        ++column;
        if (header && field[0] == '\n') {
            header = false;
            column = 1;
        }
        if (header && field.find("Machine MBytes") != std::string::npos) {
            EXPECT_EQ(totalColumn, 0u);  // one column only
            totalColumn = column;
        }
        if (header && field.find("\\Memory\\Free MBytes") != std::string::npos) freeColumn = column;
        if (!header && column == totalColumn) total = field;
        if (!header && column == freeColumn) free = field;
    }
    EXPECT_EQ(total, "\"524288\"");
    EXPECT_EQ(free, "\"391234\"");
}

TEST_F(MemoryTool, LeavesTheFinalCommaOutWhenTheDescriptionSaysSo) {
    const auto lines = linesOf(sample(R"({"memory":{"linesEndInComma":false}})").output);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], EndsWith("\""));
    EXPECT_THAT(lines[1], EndsWith("\""));
}

TEST_F(MemoryTool, RefusesAMissingConfigurationAndWrongOptions) {
    const Answer missing = run(describe("{}"), {"esxtop", "-c", "/no/such/conf", "-b", "-n", "1"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.output, "");
    EXPECT_THAT(missing.error, HasSubstr("/no/such/conf"));
    EXPECT_EQ(run(describe("{}"), {"esxtop"}).status, 1);  // no terminal
    EXPECT_EQ(sample("{}", {"-n", "0"}).status, 1);
    EXPECT_EQ(sample("{}", {"-x"}).status, 1);
}

TEST_F(MemoryTool, FindsARelativeConfigurationWhereItsCallerStands) {
    const HostDescription host;
    const CommandContext context{host, 0, directory.path()};
    EXPECT_EQ(runStandIn({"esxtop", "-b", "-c", "conf"}, context).answer.status, 0);
    EXPECT_EQ(runStandIn({"esxtop", "-b", "-c", "nope"}, context).answer.status, 1);
}

TEST_F(MemoryTool, TakesTheTimeOfItsSamples) {
    const HostDescription host;
    const CommandResult result = runStandIn({"esxtop", "-b", "-n", "3", "-d", "10"}, {host, 0, "/"});
    EXPECT_EQ(result.seconds, 20.0);
    const auto lines = linesOf(result.answer.output);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_THAT(lines[3], StartsWith("\"01/01/1970 00:00:20\""));
}

TEST(OtherStandIns, DoNothingToTheMachine) {
    const HostDescription host;
    for (const char* module : {"ipmi_msghandler", "ipmi_si", "ipmi_devintf", "ipmi_watchdog", "ipmi_ssif"})
        EXPECT_EQ(run(host, {"modprobe", module}).status, 0);
    EXPECT_EQ(run(host, {"modprobe", "floppy"}).status, 1);
    EXPECT_EQ(run(host, {"mknod", "-m", "0600", "/tmp/x", "c", "247", "0"}).status, 0);
    EXPECT_EQ(run(host, {"mdadm", "--detail"}).status, 127);
}

TEST(Description, RefusesWhatItDoesNotKnow) {
    const auto complaint = [](const std::string& text) -> std::string {
        try {
            describe(text);
        } catch (const std::exception& problem) {
            return problem.what();
        }
        return "";
    };
    EXPECT_THAT(complaint(R"({"nodename":"x"})"), HasSubstr("\"nodename\" that is not known"));
    EXPECT_THAT(complaint(R"({"nodeName":7})"), HasSubstr("nodeName is not a text"));
    EXPECT_THAT(complaint(R"({"memory":{"totalMBytes":-1}})"), HasSubstr("whole number"));
    EXPECT_THAT(complaint(R"({"memory":{"totalMBytes":1,"freeMBytes":2}})"), HasSubstr("more free memory"));
    EXPECT_THAT(complaint(R"({"pci":[{"Address":"02:00.1"}]})"), HasSubstr("pci[0] has the Address"));
    EXPECT_THAT(complaint(R"({"pci":[{"Address":"0000:02:00.1","Colour":"red"}]})"), HasSubstr("Colour"));
    EXPECT_THAT(complaint(R"({"pci":{}})"), HasSubstr("not an array"));
    EXPECT_THAT(complaint(R"({"interfaces":[{"name":"a","addresses":["10.0.0.1/33"]}]})"),
                HasSubstr("10.0.0.1/33"));
    EXPECT_THAT(complaint(R"({"interfaces":[{"name":"abcdefghijklmnop"}]})"), HasSubstr("1 to 15"));
    EXPECT_THAT(complaint(R"({"interfaces":[{"name":"a","hardwareAddress":"02:00"}]})"),
                HasSubstr("hardwareAddress"));
    EXPECT_THAT(complaint(R"({"files":{"etc/passwd":""}})"), HasSubstr("absolute"));
    EXPECT_THAT(complaint(R"({"files":{"/a/../../etc":""}})"), HasSubstr("absolute"));
    EXPECT_EQ(complaint(R"({"remark":"x","uptimeSeconds":5})"), "");
}

TEST(Description, AllThatComeWithTheProjectCanBeRead) {
    EXPECT_EQ(readHostDescription(VOK_HOSTS "/bare.json").part<PciFunctions>().all.size(), 0u);
    EXPECT_EQ(readHostDescription(VOK_HOSTS "/rack-node.json").part<PciFunctions>().all.size(), 20u);
    EXPECT_EQ(readHostDescription(VOK_HOSTS "/esxi8-node.json").part<PciFunctions>().all.size(), 20u);
    EXPECT_EQ(readHostDescription(VOK_HOSTS "/blade-node.json").part<PciFunctions>().all.size(), 14u);
    EXPECT_EQ(readHostDescription(VOK_HOSTS "/blade-node-b.json").part<PciFunctions>().all.size(), 14u);
    EXPECT_EQ(readHostDescription(VOK_HOSTS "/foreign-node.json").part<PciFunctions>().all.size(), 5u);
    EXPECT_GE(readHostDescription(VOK_HOSTS "/large.json").part<PciFunctions>().all.size(), 300u);
}

}  // namespace
}  // namespace StandInsTest
