// --print-inventory: prints the document and changes nothing on the host.
#include <csignal>

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

}  // namespace
}  // namespace PrintInventoryTest
