// Documents far larger than today's hosts have arrive whole.
#include <gmock/gmock.h>
#include <fstream>

#include "platform/vokHostAccess.h"
#include "rmc/vokipmi.h"
#include "system/RunningAgent.h"

namespace {

class LargeInventory : public RunningAgent, public testing::WithParamInterface<std::size_t> {};

std::string documentOf(std::size_t size) {
    std::string text = R"({"HostDataCollection":{"Drives":[{"Name":"drive 0"})";
    for (int i = 1; text.size() + 200 < size; ++i)
        text += R"(,{"Name":"drive )" + std::to_string(i) + R"(","Serial":")" + std::string(100, 'x') + "\"}";
    text += R"(,{"Name":")";
    const std::string end = R"("}]}})";
    text += std::string(size - text.size() - end.size(), 'z');
    return text + end;
}

TEST_P(LargeInventory, ArrivesWhole) {
    startMachine("1000");
    vokSetHostAccess(access());
    const std::string document = documentOf(GetParam());
    ASSERT_EQ(document.size(), GetParam());
    EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("WriteInventory", document), 0);
    ASSERT_EQ(waitFor("inventory", 1), 0);
    std::ifstream kept(out() + "/inventory-0001.json", std::ios::binary);
    const std::string arrived((std::istreambuf_iterator<char>(kept)), std::istreambuf_iterator<char>());
    EXPECT_EQ(arrived.substr(0, document.size()), document);
    EXPECT_EQ(countOf("breaches"), 0);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LargeInventory, testing::Values(200000U, 2000000U));

}  // namespace
