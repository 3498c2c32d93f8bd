#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "rmc/JsonMembers.h"
#include "simhost/SimulatedMachine.h"

namespace KeptTransfersTest {

using simhost::parsedJson;

namespace {

const std::string inventory =
    R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"HostName":"node-with-a-long-name"}}}})";
const std::string event =
    R"({"EventTime":"2026-11-15 08:38:22","HostName":"n","ID":356,"OSType":104,"OSVersion":"7.0.3","Source":"VOK"})";

// The lines of transfers.jsonl.
class KeptTransfers : public SimulatedMachine {
protected:
    void startBoth(const std::vector<std::string>& controllerOptions = {}) {
        startHost();
        startController(controllerOptions);
        ASSERT_EQ(waitFor("attached", 1), 0);
        agent = access();
    }
    std::vector<Json::Value> kept() const {
        std::vector<Json::Value> lines;
        std::istringstream file(directory.readFile("rmc/transfers.jsonl"));
        for (std::string line; std::getline(file, line);) lines.push_back(parsedJson(line));
        return lines;
    }

    std::unique_ptr<IvokHostAccess> agent;
};

TEST_F(KeptTransfers, AnInventoryIsKeptWithItsFileChunksAndTime) {
    startBoth();
    ASSERT_EQ(DeviceUser(*agent).remoteCommand("WriteInventory", inventory), 0);
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const auto lines = kept();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["outcome"].asString(), "complete");
    EXPECT_EQ(lines[0]["command"].asString(), "WriteInventory");
    EXPECT_EQ(lines[0]["file"].asString(), "inventory-0001.json");
    EXPECT_EQ(lines[0]["bytes"].asUInt(), inventory.size());
    EXPECT_EQ(lines[0]["chunks"].asUInt(), 2u);
    EXPECT_GT(lines[0]["seconds"].asDouble(), 0);
    EXPECT_THAT(lines[0]["at"].asString(),
                testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}Z"));
}

TEST_F(KeptTransfers, AnEventIsKeptWithItsNumberAndTime) {
    startBoth();
    ASSERT_EQ(DeviceUser(*agent).remoteCommand("MPEventGen", event), 0);
    ASSERT_EQ(waitFor("event", 1), 0);
    const auto lines = kept();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["event"]["ID"].asString(), "356");
    EXPECT_EQ(lines[0]["event"]["EventTime"].asString(), "2026-11-15 08:38:22");
}

TEST_F(KeptTransfers, ARefusalIsKeptWithItsStatus) {
    startBoth({"--size-limit", "60"});
    ASSERT_EQ(DeviceUser(*agent).remoteCommand("WriteInventory", inventory), 8);
    ASSERT_EQ(waitFor("refused", 1), 0);
    const auto lines = kept();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["outcome"].asString(), "refused");
    EXPECT_EQ(lines[0]["status"].asUInt(), 8u);
    EXPECT_EQ(lines[0]["chunks"].asUInt(), 0u);
}

TEST_F(KeptTransfers, OneThatIsBrokenOffIsKeptWithTheReason) {
    startBoth();
    DeviceUser(*agent).remoteCommand("WriteInventory", inventory, 1);
    ASSERT_EQ(waitFor("abandoned", 1), 0);
    const auto lines = kept();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["outcome"].asString(), "abandoned");
    EXPECT_EQ(lines[0]["reason"].asString(), "its descriptor was closed");
    EXPECT_EQ(lines[0]["bytes"].asUInt(), 33u);
    EXPECT_EQ(lines[0]["length"].asUInt(), inventory.size() + 1);
    EXPECT_EQ(lines[0]["chunks"].asUInt(), 1u);
}

TEST_F(KeptTransfers, ADisturbedReplyIsCounted) {
    startBoth();
    controllerControl({"answer", "late", "5", "--at-chunk", "2"});
    ASSERT_EQ(DeviceUser(*agent).remoteCommand("WriteInventory", inventory), 0);
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const auto lines = kept();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["faults"].asUInt(), 1u);
}

}  // namespace

}  // namespace KeptTransfersTest
