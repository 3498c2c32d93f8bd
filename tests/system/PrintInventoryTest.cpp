// --print-inventory: prints the document and changes nothing on the host.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "system/SimulatedSystem.h"
#include "system/StorageSystem.h"

namespace PrintInventoryTest {
namespace {

class PrintInventory : public SimulatedSystem {};

TEST_F(PrintInventory, PrintsOneDocumentAndNeitherSendsNorRecordsNorLeavesAnything) {
    startAll();
    const Ran ran = runAgent({"--print-inventory"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output.find(R"({"HostDataCollection":{"Oem":{"CollectionInfo":)"), 0u) << ran.output;
    EXPECT_NE(ran.output.find(R"("HostName":"rack42-node07")"), std::string::npos);
    EXPECT_EQ(ran.output.find('\n'), ran.output.size() - 1) << "one line";
    EXPECT_EQ(controllerCount("requests"), 0);
    EXPECT_EQ(hostDirectory("/var/tmp"), std::vector<std::string>());
    EXPECT_EQ(hostDirectory("/opt/mev/vok/data"), std::vector<std::string>{"esxtopconf"});
}

TEST_F(PrintInventory, ReportsThatThereIsNothingToPrintWhenNoResourceIsEnabled) {
    Json::Value settings = usualSettings();
    settings["EnableResources"][0] = "TrustedPlatformModule";
    startHostAlone(settings);
    const Ran ran = runAgent({"--print-inventory"});
    EXPECT_EQ(ran.status, 0);
    const std::string last = "\nvokd: no enabled resource has an inventory\n";  // after a warning of the name
    ASSERT_GE(ran.output.size(), last.size());
    EXPECT_EQ(ran.output.substr(ran.output.size() - last.size()), last) << ran.output;
}

TEST_F(PrintInventory, IsRefusedWhileAnAgentUsesTheHostsWorkingFiles) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(runAgent({"--print-inventory"}).status, 4);
    EXPECT_EQ(stopAgent(), 0);
}

class PrintStorage : public StorageSystem {};

TEST_F(PrintStorage, EndsTheRegistrationForTheEventsOfRaidControllers) {
    ASSERT_NO_FATAL_FAILURE(startHostOfStorage(storageSettings(), "rack-node"));
    EXPECT_EQ(runAgent({"--print-inventory"}).status, 0);
    const Json::Value library = hostState()["raidLibrary"];
    EXPECT_EQ(library["commands"]["register"].asInt(), 1);
    EXPECT_EQ(library["commands"]["unregister"].asInt(), 1);
    EXPECT_EQ(library["registrations"].size(), 0u);
}

std::vector<std::string> describedHosts() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(VOK_SOURCE_DIRECTORY "/simhost/hosts"))
        names.push_back(entry.path().stem());
    std::sort(names.begin(), names.end());
    return names;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string testName(const testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// The document is kept, and checked against the schema with those of the other tests.
class PrintDescribedHost : public SimulatedSystem, public testing::WithParamInterface<std::string> {};

TEST_P(PrintDescribedHost, HasADocument) {
    startHost({"--speed", std::to_string(usualSpeed)}, GetParam());
    const Ran ran = runAgent({"--print-inventory"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output.find(R"({"HostDataCollection":{)"), 0u) << ran.output;

    std::string test = "All.PrintDescribedHost.HasADocument." + GetParam();
    std::replace(test.begin(), test.end(), '-', '_');
    EXPECT_EQ(contentOf(VOK_BUILD_DIRECTORY "/documents/" + test + "/inventory-printed-1.json"), ran.output);
}

INSTANTIATE_TEST_SUITE_P(All, PrintDescribedHost, testing::ValuesIn(describedHosts()), testName);

}  // namespace
}  // namespace PrintInventoryTest
