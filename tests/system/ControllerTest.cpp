// A controller that is missing, disappears, or answers late, never or with a refusal.
#include <csignal>

#include "system/SimulatedSystem.h"

namespace ControllerTest {
namespace {

class TroubledController : public SimulatedSystem {
protected:
    // Whatever the outcome of the first push, a ring must bring a complete inventory.
    void expectRecovery(int alreadyThere) {
        controllerControl({"answer", "normal"});
        controllerControl({"ring"});
        ASSERT_EQ(waitFor("inventory", alreadyThere + 1), 0);
        EXPECT_NE(inventoryText(alreadyThere + 1).find("rack42-node07"), std::string::npos);
        EXPECT_EQ(stopAgent(), 0);
    }
};

struct Refusal {
    int status;
    const char* message;
};

class EachRefusal : public TroubledController, public testing::WithParamInterface<Refusal> {};

constexpr Refusal refusals[] = {
    {3, "IPMI: Transfer Status is 0x3[Error in index] and Cmd Exit Status is 0x0\n"},
    {4, "IPMI: Transfer Status is 0x4[Cli entries full] and Cmd Exit Status is 0x0\n"},
    {5, "IPMI: Transfer Status is 0x5[Provided command not supported] and Cmd Exit Status is 0x0\n"},
    {6, "IPMI: Transfer Status is 0x6[Memory could not be allocated] and Cmd Exit Status is 0x0\n"},
    {7, "IPMI: RMC Cli Command Execution failed\n"},
    {8,
     "IPMI: Transfer Status is 0x8[Request command length exceeded] and Cmd Exit Status is 0x0. "
     "Payload size:"},
    {9, "IPMI: RMC Cli Command Execution failed\n"},
    {255, "IPMI: RMC Cli Command Execution failed\n"},
};

TEST_P(EachRefusal, EndsThePushAtOnceIsLoggedAndTheNextPushIsWhole) {
    startAll();
    controllerControl(
        {"answer", "status", std::to_string(GetParam().status), "--at-chunk", "3", "--of", "inventory"});
    startAgent();
    ASSERT_TRUE(waitForLog("JSON_AGGR: An Error occurred in delivering inventory string to RMC!"));
    EXPECT_EQ(occurrences(agentLog(), GetParam().message), 1) << agentLog();
    const Json::Value state = controllerState();
    EXPECT_EQ(state["requests"].asInt() - state["polls"].asInt(), 3) << "no chunk after the refused one";
    EXPECT_EQ(controllerCount("inventories"), 0);
    expectRecovery(0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

INSTANTIATE_TEST_SUITE_P(Table, EachRefusal, testing::ValuesIn(refusals),
                         [](const auto& row) { return "Status" + std::to_string(row.param.status); });

class EachStatusThatIsNoRefusal : public TroubledController, public testing::WithParamInterface<int> {};

TEST_P(EachStatusThatIsNoRefusal, CountsAsAnAcceptedChunkInTheMiddleAndAtTheEnd) {
    startAll();
    const std::string status = std::to_string(GetParam());
    controllerControl({"answer", "status", status, "--of", "inventory", "--count", "0"});
    startAgent();
    ASSERT_TRUE(waitForLog("JSON_AGGR: Success in delivering inventory string to RMC!"));
    EXPECT_EQ(timesLogged("JSON_AGGR: An Error occurred"), 0);
    EXPECT_EQ(stopAgent(), 0);
}

INSTANTIATE_TEST_SUITE_P(Table, EachStatusThatIsNoRefusal, testing::Values(0, 1, 2));

TEST_F(TroubledController, ACompletionCodeOtherThanZeroStillCountsAsAccepted) {
    startAll();
    controllerControl({"answer", "completion", "0xC0", "--of", "inventory", "--count", "0"});
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    ASSERT_TRUE(waitForLog("JSON_AGGR: Success in delivering inventory string to RMC!"));
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(TroubledController, AControllerThatStartsLaterGetsTheInventoryWhenItRings) {
    startHostAlone(usualSettings(), usualSpeed, {"--ipmi-timeout", "0.05"});
    startAgent();
    // Without a controller the driver answers each chunk by itself, with nothing but a completion code.
    ASSERT_TRUE(waitForLog("JSON_AGGR: Success in delivering inventory string to RMC!"));
    EXPECT_EQ(
        timesLogged("IPMI: WriteInventory on /dev/ipmi0: request 1 was answered with completion code 0x"), 1);
    EXPECT_EQ(timesLogged(" requests: the controller accepted it"), 0);
    startController();
    expectRecovery(0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(TroubledController, AControllerThatDiesInTheMiddleOfAPushAndComesBackGetsTheNextOneWhole) {
    startHostAlone(usualSettings(), usualSpeed, {"--ipmi-timeout", "1"});
    startController();
    controllerControl({"answer", "never", "--at-chunk", "5", "--of", "inventory"});
    startAgent();
    ASSERT_EQ(waitFor("request", 5), 0);
    EXPECT_EQ(controllerProgram.end(SIGKILL), 128 + SIGKILL);
    ASSERT_TRUE(waitForLog("delivering inventory string to RMC!"));
    startController();
    expectRecovery(0);
}

TEST_F(TroubledController, AControllerThatNeverAnswersDelaysNothingButThePush) {
    startHostAlone(usualSettings(), usualSpeed, {"--ipmi-timeout", "0.05"});
    startController();
    controllerControl({"answer", "never", "--of", "inventory", "--count", "0"});
    startAgent();
    ASSERT_TRUE(waitForLog("delivering inventory string to RMC!"));
    ASSERT_TRUE(waitForLog(" Populating host information.", 3));
    expectRecovery(0);
}

TEST_F(TroubledController, ASlowControllerStillReceivesEveryByte) {
    startAll();
    controllerControl({"answer", "late", "30", "--of", "inventory", "--count", "0"});
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(TroubledController, TheDeviceNodeMayAppearOnlyAfterTheDriversAreBroughtUp) {
    startAll();
    hostControl({"ipmi", "appears-after-bringup"});
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(stopAgent(), 0);
    const std::string commands = hostFile("/run/simhost/commands.log");
    for (const char* module : {"ipmi_msghandler", "ipmi_si", "ipmi_devintf", "ipmi_watchdog", "ipmi_ssif"})
        EXPECT_NE(commands.find(module), std::string::npos) << module;
    EXPECT_FALSE(hostHas("/dev/ipmi1"));
}

TEST_F(TroubledController, WithoutADeviceNodeThePushFailsIsLoggedAndTheNextOneTriesAgain) {
    startAll();
    hostControl({"ipmi", "absent"});
    startAgent();
    ASSERT_TRUE(waitForLog("JSON_AGGR: An Error occurred in delivering inventory string to RMC!"));
    EXPECT_GE(timesLogged("IPMI: Error occurred while executing RMC_CLI_Exec"), 1);
    hostControl({"ipmi", "present"});
    expectRecovery(0);
}

}  // namespace
}  // namespace ControllerTest
