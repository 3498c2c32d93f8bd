#include "rmc/report/ReceivedFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <stdexcept>

#include "rmc/report/Page.h"
#include "simhost/RunningProgram.h"
#include "support/TemporaryDirectory.h"

namespace ReportFolderTest {

using namespace simhost;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const std::string inventory = R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"HostName":"n7"}}}})";

class ReportFolder : public testing::Test {
protected:
    void write(const std::string& name, const std::string& content) { directory.writeFile(name, content); }
    ReceivedFolder read() const { return readFolder(directory.path()); }
    // The page of the folder, which each of them must have.
    std::string page() const { return reportPage(read(), "now"); }
    std::string fileOf(const std::string& name) const { return directory.path() + "/" + name; }

    TemporaryDirectory directory;
};

TEST_F(ReportFolder, InventoriesAreInTheOrderOfTheirNumbers) {
    write("inventory-0002.json", inventory);
    write("inventory-10000.json", inventory);
    write("inventory-9999.json", "{}");
    const ReceivedFolder folder = read();
    ASSERT_EQ(folder.inventories.size(), 3u);
    EXPECT_EQ(folder.inventories[0].file, "inventory-0002.json");
    EXPECT_EQ(folder.inventories[2].file, "inventory-10000.json");
    EXPECT_EQ(folder.newest(), &folder.inventories[2]);
    EXPECT_THAT(folder.problems, ElementsAre("inventory-9999.json is not an inventory"));
}

TEST_F(ReportFolder, TheNewestInventoryIsTheNewestThatCanBeRead) {
    write("inventory-0001.json", inventory);
    write("inventory-0002.json", inventory.substr(0, 30));
    const ReceivedFolder folder = read();
    ASSERT_NE(folder.newest(), nullptr);
    EXPECT_EQ(folder.newest()->file, "inventory-0001.json");
    EXPECT_THAT(reportPage(folder, "now"), HasSubstr("inventory-0002.json is not an inventory"));
}

TEST_F(ReportFolder, AnInventoryThatIsBeingWrittenIsNotRead) {
    write("inventory-0001.json", inventory);
    write("inventory-0002.json.part", "{");
    EXPECT_EQ(read().inventories.size(), 1u);
    EXPECT_THAT(read().problems, IsEmpty());
}

TEST_F(ReportFolder, ALastLineThatIsCutOffIsReportedAndTheOthersAreRead) {
    write("events.jsonl", "{\"ID\":356}\n{\"ID\":359}\n{\"ID\":3");
    const ReceivedFolder folder = read();
    EXPECT_EQ(folder.events.size(), 2u);
    EXPECT_THAT(folder.problems, ElementsAre("The last line of events.jsonl is not complete"));
}

TEST_F(ReportFolder, LinesThatAreNoObjectsAreCountedAndLeftOut) {
    write("events.jsonl", "{\"ID\":356}\n\n[1]\nnull\n{\"ID\":\n" + std::string(3000, '[') + "\n");
    const ReceivedFolder folder = read();
    EXPECT_EQ(folder.events.size(), 1u);
    EXPECT_THAT(folder.problems, ElementsAre("5 lines of events.jsonl are not a JSON object"));
}

TEST_F(ReportFolder, OfALongFileTheLastLinesAreRead) {
    std::string lines;
    for (int i = 0; i < 5003; ++i) lines += "{\"ID\":" + std::to_string(i) + "}\n";
    write("events.jsonl", lines);
    const ReceivedFolder folder = read();
    ASSERT_EQ(folder.events.size(), 5000u);
    EXPECT_EQ(folder.events[0]["ID"].asInt(), 3);
    EXPECT_THAT(folder.problems, ElementsAre("events.jsonl is long: only its last 5000 lines are shown"));
}

TEST_F(ReportFolder, OfAHugeFileOnlyTheEndIsRead) {
    write("events.jsonl", "{\"ID\":1}\n" + std::string(9u << 20, 'x') + "\n{\"ID\":2}\n");
    const ReceivedFolder folder = read();
    ASSERT_EQ(folder.events.size(), 1u);
    EXPECT_EQ(folder.events[0]["ID"].asInt(), 2);
}

TEST_F(ReportFolder, OfManyInventoriesTheLastFiftyAreRead) {
    for (int i = 1001; i <= 1052; ++i) write("inventory-" + std::to_string(i) + ".json", inventory);
    const ReceivedFolder folder = read();
    ASSERT_EQ(folder.inventories.size(), 50u);
    EXPECT_EQ(folder.inventories[0].number, 1003u);
    EXPECT_THAT(folder.problems, ElementsAre("Of 52 inventories only the last 50 are shown"));
}

