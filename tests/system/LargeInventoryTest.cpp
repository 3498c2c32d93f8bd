// Documents of a size that no host section reaches, sent the way the agent sends its own.
#include <csignal>

#include "platform/access/vokHostAccess.h"
#include "rmc/ipmi/vokipmi.h"
#include "system/SimulatedSystem.h"

namespace LargeInventoryTest {
namespace {

// A document of at least `size` bytes, with elements of many lengths and some bytes beyond ASCII.
std::string documentOfSize(std::size_t size) {
    std::string text = R"({"HostDataCollection":{"Drives":[)";
    for (unsigned number = 0; text.size() < size; ++number) {
        if (number > 0) text += ',';
        text += R"({"Name":"drive )" + std::to_string(number) + R"(","Note":")" +
                std::string(number % 97, static_cast<char>('a' + number % 26)) + "\u00e9\"}";
    }
    return text + "]}}";
}

class LargeInventory : public SimulatedSystem, public testing::WithParamInterface<std::size_t> {};

TEST_P(LargeInventory, ArrivesWholeByteForByte) {
    keepsInventories = false;
    startAll();
    vokSetHostAccess(access());
    const std::string document = documentOfSize(GetParam());
    EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("WriteInventory", document), 0);
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_TRUE(inventoryText(1) == document)
        << "of " << document.size() << " bytes came " << inventoryText(1).size();
    EXPECT_EQ(controllerCount("violations"), 0);
    // 33 bytes in the first request, 57 in each further one, the NUL at the end.
    EXPECT_EQ(static_cast<std::size_t>(controllerCount("requests")),
              1 + (document.size() + 1 - 33 + 56) / 57);
}

INSTANTIATE_TEST_SUITE_P(Bytes, LargeInventory, testing::Values(200000u, 2000000u),
                         [](const auto& row) { return std::to_string(row.param); });

class TooLargeInventory : public SimulatedSystem {};

TEST_F(TooLargeInventory, BeyondTheLimitOfTheControllerIsRefusedWithItsSizeInTheLog) {
    startHostAlone();
    startController({"--size-limit", "100000"});
    vokSetHostAccess(access());
    EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("WriteInventory", documentOfSize(150000)), 1);
    EXPECT_EQ(timesLogged("[Request command length exceeded] and Cmd Exit Status is 0x0. Payload size:15"),
              1);
}

}  // namespace
}  // namespace LargeInventoryTest