TEST_F(ReportFolder, APipeIsNotWaitedFor) {
    write("inventory-0001.json", inventory);
    ASSERT_EQ(::mkfifo(fileOf("events.jsonl").c_str(), 0600), 0);
    EXPECT_THAT(read().problems, ElementsAre("events.jsonl is not a regular file"));
}

TEST_F(ReportFolder, ALinkIsNotFollowed) {
    write("elsewhere", "{\"ID\":1,\"Secret\":1}\n");
    write("inventory-0001.json", inventory);
    ASSERT_EQ(::symlink(fileOf("elsewhere").c_str(), fileOf("events.jsonl").c_str()), 0);
    EXPECT_THAT(read().events, IsEmpty());
    EXPECT_THAT(read().problems, ElementsAre(HasSubstr("events.jsonl can't be read")));
}

TEST_F(ReportFolder, ADirectoryInPlaceOfAnInventoryIsReported) {
    ASSERT_EQ(::mkdir(fileOf("inventory-0001.json").c_str(), 0700), 0);
    EXPECT_THAT(page(), HasSubstr("inventory-0001.json is not a regular file"));
    EXPECT_THAT(page(), HasSubstr("No inventory that can be read has arrived"));
}

TEST_F(ReportFolder, OneWithEventsAloneHasAPageThatNamesTheHost) {
    write("events.jsonl", "{\"HostName\":\"n9\",\"ID\":356}\n");
    EXPECT_THAT(page(), HasSubstr("<h1>n9</h1>"));
}

TEST_F(ReportFolder, OneOfAControllerThatHasReceivedNothingHasAPage) {
    write("control.sock", "");
    EXPECT_THAT(page(), HasSubstr("No event and no inventory has arrived."));
}

TEST_F(ReportFolder, DocumentsOfAnyFormHaveAPage) {
    for (const char* text :
         {R"({"HostDataCollection":{}})", R"({"HostDataCollection":{"Drives":{"a":1}}})",
          R"({"HostDataCollection":{"Drives":[null,1,"x",[2],{}],"Oem":[1]}})",
          R"({"HostDataCollection":{"Drives":[{"Status":1,"Oem":2,"CapacityBytes":"x"}]}})",
          R"({"HostDataCollection":{"Volumes":[{"Drives":[{"a":1}],"CapacityBytes":1e308}]}})",
          R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"IPv4Addresses":[1,{"Address":{}}]}}}})"}) {
        write("inventory-0001.json", text);
        write("events.jsonl",
              "{\"ID\":{},\"EventTime\":[1],\"VariableData\":7}\n{\"ID\":1e300}\n{\"ID\":-5}\n");
        write("transfers.jsonl", "{\"seconds\":1e308,\"chunks\":-4,\"event\":3,\"status\":{}}\n{}\n");
        EXPECT_THAT(page(), HasSubstr("</html>")) << text;
    }
}

// --- the program ---

TEST_F(ReportFolder, TheProgramPrintsThePage) {
    write("inventory-0001.json", inventory);
    const Ran ran = runProgram({VOK_RMC_PROGRAM, "report", directory.path()});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output.substr(0, 15), "<!DOCTYPE html>");
    EXPECT_EQ(ran.output.substr(ran.output.size() - 8), "</html>\n");
}

TEST_F(ReportFolder, TheProgramRefusesAFolderThatIsMissing) {
    const Ran ran = runProgram({VOK_RMC_PROGRAM, "report", directory.path() + "/none"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.output, "vok-rmc: " + directory.path() + "/none: No such file or directory\n");
}

TEST_F(ReportFolder, TheProgramRefusesAFolderThatIsNotAControllers) {
    write("letter.txt", "x");
    const Ran ran = runProgram({VOK_RMC_PROGRAM, "report", directory.path()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.output, HasSubstr(directory.path() + ": holds no file of \"vok-rmc run --out"));
}

TEST_F(ReportFolder, TheProgramNeedsAFolder) {
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "report"}).status, 2);
}

TEST_F(ReportFolder, AFullDiskIsAFailure) {
    write("inventory-0001.json", inventory);
    const Ran ran = runProgram(
        {"/bin/sh", "-c", "exec \"$0\" report \"$1\" >/dev/full", VOK_RMC_PROGRAM, directory.path()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.output, "vok-rmc: standard output can't be written: No space left on device\n");
}

}  // namespace

}  // namespace ReportFolderTest
